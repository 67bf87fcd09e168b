#include "hostmodule.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QWidget>

namespace hmi {

HostModule::HostModule(QObject* parent)
    : pomr::BModule(parent)
{
    setObjectName(registryName());
    velk::resource().regist(this, registryName(), true);
}

HostModule::~HostModule()
{
    velk::resource().cancel(this, registryName());
}

QString HostModule::registryName()
{
    return QStringLiteral("velk");
}

void HostModule::setWindow(QWidget* window)
{
    m_window = window;
}

QString HostModule::name() const
{
    return registryName();
}

QWidget* HostModule::wgt()
{
    return m_window.data();
}

} // namespace hmi
