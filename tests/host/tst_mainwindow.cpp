#include "host/consolewidget.h"
#include "host/mainwindow.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <pomr/sidebar.h>
#include <pomr/statusbar.h>

#include <QAction>
#include <QDockWidget>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QtTest>

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void placesTheShell();
    void consoleDockToggles();
    void closingAsksTheHost();
};

void TestMainWindow::cleanup()
{
    pomr::destroyShell();
}

void TestMainWindow::placesTheShell()
{
    hmi::MainWindow window;
    QCOMPARE(window.windowTitle(), QStringLiteral("zarvo HMI"));
    QWidget* side = pomr::instantiatedSideBar(nullptr, false);
    QWidget* center = pomr::instantiatedCenterWidget(nullptr);
    QWidget* status = pomr::instantiatedStatusBar(nullptr);
    QVERIFY(side && center && status);
    for (QWidget* part : {side, center, status}) {
        QCOMPARE(part->window(), &window);
    }
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    // Side bar left of the pages, status bar below both.
    QVERIFY(side->geometry().right() <= center->geometry().left());
    QVERIFY(status->mapTo(&window, QPoint()).y() >=
            center->mapTo(&window, QPoint()).y() + center->height());
}

void TestMainWindow::consoleDockToggles()
{
    hmi::MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(!window.consoleDock()->isVisible());
    QCOMPARE(window.consoleAction()->shortcut(), QKeySequence(Qt::Key_F12));

    // The action sits in a menu of the window.
    bool inMenu = false;
    for (QAction* menu : window.menuBar()->actions()) {
        inMenu =
            inMenu || (menu->menu() && menu->menu()->actions().contains(window.consoleAction()));
    }
    QVERIFY(inMenu);

    window.consoleAction()->trigger();
    QTRY_VERIFY(window.consoleDock()->isVisible());
    QCOMPARE(window.console()->window(), &window);
    window.consoleAction()->trigger();
    QTRY_VERIFY(!window.consoleDock()->isVisible());
}

void TestMainWindow::closingAsksTheHost()
{
    hmi::MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QSignalSpy quit(&window, &hmi::MainWindow::quitRequested);
    window.close();
    QCOMPARE(quit.count(), 1);
    // The host takes it down after the modules detached.
    QVERIFY(window.isVisible());
    window.quitAction()->trigger();
    QCOMPARE(quit.count(), 2);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
