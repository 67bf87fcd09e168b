#pragma once

// Internals of ModuleObject shared by its tree, value and serialisation code.

#include "moduleobject.h"

#include <QHash>
#include <QString>
#include <QStringView>
#include <QVariant>
#include <QVector>

namespace velk {

class ModuleObject::Private
{
public:
    QString name;
    QVariant value;
    // The node that indexes this one; null for a free-standing node.
    ModuleObject* parent = nullptr;
    QVector<ModuleObject*> children; // insertion order
    // Keyed by views of the children's own names (which never change), so
    // that a segment of a longer path is looked up in place, with no string
    // made for it.
    QHash<QStringView, ModuleObject*> index;

    bool empty = false;
    // The manager's invisible root: left out of full names.
    bool root = false;
    bool quiet = false;
    bool watched = false;
    // Set by the recursive forms of quiet()/watch(): children attached later
    // take the flag over, so a watched subtree stays watched as it grows.
    bool quietInherit = false;
    bool watchInherit = false;
    // Imported from a JSON object: exports as an object even without children,
    // so that {} survives a round trip.
    bool object = false;

    static Private* of(const ModuleObject* node) { return node->d; }
    // The shared empty node, created on first use and never destroyed: nodes
    // and connections may refer to it until the very end of the process.
    static ModuleObject* emptyNode();

    ModuleObject* child(QStringView name) const { return index.value(name, nullptr); }

    // Walk a relative dotted path. Missing parts are created (and announced
    // with `sender`) when `create` is set; otherwise null is returned.
    static ModuleObject* walk(ModuleObject* from, const QString& path, bool create,
                              QObject* sender);

    // Index `node` as a child of `owner` at `position` (-1: at the end). The
    // node must be free-standing and its name unused under `owner`.
    static void attach(ModuleObject* owner, ModuleObject* node, int position);
    // Remove `node` from its parent's index; the QObject parent stays.
    static void detach(ModuleObject* node);
    // New child `name` under `owner`, announced when `notify` is set.
    static ModuleObject* create(ModuleObject* owner, const QString& name, QObject* sender,
                                bool notify);
    static void announce(ModuleObject* owner, ModuleObject* node, QObject* sender);
    // Take over inherited quiet/watch flags of `owner` for the subtree `node`.
    static void inherit(ModuleObject* owner, ModuleObject* node);

    // Write a value: emits changed (and activation when watched) when `notify`
    // is set and the node is not quiet.
    static void write(ModuleObject* node, QObject* sender, const QVariant& value, bool notify);
    // The one changed(value, value) that tells listeners of a container that
    // its children were written.
    static void touch(ModuleObject* node, QObject* sender);

    static bool isPrivateName(const QString& name)
    {
        return name.startsWith(QLatin1Char('_')) || name.startsWith(QLatin1Char('['));
    }
};

} // namespace velk
