#include "boundsettingpage.h"

#include "pagestyle.h"

#include <zarvo/binding.h>
#include <zarvo/controllermanager.h>
#include <zarvo/managerhelper.h>

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

namespace robotpages {

BoundSettingPage::BoundSettingPage(const QString& name, const QString& label, const QString& getter,
                                   const QString& setter, const QJsonObject& defaults,
                                   QObject* parent)
    : zarvo::BaseSettingPage(name, label, nullptr, parent)
    , m_getter(getter)
    , m_setter(setter)
    , m_defaults(defaults)
{
    setTitle(label);
}

BoundSettingPage::~BoundSettingPage() = default;

void BoundSettingPage::bindInputs()
{
    const QString path = velk::mName(QStringLiteral("robotpages"), name());
    QJsonObject node = m_defaults;
    node.insert(QStringLiteral("_get"), QJsonObject{{QStringLiteral("response"), m_getter}});
    node.insert(QStringLiteral("_set"), QJsonObject{{QStringLiteral("request"), m_setter}});
    velk::ModuleObject* object = velk::m().ensure(path);
    object->importFromJson(this, node, true, false, false);
    autoBindGet(&m_binder, object);
    autoBindSet(&m_binder, object);
    autoBind(this, path);
    enableAutoSave(true);
}

void BoundSettingPage::init()
{
    bindInputs();
    // Fresh values whenever the link comes up; none are invented meanwhile.
    connect(rc(), &ControllerManager::rcConnected, this, &BoundSettingPage::loadNow);
    if (rc()->isConnected()) {
        loadNow();
    }
}

void BoundSettingPage::render()
{
    renderPage(wgt());
}

void BoundSettingPage::loadFromRC()
{
    rc()->request(m_getter, nullptr);
}

} // namespace robotpages
