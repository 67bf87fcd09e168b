#include "mainwindow.h"

#include "consolewidget.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <pomr/sidebar.h>
#include <pomr/statusbar.h>

#include <QAction>
#include <QCloseEvent>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QVBoxLayout>

namespace hmi {

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_console(new ConsoleWidget)
    , m_consoleDock(new QDockWidget(tr("Console"), this))
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

    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(m_quitAction);
    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(m_consoleAction);
}

MainWindow::~MainWindow() = default;

void MainWindow::closeEvent(QCloseEvent* event)
{
    // The host ends the program in order; the window stays until then.
    event->ignore();
    Q_EMIT quitRequested();
}

} // namespace hmi
