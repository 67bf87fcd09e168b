#pragma once

// The global entry points of the module-object framework.

#include "velk_global.h"

#include <QString>

namespace velk {

class ModuleManager;
class ModuleObject;
class CommandManager;
class NetworkManager;
class NetworkObject;
class ResourceManager;
class TranslationManager;

VELK_EXPORT ModuleManager& m();
// Lookup by full name (relative to `base` when given); never null.
VELK_EXPORT ModuleObject* m(const QString& fullName, ModuleObject* base = nullptr);

// Join names with ModuleManager::separator(); empty parts are kept as they are.
VELK_EXPORT QString mName(const QString& a, const QString& b);
VELK_EXPORT QString mName(const QString& a, const QString& b, const QString& c);
VELK_EXPORT QString mName(const QString& a, const QString& b, const QString& c,
                          const QString& d);
VELK_EXPORT QString mName(const QString& a, const QString& b, const QString& c,
                          const QString& d, const QString& e);
VELK_EXPORT QString mName(const QString& a, const QString& b, const QString& c,
                          const QString& d, const QString& e, const QString& f);

VELK_EXPORT CommandManager& command();
VELK_EXPORT NetworkManager& net();
// The channel object of `channel`; an inert object (isValid() false) when no
// such channel is registered, never null.
VELK_EXPORT NetworkObject* net(const QString& channel);
VELK_EXPORT ResourceManager& resource();
VELK_EXPORT TranslationManager& translator();

} // namespace velk
