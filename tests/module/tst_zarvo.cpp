#include "../velk/stderrcapture.h"
#include "testfiles.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"
#include "runtime/constant.h"
#include "runtime/runtime.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"

#include <pomr/lifecycledriver.h>
#include <velk/modulemanager.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList names(const QList<pomr::BModule*>& modules)
{
    QStringList out;
    for (pomr::BModule* module : modules) {
        out.append(module->name());
    }
    return out;
}

// Counts re-renders of the tree it is part of.
class RenderCounter : public pomr::BModule
{
public:
    using pomr::BModule::BModule;
    QString name() const override { return QStringLiteral("counter"); }
    void render() override { ++renders; }
    int renders = 0;
};

} // namespace

class tst_Zarvo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    // In this order: one module through its whole life.
    void firstStartInEmptyDirectory();
    void oneNameEverywhere();
    void setupAddsManagersThenModules();
    void idleTiesThemeToRendering();
    void detachKeepsManagersAlive();
    void destructionCancelsRegistration();

private:
    QString m_startDir;
    QTemporaryDir m_dir;
    QPointer<Zarvo> m_zarvo;
    pomr::LifecycleDriver m_driver;
};

void tst_Zarvo::initTestCase()
{
    // The helper's settings manager reads ./config when it is created, which
    // is during the module's construction.
    QVERIFY(m_dir.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir.path()));
    velk::QLog::setConsoleEnabled(true);
    // No site password: the built-in one applies.
    qunsetenv("RSYNC_PASSWORD");
}

void tst_Zarvo::cleanupTestCase()
{
    delete m_zarvo;
    QDir::setCurrent(m_startDir);
}

void tst_Zarvo::firstStartInEmptyDirectory()
{
    QVERIFY(QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());

    StderrCapture capture;
    m_zarvo = new Zarvo(nullptr);
    const QString console = QString::fromUtf8(capture.take());

    // The banner comes first, on the console and in the log file.
    const QString time = QStringLiteral("\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d");
    QVERIFY2(QRegularExpression(QStringLiteral("^\\x1b\\[35m\\[S\\|") + time +
                                QStringLiteral("\\] ------ zarvo ------\\x1b\\[0m\\n"))
                 .match(console)
                 .hasMatch(),
             qPrintable(console));
    const QString logged = QString::fromUtf8(readFile(QStringLiteral("log/zarvo.log")));
    QVERIFY2(QRegularExpression(QStringLiteral("^\\[S\\|") + time +
                                QStringLiteral("\\] ------ zarvo ------\\n"))
                 .match(logged)
                 .hasMatch(),
             qPrintable(logged));

    // Settings from the template, writable, and the module's cache folder.
    QCOMPARE(readFile(QStringLiteral("config/setting.json")),
             readFile(QStringLiteral(":/zarvo/template/setting.json")));
    QVERIFY(QFileInfo(QStringLiteral("config/setting.json")).isWritable());
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());
    QCOMPARE(setting()->getStr(QStringLiteral("language")), QStringLiteral("cn"));
    // ... whose language "cn" installed the compiled-in translation.
    QCOMPARE(QCoreApplication::translate("QObject", "Warning"), QString::fromUtf8("警告"));

    // The built-in rsync password reaches the process environment only.
    QCOMPARE(helper().rsyncProcess()->processEnvironment().value(QStringLiteral("RSYNC_PASSWORD")),
             QStringLiteral("480917"));
    QVERIFY(!console.contains(QStringLiteral("480917")));
    QVERIFY(!logged.contains(QStringLiteral("480917")));
}

void tst_Zarvo::oneNameEverywhere()
{
    QVERIFY(m_zarvo);
    QCOMPARE(m_zarvo->name(), QStringLiteral("zarvo"));
    QCOMPARE(velk::m().module(QStringLiteral("zarvo")), static_cast<QObject*>(m_zarvo.data()));
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});
    QVERIFY(m_zarvo->submodules().isEmpty());
}

void tst_Zarvo::setupAddsManagersThenModules()
{
    QVERIFY(m_zarvo);
    m_driver.runPhase(m_zarvo, pomr::LifecycleDriver::Setup);

    const QList<pomr::BModule*> subs = m_zarvo->submodules();
    QCOMPARE(names(subs), (QStringList{"setting", "rc", "zvtheme", "r", "c"}));
    QCOMPARE(subs.at(0), static_cast<pomr::BModule*>(setting()));
    QCOMPARE(subs.at(1), static_cast<pomr::BModule*>(rc()));
    QCOMPARE(subs.at(2), static_cast<pomr::BModule*>(theme()));
    QVERIFY(qobject_cast<zarvo::Runtime*>(subs.at(3)));
    QVERIFY(qobject_cast<zarvo::Constant*>(subs.at(4)));
    // The module owns its own submodules, never the managers.
    QCOMPARE(subs.at(3)->parent(), m_zarvo.data());
    QCOMPARE(subs.at(4)->parent(), m_zarvo.data());
    QVERIFY(!setting()->parent());
    QVERIFY(!rc()->parent());
    QVERIFY(!theme()->parent());
}

void tst_Zarvo::idleTiesThemeToRendering()
{
    QVERIFY(m_zarvo);
    auto* counter = new RenderCounter(m_zarvo);
    QVERIFY(m_zarvo->addSubmodule(counter));

    // The controller's channels are registered in init(), which has not run:
    // the first connection attempt goes nowhere.
    m_zarvo->idle();
    m_zarvo->idle();
    QCOMPARE(counter->renders, 0);
    Q_EMIT theme()->themeChanged();
    // Connected once however often idle() runs.
    QCOMPARE(counter->renders, 1);

    QVERIFY(m_zarvo->removeSubmodule(counter));
    delete counter;
}

void tst_Zarvo::detachKeepsManagersAlive()
{
    QVERIFY(m_zarvo);
    QPointer<SettingManager> settings = setting();
    QPointer<ControllerManager> controller = rc();
    QPointer<ThemeManager> themes = theme();

    m_driver.shutdown(m_zarvo);

    QCOMPARE(names(m_zarvo->submodules()), (QStringList{"r", "c"}));
    QVERIFY(settings);
    QVERIFY(controller);
    QVERIFY(themes);
    QCOMPARE(setting(), settings.data());
    QCOMPARE(rc(), controller.data());
    QCOMPARE(theme(), themes.data());
    QCOMPARE(setting()->getStr(QStringLiteral("language")), QStringLiteral("cn"));
}

void tst_Zarvo::destructionCancelsRegistration()
{
    QVERIFY(m_zarvo);
    QPointer<pomr::BModule> runtime = m_zarvo->submodules().value(0);
    QVERIFY(runtime);
    delete m_zarvo;
    QVERIFY(!runtime);
    QVERIFY(!velk::m().module(QStringLiteral("zarvo")));
    QVERIFY(helper().aliases().isEmpty());
    // The managers outlive the module; the files it made stay.
    QVERIFY(setting());
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());
}

QTEST_MAIN(tst_Zarvo)

#include "tst_zarvo.moc"
