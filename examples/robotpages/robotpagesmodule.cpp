#include "robotpagesmodule.h"

#include "controllersettingpage.h"
#include "dragsettingpage.h"
#include "jogpage.h"
#include "statuspage.h"

#include <zarvo/basepage.h>
#include <zarvo/managerhelper.h>

namespace robotpages {

RobotPagesModule::RobotPagesModule(QObject* parent)
    : pomr::BModule(parent)
{
    // First, so that the translation is installed before any page names itself.
    helper().registQrcAlias(name());
}

RobotPagesModule::~RobotPagesModule()
{
    helper().cancelQrcAlias(name());
}

QString RobotPagesModule::name() const
{
    return QStringLiteral("robotpages");
}

void RobotPagesModule::setup()
{
    m_robot = new zarvo::BasePage(QStringLiteral("robot"), tr("Robot"), this);
    m_robot->addSubmodule(new StatusPage(m_robot));
    m_robot->addSubmodule(new JogPage(m_robot));
    addSubmodule(m_robot);

    m_settings = new zarvo::BasePage(QStringLiteral("settings"), tr("Settings"), this);
    m_settings->addSubmodule(new DragSettingPage(m_settings));
    m_settings->addSubmodule(new ControllerSettingPage(m_settings));
    addSubmodule(m_settings);
}

void RobotPagesModule::init()
{
    ManagerHelper::installSideTree(m_robot);
    ManagerHelper::installBaseSettingCategoryModule(m_settings);
    ManagerHelper::installSideTree(m_settings);
}

} // namespace robotpages

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new robotpages::RobotPagesModule(parent);
}
