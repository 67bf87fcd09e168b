#include "../velk/stderrcapture.h"
#include "testfiles.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QtTest>

namespace {

const QByteArray kSitePassword = "site-secret-5817";
const QString kLogFile = QStringLiteral("log/zarvo.log");

// Exactly one line with `text` was appended to the log file.
bool loggedOnce(const QByteArray& appended, const QString& letter, const QString& text)
{
    return QRegularExpression("^\\[" + letter + "\\|[^\\]]+\\] " +
                              QRegularExpression::escape(text) + "\\n$")
        .match(QString::fromUtf8(appended))
        .hasMatch();
}

} // namespace

class tst_ManagerHelper : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        velk::QLog::setConsoleEnabled(true);
        zarvo::setDebugLogEnabled(true);
        qputenv("RSYNC_PASSWORD", kSitePassword);
    }

    void init()
    {
        // Everything writes below the working directory; English installs no translation.
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir::setCurrent(m_dir->path()));
        QVERIFY(writeFile("config/setting.json", R"({"language":"en"})"));
    }

    // Must stay first: it sees the helper being created.
    void accessorsCreateHelperOnce()
    {
        QVERIFY(!velk::m().module("rc"));
        QVERIFY(!velk::resource().getModulePtr(nullptr, "setting"));
        StderrCapture capture;
        ControllerManager* controller = rc();
        SettingManager* settings = setting();
        ThemeManager* themes = theme();
        const QByteArray console = capture.take();
        QVERIFY(controller && settings && themes);
        QCOMPARE(velk::m().module(controller->name()), static_cast<QObject*>(controller));
        QCOMPARE(velk::resource().getModulePtr(nullptr, "setting"),
                 static_cast<QObject*>(settings));
        QVERIFY(rc() == controller && setting() == settings && theme() == themes);
        QCOMPARE(settings->getStr("language"), QString("en"));

        // The site's rsync secret wins over the built-in one, the rest of the
        // environment is passed on, and the secret is never printed.
        const QProcessEnvironment env = helper().rsyncProcess()->processEnvironment();
        QCOMPARE(env.value("RSYNC_PASSWORD").toLatin1(), kSitePassword);
        QCOMPARE(env.value("PATH"), QString::fromLocal8Bit(qgetenv("PATH")));
        QVERIFY(!console.contains(kSitePassword) && !readFile(kLogFile).contains(kSitePassword));
    }

    // A second module claiming an alias would shadow the first one's files.
    void aliasRegistry()
    {
        QVERIFY(helper().registQrcAlias("zarvo") && !helper().registQrcAlias("zarvo"));
        QCOMPARE(helper().aliases(), QStringList{"zarvo"});
        QVERIFY(helper().cancelQrcAlias("zarvo") && !helper().cancelQrcAlias("zarvo"));
    }

    void getQrcPath_data()
    {
        QTest::addColumn<QStringList>("aliases");
        QTest::addColumn<QStringList>("onDisk");
        QTest::addColumn<QStringList>("nameSubAlias");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("warning"); // empty: nothing is logged
        const QStringList one{"zarvo"}, two{"zarvo", "pageA"}, none;
        auto row = [](const char* tag, const QStringList& aliases, const QStringList& onDisk,
                      const QStringList& nameSubAlias, const char* expected, const char* warning) {
            QTest::newRow(tag) << aliases << onDisk << nameSubAlias << QString(expected)
                               << QString(warning);
        };
        row("explicit alias ignores the disk", one, {"zarvo/template/x.json"}, {"x", "", "zarvo"},
            ":/zarvo/template/x.json", "");
        row("newest alias first", two, {"zarvo/template/x.json", "pageA/template/x.json"}, {"x"},
            "pageA/template/x.json", "");
        row("older alias when the newest has none", two, {"zarvo/template/x.json"}, {"x"},
            "zarvo/template/x.json", "");
        row("disk over compiled-in", one, {"zarvo/template/setting.json"}, {"setting"},
            "zarvo/template/setting.json", "");
        row("cancelled alias not searched", one, {"pageA/template/setting.json"}, {"setting"},
            ":/zarvo/template/setting.json", "");
        row("sub does not find the plain file", two, {"zarvo/template/logo.json"}, {"logo", "big"},
            ":/zarvo/template/logo/big.json",
            "no qrc file: \":/<alias>/template/logo/big.json\" with <alias> in {zarvo,pageA}");
        row("no alias at all", none, none, {"setting"}, "",
            "no qrc file: \":/<alias>/template/setting.json\" with <alias> in {}");
    }

    void getQrcPath()
    {
        QFETCH(QStringList, aliases);
        QFETCH(QStringList, onDisk);
        QFETCH(QStringList, nameSubAlias);
        QFETCH(QString, expected);
        QFETCH(QString, warning);
        for (const QString& alias : helper().aliases()) {
            helper().cancelQrcAlias(alias);
        }
        for (const QString& alias : aliases) {
            helper().registQrcAlias(alias);
        }
        for (const QString& file : onDisk) {
            QVERIFY(writeFile(file, "{}"));
        }
        const int logSize = readFile(kLogFile).size();
        StderrCapture capture;
        QCOMPARE(helper().getQrcPath("template", ".json", nameSubAlias.value(0),
                                     nameSubAlias.value(1), nameSubAlias.value(2)),
                 expected);
        const QByteArray console = capture.take();
        const QByteArray appended = readFile(kLogFile).mid(logSize);
        QVERIFY2(warning.isEmpty()
                     ? console.isEmpty() && appended.isEmpty()
                     : console.contains(warning.toUtf8()) && loggedOnce(appended, "W", warning),
                 console.constData());
    }

    void throwLog_data()
    {
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("letter");
        QTest::addColumn<bool>("toFile");
        for (const char* row : {"info:I", "i:I", "Info:d", ":d", "warning:W", "error:E"}) {
            const QStringList parts = QString(row).split(':');
            QTest::newRow(row) << parts.at(0) << parts.at(1) << (parts.at(1) != "d");
        }
    }

    void throwLog()
    {
        QFETCH(QString, level);
        QFETCH(QString, letter);
        QFETCH(bool, toFile);
        velk::m().ensure("zarvo.r.id")->set(nullptr, QString("RC-0042"));
        QObject sender, other;
        QString senderText;
        QDebug(&senderText).noquote().nospace() << &sender;
        const QString text = QString("event of ") + QTest::currentDataTag();
        QSignalSpy records(velk::resource().getWatcher(&sender, "log", "cur_hmi_log"),
                           &velk::ResourceWatcher::valueChanged);
        ManagerHelper::throwLog(&sender, "info", "replaced by the next one");
        ManagerHelper::throwLog(&other, "info", "of another sender");
        const int logSize = readFile(kLogFile).size();

        StderrCapture capture;
        ManagerHelper::throwLog(&sender, level, text);
        const QString console = QString::fromUtf8(capture.take());
        // Debug lines name the level (even an empty one); the others don't.
        const QString items = toFile ? QString("<hmi log> %1 %2").arg(senderText, text)
                                     : QString("<hmi log> %1 %2 %3").arg(level, senderText, text);
        QVERIFY2(console.contains("[" + letter + "|") && console.contains(items),
                 qPrintable(console));
        const QByteArray appended = readFile(kLogFile).mid(logSize);
        QVERIFY2(toFile ? loggedOnce(appended, letter, items) : appended.isEmpty(),
                 appended.data());

        QCOMPARE(records.count(), 2);
        QJsonObject record = velk::resource().get(&sender, "log", "cur_hmi_log").toObject();
        const QDateTime stamp =
            QDateTime::fromString(record.take("date_time").toString(), "yyyy-MM-dd/HH:mm:ss");
        QVERIFY(qAbs(stamp.secsTo(QDateTime::currentDateTime())) <= 5);
        QCOMPARE(record, (QJsonObject{{"level", level}, {"rcid", "RC-0042"}, {"title", text}}));
        ManagerHelper::throwLog(nullptr, level, text); // no sender: no crash
    }
};

QTEST_MAIN(tst_ManagerHelper)

#include "tst_managerhelper.moc"
