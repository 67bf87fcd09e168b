#include "shell.h"

#include "centerwidget.h"
#include "sidebar.h"
#include "statusbar.h"

#include <QApplication>
#include <QPointer>

namespace pomr {

namespace {

struct Shell
{
    QPointer<SideBar> sideBar;
    QPointer<CenterWidget> centerWidget;
    QPointer<StatusBar> statusBar;
};

Shell& shell()
{
    static Shell instance;
    return instance;
}

template <typename T>
T* instantiate(QPointer<T>& slot)
{
    // Widgets need a QApplication; without one, asking for the shell is a
    // programming error of the host, and a null answer is safer than a crash.
    if (slot.isNull() && qobject_cast<QApplication*>(QCoreApplication::instance())) {
        slot = new T;
    }
    return slot.data();
}

} // namespace

SideBar* instantiatedSideBar(QObject* requester, bool create)
{
    Q_UNUSED(requester)
    Shell& s = shell();
    if (!create) {
        return s.sideBar.data();
    }
    return instantiate(s.sideBar);
}

CenterWidget* instantiatedCenterWidget(QObject* requester)
{
    Q_UNUSED(requester)
    return instantiate(shell().centerWidget);
}

StatusBar* instantiatedStatusBar(QObject* requester)
{
    Q_UNUSED(requester)
    return instantiate(shell().statusBar);
}

void destroyShell()
{
    Shell& s = shell();
    delete s.sideBar.data();
    delete s.centerWidget.data();
    delete s.statusBar.data();
}

} // namespace pomr
