#include "bmodule.h"

#include "lifecycledriver.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QPointer>

namespace pomr {

class BModule::Private
{
public:
    // The bound node can be removed from the tree behind our back (its owner
    // cancels its registration); a guarded pointer turns that into "unbound".
    QPointer<velk::ModuleObject> mobj;
    QList<QPointer<BModule>> submodules;
};

BModule::BModule(QObject* parent)
    : QObject(parent)
    , d(new Private)
{
}

BModule::~BModule()
{
    delete d;
}

velk::ModuleObject* BModule::mobj() const
{
    if (d->mobj.isNull()) {
        return velk::ModuleManager::emptyMobj();
    }
    return d->mobj.data();
}

velk::ModuleObject* BModule::bindMobj(const QString& name)
{
    velk::ModuleObject* node = velk::m().ensure(name);
    if (node->isEmptyMobj()) {
        d->mobj.clear();
    } else {
        d->mobj = node;
    }
    return node;
}

bool BModule::addSubmodule(BModule* module)
{
    if (!module || module == this) {
        return false;
    }
    for (const QPointer<BModule>& existing : qAsConst(d->submodules)) {
        if (existing == module) {
            return false;
        }
    }
    d->submodules.append(module);
    return true;
}

bool BModule::removeSubmodule(BModule* module)
{
    for (int i = 0; i < d->submodules.size(); ++i) {
        if (d->submodules.at(i) == module) {
            d->submodules.removeAt(i);
            return true;
        }
    }
    return false;
}

QList<BModule*> BModule::submodules() const
{
    QList<BModule*> list;
    list.reserve(d->submodules.size());
    for (const QPointer<BModule>& module : qAsConst(d->submodules)) {
        // A submodule deleted by its Qt parent simply drops out.
        if (!module.isNull()) {
            list.append(module.data());
        }
    }
    return list;
}

QString BModule::name() const
{
    return objectName();
}
QWidget* BModule::wgt()
{
    return nullptr;
}
void BModule::setup() {}
void BModule::afterSetup() {}
void BModule::init() {}
void BModule::afterInit() {}
void BModule::render() {}
void BModule::afterRender() {}
void BModule::idle() {}
void BModule::afterIdle() {}
void BModule::detach() {}
void BModule::beforeDetach() {}

void BModule::startRender()
{
    LifecycleDriver driver;
    driver.runPhase(this, LifecycleDriver::Render);
    driver.runPhase(this, LifecycleDriver::AfterRender);
}

} // namespace pomr
