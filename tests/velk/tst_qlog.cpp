#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

using velk::QFLog;
using velk::QLog;

using Feed = std::function<void(QLog&)>;
Q_DECLARE_METATYPE(Feed)

namespace {

const QString kGreen = QStringLiteral("\033[32m");
const QString kCyan = QStringLiteral("\033[36m");

} // namespace

class tst_QLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void items_data();
    void items();
    void consoleLine_data();
    void consoleLine();
    void fileName_data();
    void fileName();
    void fileLineHasNoColour();
    void fileRecreatedWhenRemoved();
    void rotationKeepsNFiles();
    void unopenableFileStillLogsToConsole();
    void consoleSwitch();
    void disabledStreamWritesNothing();

private:
    QString m_startDir;
    qint64 m_rotationSize = 0;
    int m_rotationKeep = 0;
    QTemporaryDir m_dir;
};

void tst_QLog::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_startDir = QDir::currentPath();
    m_rotationSize = QFLog::rotationSize();
    m_rotationKeep = QFLog::rotationKeep();
    QCOMPARE(m_rotationSize, qint64(8 * 1024 * 1024));
    QCOMPARE(m_rotationKeep, 4);
}

void tst_QLog::init()
{
    // Each case logs relative to its own folder, as the host does.
    const QString dir =
        m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()) + QLatin1Char('-') +
                       QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir));
    QVERIFY(QDir::setCurrent(dir));
    QLog::setConsoleEnabled(true);
}

void tst_QLog::cleanup()
{
    QDir::setCurrent(m_startDir);
    QFLog::setRotation(m_rotationSize, m_rotationKeep);
    QLog::setConsoleEnabled(true);
}

void tst_QLog::items_data()
{
    QTest::addColumn<Feed>("feed");
    QTest::addColumn<QString>("expected");

    QTest::newRow("text as it is") << Feed([](QLog& l) { l << QStringLiteral("say \"hi\"\\n"); })
                                   << QStringLiteral("say \"hi\"\\n");
    QTest::newRow("chinese QString") << Feed([](QLog& l) { l << QStringLiteral("机器人已连接"); })
                                     << QStringLiteral("机器人已连接");
    QTest::newRow("chinese literal")
        << Feed([](QLog& l) { l << "急停"; }) << QStringLiteral("急停");
    QTest::newRow("chinese variant")
        << Feed([](QLog& l) { l << QVariant(QStringLiteral("中文")); }) << QStringLiteral("中文");
    QTest::newRow("byte array variant")
        << Feed([](QLog& l) { l << QVariant(QByteArray("raw")); }) << QStringLiteral("raw");
    QTest::newRow("spaced by default")
        << Feed([](QLog& l) { l << "a" << QChar('b') << 3; }) << QStringLiteral("a b 3");
    QTest::newRow("nospace") << Feed([](QLog& l) {
        l.nospace() << "a"
                    << "b" << 1;
    }) << QStringLiteral("ab1");
    QTest::newRow("space again") << Feed([](QLog& l) {
        l.nospace() << "a"
                    << "b";
        l.space() << "c";
    }) << QStringLiteral("ab c");
    QTest::newRow("numbers and bool")
        << Feed([](QLog& l) { l << true << -7 << 7u << qint64(1) << 2.5 << quint64(1) << 0.1; })
        << QStringLiteral("true -7 7 1 2.5 1 0.1");
    QTest::newRow("json object compact") << Feed([](QLog& l) {
        l << QJsonObject{{"a", 1}, {"b", QStringLiteral("中")}};
    }) << QStringLiteral("{\"a\":1,\"b\":\"中\"}");
    QTest::newRow("json array compact") << Feed([](QLog& l) {
        l << QJsonArray{1, "x"};
    }) << QStringLiteral("[1,\"x\"]");
    QTest::newRow("json string value")
        << Feed([](QLog& l) { l << QJsonValue("plain"); }) << QStringLiteral("plain");
    QTest::newRow("json null value")
        << Feed([](QLog& l) { l << QJsonValue(); }) << QStringLiteral("null");
    QTest::newRow("variant of json object") << Feed([](QLog& l) {
        l << QVariant(QJsonObject{{"k", true}});
    }) << QStringLiteral("{\"k\":true}");
    QTest::newRow("variant of json array") << Feed([](QLog& l) {
        l << QVariant(QJsonArray{1, 2});
    }) << QStringLiteral("[1,2]");
    QTest::newRow("variant of json value")
        << Feed([](QLog& l) { l << QVariant(QJsonValue(QStringLiteral("值"))); })
        << QStringLiteral("值");
    QTest::newRow("variant of json document")
        << Feed([](QLog& l) { l << QVariant(QJsonDocument(QJsonArray{true})); })
        << QStringLiteral("[true]");
    QTest::newRow("variant list") << Feed([](QLog& l) {
        l << QVariant(QVariantList{"a", 1});
    }) << QStringLiteral("[\"a\",1]");
    QTest::newRow("null sender") << Feed([](QLog& l) { l << static_cast<QObject*>(nullptr); })
                                 << QStringLiteral("QObject(0x0)");
    QTest::newRow("nothing") << Feed([](QLog&) {}) << QString();
}

void tst_QLog::items()
{
    QFETCH(Feed, feed);
    QFETCH(QString, expected);

    QLog::setConsoleEnabled(false);
    QLog log(kGreen, QStringLiteral("[d|p]"), QString());
    feed(log);
    QCOMPARE(log.text(), expected.isEmpty() ? QStringLiteral("[d|p]") : "[d|p] " + expected);
}

void tst_QLog::consoleLine_data()
{
    QTest::addColumn<QString>("extra");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("no extra") << QString()
                              << QByteArray("\033[32m[d|06/01 10:00:00.000] n: 名字 7\033[0m\n");
    QTest::newRow("extra") << QStringLiteral("<velk>")
                           << QByteArray(
                                  "\033[32m[d|06/01 10:00:00.000] <velk> n: 名字 7\033[0m\n");
}

void tst_QLog::consoleLine()
{
    QFETCH(QString, extra);
    QFETCH(QByteArray, expected);

    StderrCapture capture;
    QLog(kGreen, QStringLiteral("[d|06/01 10:00:00.000]"), extra).space()
        << "n:" << QStringLiteral("名字") << 7;
    QCOMPARE(capture.take(), expected);
}

void tst_QLog::fileName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("logName");
    QTest::addColumn<QString>("expected");

    QTest::newRow("path and name") << "./log/zarvo"
                                   << "log"
                                   << "./log/zarvo.log";
    QTest::newRow("path only") << "./log/zarvo.txt" << QString() << "./log/zarvo.txt";
    QTest::newRow("no path") << QString() << "log" << QString();
}

void tst_QLog::fileName()
{
    QFETCH(QString, path);
    QFETCH(QString, logName);
    QFETCH(QString, expected);
    QCOMPARE(QFLog::fileName(path, logName), expected);
}

void tst_QLog::fileLineHasNoColour()
{
    QVERIFY(!QFile::exists("log"));
    QVERIFY(QDir().mkpath("log"));
    QVERIFY(writeFile("log/zarvo.log", "earlier line\n"));

    StderrCapture capture;
    QFLog(kCyan, QStringLiteral("[I|06/01 10:00:00.000]"), QString(), "./log/zarvo", "log").space()
        << "<hmi log>" << static_cast<QObject*>(nullptr) << QStringLiteral("控制器已连接");
    QFLog(kCyan, QStringLiteral("[W|t]"), QString(), "./log/zarvo", "log") << "second";
    const QByteArray console = capture.take();

    QCOMPARE(readFile("log/zarvo.log"),
             QByteArray("earlier line\n"
                        "[I|06/01 10:00:00.000] <hmi log> QObject(0x0) 控制器已连接\n"
                        "[W|t] second\n"));
    QCOMPARE(console, QByteArray("\033[36m[I|06/01 10:00:00.000] <hmi log> QObject(0x0) "
                                 "控制器已连接\033[0m\n"
                                 "\033[36m[W|t] second\033[0m\n"));
}

void tst_QLog::fileRecreatedWhenRemoved()
{
    QLog::setConsoleEnabled(false);
    QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log") << "one";
    QVERIFY(QFile::remove("log/zarvo.log"));
    QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log") << "two";
    QCOMPARE(readFile("log/zarvo.log"), QByteArray("[I|t] two\n"));

    // Even the folder may go (an operator clearing logs).
    QVERIFY(QDir("log").removeRecursively());
    QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log") << "three";
    QCOMPARE(readFile("log/zarvo.log"), QByteArray("[I|t] three\n"));
}

void tst_QLog::rotationKeepsNFiles()
{
    const qint64 maxBytes = 256;
    const int keep = 2;
    const int lines = 60;
    QFLog::setRotation(maxBytes, keep);
    QCOMPARE(QFLog::rotationSize(), maxBytes);
    QCOMPARE(QFLog::rotationKeep(), keep);
    QLog::setConsoleEnabled(false);

    for (int i = 0; i < lines; ++i) {
        QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log")
            << QStringLiteral("line %1 ........").arg(i, 3, 10, QLatin1Char('0'));
    }

    QStringList files = QDir("log").entryList(QDir::Files, QDir::Name);
    QCOMPARE(files, QStringList({"zarvo.log", "zarvo.log.1", "zarvo.log.2"}));
    QByteArray all;
    const QStringList oldestFirst{"zarvo.log.2", "zarvo.log.1", "zarvo.log"};
    for (const QString& name : oldestFirst) {
        const QByteArray data = readFile("log/" + name);
        QVERIFY2(data.size() <= maxBytes, qPrintable(name));
        QVERIFY2(data.endsWith('\n'), qPrintable(name));
        all += data;
    }
    // Oldest to newest, no line lost between the kept files, the last one last.
    const QList<QByteArray> kept = all.trimmed().split('\n');
    const int first = lines - kept.size();
    QVERIFY(first > 0);
    for (int i = 0; i < kept.size(); ++i) {
        QCOMPARE(kept.at(i), QStringLiteral("[I|t] line %1 ........")
                                 .arg(first + i, 3, 10, QLatin1Char('0'))
                                 .toUtf8());
    }
}

void tst_QLog::unopenableFileStillLogsToConsole()
{
    QVERIFY(writeFile("blocker", "a file where a folder should be"));

    StderrCapture capture;
    QFLog(kCyan, "[E|t]", QString(), "./blocker/zarvo", "log") << "still shown";
    QFLog(kCyan, "[E|t]", QString(), QString(), "log") << "no file at all";
    QCOMPARE(capture.take(), QByteArray("\033[36m[E|t] still shown\033[0m\n"
                                        "\033[36m[E|t] no file at all\033[0m\n"));
    QCOMPARE(readFile("blocker"), QByteArray("a file where a folder should be"));
}

void tst_QLog::consoleSwitch()
{
    StderrCapture capture;
    QLog::setConsoleEnabled(false);
    QVERIFY(!QLog::isConsoleEnabled());
    QLog(kGreen, "[d|t]", QString()) << "hidden";
    QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log") << "file only";
    QLog::setConsoleEnabled(true);
    QVERIFY(QLog::isConsoleEnabled());
    QLog(kGreen, "[d|t]", QString()) << "shown";

    QCOMPARE(capture.take(), QByteArray("\033[32m[d|t] shown\033[0m\n"));
    QCOMPARE(readFile("log/zarvo.log"), QByteArray("[I|t] file only\n"));
}

void tst_QLog::disabledStreamWritesNothing()
{
    StderrCapture capture;
    QLog(kGreen, "[d|t]", QString()).setEnabled(false) << "n:" << QJsonObject{{"a", 1}} << 5;
    {
        QFLog log(kCyan, "[I|t]", QString(), "./log/zarvo", "log");
        log.setEnabled(false);
        QVERIFY(!log.isEnabled());
        log << "dropped";
        QCOMPARE(log.text(), QStringLiteral("[I|t]"));
    }
    QLog(kGreen, "[d|t]", QString()) << "kept";
    QCOMPARE(capture.take(), QByteArray("\033[32m[d|t] kept\033[0m\n"));
    QVERIFY(!QFile::exists("log/zarvo.log"));
}

QTEST_GUILESS_MAIN(tst_QLog)
#include "tst_qlog.moc"
