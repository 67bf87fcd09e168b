#pragma once

// Internals of ModuleManager.

#include "modulemanager.h"

#include <QHash>
#include <QPointer>
#include <QString>

namespace velk {

class ModuleManager::Private
{
public:
    ModuleObject* root = nullptr;
    // Guarded: a module destroyed without cancel() no longer holds its name.
    QHash<QString, QPointer<QObject>> modules;
};

} // namespace velk
