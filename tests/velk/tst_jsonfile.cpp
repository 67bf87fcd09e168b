#include <velk/jsonfile.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const QByteArray kBom("\xEF\xBB\xBF");

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

QJsonObject sample()
{
    return QJsonObject{{"name", "机器人"},
                       {"port", 5052},
                       {"nested", QJsonObject{{"on", true}, {"list", QJsonArray{1, "x"}}}}};
}

} // namespace

class TestJsonFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readAcceptsBomAndCrlf_data();
    void readAcceptsBomAndCrlf();
    void serializeWritesBomAndCrlf_data();
    void serializeWritesBomAndCrlf();
    void writeCreatesFolders();
    void failedWriteKeepsOldFile_data();
    void failedWriteKeepsOldFile();
    void parseErrorNamesFileAndOffset_data();
    void parseErrorNamesFileAndOffset();
    void missingFileNamesFile();
};

// clang-format off
void TestJsonFile::readAcceptsBomAndCrlf_data()
{
    QTest::addColumn<QByteArray>("data");
    const QByteArray lf = "{\n    \"a\": 1,\n    \"b\": [\n        \"x\"\n    ]\n}\n";
    QByteArray crlf = lf;
    crlf.replace("\n", "\r\n");
    QTest::newRow("plain") << lf;
    QTest::newRow("bom") << kBom + lf;
    QTest::newRow("crlf") << crlf;
    QTest::newRow("bom and crlf") << kBom + crlf;
    QTest::newRow("compact with bom") << kBom + QByteArray(R"({"a":1,"b":["x"]})");
}
// clang-format on

void TestJsonFile::readAcceptsBomAndCrlf()
{
    QFETCH(QByteArray, data);
    const QJsonObject expected{{"a", 1}, {"b", QJsonArray{"x"}}};
    QCOMPARE(velk::JsonFile::parse(data), QJsonValue(expected));

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("in.json"));
    QVERIFY(writeAll(path, data));
    QString error;
    QCOMPARE(velk::JsonFile::read(path, &error), QJsonValue(expected));
    QVERIFY(error.isEmpty());
}

// clang-format off
void TestJsonFile::serializeWritesBomAndCrlf_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("object") << QJsonValue(sample());
    QTest::newRow("array") << QJsonValue(QJsonArray{1, QJsonObject{{"k", "v"}}});
    QTest::newRow("empty object") << QJsonValue(QJsonObject());
}
// clang-format on

void TestJsonFile::serializeWritesBomAndCrlf()
{
    QFETCH(QJsonValue, value);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("out.json"));
    QVERIFY(velk::JsonFile::write(path, value));
    const QByteArray data = readAll(path);
    QCOMPARE(data, velk::JsonFile::serialize(value));
    QVERIFY(data.startsWith(kBom));
    QVERIFY(data.endsWith("\r\n"));
    for (int i = 0; i < data.size(); ++i) {
        if (data.at(i) == '\n') {
            QVERIFY2(i > 0 && data.at(i - 1) == '\r', "bare LF");
        }
    }
    QVERIFY(!data.contains("\r\r"));
    QCOMPARE(velk::JsonFile::read(path), value);
}

void TestJsonFile::writeCreatesFolders()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("config/deep/setting.json"));
    QString error;
    QVERIFY2(velk::JsonFile::write(path, sample(), &error), qPrintable(error));
    QCOMPARE(velk::JsonFile::read(path), QJsonValue(sample()));

    // A folder in the way of a file is reported, not crashed on.
    QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("taken.json")));
    QVERIFY(!velk::JsonFile::write(dir.filePath(QStringLiteral("taken.json")), sample(), &error));
    QVERIFY(error.contains(QLatin1String("taken.json")));
}

// clang-format off
void TestJsonFile::failedWriteKeepsOldFile_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("disk full") << "size limit";
    QTest::newRow("read-only folder") << "read-only";
}
// clang-format on

void TestJsonFile::failedWriteKeepsOldFile()
{
    QFETCH(QString, obstacle);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("setting.json"));
    QVERIFY(velk::JsonFile::write(path, QJsonObject{{"old", true}}));
    const QByteArray before = readAll(path);

    // Far more than the limit below, so that the write fails part-way.
    const QJsonObject big{{"data", QString(64 * 1024, QLatin1Char('x'))}};
    QString error;
    bool written = false;
    if (obstacle == QLatin1String("size limit")) {
        // A file-size limit fails the write part-way, as a full disk does,
        // and works for root as well.
        rlimit saved{};
        QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 4096;
        QVERIFY(setrlimit(RLIMIT_FSIZE, &small) == 0);
        written = velk::JsonFile::write(path, big, &error);
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, oldHandler);
    } else {
        if (geteuid() == 0) {
            QSKIP("root ignores folder permissions");
        }
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner);
        written = velk::JsonFile::write(path, big, &error);
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QVERIFY(!written);
    QVERIFY(error.contains(path));
    QCOMPARE(readAll(path), before);
    // No temporary file is left behind.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden | QDir::System),
             QStringList{"setting.json"});
}

// clang-format off
void TestJsonFile::parseErrorNamesFileAndOffset_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("offset");
    QTest::newRow("missing comma") << QByteArray(R"({"a": 1 "b": 2})") << 9;
    QTest::newRow("trailing comma") << QByteArray(R"({"a":1,})") << 8;
    // The offset counts the bytes of the file, the byte-order mark included.
    QTest::newRow("after bom") << kBom + QByteArray(R"({"a":1,})") << 11;
    QTest::newRow("bad value with crlf") << QByteArray("{\r\n  \"a\": tru\r\n}") << 14;
    QTest::newRow("empty file") << QByteArray() << 0;
}
// clang-format on

void TestJsonFile::parseErrorNamesFileAndOffset()
{
    QFETCH(QByteArray, data);
    QFETCH(int, offset);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("broken.json"));
    QVERIFY(writeAll(path, data));
    QString error;
    QVERIFY(velk::JsonFile::read(path, &error).isNull());
    QVERIFY2(error.contains(path), qPrintable(error));
    QVERIFY2(error.contains(QStringLiteral("offset %1").arg(offset)), qPrintable(error));
}

void TestJsonFile::missingFileNamesFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("missing.json"));
    QString error;
    QVERIFY(velk::JsonFile::read(path, &error).isNull());
    QVERIFY(error.contains(path));
}

QTEST_GUILESS_MAIN(TestJsonFile)
#include "tst_jsonfile.moc"
