#include "controller/controllermanager.h"

#include <velk/modulemanager.h>
#include <velk/velk.h>

ControllerManager::ControllerManager(QObject* parent)
    : pomr::BModule(parent)
{
    velk::m().regist(this, name());
}

ControllerManager::~ControllerManager()
{
    velk::m().cancel(this, name());
}

QString ControllerManager::name() const
{
    return QStringLiteral("rc");
}

void ControllerManager::installQrc(const QString& alias)
{
    Q_UNUSED(alias)
}

void ControllerManager::connectToRC(bool rc, bool upgrade)
{
    Q_UNUSED(rc)
    Q_UNUSED(upgrade)
}
