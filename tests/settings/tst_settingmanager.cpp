#include "module/managerhelper.h"
#include "settings/settingmanager.h"
#include "testfiles.h"

#include <velk/jsonfile.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QtTest>

namespace {

const QString kFile = QStringLiteral("./config/setting.json");
const QString kTemplate = QStringLiteral(":/zarvo/template/setting.json");

QString warningText()
{
    return QCoreApplication::translate("QObject", "Warning");
}

} // namespace

class tst_SettingManager : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        // The helper's own manager reads ./config when it is created: never the build tree.
        QVERIFY(QDir::setCurrent(m_root.path()));
        helper().registRootQrcAlias("zarvo");
    }

    void init()
    {
        // Every case starts untranslated, in an empty working directory.
        velk::translator().clear();
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir::setCurrent(m_dir->path()));
    }

    void firstStartFromTemplate()
    {
        SettingManager settings;
        QVERIFY(!QFileInfo::exists(kFile));
        settings.installQrc("zarvo");
        QCOMPARE(readFile(kFile), readFile(kTemplate));
        QVERIFY(QFileInfo(kFile).isWritable() && QFileInfo("cache/zarvo").isDir());
        QCOMPARE(warningText(), QString("警告")); // the template says "cn"

        // A missing key or one of another type reads as the default.
        QCOMPARE(settings.getStr("language"), QString("cn"));
        QCOMPARE(settings.getInt("interval", 7), 18);
        QCOMPARE(settings.getObj("server").value("port"), QJsonValue(5050));
        QCOMPARE(settings.getInt("language", 7), 7);
        QCOMPARE(settings.getStr("interval", "def"), QString("def"));
        QCOMPARE(settings.getObj("language"), QJsonObject());
        QCOMPARE(settings.getStr("Language", "def"), QString("def"));

        // A change is saved at once, the rest kept.
        settings.set("language", "en");
        const QJsonObject saved = velk::JsonFile::read(kFile).toObject();
        QCOMPARE(saved.value("language"), QJsonValue("en"));
        QCOMPARE(saved.size(), velk::JsonFile::read(kTemplate).toObject().size());

        // The next start reads the user's file, never the template over it, and English
        // installs no translation.
        const QByteArray mine = readFile(kFile);
        velk::translator().clear();
        SettingManager next;
        next.installQrc("zarvo");
        QCOMPARE(readFile(kFile), mine);
        QCOMPARE(next.getStr("language"), QString("en"));
        QCOMPARE(warningText(), QString("Warning"));
    }

    void invalidFileKeptAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("cut short") << QByteArray("\xEF\xBB\xBF{\r\n    \"language\": \"en\",\r\n");
        QTest::newRow("empty file") << QByteArray();
        QTest::newRow("array") << QByteArray(R"(["language","en"])");
    }

    void invalidFileKeptAside()
    {
        QFETCH(QByteArray, content);
        QJsonParseError error;
        QJsonDocument::fromJson(content.startsWith("\xEF\xBB\xBF") ? content.mid(3) : content,
                                &error);
        const QString reason = error.error ? error.errorString() : "not an object";
        QVERIFY(writeFile(kFile, content));

        SettingManager settings;
        const QStringList kept = QDir("config").entryList(QDir::Files);
        QCOMPARE(kept.size(), 1);
        const auto match =
            QRegularExpression("^setting\\.json\\.bad-(\\d{8}-\\d{6})$").match(kept[0]);
        QVERIFY2(match.hasMatch(), qPrintable(kept[0]));
        const QDateTime stamp = QDateTime::fromString(match.captured(1), "yyyyMMdd-hhmmss");
        QVERIFY(qAbs(stamp.secsTo(QDateTime::currentDateTime())) <= 5);
        QCOMPARE(readFile("config/" + kept[0]), content);
        // One error line names the parse error and where the file went.
        const QStringList lines =
            QString(readFile("log/zarvo.log")).split('\n').filter("not valid JSON");
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].startsWith("[E|") && lines[0].contains(reason) &&
                     lines[0].contains(kept[0]),
                 qPrintable(lines[0]));

        // Nothing of it is used: defaults now, the template from the next alias on.
        QCOMPARE(settings.getStr("language", "def"), QString("def"));
        settings.installQrc("zarvo");
        QCOMPARE(readFile(kFile), readFile(kTemplate));
        QCOMPARE(readFile("config/" + kept[0]), content);
    }

    // clang-format off
    void wrongTypes_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("replaced"); // keys named by a W line
        QTest::newRow("port as text") << QByteArray(R"({"server":{"ip":"10.0.0.2","port":"abc"}})") << QStringList{"server/port"};
        QTest::newRow("port with a fraction") << QByteArray(R"({"server":{"ip":"10.0.0.2","port":5050.5}})") << QStringList{"server/port"};
        QTest::newRow("section as a list") << QByteArray(R"({"server":{"ip":"10.0.0.2","port":6000},"udp":[1]})") << QStringList{"udp"};
        QTest::newRow("all right, keys missing") << QByteArray(R"({"server":{"ip":"10.0.0.2","port":6000}})") << QStringList();
    }
    // clang-format on

    // A wrong value takes the template's default for that key alone, with one
    // W line naming it; the user's other values stay.
    void wrongTypes()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, replaced);
        QVERIFY(writeFile(kFile, content));
        SettingManager settings;
        settings.installQrc("zarvo");
        const QJsonObject defaults = velk::JsonFile::read(kTemplate).toObject();
        const QJsonObject server = settings.getObj("server");
        QCOMPARE(server.value("ip"), QJsonValue("10.0.0.2"));
        QCOMPARE(server.value("port").toInt(), replaced.contains("server/port") ? 5050 : 6000);
        if (replaced.contains("udp")) {
            QCOMPARE(settings.getObj("udp"), defaults.value("udp").toObject());
        }
        const QStringList lines =
            QString(readFile("log/zarvo.log")).split('\n').filter("has the wrong type");
        QCOMPARE(lines.size(), replaced.size());
        for (int i = 0; i < lines.size(); ++i) {
            QVERIFY2(lines[i].startsWith("[W|") && lines[i].contains('"' + replaced[i] + '"'),
                     qPrintable(lines[i]));
        }
        QCOMPARE(readFile(kFile), content); // kept until the next change
    }

    void unusable_data()
    {
        QTest::addColumn<QString>("blocker"); // made a folder where a file belongs, or vice versa
        QTest::addColumn<QString>("reported");
        QTest::newRow("working directory without a config folder") << "config"
                                                                   << "Cannot create settings file";
        QTest::newRow("settings file unreadable") << "config/setting.json/"
                                                  << "Cannot read settings file";
    }

    // Not an empty address: the template's values, and one error at start.
    void unusable()
    {
        QFETCH(QString, blocker);
        QFETCH(QString, reported);
        QVERIFY(blocker.endsWith('/') ? QDir().mkpath(blocker) : writeFile(blocker, "x"));
        SettingManager settings;
        settings.installQrc("zarvo");
        const QJsonObject defaults = velk::JsonFile::read(kTemplate).toObject();
        QCOMPARE(settings.getObj("server"), defaults.value("server").toObject());
        QCOMPARE(settings.getStr("language"), QString("cn"));
        QCOMPARE(QString(readFile("log/zarvo.log")).split('\n').filter(reported).size(), 1);
    }

    // What killed saves left is gone at start; nothing else is touched.
    void staleTemporaries()
    {
        const QStringList stale{"setting.json.Ab3xYz", "zvtheme.json.000000"};
        const QStringList kept{"setting.json.bad-20260101-120000", "notes.txt.Ab3xYz",
                               "setting.json.Ab3xY", "setting.json"};
        for (const QString& name : stale + kept) {
            QVERIFY(writeFile("config/" + name, "{}"));
        }
        SettingManager settings;
        const QStringList left = QDir("config").entryList(QDir::Files, QDir::Name);
        QCOMPARE(left, (QStringList{"notes.txt.Ab3xYz", "setting.json", "setting.json.Ab3xY",
                                    "setting.json.bad-20260101-120000"}));
    }
};

QTEST_GUILESS_MAIN(tst_SettingManager)

#include "tst_settingmanager.moc"
