#include "../services/modalcloser.h"
#include "../velk/stderrcapture.h"
#include "testfiles.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"

#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(QMessageBox::StandardButton)
Q_DECLARE_METATYPE(QMessageBox::Icon)

namespace {

const QByteArray kSitePassword = "site-secret-5817";
const QString kLogFile = QStringLiteral("log/zarvo.log");
// "MM/dd hh:mm:ss.zzz"
const QString kLineTime = QStringLiteral("(\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d)");

// How the log lines print an object pointer.
QString senderText(QObject* sender)
{
    QString text;
    QDebug(&text).noquote().nospace() << sender;
    return text;
}

// A line time, which has no year, is taken as this year's.
bool isRecent(const QString& lineTime)
{
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime t =
        QDateTime::fromString(QString::number(now.date().year()) + QLatin1Char('/') + lineTime,
                              QStringLiteral("yyyy/MM/dd hh:mm:ss.zzz"));
    return t.isValid() && qAbs(t.secsTo(now)) <= 5;
}

// Replace the alias list by `aliases`, registered in that order.
void setAliases(const QStringList& aliases)
{
    const QStringList current = helper().aliases();
    for (const QString& alias : current) {
        helper().cancelQrcAlias(alias);
    }
    for (const QString& alias : aliases) {
        helper().registQrcAlias(alias);
    }
}

// The host's main module, under which message boxes would be parented.
class Host : public pomr::BModule
{
public:
    QWidget* wgt() override { return &widget; }
    QWidget widget;
};

} // namespace

class tst_ManagerHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    // Must stay first: it sees the helper being created.
    void accessorsCreateHelperOnce();
    void rsyncPasswordFromEnvironment();
    void aliasRegistry();
    void explicitAliasIsUnchecked_data();
    void explicitAliasIsUnchecked();
    void lookupPrecedence_data();
    void lookupPrecedence();
    void cancelledAliasNotSearched();
    void subAddsALevel_data();
    void subAddsALevel();
    void missingFileWarning();
    void missingFileWithoutAliases();
    void throwLogLevels_data();
    void throwLogLevels();
    void throwLogRecordsControllerId();
    void throwLogNullSender();
    void throwLogKeepsLastRecord();
    void showMsgLevels_data();
    void showMsgLevels();

private:
    QString m_startDir;
    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;
};

void tst_ManagerHelper::initTestCase()
{
    // Everything here writes relative to the working directory; the helper's
    // settings manager reads ./config when it is created.
    QVERIFY(m_root.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_root.path()));
    QVERIFY(writeFile(QStringLiteral("config/setting.json"), R"({"language":"en"})"));
    velk::QLog::setConsoleEnabled(true);
    zarvo::setDebugLogEnabled(true);
    qputenv("RSYNC_PASSWORD", kSitePassword);
}

void tst_ManagerHelper::cleanupTestCase()
{
    QDir::setCurrent(m_startDir);
}

void tst_ManagerHelper::init()
{
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir::setCurrent(m_dir->path()));
    // English, so that registering an alias installs no translation.
    QVERIFY(writeFile(QStringLiteral("config/setting.json"), R"({"language":"en"})"));
}

void tst_ManagerHelper::cleanup()
{
    QDir::setCurrent(m_root.path());
    m_dir.reset();
}

void tst_ManagerHelper::accessorsCreateHelperOnce()
{
    QVERIFY(!velk::m().module(QStringLiteral("rc")));
    QVERIFY(!velk::resource().getModulePtr(nullptr, QStringLiteral("setting")));

    StderrCapture capture;
    ControllerManager* controller = rc();
    const QByteArray console = capture.take();
    QVERIFY(controller);
    SettingManager* settings = setting();
    ThemeManager* themes = theme();
    QVERIFY(settings);
    QVERIFY(themes);

    // Created by that first call, each exactly once.
    QCOMPARE(velk::m().module(controller->name()), static_cast<QObject*>(controller));
    QCOMPARE(velk::resource().getModulePtr(nullptr, QStringLiteral("setting")),
             static_cast<QObject*>(settings));
    QCOMPARE(&helper(), &ManagerHelper::instance());
    QCOMPARE(helper().getControllerManager(), controller);
    QCOMPARE(helper().getSettingManager(), settings);
    QCOMPARE(helper().getThemeManager(), themes);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(rc(), controller);
        QCOMPARE(setting(), settings);
        QCOMPARE(theme(), themes);
    }
    QVERIFY(!controller->parent());
    QVERIFY(!settings->parent());
    QVERIFY(!themes->parent());
    QVERIFY(helper().aliases().isEmpty());
    // The settings were read from the working directory of that moment.
    QCOMPARE(settings->getStr(QStringLiteral("language")), QStringLiteral("en"));

    QVERIFY(!console.contains(kSitePassword));
    QVERIFY(!readFile(kLogFile).contains(kSitePassword));
}

void tst_ManagerHelper::rsyncPasswordFromEnvironment()
{
    QProcess* process = helper().rsyncProcess();
    QVERIFY(process);
    const QProcessEnvironment env = process->processEnvironment();
    // The site's value wins over the built-in one; the rest of the
    // environment is passed on.
    QCOMPARE(env.value(QStringLiteral("RSYNC_PASSWORD")), QString::fromLatin1(kSitePassword));
    QCOMPARE(env.value(QStringLiteral("PATH")), QString::fromLocal8Bit(qgetenv("PATH")));
}

void tst_ManagerHelper::aliasRegistry()
{
    setAliases({});
    QVERIFY(helper().registQrcAlias(QStringLiteral("zarvo")));
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());
    QVERIFY(!helper().registQrcAlias(QStringLiteral("zarvo")));
    helper().registRootQrcAlias(QStringLiteral("zarvo"));
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});

    // Case-sensitive, kept in registration order.
    QVERIFY(helper().registQrcAlias(QStringLiteral("Zarvo")));
    helper().registRootQrcAlias(QStringLiteral("pageA"));
    QCOMPARE(helper().aliases(), (QStringList{"zarvo", "Zarvo", "pageA"}));
    QVERIFY(QFileInfo(QStringLiteral("cache/pageA")).isDir());

    QVERIFY(helper().cancelQrcAlias(QStringLiteral("Zarvo")));
    QVERIFY(!helper().cancelQrcAlias(QStringLiteral("Zarvo")));
    QVERIFY(!helper().cancelQrcAlias(QStringLiteral("ZARVO")));
    QVERIFY(!helper().cancelQrcAlias(QString()));
    QCOMPARE(helper().aliases(), (QStringList{"zarvo", "pageA"}));
    // Folders made for an alias stay after it is cancelled.
    QVERIFY(QFileInfo(QStringLiteral("cache/Zarvo")).isDir());

    // A cancelled alias can come back, now as the newest.
    QVERIFY(helper().registQrcAlias(QStringLiteral("Zarvo")));
    QCOMPARE(helper().aliases(), (QStringList{"zarvo", "pageA", "Zarvo"}));
    setAliases({});
    QVERIFY(helper().aliases().isEmpty());
}

void tst_ManagerHelper::explicitAliasIsUnchecked_data()
{
    QTest::addColumn<QString>("dir");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("sub");
    QTest::addColumn<QString>("alias");
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing") << "template"
                             << ".json"
                             << "nothing"
                             << ""
                             << "other"
                             << ":/other/template/nothing.json";
    QTest::newRow("missing with sub") << "images"
                                      << ".png"
                                      << "body"
                                      << "arrow"
                                      << "pageB"
                                      << ":/pageB/images/body/arrow.png";
    QTest::newRow("on disk still compiled-in path") << "template"
                                                    << ".json"
                                                    << "x"
                                                    << ""
                                                    << "zarvo"
                                                    << ":/zarvo/template/x.json";
    QTest::newRow("existing resource") << "template"
                                       << ".json"
                                       << "setting"
                                       << ""
                                       << "zarvo"
                                       << ":/zarvo/template/setting.json";
}

void tst_ManagerHelper::explicitAliasIsUnchecked()
{
    QFETCH(QString, dir);
    QFETCH(QString, suffix);
    QFETCH(QString, name);
    QFETCH(QString, sub);
    QFETCH(QString, alias);
    QFETCH(QString, expected);

    setAliases({QStringLiteral("zarvo")});
    QVERIFY(writeFile(QStringLiteral("zarvo/template/x.json"), "{}"));
    const QByteArray logBefore = readFile(kLogFile);
    StderrCapture capture;
    const QString path = helper().getQrcPath(dir, suffix, name, sub, alias);
    QCOMPARE(capture.take(), QByteArray());
    QCOMPARE(path, expected);
    QCOMPARE(readFile(kLogFile), logBefore);
}

void tst_ManagerHelper::lookupPrecedence_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("onDisk");
    QTest::addColumn<QString>("expected");
    QTest::newRow("newest alias wins on disk")
        << "x" << QStringList{"zarvo/template/x.json", "pageA/template/x.json"}
        << "pageA/template/x.json";
    QTest::newRow("older alias when the newest has none")
        << "x" << QStringList{"zarvo/template/x.json"} << "zarvo/template/x.json";
    QTest::newRow("newest on disk over older compiled-in")
        << "setting" << QStringList{"pageA/template/setting.json"} << "pageA/template/setting.json";
    QTest::newRow("disk over compiled-in of the same alias")
        << "setting" << QStringList{"zarvo/template/setting.json"} << "zarvo/template/setting.json";
    QTest::newRow("compiled-in when nothing on disk")
        << "setting" << QStringList() << ":/zarvo/template/setting.json";
    QTest::newRow("a folder of the file's name counts as present")
        << "dir" << QStringList{"zarvo/template/dir.json/inside"} << "zarvo/template/dir.json";
}

void tst_ManagerHelper::lookupPrecedence()
{
    QFETCH(QString, name);
    QFETCH(QStringList, onDisk);
    QFETCH(QString, expected);

    setAliases({QStringLiteral("zarvo"), QStringLiteral("pageA")});
    for (const QString& file : onDisk) {
        QVERIFY(writeFile(file, "{}"));
    }
    QCOMPARE(helper().getQrcPath(QStringLiteral("template"), QStringLiteral(".json"), name,
                                 QString(), QString()),
             expected);
}

void tst_ManagerHelper::cancelledAliasNotSearched()
{
    setAliases({QStringLiteral("zarvo"), QStringLiteral("pageA")});
    QVERIFY(writeFile(QStringLiteral("pageA/template/setting.json"), "{}"));
    QCOMPARE(helper().getQrcPath(QStringLiteral("template"), QStringLiteral(".json"),
                                 QStringLiteral("setting"), QString(), QString()),
             QStringLiteral("pageA/template/setting.json"));
    QVERIFY(helper().cancelQrcAlias(QStringLiteral("pageA")));
    QCOMPARE(helper().getQrcPath(QStringLiteral("template"), QStringLiteral(".json"),
                                 QStringLiteral("setting"), QString(), QString()),
             QStringLiteral(":/zarvo/template/setting.json"));
}

void tst_ManagerHelper::subAddsALevel_data()
{
    QTest::addColumn<QString>("sub");
    QTest::addColumn<QString>("onDisk");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty sub") << ""
                               << "zarvo/images/logo.png"
                               << "zarvo/images/logo.png";
    QTest::newRow("sub") << "big"
                         << "zarvo/images/logo/big.png"
                         << "zarvo/images/logo/big.png";
    QTest::newRow("sub does not find the plain file") << "big"
                                                      << "zarvo/images/logo.png"
                                                      << ":/zarvo/images/logo/big.png";
    QTest::newRow("empty sub does not find the level") << ""
                                                       << "zarvo/images/logo/big.png"
                                                       << ":/zarvo/images/logo.png";
}

void tst_ManagerHelper::subAddsALevel()
{
    QFETCH(QString, sub);
    QFETCH(QString, onDisk);
    QFETCH(QString, expected);
    setAliases({QStringLiteral("zarvo")});
    QVERIFY(writeFile(onDisk, "png"));
    QCOMPARE(helper().getQrcPath(QStringLiteral("images"), QStringLiteral(".png"),
                                 QStringLiteral("logo"), sub, QString()),
             expected);
}

void tst_ManagerHelper::missingFileWarning()
{
    setAliases({QStringLiteral("zarvo"), QStringLiteral("pageA")});
    QObject sender;
    ManagerHelper::throwLog(&sender, QStringLiteral("debug"), QStringLiteral("marker"));
    ManagerHelper::throwLog(nullptr, QStringLiteral("debug"), QStringLiteral("marker"));
    const QByteArray logBefore = readFile(kLogFile);

    StderrCapture capture;
    const QString path =
        helper().getQrcPath(QStringLiteral("render"), QStringLiteral(".json"),
                            QStringLiteral("body"), QStringLiteral("navtree"), QString());
    const QString console = QString::fromUtf8(capture.take());

    // The compiled-in path of the first registered alias.
    QCOMPARE(path, QStringLiteral(":/zarvo/render/body/navtree.json"));
    QVERIFY(!QFileInfo::exists(path));

    const QString items = QStringLiteral(
        "no qrc file: \":/<alias>/render/body/navtree.json\" with <alias> in {zarvo,pageA}");
    const QRegularExpressionMatch line =
        QRegularExpression(QStringLiteral("^\\x1b\\[33m\\[W\\|") + kLineTime +
                           QStringLiteral("\\] ") + QRegularExpression::escape(items) +
                           QStringLiteral("\\x1b\\[0m\\n$"))
            .match(console);
    QVERIFY2(line.hasMatch(), qPrintable(console));
    QVERIFY(isRecent(line.captured(1)));
    QCOMPARE(QString::fromUtf8(readFile(kLogFile).mid(logBefore.size())),
             QStringLiteral("[W|%1] %2\n").arg(line.captured(1), items));

    // Not published as the current HMI log record.
    QCOMPARE(velk::resource()
                 .get(nullptr, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
                 .toObject()
                 .value(QStringLiteral("title"))
                 .toString(),
             QStringLiteral("marker"));
}

void tst_ManagerHelper::missingFileWithoutAliases()
{
    setAliases({});
    StderrCapture capture;
    const QString path = helper().getQrcPath(QStringLiteral("template"), QStringLiteral(".json"),
                                             QStringLiteral("rc"), QString(), QString());
    const QString console = QString::fromUtf8(capture.take());
    QCOMPARE(path, QString());
    QVERIFY2(console.contains(
                 QStringLiteral("no qrc file: \":/<alias>/template/rc.json\" with <alias> in {}")),
             qPrintable(console));
}

void tst_ManagerHelper::throwLogLevels_data()
{
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("letter");
    QTest::addColumn<QString>("colour");
    QTest::addColumn<bool>("toFile");

    const QString cyan = QStringLiteral("\033[36m");
    const QString yellow = QStringLiteral("\033[33m");
    const QString red = QStringLiteral("\033[31m");
    const QString green = QStringLiteral("\033[32m");
    QTest::newRow("info") << "info"
                          << "I" << cyan << true;
    QTest::newRow("i") << "i"
                       << "I" << cyan << true;
    QTest::newRow("in") << "in"
                        << "I" << cyan << true;
    QTest::newRow("Info falls to debug") << "Info"
                                         << "d" << green << false;
    QTest::newRow("empty") << ""
                           << "d" << green << false;
    QTest::newRow("warning") << "warning"
                             << "W" << yellow << true;
    QTest::newRow("w") << "w"
                       << "W" << yellow << true;
    QTest::newRow("W falls to debug") << "W"
                                      << "d" << green << false;
    QTest::newRow("error") << "error"
                           << "E" << red << true;
    QTest::newRow("e") << "e"
                       << "E" << red << true;
    QTest::newRow("E falls to debug") << "E"
                                      << "d" << green << false;
    QTest::newRow("debug") << "debug"
                           << "d" << green << false;
    QTest::newRow("anything else") << "trace"
                                   << "d" << green << false;
}

void tst_ManagerHelper::throwLogLevels()
{
    QFETCH(QString, level);
    QFETCH(QString, letter);
    QFETCH(QString, colour);
    QFETCH(bool, toFile);

    QObject sender;
    sender.setObjectName(QStringLiteral("page"));
    const QString text = QStringLiteral("event of %1").arg(QTest::currentDataTag());
    const QByteArray logBefore = readFile(kLogFile);

    StderrCapture capture;
    const QDateTime before = QDateTime::currentDateTime();
    ManagerHelper::throwLog(&sender, level, text);
    const QDateTime after = QDateTime::currentDateTime();
    const QString console = QString::fromUtf8(capture.take());

    // A debug line shows the level string (even an empty one); the others don't.
    const QString items =
        toFile ? QStringLiteral("<hmi log> %1 %2").arg(senderText(&sender), text)
               : QStringLiteral("<hmi log> %1 %2 %3").arg(level, senderText(&sender), text);
    const QRegularExpressionMatch line =
        QRegularExpression(QLatin1Char('^') + QRegularExpression::escape(colour) +
                           QStringLiteral("\\[") + letter + QStringLiteral("\\|") + kLineTime +
                           QStringLiteral("\\] ") + QRegularExpression::escape(items) +
                           QStringLiteral("\\x1b\\[0m\\n$"))
            .match(console);
    QVERIFY2(line.hasMatch(), qPrintable(console));
    QVERIFY(isRecent(line.captured(1)));

    const QString written = QString::fromUtf8(readFile(kLogFile).mid(logBefore.size()));
    if (toFile) {
        QCOMPARE(written, QStringLiteral("[%1|%2] %3\n").arg(letter, line.captured(1), items));
    } else {
        QCOMPARE(written, QString());
    }

    const QJsonObject record =
        velk::resource()
            .get(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
            .toObject();
    QCOMPARE(record.keys(), (QStringList{"date_time", "level", "rcid", "title"}));
    QCOMPARE(record.value(QStringLiteral("level")).toString(), level);
    QCOMPARE(record.value(QStringLiteral("title")).toString(), text);
    QCOMPARE(record.value(QStringLiteral("rcid")).toString(), QString());
    const QString stamp = record.value(QStringLiteral("date_time")).toString();
    QVERIFY2(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d/\\d\\d:\\d\\d:\\d\\d$"))
                 .match(stamp)
                 .hasMatch(),
             qPrintable(stamp));
    const QDateTime published = QDateTime::fromString(stamp, QStringLiteral("yyyy-MM-dd/HH:mm:ss"));
    QVERIFY(published >= before.addMSecs(-before.time().msec()));
    QVERIFY(published <= after);
}

void tst_ManagerHelper::throwLogRecordsControllerId()
{
    velk::ModuleObject* id = velk::m().ensure(QStringLiteral("zarvo.r.id"));
    id->set(nullptr, QStringLiteral("RC-0042"));
    QObject sender;
    ManagerHelper::throwLog(&sender, QStringLiteral("info"), QStringLiteral("with id"));
    id->set(nullptr, QString());
    QCOMPARE(velk::resource()
                 .get(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
                 .toObject()
                 .value(QStringLiteral("rcid"))
                 .toString(),
             QStringLiteral("RC-0042"));
}

void tst_ManagerHelper::throwLogNullSender()
{
    StderrCapture capture;
    ManagerHelper::throwLog(nullptr, QStringLiteral("warning"), QStringLiteral("no sender"));
    const QString console = QString::fromUtf8(capture.take());
    QVERIFY2(console.contains(QStringLiteral("<hmi log> %1 no sender").arg(senderText(nullptr))),
             qPrintable(console));
    QVERIFY(readFile(kLogFile).contains("no sender"));
    const QJsonObject record =
        velk::resource()
            .get(nullptr, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
            .toObject();
    QCOMPARE(record.value(QStringLiteral("title")).toString(), QStringLiteral("no sender"));
    QCOMPARE(record.value(QStringLiteral("level")).toString(), QStringLiteral("warning"));
}

void tst_ManagerHelper::throwLogKeepsLastRecord()
{
    QObject sender;
    QObject other;
    velk::ResourceWatcher* watcher =
        velk::resource().getWatcher(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"));
    QSignalSpy spy(watcher, &velk::ResourceWatcher::valueChanged);

    ManagerHelper::throwLog(&sender, QStringLiteral("info"), QStringLiteral("first"));
    ManagerHelper::throwLog(&other, QStringLiteral("info"), QStringLiteral("elsewhere"));
    ManagerHelper::throwLog(&sender, QStringLiteral("d"), QStringLiteral("second"));

    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toJsonValue().toObject().value(QStringLiteral("title")).toString(),
             QStringLiteral("first"));
    const QJsonObject record =
        velk::resource()
            .get(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
            .toObject();
    QCOMPARE(record.value(QStringLiteral("title")).toString(), QStringLiteral("second"));
    QCOMPARE(record.value(QStringLiteral("level")).toString(), QStringLiteral("d"));
    QCOMPARE(record.size(), 4);
}

void tst_ManagerHelper::showMsgLevels_data()
{
    QTest::addColumn<QString>("level");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QMessageBox::Icon>("icon");

    QTest::newRow("info") << "info" << true << "Information" << QMessageBox::Information;
    QTest::newRow("i") << "i" << true << "Information" << QMessageBox::Information;
    QTest::newRow("warning") << "warning" << true << "Warning!" << QMessageBox::Warning;
    QTest::newRow("error") << "error" << true << "Error!" << QMessageBox::Critical;
    QTest::newRow("question") << "question" << true << "Question" << QMessageBox::Question;
    QTest::newRow("Info shows nothing") << "Info" << false << "" << QMessageBox::NoIcon;
    QTest::newRow("empty shows nothing") << "" << false << "" << QMessageBox::NoIcon;
    QTest::newRow("debug shows nothing") << "debug" << false << "" << QMessageBox::NoIcon;
}

void tst_ManagerHelper::showMsgLevels()
{
    QFETCH(QString, level);
    QFETCH(bool, shown);
    QFETCH(QString, title);
    QFETCH(QMessageBox::Icon, icon);

    Host host;
    QVERIFY(velk::resource().regist(&host, QStringLiteral("velk"), true));

    QString seenTitle;
    QString seenText;
    QMessageBox::Icon seenIcon = QMessageBox::NoIcon;
    QWidget* seenParent = &host.widget;
    ModalCloser closer([&](QMessageBox* box) {
        seenTitle = box->windowTitle();
        seenText = box->text();
        seenIcon = box->icon();
        seenParent = box->parentWidget();
        ModalCloser::press(QMessageBox::No)(box);
    });
    const QMessageBox::StandardButton result = ManagerHelper::showMsg(
        level, QStringLiteral("the text"), QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
    QVERIFY(!closer.timedOut());
    if (!shown) {
        QCOMPARE(result, QMessageBox::NoButton);
        QCOMPARE(closer.seen(), 0);
        return;
    }
    QCOMPARE(closer.seen(), 1);
    QCOMPARE(result, QMessageBox::No);
    QCOMPARE(seenTitle, title);
    QCOMPARE(seenIcon, icon);
    QCOMPARE(seenText, QStringLiteral("the text"));
    QVERIFY(!seenParent);
}

QTEST_MAIN(tst_ManagerHelper)

#include "tst_managerhelper.moc"
