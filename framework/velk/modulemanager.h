#pragma once

#include "velk_global.h"

#include <QJsonValue>
#include <QObject>

namespace velk {

class ModuleObject;

// Owner of the process-wide module-object tree. Top-level nodes are the names
// that modules register ("zarvo", "rc", ...); everything else hangs below them.
class VELK_EXPORT ModuleManager : public QObject
{
    Q_OBJECT

public:
    static ModuleManager& instance();

    // The separator of full names: ".".
    static QString separator();

    // The one shared empty node: every lookup that finds nothing returns it.
    static ModuleObject* emptyMobj();

    // The invisible root whose children are the top-level nodes.
    ModuleObject* root() const;

    // Node by full name, relative to `base` when given; never null.
    ModuleObject* find(const QString& fullName, ModuleObject* base = nullptr) const;
    // Node by full name, created with its missing ancestors (announced).
    ModuleObject* ensure(const QString& fullName);

    // Make `module`'s tree reachable under the top-level `name` (the node is
    // created if missing). False when another module already holds the name.
    bool regist(QObject* module, const QString& name);
    // Forget the registration and remove the top-level node with its subtree.
    // False when `module` does not hold `name`.
    bool cancel(QObject* module, const QString& name);
    // The module registered under `name`, or null.
    QObject* module(const QString& name) const;

    // Read `file` and import it into the top-level node `name` (created when
    // missing) as ModuleObject::importFromJson(module, json, create, notify, false).
    bool importFromJson(QObject* module, const QString& file, const QString& name, bool create,
                        bool notify);
    // Write the export of the node `name` to `file` (UTF-8 with BOM, CRLF, atomic).
    bool exportToJson(QObject* module, const QString& name, const QString& file);

    // Parse a JSON file; a null value when it is missing or invalid (logged with
    // the file and the error's offset). Accepts a byte-order mark and CRLF.
    static QJsonValue readFromJson(const QString& file);

    ~ModuleManager() override;

private:
    ModuleManager();
    Q_DISABLE_COPY(ModuleManager)

    class Private;
    Private* d;
};

} // namespace velk
