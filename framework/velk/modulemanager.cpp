#include "modulemanager.h"
#include "modulemanager_p.h"

#include "jsonfile.h"
#include "moduleobject.h"
#include "moduleobject_p.h"
#include "velk.h"
#include "velklog_p.h"

#include <QStringBuilder>

namespace velk {

namespace {

// The one character of separator().
constexpr QLatin1Char kSeparator('.');

} // namespace

ModuleManager::ModuleManager()
    : d(new Private)
{
    qRegisterMetaType<velk::ModuleObject*>("velk::ModuleObject*");
    d->root = new ModuleObject(QString());
    ModuleObject::Private::of(d->root)->root = true;
}

ModuleManager::~ModuleManager()
{
    delete d->root;
    delete d;
}

ModuleManager& ModuleManager::instance()
{
    // Never destroyed: modules cancel their names from their own destructors,
    // which may run after static destructors.
    static ModuleManager* const manager = new ModuleManager;
    return *manager;
}

QString ModuleManager::separator()
{
    return QStringLiteral(".");
}

ModuleObject* ModuleManager::emptyMobj()
{
    return ModuleObject::Private::emptyNode();
}

ModuleObject* ModuleManager::root() const
{
    return d->root;
}

ModuleObject* ModuleManager::find(const QString& fullName, ModuleObject* base) const
{
    if (!base) {
        // The invisible root has no name: an empty name built from a missing
        // setting must not hand out the top of the tree.
        return fullName.isEmpty() ? ModuleObject::Private::emptyNode() : d->root->rmobj(fullName);
    }
    return base->rmobj(fullName);
}

ModuleObject* ModuleManager::ensure(const QString& fullName)
{
    if (fullName.isEmpty()) {
        return ModuleObject::Private::emptyNode();
    }
    ModuleObject* node = ModuleObject::Private::walk(d->root, fullName, true, nullptr);
    return node ? node : ModuleObject::Private::emptyNode();
}

bool ModuleManager::regist(QObject* module, const QString& name)
{
    if (!module || name.isEmpty() || name.contains(separator())) {
        internal::error(QStringLiteral("cannot register module name \"%1\"").arg(name));
        return false;
    }
    const QPointer<QObject> holder = d->modules.value(name);
    if (holder && holder != module) {
        // Two modules of one HMI must not share a name: the second is refused
        // and the first keeps its tree, so say which two collided.
        const auto describe = [](const QObject* object) {
            return QStringLiteral("%1 \"%2\"")
                .arg(QLatin1String(object->metaObject()->className()), object->objectName());
        };
        internal::error(QStringLiteral("module name \"%1\" is held by %2; %3 is refused")
                            .arg(name, describe(holder), describe(module)));
        return false;
    }
    d->modules.insert(name, module);
    d->root->insert(module, name, true);
    return true;
}

bool ModuleManager::cancel(QObject* module, const QString& name)
{
    const auto it = d->modules.find(name);
    if (!module || it == d->modules.end() || it.value() != module) {
        return false;
    }
    d->modules.erase(it);
    d->root->remove(module, name, true);
    return true;
}

QObject* ModuleManager::module(const QString& name) const
{
    return d->modules.value(name).data();
}

bool ModuleManager::importFromJson(QObject* module, const QString& file, const QString& name,
                                   bool create, bool notify)
{
    const QJsonValue json = readFromJson(file);
    if (json.isNull()) {
        return false;
    }
    ModuleObject* node = ensure(name);
    if (node->isEmptyMobj()) {
        internal::error(
            QStringLiteral("cannot import %1: invalid module object name \"%2\"").arg(file, name));
        return false;
    }
    return node->importFromJson(module, json, create, notify, false);
}

bool ModuleManager::exportToJson(QObject* module, const QString& name, const QString& file)
{
    Q_UNUSED(module)
    const ModuleObject* node = find(name);
    if (node->isEmptyMobj()) {
        internal::error(
            QStringLiteral("cannot export %1: no module object \"%2\"").arg(file, name));
        return false;
    }
    const QJsonValue json = node->exportToJson(false);
    if (!json.isObject() && !json.isArray()) {
        // A JSON document holds an object or an array; a lone value would be
        // written as {} and lost.
        internal::error(QStringLiteral("cannot export %1: \"%2\" holds no object").arg(file, name));
        return false;
    }
    QString error;
    if (!JsonFile::write(file, json, &error)) {
        internal::error(error);
        return false;
    }
    return true;
}

QJsonValue ModuleManager::readFromJson(const QString& file)
{
    QString error;
    const QJsonValue json = JsonFile::read(file, &error);
    if (json.isNull()) {
        internal::error(error);
    }
    return json;
}

// ---------------------------------------------------------------------------
// Global entry points

ModuleManager& m()
{
    return ModuleManager::instance();
}

ModuleObject* m(const QString& fullName, ModuleObject* base)
{
    return ModuleManager::instance().find(fullName, base);
}

// Names are built for every packet of the controller link: one allocation of
// the final size, no chain of temporaries.
QString mName(const QString& a, const QString& b)
{
    return a % kSeparator % b;
}

QString mName(const QString& a, const QString& b, const QString& c)
{
    return a % kSeparator % b % kSeparator % c;
}

QString mName(const QString& a, const QString& b, const QString& c, const QString& d)
{
    return a % kSeparator % b % kSeparator % c % kSeparator % d;
}

QString mName(const QString& a, const QString& b, const QString& c, const QString& d,
              const QString& e)
{
    return a % kSeparator % b % kSeparator % c % kSeparator % d % kSeparator % e;
}

QString mName(const QString& a, const QString& b, const QString& c, const QString& d,
              const QString& e, const QString& f)
{
    return a % kSeparator % b % kSeparator % c % kSeparator % d % kSeparator % e % kSeparator % f;
}

} // namespace velk
