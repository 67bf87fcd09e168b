#include "moduleobject.h"
#include "moduleobject_p.h"

#include "velklog_p.h"

#include <QMetaType>
#include <QPointer>
#include <QStringList>
#include <QVarLengthArray>

#include <utility>

namespace velk {

namespace {

const QChar kSeparator(QLatin1Char('.'));

} // namespace

// ---------------------------------------------------------------------------
// Private

ModuleObject* ModuleObject::Private::emptyNode()
{
    static ModuleObject* const node = [] {
        qRegisterMetaType<velk::ModuleObject*>("velk::ModuleObject*");
        return new ModuleObject(EmptyTag{});
    }();
    return node;
}

ModuleObject* ModuleObject::Private::walk(ModuleObject* from, const QString& path, bool create,
                                          QObject* sender)
{
    if (from->d->empty) {
        return nullptr;
    }
    int end = path.indexOf(kSeparator);
    if (end < 0) {
        if (path.isEmpty()) {
            return from;
        }
        ModuleObject* node = from->d->child(path);
        if (!node && create) {
            node = Private::create(from, path, sender, true);
        }
        return node;
    }

    const QChar* text = path.constData();
    const int size = path.size();
    ModuleObject* node = from;
    int start = 0;
    for (;;) {
        const int length = end - start;
        if (length == 0) {
            return nullptr; // "a..b", ".a" and "a." name no node
        }
        ModuleObject* next = node->d->child(QStringView(text + start, length));
        if (!next) {
            if (!create) {
                return nullptr;
            }
            next = Private::create(node, QString(text + start, length), sender, true);
            if (!next) {
                return nullptr;
            }
        }
        node = next;
        if (end == size) {
            return node;
        }
        start = end + 1;
        end = path.indexOf(kSeparator, start);
        if (end < 0) {
            end = size;
        }
    }
}

void ModuleObject::Private::attach(ModuleObject* owner, ModuleObject* node, int position)
{
    Private* od = owner->d;
    if (position < 0 || position >= od->children.size()) {
        od->children.append(node);
    } else {
        od->children.insert(position, node);
    }
    od->index.insert(QStringView(node->d->name), node);
    node->d->parent = owner;
    if (node->QObject::parent() != owner) {
        node->setParent(owner);
    }
    inherit(owner, node);
}

void ModuleObject::Private::detach(ModuleObject* node)
{
    ModuleObject* owner = node->d->parent;
    if (!owner) {
        return;
    }
    Private* od = owner->d;
    const auto it = od->index.find(QStringView(node->d->name));
    if (it != od->index.end() && it.value() == node) {
        od->index.erase(it);
    }
    od->children.removeOne(node);
    node->d->parent = nullptr;
}

ModuleObject* ModuleObject::Private::create(ModuleObject* owner, const QString& name,
                                            QObject* sender, bool notify)
{
    if (owner->d->empty || name.isEmpty()) {
        return nullptr;
    }
    auto* node = new ModuleObject(name, owner);
    if (notify) {
        announce(owner, node, sender);
    }
    return node;
}

void ModuleObject::Private::announce(ModuleObject* owner, ModuleObject* node, QObject* sender)
{
    if (owner->d->quiet) {
        return;
    }
    const QString name = node->d->name;
    Q_EMIT owner->added(name, sender);
    owner->activate(sender, node, ActivateAdded);
}

void ModuleObject::Private::inherit(ModuleObject* owner, ModuleObject* node)
{
    const Private* od = owner->d;
    if (!od->quietInherit && !od->watchInherit) {
        return;
    }
    if (od->quietInherit) {
        node->quiet(true, true);
    }
    if (od->watchInherit) {
        node->watch(true, true);
    }
}

void ModuleObject::Private::write(ModuleObject* node, QObject* sender, const QVariant& value,
                                  bool notify)
{
    Private* d = node->d;
    if (!notify || d->quiet) {
        d->value = value;
        return;
    }
    // Local copies: a handler may set this node again while later handlers
    // still expect the values of this change.
    const QVariant now = value;
    const QVariant old = std::exchange(d->value, value);
    Q_EMIT node->changed(now, old, sender);
    if (d->watched) {
        node->activate(sender, node, ActivateData);
    }
}

void ModuleObject::Private::touch(ModuleObject* node, QObject* sender)
{
    if (node->d->quiet) {
        return;
    }
    const QVariant value = node->d->value;
    Q_EMIT node->changed(value, value, sender);
}

// ---------------------------------------------------------------------------
// Construction

ModuleObject::ModuleObject(const QString& name, ModuleObject* parent)
    : QObject(nullptr)
    , d(new Private)
{
    d->name = name;
    if (!parent || parent->d->empty) {
        return;
    }
    if (name.isEmpty() || parent->d->index.contains(QStringView(name))) {
        // Owned, so that it is not leaked, but unreachable by name: an index
        // with two nodes of one name would make every lookup ambiguous.
        internal::warn(QStringLiteral("module object \"%1\" already exists under \"%2\"")
                           .arg(name, parent->fullName()));
        setParent(parent);
        return;
    }
    Private::attach(parent, this, -1);
}

ModuleObject::ModuleObject(EmptyTag)
    : QObject(nullptr)
    , d(new Private)
{
    d->empty = true;
    // Belt and braces: nothing may ever be heard from the shared empty node.
    blockSignals(true);
}

ModuleObject::~ModuleObject()
{
    Private::detach(this);
    // Children go first, while this node is still whole; each must not try to
    // detach itself from an index that is being torn down.
    const QVector<ModuleObject*> children = std::move(d->children);
    d->index.clear();
    for (ModuleObject* child : children) {
        child->d->parent = nullptr;
        delete child;
    }
    delete d;
    d = nullptr;
}

// ---------------------------------------------------------------------------
// Names and structure

QString ModuleObject::name() const
{
    return d->name;
}

QString ModuleObject::fullName(ModuleObject* base) const
{
    if (d->empty || this == base) {
        return QString();
    }
    QVarLengthArray<const ModuleObject*, 16> chain;
    int length = 0;
    for (const ModuleObject* node = this; node && node != base && !node->d->root;
         node = node->d->parent) {
        chain.append(node);
        length += node->d->name.size() + 1;
    }
    QString result;
    result.reserve(length);
    for (int i = chain.size() - 1; i >= 0; --i) {
        result += chain[i]->d->name;
        if (i > 0) {
            result += kSeparator;
        }
    }
    return result;
}

ModuleObject* ModuleObject::cmobj(const QString& name, bool create)
{
    if (ModuleObject* node = d->child(name)) {
        return node;
    }
    if (create) {
        if (ModuleObject* node = Private::create(this, name, nullptr, true)) {
            return node;
        }
    }
    return Private::emptyNode();
}

bool ModuleObject::hasCmobj(const QString& name, bool path) const
{
    if (name.isEmpty()) {
        return false;
    }
    if (path) {
        return Private::walk(const_cast<ModuleObject*>(this), name, false, nullptr) != nullptr;
    }
    return d->index.contains(name);
}

QStringList ModuleObject::cmobjNames(bool skipPrivate) const
{
    QStringList names;
    names.reserve(d->children.size());
    for (const ModuleObject* child : qAsConst(d->children)) {
        if (!skipPrivate || !Private::isPrivateName(child->d->name)) {
            names.append(child->d->name);
        }
    }
    return names;
}

QList<ModuleObject*> ModuleObject::cmobjs() const
{
    return QList<ModuleObject*>(d->children.cbegin(), d->children.cend());
}

int ModuleObject::cmobjCount() const
{
    return d->children.size();
}

int ModuleObject::indexOf(const ModuleObject* child) const
{
    if (!child || child->d->parent != this) {
        return -1;
    }
    return d->children.indexOf(const_cast<ModuleObject*>(child));
}

ModuleObject* ModuleObject::pmobj() const
{
    return d->parent ? d->parent : Private::emptyNode();
}

ModuleObject* ModuleObject::pmobj(int level) const
{
    if (level < 0 || d->empty) {
        return Private::emptyNode();
    }
    const ModuleObject* node = this;
    for (int i = 0; i < level && node; ++i) {
        node = node->d->parent;
    }
    return node ? const_cast<ModuleObject*>(node) : Private::emptyNode();
}

ModuleObject* ModuleObject::rmobj(const QString& path) const
{
    ModuleObject* node = Private::walk(const_cast<ModuleObject*>(this), path, false, nullptr);
    return node ? node : Private::emptyNode();
}

// ---------------------------------------------------------------------------
// Values

QString ModuleObject::getString(const QString& def) const
{
    const QVariant& v = d->value;
    if (!v.isValid() || !v.canConvert<QString>()) {
        return def;
    }
    return v.toString();
}

int ModuleObject::getInt(int def) const
{
    bool ok = false;
    const int result = d->value.toInt(&ok);
    return ok ? result : def;
}

double ModuleObject::getDouble(double def) const
{
    bool ok = false;
    const double result = d->value.toDouble(&ok);
    return ok ? result : def;
}

bool ModuleObject::getBool(bool def) const
{
    const QVariant& v = d->value;
    switch (v.userType()) {
    case QMetaType::Bool:
        return v.toBool();
    case QMetaType::QString: {
        // QVariant calls any non-empty text true; settings files hold "true",
        // "false", "1" or "0", and anything else is not a boolean.
        const QString text = v.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
            text == QLatin1String("1")) {
            return true;
        }
        if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0 ||
            text == QLatin1String("0")) {
            return false;
        }
        return def;
    }
    default:
        break;
    }
    bool ok = false;
    const double number = v.toDouble(&ok);
    return ok ? number != 0.0 : def;
}

QVariantList ModuleObject::getList() const
{
    const int type = d->value.userType();
    if (type == QMetaType::QVariantList || type == QMetaType::QStringList) {
        return d->value.toList();
    }
    return QVariantList();
}

bool ModuleObject::isEmptyMobj() const
{
    return d->empty;
}

QVariant ModuleObject::get(const QVariant& def) const
{
    return d->value.isValid() ? d->value : def;
}

bool ModuleObject::set(QObject* sender, const QString& key, const QVariant& value, bool create)
{
    if (d->empty) {
        return false;
    }
    ModuleObject* node = key.isEmpty() ? this : Private::walk(this, key, create, sender);
    return node && node->set(sender, value);
}

bool ModuleObject::set(QObject* sender, const QVariant& value)
{
    if (d->empty) {
        return false;
    }
    Private::write(this, sender, value, true);
    return true;
}

// ---------------------------------------------------------------------------
// Signals

bool ModuleObject::isQuiet() const
{
    return d->quiet;
}

bool ModuleObject::isWatched() const
{
    return d->watched;
}

void ModuleObject::quiet(bool on, bool recursive)
{
    if (d->empty) {
        return;
    }
    d->quiet = on;
    if (recursive) {
        d->quietInherit = on;
        for (ModuleObject* child : qAsConst(d->children)) {
            child->quiet(on, true);
        }
    }
}

void ModuleObject::watch(bool on, bool recursive)
{
    if (d->empty) {
        return;
    }
    d->watched = on;
    if (recursive) {
        d->watchInherit = on;
        for (ModuleObject* child : qAsConst(d->children)) {
            child->watch(on, true);
        }
    }
}

void ModuleObject::activate(QObject* sender, ModuleObject* target, int type)
{
    if (d->empty || d->quiet) {
        return;
    }
    ModuleObject* up = d->parent;
    if (!up || !up->d->watched) {
        Q_EMIT activated(target, type, sender);
        return;
    }
    // Handlers run between the steps; a guarded pointer stops the walk when
    // one of them deleted the next ancestor. A quiet ancestor stops it too:
    // it hears nothing, so it cannot pass anything on.
    QPointer<ModuleObject> next(up);
    Q_EMIT activated(target, type, sender);
    while (next && next->d->watched && !next->d->quiet) {
        ModuleObject* node = next.data();
        next = node->d->parent;
        Q_EMIT node->activated(target, type, sender);
    }
}

// ---------------------------------------------------------------------------
// Children

ModuleObject* ModuleObject::insert(QObject* sender, const QString& name, bool notify)
{
    if (d->empty) {
        return Private::emptyNode();
    }
    if (ModuleObject* node = d->child(name)) {
        return node;
    }
    ModuleObject* node = Private::create(this, name, sender, notify);
    return node ? node : Private::emptyNode();
}

ModuleObject* ModuleObject::insert(QObject* sender, ModuleObject* child, bool notify, int index)
{
    if (d->empty || !child || child->d->empty || child->d->root || child->d->name.isEmpty()) {
        return Private::emptyNode();
    }
    for (const ModuleObject* node = this; node; node = node->d->parent) {
        if (node == child) {
            internal::warn(
                QStringLiteral("cannot insert \"%1\" below itself").arg(child->fullName()));
            return Private::emptyNode();
        }
    }
    if (child->d->parent == this) {
        if (index >= 0) {
            d->children.removeOne(child);
            d->children.insert(qMin(index, d->children.size()), child);
        }
    } else {
        if (d->child(child->d->name)) {
            return Private::emptyNode();
        }
        Private::detach(child);
        Private::attach(this, child, index);
    }
    if (notify) {
        Private::announce(this, child, sender);
    }
    return child;
}

bool ModuleObject::remove(QObject* sender, const QString& name, bool notify)
{
    ModuleObject* child = d->child(name);
    return child && remove(sender, child, notify);
}

bool ModuleObject::remove(QObject* sender, ModuleObject* child, bool notify)
{
    if (d->empty || !child || child->d->parent != this) {
        return false;
    }
    if (notify && !d->quiet) {
        activate(sender, child, ActivateRemoved);
        if (child->d->parent != this) {
            return true; // a handler removed or moved it already
        }
    }
    Private::detach(child);
    child->setParent(nullptr);
    // Later: the caller may be a handler running inside the child's own signal.
    child->deleteLater();
    return true;
}

void ModuleObject::clear(QObject* sender, bool removeChildren, bool notify)
{
    if (d->empty) {
        return;
    }
    if (removeChildren) {
        d->object = false;
        if (notify && !d->quiet) {
            const QVector<ModuleObject*> children = d->children;
            for (ModuleObject* child : children) {
                remove(sender, child, true);
            }
        } else {
            const QVector<ModuleObject*> children = std::move(d->children);
            d->children.clear();
            d->index.clear();
            for (ModuleObject* child : children) {
                child->d->parent = nullptr;
                child->setParent(nullptr);
                child->deleteLater();
            }
        }
    } else {
        const QVector<ModuleObject*> children = d->children;
        for (ModuleObject* child : children) {
            child->clear(sender, false, notify);
        }
    }
    if (d->value.isValid()) {
        Private::write(this, sender, QVariant(), notify);
    }
}

} // namespace velk
