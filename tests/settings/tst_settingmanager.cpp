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
};

QTEST_GUILESS_MAIN(tst_SettingManager)

#include "tst_settingmanager.moc"
