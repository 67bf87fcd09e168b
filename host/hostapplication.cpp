#include "hostapplication.h"

#include "exitcode.h"
#include "headlessconsole.h"
#include "headlessdialogguard.h"
#include "hostlog.h"
#include "hostmodule.h"
#include "linksupervisor.h"
#include "mainwindow.h"
#include "moduleloader.h"
#include "pluginloader.h"
#include "quitcommand.h"
#include "signalwatcher.h"
#include "statuspanel.h"
#include "themefollower.h"
#include "uicommand.h"
#include "waitcommand.h"
#include "windowmenus.h"

#include <pomr/lifecycledriver.h>
#include <pomr/shell.h>
#include <pomr/statusbar.h>
#include <velk/commandmanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMenuBar>
#include <QPointer>
#include <QStatusBar>

#include <cstdio>
#include <memory>
#include <vector>

namespace hmi {

namespace {

int exitCodeFor(PluginLoader::Status status)
{
    switch (status) {
    case PluginLoader::SymbolMissing:
        return ExitSymbolMissing;
    case PluginLoader::FactoryFailed:
        return ExitFactoryFailed;
    case PluginLoader::KitMismatch:
    case PluginLoader::NotLoadable:
    case PluginLoader::NotLoaded:
        return ExitPluginNotLoadable;
    case PluginLoader::Loaded:
        break;
    }
    return ExitFailure;
}

} // namespace

HostApplication::HostApplication(const HostOptions& options, QObject* parent)
    : QObject(parent)
    , m_options(options)
{
}

HostApplication::~HostApplication() = default;

int HostApplication::run()
{
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!app) {
        printError(QStringLiteral("zarvo-hmi: no QApplication"));
        return ExitFailure;
    }
    // Message boxes of the plug-in come and go; only the host decides when
    // the program ends.
    app->setQuitOnLastWindowClosed(false);

    PluginLoader loader(m_options.resolvedPluginFile(QCoreApplication::applicationDirPath()));
    if (!loader.load()) {
        printError(QStringLiteral("zarvo-hmi: ") + loader.errorString());
        return exitCodeFor(loader.status());
    }

    // Destroyed in reverse order of declaration: the console and the window
    // after the modules are gone, the host module last.
    HostModule host;
    QuitCommand quit;
    connect(&quit, &QuitCommand::quitRequested, this, &HostApplication::requestQuit);
    velk::command().regist(&quit);

    // The window exists headless too (on the offscreen platform), so that
    // scripts can inspect, click and photograph the same widgets an operator
    // sees; only a windowed run hands it to the plug-ins as their parent.
    std::unique_ptr<MainWindow> window = std::make_unique<MainWindow>();
    connect(window.get(), &MainWindow::quitRequested, this, &HostApplication::requestQuit);
    std::vector<std::unique_ptr<UiCommand>> uiCommands;
    for (UiCommand::Kind kind :
         {UiCommand::Dump, UiCommand::Click, UiCommand::Grab, UiCommand::Check}) {
        uiCommands.push_back(std::make_unique<UiCommand>(kind, window.get()));
        velk::command().regist(uiCommands.back().get());
    }
    std::unique_ptr<HeadlessConsole> console;
    std::unique_ptr<WaitCommand> wait;
    std::unique_ptr<HeadlessDialogGuard> guard;
    if (m_options.headless()) {
        console = std::make_unique<HeadlessConsole>();
        m_console = console.get();
        connect(console.get(), &HeadlessConsole::finished, this, &HostApplication::requestQuit);
        wait = std::make_unique<WaitCommand>();
        connect(wait.get(), &WaitCommand::waitRequested, console.get(), &HeadlessConsole::pause);
        velk::command().regist(wait.get());
        guard = std::make_unique<HeadlessDialogGuard>();
        guard->install();
    } else {
        host.setWindow(window.get());
    }

    QPointer<pomr::BModule> module = loader.createModule(&host);
    if (!module) {
        printError(QStringLiteral("zarvo-hmi: ") + loader.errorString());
        m_console = nullptr;
        pomr::destroyShell();
        return exitCodeFor(loader.status());
    }
    host.addSubmodule(module);

    // Further modules join after the core module, so that the managers they
    // call exist, and run their lifecycle after it in load order.
    ModuleLoader extras;
    const QList<QPointer<pomr::BModule>> extraModules = [&] {
        QList<QPointer<pomr::BModule>> created;
        const QStringList files = ModuleLoader::moduleFiles(
            HostOptions::modulesDir(QCoreApplication::applicationDirPath()),
            m_options.moduleFiles(), loader.fileName());
        // A core module that names no kit version (a stand-in) checks nothing.
        const QList<pomr::BModule*> modules = extras.load(files, &host, loader.kitVersion());
        for (pomr::BModule* extra : modules) {
            host.addSubmodule(extra);
            created.append(extra);
        }
        return created;
    }();
    const QVector<ModuleLoader::Failure> failures = extras.failures();
    for (const ModuleLoader::Failure& failure : failures) {
        reportLeftOut(failure.reason, !m_options.headless());
    }

    SignalWatcher terminations;
    connect(&terminations, &SignalWatcher::terminationRequested, this,
            &HostApplication::requestQuit);

    pomr::LifecycleDriver driver;
    driver.startup(&host);
    // The core module re-renders its own tree on a theme or zoom change; the
    // further modules' pages must change with it, after it.
    ThemeFollower themeFollower;
    for (const QPointer<pomr::BModule>& extra : extraModules) {
        themeFollower.addModule(extra);
    }
    themeFollower.follow(QStringLiteral("zvtheme"));
    // After the lifecycle, when the link, its channel and its commands exist.
    LinkSupervisor link;
    link.setEnabled(m_options.reconnect());
    link.attach();
    QStatusBar* statusBar = pomr::instantiatedStatusBar(this)->getStatusbar();
    // Owned by the status bar, which the shell deletes at the end.
    auto* panel = new StatusPanel;
    statusBar->addPermanentWidget(panel, 1);
    panel->attach(velk::m(QStringLiteral("zarvo.r"), nullptr));
    connect(&link, &LinkSupervisor::statusChanged, panel,
            [panel, &link](const QString& text) { panel->setLink(link.state(), text); });
    panel->setLink(link.state(), link.statusText());
    if (m_options.headless()) {
        // Nobody looks at an offscreen status bar: what it says goes to the log.
        panel->setLogChanges(true);
        connect(statusBar, &QStatusBar::messageChanged, this, [](const QString& text) {
            if (!text.isEmpty()) {
                hostLog('i', QStringLiteral("toast: ") + text);
            }
        });
    }
    WindowMenus menus;
    menus.install(window->menuBar());
    const QString layoutFile = QDir::current().absoluteFilePath(QStringLiteral("config/hmi.ini"));
    if (!m_options.headless()) {
        window->restoreLayout(layoutFile);
    }
    // Headless on a real display the window stays hidden: nobody asked for it.
    if (!m_options.headless() || QGuiApplication::platformName() == QLatin1String("offscreen")) {
        window->show();
    }
    if (console) {
        console->start();
    }

    const int code = app->exec();

    if (console) {
        console->stop();
    }
    m_console = nullptr;
    if (!m_options.headless()) {
        // What the operator arranged is kept even when the file cannot be
        // written (a read-only config/): QSettings then just does nothing.
        window->saveLayout(layoutFile);
    }
    link.detach();
    driver.shutdown(&host);
    // Later modules may use what the earlier ones provide: delete in reverse.
    for (int i = extraModules.size() - 1; i >= 0; --i) {
        if (pomr::BModule* extra = extraModules.at(i)) {
            host.removeSubmodule(extra);
            delete extra;
        }
    }
    if (module) {
        host.removeSubmodule(module);
        delete module.data();
    }
    // What the modules scheduled with deleteLater() while detaching is
    // destroyed now, while QApplication still exists; the event loop that
    // would have done it has ended.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    // Widgets the plug-in put into the shell are gone with its module; the
    // shell itself must go while QApplication still exists.
    pomr::destroyShell();
    window.reset();
    return code;
}

void HostApplication::requestQuit()
{
    if (m_quitRequested) {
        return;
    }
    m_quitRequested = true;
    // Lines after "quit" must not run while the event loop winds down.
    if (m_console) {
        m_console->stop();
    }
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [] { QCoreApplication::exit(ExitOk); }, Qt::QueuedConnection);
}

bool HostApplication::enterWorkDir(const QString& dir, QString* error)
{
    const QString path = QDir::cleanPath(QDir::current().absoluteFilePath(dir));
    const QFileInfo info(path);
    if (info.exists() && !info.isDir()) {
        if (error) {
            *error = QStringLiteral("working directory %1 is not a directory").arg(path);
        }
        return false;
    }
    if (!QDir().mkpath(path)) {
        if (error) {
            *error = QStringLiteral("cannot create working directory %1").arg(path);
        }
        return false;
    }
    if (!QDir::setCurrent(path)) {
        if (error) {
            *error = QStringLiteral("cannot enter working directory %1").arg(path);
        }
        return false;
    }
    return true;
}

bool HostApplication::displayAvailable()
{
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
           !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

void HostApplication::reportLeftOut(const QString& reason, bool inWindow)
{
    // A broken optional module must not stop the operator's HMI, but it must
    // not go unnoticed either: standard error, the log file and the window.
    const QString text = QStringLiteral("module left out: ") + reason;
    printError(QStringLiteral("zarvo-hmi: ") + text);
    velk::QFLog(QStringLiteral("\033[33m"),
                QStringLiteral("[W|%1]").arg(
                    QDateTime::currentDateTime().toString(QStringLiteral("MM/dd hh:mm:ss.zzz"))),
                QString(), QStringLiteral("./log/zarvo"), QStringLiteral("log"))
        << text;
    if (inWindow) {
        pomr::instantiatedStatusBar(this)->getStatusbar()->showMessage(text);
    }
}

void HostApplication::printError(const QString& text)
{
    const QByteArray line = text.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
}

} // namespace hmi
