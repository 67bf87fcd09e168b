#pragma once

#include "pomr_global.h"

#include <QObject>

namespace pomr {

class BModule;

// Runs the lifecycle over a module tree. The host calls startup() once the
// root module exists and shutdown() before it is destroyed.
//
// startup: each phase runs over the whole tree before the next starts:
//   setup, afterSetup, init, afterInit, render, afterRender, idle, afterIdle.
// A phase walks the tree in pre-order (a module, then its submodules in
// order), reading each submodule list when it gets there, so submodules added
// during a module's setup take part from that phase on.
// shutdown: beforeDetach in pre-order, then detach in post-order (submodules
// before their parent), over the lists as they stand when the phase starts,
// so a parent that removes submodules in its detach does not hide them.
class POMR_EXPORT LifecycleDriver : public QObject
{
    Q_OBJECT

public:
    enum Phase {
        Setup,
        AfterSetup,
        Init,
        AfterInit,
        Render,
        AfterRender,
        Idle,
        AfterIdle,
        BeforeDetach,
        Detach,
    };
    Q_ENUM(Phase)

    explicit LifecycleDriver(QObject* parent = nullptr);
    ~LifecycleDriver() override;

    void startup(BModule* root);
    void shutdown(BModule* root);
    void runPhase(BModule* root, Phase phase);

Q_SIGNALS:
    // Before a phase starts over the tree.
    void phaseStarted(pomr::LifecycleDriver::Phase phase);
};

} // namespace pomr
