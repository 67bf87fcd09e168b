#pragma once

#include "pomr_global.h"

#include <QList>
#include <QObject>

class QWidget;

namespace velk {
class ModuleObject;
}

namespace pomr {

// A unit of the application: a name, an optional widget, a bound module
// object, submodules, and a lifecycle driven by LifecycleDriver:
//   setup, afterSetup, init, afterInit, render, afterRender, idle, afterIdle
// at start, beforeDetach and detach at shutdown. Every hook does nothing by
// default.
class POMR_EXPORT BModule : public QObject
{
    Q_OBJECT

public:
    explicit BModule(QObject* parent = nullptr);
    ~BModule() override;

    // The module object bound with bindMobj(); the empty node when unbound (or
    // when the bound node was removed from the tree).
    velk::ModuleObject* mobj() const;
    // Bind to the node with this full name, creating the missing path.
    velk::ModuleObject* bindMobj(const QString& name);

    // Submodules in insertion order. A module is added once; the list does not
    // own them (Qt parents do).
    bool addSubmodule(BModule* module);
    bool removeSubmodule(BModule* module);
    QList<BModule*> submodules() const;

public Q_SLOTS:
    // objectName() unless overridden.
    virtual QString name() const;
    // Null unless overridden.
    virtual QWidget* wgt();

    virtual void setup();
    virtual void afterSetup();
    virtual void init();
    virtual void afterInit();
    virtual void render();
    virtual void afterRender();
    virtual void idle();
    virtual void afterIdle();
    virtual void detach();
    virtual void beforeDetach();

    // Run render, then afterRender, again over this module's tree (pre-order),
    // e.g. after a theme change.
    void startRender();

private:
    class Private;
    Private* d;
};

} // namespace pomr
