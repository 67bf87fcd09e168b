#include "mainwindow.h"

#include "consolewidget.h"
#include "logdock.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <pomr/sidebar.h>
#include <pomr/statusbar.h>

#include <QAction>
#include <QCloseEvent>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>
#include <QVBoxLayout>

namespace hmi {

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_console(new ConsoleWidget)
    , m_consoleDock(new QDockWidget(tr("Console"), this))
    , m_logDock(new LogDock(this))
{
    setObjectName(QStringLiteral("wgtMainWindow"));
    setWindowTitle(QStringLiteral("zarvo HMI"));
    resize(1280, 800);

    // The shell widgets are process-wide; the window only places them.
    // Plug-ins fill them during their lifecycle, before the window shows.
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("wgtCentral"));
    auto* columns = new QHBoxLayout;
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(0);
    if (pomr::SideBar* side = pomr::instantiatedSideBar(this)) {
        columns->addWidget(side);
    }
    if (pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this)) {
        columns->addWidget(center, 1);
    }
    auto* rows = new QVBoxLayout(central);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    rows->addLayout(columns, 1);
    if (pomr::StatusBar* status = pomr::instantiatedStatusBar(this)) {
        rows->addWidget(status);
    }
    setCentralWidget(central);

    m_consoleDock->setObjectName(QStringLiteral("dockConsole"));
    m_consoleDock->setWidget(m_console);
    m_consoleDock->setAllowedAreas(Qt::BottomDockWidgetArea | Qt::TopDockWidgetArea);
    addDockWidget(Qt::BottomDockWidgetArea, m_consoleDock);
    // Operators do not need it; service staff open it when they do.
    m_consoleDock->hide();

    m_logDock->setAllowedAreas(Qt::BottomDockWidgetArea | Qt::TopDockWidgetArea |
                               Qt::RightDockWidgetArea);
    addDockWidget(Qt::BottomDockWidgetArea, m_logDock);
    tabifyDockWidget(m_consoleDock, m_logDock);
    m_logDock->hide();

    m_consoleAction = m_consoleDock->toggleViewAction();
    m_consoleAction->setText(tr("&Console"));
    m_consoleAction->setShortcut(QKeySequence(Qt::Key_F12));
    m_consoleAction->setShortcutContext(Qt::ApplicationShortcut);
    connect(m_consoleAction, &QAction::toggled, this, [this](bool on) {
        if (on) {
            m_console->setFocus();
        }
    });

    m_quitAction = new QAction(tr("&Quit"), this);
    m_quitAction->setShortcut(QKeySequence::Quit);
    connect(m_quitAction, &QAction::triggered, this, &MainWindow::quitRequested);

    QMenu* file = menuBar()->addMenu(QString());
    m_fileMenu = file;
    file->addAction(m_quitAction);
    QMenu* view = menuBar()->addMenu(QString());
    m_viewMenu = view;
    view->addAction(m_consoleAction);
    QAction* logAction = m_logDock->toggleViewAction();
    logAction->setObjectName(QStringLiteral("actLog"));
    view->addAction(logAction);
    m_consoleAction->setObjectName(QStringLiteral("actConsole"));
    m_quitAction->setObjectName(QStringLiteral("actQuit"));
    retranslate();
}

void MainWindow::changeEvent(QEvent* event)
{
    // The plug-in installs the translation of the configured language after
    // this window exists: the texts follow when it does.
    if (event->type() == QEvent::LanguageChange) {
        retranslate();
    }
    QMainWindow::changeEvent(event);
}

void MainWindow::retranslate()
{
    m_consoleDock->setWindowTitle(tr("Console"));
    m_consoleAction->setText(tr("&Console"));
    m_quitAction->setText(tr("&Quit"));
    m_fileMenu->setTitle(tr("&File"));
    m_viewMenu->setTitle(tr("&View"));
    m_logDock->toggleViewAction()->setText(tr("&Log"));
    m_logDock->setWindowTitle(tr("Log"));
}

bool MainWindow::restoreLayout(const QString& file)
{
    const QSettings settings(file, QSettings::IniFormat);
    const QByteArray geometry = settings.value(QStringLiteral("window/geometry")).toByteArray();
    const QByteArray state = settings.value(QStringLiteral("window/state")).toByteArray();
    // A damaged or foreign file restores nothing rather than something odd.
    const bool placed = !geometry.isEmpty() && restoreGeometry(geometry);
    const bool docked = !state.isEmpty() && restoreState(state);
    if (placed) {
        keepOnScreen();
    }
    return placed && docked;
}

void MainWindow::keepOnScreen()
{
    // A layout saved on a larger screen, or placed by a window manager that
    // is gone now, must not put the status bar out of the operator's sight.
    const QRect available = screen() ? screen()->availableGeometry() : QRect();
    if (available.isEmpty() || available.contains(geometry())) {
        return;
    }
    QRect fitted(geometry().topLeft(), size().boundedTo(available.size()));
    fitted.moveLeft(
        qBound(available.left(), fitted.left(), available.right() + 1 - fitted.width()));
    fitted.moveTop(qBound(available.top(), fitted.top(), available.bottom() + 1 - fitted.height()));
    setGeometry(fitted);
}

void MainWindow::saveLayout(const QString& file) const
{
    QSettings settings(file, QSettings::IniFormat);
    settings.setValue(QStringLiteral("window/geometry"), saveGeometry());
    settings.setValue(QStringLiteral("window/state"), saveState());
    settings.sync();
}

MainWindow::~MainWindow() = default;

void MainWindow::closeEvent(QCloseEvent* event)
{
    // The host ends the program in order; the window stays until then.
    event->ignore();
    Q_EMIT quitRequested();
}

} // namespace hmi
