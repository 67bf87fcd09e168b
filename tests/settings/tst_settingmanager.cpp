#include "module/managerhelper.h"
#include "settings/settingmanager.h"
#include "testfiles.h"

#include <velk/jsonfile.h>
#include <velk/resourcemanager.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <unistd.h>

namespace {

const QString kFile = QStringLiteral("./config/setting.json");
const QString kTemplate = QStringLiteral(":/zarvo/template/setting.json");

QJsonObject readJson(const QString& path)
{
    return velk::JsonFile::read(path).toObject();
}

QString warningText()
{
    return QCoreApplication::translate("QObject", "Warning");
}

// Lines of ./log/zarvo.log that contain `marker`.
QStringList logLines(const QString& marker)
{
    const QStringList lines =
        QString::fromUtf8(readFile(QStringLiteral("log/zarvo.log"))).split(QLatin1Char('\n'));
    return lines.filter(marker);
}

} // namespace

class tst_SettingManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void names();
    void firstStartCreatesFileFromTemplate();
    void typedReads_data();
    void typedReads();
    void setWritesFileAtOnce();
    void secondRegistrationDoesNothing();
    void existingFileNeverOverwritten();
    void invalidFileKeptAside_data();
    void invalidFileKeptAside();
    void invalidFileReplacedOnNextChange();
    void unreadableFileLeftAlone();
    void unreadableFileByPermissions();
    void englishInstallsNoTranslation();
    void chineseInstallsCompiledTranslation();
    void unknownLanguageStaysEnglish();

private:
    QString m_startDir;
    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;
};

void tst_SettingManager::initTestCase()
{
    // The helper's own settings manager reads ./config when it is created:
    // it must find the temporary folder, never the build tree. Its first
    // start creates the file from the template (language "cn").
    QVERIFY(m_root.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_root.path()));
    helper().registRootQrcAlias(QStringLiteral("zarvo"));
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});
    QCOMPARE(readJson(kFile).value(QStringLiteral("language")).toString(), QStringLiteral("cn"));
}

void tst_SettingManager::cleanupTestCase()
{
    velk::translator().clear();
    QDir::setCurrent(m_startDir);
}

void tst_SettingManager::init()
{
    // Every case starts untranslated, in an empty working directory.
    velk::translator().clear();
    QCOMPARE(warningText(), QStringLiteral("Warning"));
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir::setCurrent(m_dir->path()));
}

void tst_SettingManager::cleanup()
{
    QDir::setCurrent(m_root.path());
    m_dir.reset();
    velk::translator().clear();
}

void tst_SettingManager::names()
{
    SettingManager settings;
    QCOMPARE(settings.name(), QStringLiteral("setting"));
    QCOMPARE(settings.filePath(), kFile);
    QVERIFY(velk::resource().has(&settings, QStringLiteral("setting")));
    // Nothing is written before a change or an alias asks for it.
    QVERIFY(!QFileInfo::exists(kFile));
}

void tst_SettingManager::firstStartCreatesFileFromTemplate()
{
    SettingManager settings;
    QCOMPARE(settings.getStr(QStringLiteral("language"), QStringLiteral("none")),
             QStringLiteral("none"));

    settings.installQrc(QStringLiteral("zarvo"));

    QVERIFY(QFileInfo(kFile).isFile());
    QCOMPARE(readFile(kFile), readFile(kTemplate));
    const QFile::Permissions perms = QFileInfo(kFile).permissions();
    QVERIFY(perms.testFlag(QFile::ReadOwner));
    QVERIFY(perms.testFlag(QFile::WriteOwner));
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());

    QCOMPARE(settings.getStr(QStringLiteral("language")), QStringLiteral("cn"));
    QCOMPARE(settings.getObj(QStringLiteral("server")).value(QStringLiteral("port")).toInt(), 5050);
    QCOMPARE(settings.getObj(QStringLiteral("udp")).value(QStringLiteral("local_port")).toInt(),
             5053);
    QCOMPARE(settings.getObj(QStringLiteral("udp")).value(QStringLiteral("server_port")).toInt(),
             5052);
    QCOMPARE(
        settings.getObj(QStringLiteral("upgrade_server")).value(QStringLiteral("port")).toInt(),
        4567);
    QCOMPARE(settings.getObj(QStringLiteral("local")).value(QStringLiteral("ip")).toString(),
             QString());
    QCOMPARE(settings.getStr(QStringLiteral("workspace")), QStringLiteral("workspace"));
    QCOMPARE(settings.getInt(QStringLiteral("interval")), 18);

    // The copy is writable: a change lands in it.
    settings.set(QStringLiteral("interval"), 20);
    QCOMPARE(readJson(kFile).value(QStringLiteral("interval")).toInt(), 20);
}

void tst_SettingManager::typedReads_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("intResult");
    QTest::addColumn<QString>("strResult");
    QTest::addColumn<QJsonObject>("objResult");

    // Defaults asked for: 7, "def".
    QTest::newRow("integer") << "interval" << 18 << "def" << QJsonObject();
    QTest::newRow("string") << "language" << 7 << "cn" << QJsonObject();
    QTest::newRow("object") << "server" << 7 << "def"
                            << QJsonObject{{"ip", "127.0.0.1"}, {"port", 5050}};
    QTest::newRow("missing") << "nothing" << 7 << "def" << QJsonObject();
    QTest::newRow("empty key is the whole document, not a value")
        << "" << 7 << "def" << QJsonObject();
    QTest::newRow("case matters") << "Language" << 7 << "def" << QJsonObject();
}

void tst_SettingManager::typedReads()
{
    QFETCH(QString, key);
    QFETCH(int, intResult);
    QFETCH(QString, strResult);
    QFETCH(QJsonObject, objResult);

    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));
    QCOMPARE(settings.getInt(key, 7), intResult);
    QCOMPARE(settings.getStr(key, QStringLiteral("def")), strResult);
    if (!key.isEmpty()) {
        QCOMPARE(settings.getObj(key), objResult);
    }
}

void tst_SettingManager::setWritesFileAtOnce()
{
    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));

    settings.set(QStringLiteral("language"), QStringLiteral("en"));
    QJsonObject disk = readJson(kFile);
    QCOMPARE(disk.value(QStringLiteral("language")).toString(), QStringLiteral("en"));
    // Everything else is kept.
    QCOMPARE(disk.value(QStringLiteral("server")).toObject().value(QStringLiteral("port")).toInt(),
             5050);
    QCOMPARE(disk.size(), readJson(kTemplate).size());

    const QByteArray bytes = readFile(kFile);
    QVERIFY(bytes.startsWith("\xEF\xBB\xBF"));
    QVERIFY(bytes.contains("\r\n"));
    QCOMPARE(bytes.count('\n'), bytes.count("\r\n"));

    const QJsonObject server{{"ip", "127.0.0.2"}, {"port", 6060}};
    settings.set(QStringLiteral("server"), server);
    settings.set(QStringLiteral("operator"), QString::fromUtf8("张工"));
    disk = readJson(kFile);
    QCOMPARE(disk.value(QStringLiteral("server")).toObject(), server);
    QCOMPARE(disk.value(QStringLiteral("operator")).toString(), QString::fromUtf8("张工"));
    QCOMPARE(settings.getObj(QStringLiteral("server")), server);

    // A second manager (the next start) reads what was saved.
    SettingManager next;
    QCOMPARE(next.getStr(QStringLiteral("language")), QStringLiteral("en"));
    QCOMPARE(next.getObj(QStringLiteral("server")), server);
}

void tst_SettingManager::secondRegistrationDoesNothing()
{
    // The helper registered "zarvo" at the start (language "cn"): a second
    // registration must neither copy the settings file, create the cache
    // folder nor install the translation here.
    QVERIFY(!helper().registQrcAlias(QStringLiteral("zarvo")));
    helper().registRootQrcAlias(QStringLiteral("zarvo"));
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});
    QVERIFY(QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    QCOMPARE(warningText(), QStringLiteral("Warning"));

    // A new alias gets its cache folder, and keeps it after cancelling.
    QVERIFY(writeFile(kFile, R"({"language":"en"})"));
    QVERIFY(helper().registQrcAlias(QStringLiteral("pageA")));
    QVERIFY(QFileInfo(QStringLiteral("cache/pageA")).isDir());
    QCOMPARE(readFile(kFile), QByteArray(R"({"language":"en"})"));
    QVERIFY(helper().cancelQrcAlias(QStringLiteral("pageA")));
    QVERIFY(QFileInfo(QStringLiteral("cache/pageA")).isDir());
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});
}

void tst_SettingManager::existingFileNeverOverwritten()
{
    const QByteArray mine = R"({"language":"en","custom":{"a":1}})";
    QVERIFY(writeFile(kFile, mine));
    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));

    QCOMPARE(readFile(kFile), mine);
    QCOMPARE(settings.getStr(QStringLiteral("language")), QStringLiteral("en"));
    QCOMPARE(settings.getObj(QStringLiteral("custom")), (QJsonObject{{"a", 1}}));
    // Keys the file lacks read as the caller's defaults.
    QCOMPARE(settings.getObj(QStringLiteral("server")), QJsonObject());
    QCOMPARE(settings.getInt(QStringLiteral("interval"), 5), 5);
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());
    QCOMPARE(QDir(QStringLiteral("config")).entryList(QDir::Files),
             QStringList{QStringLiteral("setting.json")});
}

void tst_SettingManager::invalidFileKeptAside_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");
    QTest::newRow("cut short") << QByteArray("\xEF\xBB\xBF{\r\n    \"language\": \"en\",\r\n")
                               << "";
    QTest::newRow("garbage") << QByteArray("language=en\n") << "";
    QTest::newRow("empty file") << QByteArray() << "";
    QTest::newRow("trailing comma") << QByteArray(R"({"language":"en",})") << "";
    QTest::newRow("array") << QByteArray(R"(["language","en"])") << "not an object";
}

void tst_SettingManager::invalidFileKeptAside()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    if (reason.isEmpty()) {
        // The error the log must name, as the parser words it.
        QJsonParseError error;
        const int bom = content.startsWith("\xEF\xBB\xBF") ? 3 : 0;
        QJsonDocument::fromJson(content.mid(bom), &error);
        QVERIFY(error.error != QJsonParseError::NoError);
        reason = error.errorString();
    }
    QVERIFY(writeFile(kFile, content));
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);

    SettingManager settings;

    const QStringList kept = QDir(QStringLiteral("config")).entryList(QDir::Files);
    QCOMPARE(kept.size(), 1);
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^setting\\.json\\.bad-(\\d{8}-\\d{6})$"))
            .match(kept.first());
    QVERIFY2(match.hasMatch(), qPrintable(kept.first()));
    const QDateTime stamp =
        QDateTime::fromString(match.captured(1), QStringLiteral("yyyyMMdd-hhmmss"));
    QVERIFY(stamp >= before.addSecs(-1) && stamp <= QDateTime::currentDateTime().addSecs(1));
    QCOMPARE(readFile(QStringLiteral("config/") + kept.first()), content);

    // One error line names the parse error and where the file went.
    const QStringList lines = logLines(QStringLiteral("not valid JSON"));
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().startsWith(QStringLiteral("[E|")));
    QVERIFY2(lines.first().contains(reason), qPrintable(lines.first()));
    QVERIFY(lines.first().contains(kept.first()));
    const QJsonObject record =
        velk::resource()
            .get(&settings, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
            .toObject();
    QCOMPARE(record.value(QStringLiteral("level")).toString(), QStringLiteral("error"));

    // Nothing of the broken file is used; the HMI continues from the template.
    QCOMPARE(settings.getStr(QStringLiteral("language"), QStringLiteral("def")),
             QStringLiteral("def"));
    settings.installQrc(QStringLiteral("zarvo"));
    QCOMPARE(readFile(kFile), readFile(kTemplate));
    QCOMPARE(settings.getStr(QStringLiteral("language")), QStringLiteral("cn"));
    QCOMPARE(readFile(QStringLiteral("config/") + kept.first()), content);
}

void tst_SettingManager::invalidFileReplacedOnNextChange()
{
    const QByteArray broken = "{ \"language\": ";
    QVERIFY(writeFile(kFile, broken));
    SettingManager settings;
    QVERIFY(!QFileInfo::exists(kFile));
    QCOMPARE(settings.getInt(QStringLiteral("interval"), 3), 3);

    settings.set(QStringLiteral("interval"), 30);
    QCOMPARE(readJson(kFile), (QJsonObject{{"interval", 30}}));
    const QStringList bad =
        QDir(QStringLiteral("config"))
            .entryList(QStringList{QStringLiteral("setting.json.bad-*")}, QDir::Files);
    QCOMPARE(bad.size(), 1);
    QCOMPARE(readFile(QStringLiteral("config/") + bad.first()), broken);
}

void tst_SettingManager::unreadableFileLeftAlone()
{
    // A folder where the file should be cannot be read like a file.
    QVERIFY(QDir().mkpath(kFile));
    QVERIFY(writeFile(kFile + QStringLiteral("/inside.txt"), "user data"));
    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));
    settings.set(QStringLiteral("language"), QStringLiteral("en"));

    QVERIFY(QFileInfo(kFile).isDir());
    QCOMPARE(readFile(kFile + QStringLiteral("/inside.txt")), QByteArray("user data"));
    QCOMPARE(QDir(QStringLiteral("config")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("setting.json")});
    QCOMPARE(logLines(QStringLiteral("Cannot read settings file")).size(), 1);
    // The value still holds for this run.
    QCOMPARE(settings.getStr(QStringLiteral("language")), QStringLiteral("en"));
}

void tst_SettingManager::unreadableFileByPermissions()
{
    const QByteArray mine = R"({"language":"en"})";
    QVERIFY(writeFile(kFile, mine));
    QVERIFY(QFile::setPermissions(kFile, QFile::WriteOwner));
    QFile probe(kFile);
    if (probe.open(QIODevice::ReadOnly)) {
        QSKIP("running with rights that read any file");
    }
    {
        SettingManager settings;
        settings.installQrc(QStringLiteral("zarvo"));
        settings.set(QStringLiteral("interval"), 1);
    }
    QVERIFY(QFile::setPermissions(kFile, QFile::ReadOwner | QFile::WriteOwner));
    QCOMPARE(readFile(kFile), mine);
    QCOMPARE(logLines(QStringLiteral("Cannot read settings file")).size(), 1);
}

void tst_SettingManager::englishInstallsNoTranslation()
{
    QVERIFY(writeFile(kFile, R"({"language":"en"})"));
    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));
    QCOMPARE(warningText(), QStringLiteral("Warning"));
    QCOMPARE(QCoreApplication::translate("QObject", "Please input %1"),
             QStringLiteral("Please input %1"));
}

void tst_SettingManager::chineseInstallsCompiledTranslation()
{
    {
        SettingManager settings; // first start: the template says "cn"
        settings.installQrc(QStringLiteral("zarvo"));
        QCOMPARE(warningText(), QString::fromUtf8("警告"));
        QCOMPARE(QCoreApplication::translate("QObject", "Please input %1"),
                 QString::fromUtf8("请输入%1"));

        // Switching the language is saved at once and takes effect at the
        // next start.
        settings.set(QStringLiteral("language"), QStringLiteral("en"));
        QCOMPARE(readJson(kFile).value(QStringLiteral("language")).toString(),
                 QStringLiteral("en"));
        QCOMPARE(warningText(), QString::fromUtf8("警告"));
    }
    velk::translator().clear();
    SettingManager next;
    next.installQrc(QStringLiteral("zarvo"));
    QCOMPARE(warningText(), QStringLiteral("Warning"));
}

void tst_SettingManager::unknownLanguageStaysEnglish()
{
    QVERIFY(writeFile(kFile, R"({"language":"fr"})"));
    SettingManager settings;
    settings.installQrc(QStringLiteral("zarvo"));
    QCOMPARE(warningText(), QStringLiteral("Warning"));
    QCOMPARE(logLines(QStringLiteral("zarvo_fr.qm")).size(), 1);
}

QTEST_GUILESS_MAIN(tst_SettingManager)

#include "tst_settingmanager.moc"
