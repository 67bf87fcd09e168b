#include "lifecycledriver.h"

#include "bmodule.h"

#include <QPointer>

namespace pomr {

namespace {

void callHook(BModule* module, LifecycleDriver::Phase phase)
{
    switch (phase) {
    case LifecycleDriver::Setup:
        module->setup();
        break;
    case LifecycleDriver::AfterSetup:
        module->afterSetup();
        break;
    case LifecycleDriver::Init:
        module->init();
        break;
    case LifecycleDriver::AfterInit:
        module->afterInit();
        break;
    case LifecycleDriver::Render:
        module->render();
        break;
    case LifecycleDriver::AfterRender:
        module->afterRender();
        break;
    case LifecycleDriver::Idle:
        module->idle();
        break;
    case LifecycleDriver::AfterIdle:
        module->afterIdle();
        break;
    case LifecycleDriver::BeforeDetach:
        module->beforeDetach();
        break;
    case LifecycleDriver::Detach:
        module->detach();
        break;
    }
}

// The submodule list is read after the module's own hook ran, so that
// submodules added in setup() are reached in the same pass.
void preOrder(BModule* module, LifecycleDriver::Phase phase, int depth)
{
    // A module tree is shallow; a cycle (a module added below its own
    // descendant) would otherwise recurse until the stack runs out.
    if (!module || depth > 64) {
        return;
    }
    QPointer<BModule> guard(module);
    callHook(module, phase);
    if (guard.isNull()) {
        return;
    }
    const QList<BModule*> subs = module->submodules();
    QList<QPointer<BModule>> guarded;
    for (BModule* sub : subs) {
        guarded.append(sub);
    }
    for (const QPointer<BModule>& sub : qAsConst(guarded)) {
        if (sub) {
            preOrder(sub, phase, depth + 1);
        }
    }
}

// Teardown visits submodules before their parent, over the lists as they
// stand before anyone detaches: a parent that drops submodules in its own
// detach() must not keep them from detaching.
void collectPostOrder(BModule* module, QList<QPointer<BModule>>& out, int depth)
{
    if (!module || depth > 64) {
        return;
    }
    const QList<BModule*> subs = module->submodules();
    for (BModule* sub : subs) {
        collectPostOrder(sub, out, depth + 1);
    }
    out.append(module);
}

} // namespace

LifecycleDriver::LifecycleDriver(QObject* parent)
    : QObject(parent)
{
}

LifecycleDriver::~LifecycleDriver() = default;

void LifecycleDriver::startup(BModule* root)
{
    for (Phase phase : {Setup, AfterSetup, Init, AfterInit, Render, AfterRender, Idle, AfterIdle}) {
        runPhase(root, phase);
    }
}

void LifecycleDriver::shutdown(BModule* root)
{
    runPhase(root, BeforeDetach);
    runPhase(root, Detach);
}

void LifecycleDriver::runPhase(BModule* root, Phase phase)
{
    if (!root) {
        return;
    }
    Q_EMIT phaseStarted(phase);
    if (phase != Detach) {
        preOrder(root, phase, 0);
        return;
    }
    QList<QPointer<BModule>> order;
    collectPostOrder(root, order, 0);
    for (const QPointer<BModule>& module : qAsConst(order)) {
        if (module) {
            module->detach();
        }
    }
}

} // namespace pomr
