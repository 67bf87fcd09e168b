#include "module/zarvo.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "runtime/constant.h"
#include "runtime/runtime.h"
#include "services/modulelog.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"
#include "widgets/operationrecorder.h"
#include "widgets/sidetree.h"

#include <velk/modulemanager.h>
#include <velk/velk.h>

#include <QApplication>

Zarvo::Zarvo(QObject* parent)
    : pomr::BModule(parent)
{
    zarvo::startLog() << "------" << name() << "------";
    velk::m().regist(this, name());
    helper().registRootQrcAlias(name());
}

Zarvo::~Zarvo()
{
    helper().cancelQrcAlias(name());
    velk::m().cancel(this, name());
}

QString Zarvo::name() const
{
    return QStringLiteral("zarvo");
}

void Zarvo::setup()
{
    addSubmodule(setting());
    addSubmodule(rc());
    addSubmodule(theme());
    addSubmodule(new zarvo::Runtime(this));
    addSubmodule(new zarvo::Constant(this));
    // The side tree is made of widgets; a process without a widget application (a tool that
    // only drives the link) goes without it rather than aborting.
    if (qobject_cast<QApplication*>(QCoreApplication::instance())) {
        addSubmodule(new zarvo::SideTree(this));
    }
}

void Zarvo::init() {}

void Zarvo::afterInit()
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || findChild<OperationRecorder*>(QString(), Qt::FindDirectChildrenOnly)) {
        return; // one recorder, or every press would be logged twice
    }
    app->installEventFilter(new OperationRecorder(this));
}

void Zarvo::render() {}

void Zarvo::idle()
{
    rc()->connectToRC(true, true);
    connect(theme(), &ThemeManager::themeChanged, this, &Zarvo::startRender, Qt::UniqueConnection);
}

void Zarvo::detach()
{
    removeSubmodule(theme());
    removeSubmodule(rc());
    removeSubmodule(setting());
}
