#pragma once

#include "velk_global.h"

#include <QHash>
#include <QJsonValue>
#include <QObject>
#include <QVariant>
#include <QVector>

class QXmlStreamReader;
class QXmlStreamWriter;

namespace velk {

// Types of ModuleObject::activated. Passed as int so that callers can write 0.
enum ActivateType {
    ActivateData = 0,    // new data arrived, or a value changed
    ActivateAdded = 1,   // a child was inserted
    ActivateRemoved = 2, // a child is being removed (still alive during the signal)
};

// A named node of the process-wide module-object tree: a QVariant value and
// ordered, name-indexed children. Lookups never return null; a missing node is
// the one shared empty node (isEmptyMobj()), on which every mutator is a no-op.
//
// Signal rules, relied on by every page and model:
//  - set() emits changed(new, old, sender) on every call, also for an equal
//    value, unless the node is quiet. Callers that want no duplicate compare first.
//  - A watched node also emits activated(itself, ActivateData, sender) when its
//    own value is set.
//  - An activation emitted by a node propagates to its parent while the parent
//    is watched, and on upward; it stops at the first unwatched ancestor.
//  - A quiet node emits nothing at all (no changed, added or activated).
//  - A node constructed with a parent is owned and indexed by it at once, but
//    announced only when insert() is called for it.
class VELK_EXPORT ModuleObject : public QObject
{
    Q_OBJECT

public:
    explicit ModuleObject(const QString& name, ModuleObject* parent = nullptr);
    ~ModuleObject() override;

    QString name() const;

    // Names from the root joined by ModuleManager::separator(). With a base,
    // the name relative to that ancestor; the tree's invisible root and the
    // base itself are not part of the result.
    QString fullName(ModuleObject* base = nullptr) const;

    // The child called `name`. When it is missing: with `create` a new child is
    // attached and announced (added + activated type 1); without it the empty node.
    ModuleObject* cmobj(const QString& name, bool create = false);
    // With `path` the name may be a relative dotted path (a.b.c).
    bool hasCmobj(const QString& name, bool path = false) const;
    // Child names in insertion order. With `skipPrivate` names starting with "_"
    // or "[" (declarations and bookkeeping such as "_get", "[timestamp]") are left out.
    QStringList cmobjNames(bool skipPrivate = false) const;
    QList<ModuleObject*> cmobjs() const;
    int cmobjCount() const;
    int indexOf(const ModuleObject* child) const;

    // The parent (the empty node for a free-standing node).
    ModuleObject* pmobj() const;
    // The ancestor `level` steps up (1 = parent); the empty node past the top.
    ModuleObject* pmobj(int level) const;
    // The node at a relative dotted path; the empty node when any part is missing.
    ModuleObject* rmobj(const QString& path) const;

    // Values. Each returns `def` when the value is invalid (never set) or does
    // not convert to the requested type.
    QString getString(const QString& def = QString()) const;
    int getInt(int def = 0) const;
    double getDouble(double def = 0.0) const;
    bool getBool(bool def = false) const;
    QVariantList getList() const; // empty unless the value is a list

    bool isQuiet() const;
    bool isWatched() const;

    // Switch quiet/watch on or off for this node, and with `recursive` for the
    // whole subtree; recursive also makes children created later inherit it.
    void quiet(bool on, bool recursive = false);
    void watch(bool on, bool recursive = false);

    // Emit activated(target, type, sender) here and propagate it upward while
    // ancestors are watched. Nothing when quiet or empty.
    void activate(QObject* sender, ModuleObject* target, int type);

    // Print the subtree to the debug output.
    void dump(ModuleObject* base = nullptr) const;

public Q_SLOTS:
    virtual bool isEmptyMobj() const;
    virtual QVariant get(const QVariant& def = QVariant()) const;
    // Set the value of the node at relative path `key` (this node when empty);
    // with `create` a missing path is created.
    virtual bool set(QObject* sender, const QString& key, const QVariant& value, bool create);
    virtual bool set(QObject* sender, const QVariant& value);
    // Attach a child called `name`, or return the existing one. With `notify`
    // a new child is announced: added(name, sender) and activated(child, 1, sender).
    virtual ModuleObject* insert(QObject* sender, const QString& name, bool notify);
    // Attach `child` at `index` (-1: at the end). A child already attached here
    // is only announced (and moved when index >= 0); one attached elsewhere is
    // detached silently first. Fails (returns the empty node) when a different
    // child of the same name exists.
    virtual ModuleObject* insert(QObject* sender, ModuleObject* child, bool notify, int index = -1);
    // Detach and delete (later) a child. With `notify` activated(child, 2, sender)
    // is emitted first, while the child is still alive and attached.
    virtual bool remove(QObject* sender, const QString& name, bool notify);
    virtual bool remove(QObject* sender, ModuleObject* child, bool notify);
    // Reset the value to invalid. With `removeChildren` all children are removed,
    // otherwise their values are cleared recursively. With `notify` every node
    // whose value was reset emits changed.
    virtual void clear(QObject* sender, bool removeChildren, bool notify);
    // Copy `source`'s subtree: a leaf's value into this node, children into
    // same-named children (created when `create`). With `notify` every written
    // node emits changed, and a node that received children emits changed once
    // after all of them were written.
    virtual bool copyFrom(QObject* sender, ModuleObject* source, bool create, bool notify);
    // Objects become children (recursively), scalars and arrays become values.
    // notify: as copyFrom. activate: this node emits activated(child, 0, sender)
    // for every direct child written, after the writes.
    virtual bool importFromJson(QObject* sender, const QJsonValue& json, bool create, bool notify,
                                bool activate);
    // A node with children (or imported from an object) exports as an object,
    // any other node as its value. skipPrivate: as cmobjNames.
    virtual QJsonValue exportToJson(bool skipPrivate = false) const;
    // XML form: <mobj name=".." type="..">value or child elements</mobj>.
    virtual bool importFromXml(QObject* sender, QXmlStreamReader& xml, bool create, bool notify,
                               bool activate);
    // With `includeSelf` this node is written as the outer element, otherwise
    // only its children are written.
    virtual bool exportToXml(QXmlStreamWriter& xml, bool skipPrivate, bool includeSelf) const;

Q_SIGNALS:
    void changed(const QVariant& value, const QVariant& old, QObject* sender);
    void added(const QString& name, QObject* sender);
    void activated(velk::ModuleObject* target, int type, QObject* sender);

protected:
    // The shared empty node is built through this constructor.
    struct EmptyTag {};
    explicit ModuleObject(EmptyTag);

private:
    friend class ModuleManager;
    class Private;
    Private* d;
};

} // namespace velk

Q_DECLARE_METATYPE(velk::ModuleObject*)
