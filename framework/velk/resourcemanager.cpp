#include "resourcemanager.h"

#include "jsonfile.h"
#include "resourcemanager_p.h"
#include "resourcewatcher.h"
#include "velk.h"
#include "velklog_p.h"

#include <QFileInfo>
#include <QPointer>
#include <QVector>

namespace velk {

namespace {

const QChar kKeySeparator = QLatin1Char('/');

QStringList splitKey(const QString& key)
{
    return key.split(kKeySeparator, Qt::SkipEmptyParts);
}

// "/a//b/" and "a/b" name the same member, so they must share one watcher.
QString normalizeKey(const QString& key)
{
    return splitKey(key).join(kKeySeparator);
}

QJsonValue valueAt(const QJsonObject& doc, const QStringList& parts, bool* found)
{
    *found = true;
    if (parts.isEmpty()) {
        return doc;
    }
    QJsonObject level = doc;
    for (int i = 0; i < parts.size(); ++i) {
        const auto it = level.constFind(parts.at(i));
        if (it == level.constEnd()) {
            break;
        }
        if (i == parts.size() - 1) {
            return it.value();
        }
        if (!it.value().isObject()) {
            break;
        }
        level = it.value().toObject();
    }
    *found = false;
    return QJsonValue();
}

QJsonValue valueAt(const QJsonObject& doc, const QString& normalizedKey)
{
    bool found = false;
    return valueAt(doc, splitKey(normalizedKey), &found);
}

// Missing or null levels become objects; any other value in the way is kept
// and the write refused, so that a typo in a key never wipes out data.
bool setAt(QJsonObject& level, const QStringList& parts, int index, const QJsonValue& value)
{
    const QString& part = parts.at(index);
    if (index == parts.size() - 1) {
        if (value.isUndefined()) {
            level.remove(part);
        } else {
            level.insert(part, value);
        }
        return true;
    }
    const QJsonValue current = level.value(part);
    QJsonObject child;
    if (current.isObject()) {
        child = current.toObject();
    } else if (!current.isUndefined() && !current.isNull()) {
        return false;
    }
    if (!setAt(child, parts, index + 1, value)) {
        return false;
    }
    level.insert(part, child);
    return true;
}

// A write of `written` changes the member at `watched` when one key lies on
// the path of the other (the empty key lies on every path).
bool affects(const QString& written, const QString& watched)
{
    if (written.isEmpty() || watched.isEmpty() || written == watched) {
        return true;
    }
    if (written.size() > watched.size()) {
        return written.startsWith(watched) && written.at(watched.size()) == kKeySeparator;
    }
    return watched.startsWith(written) && watched.at(written.size()) == kKeySeparator;
}

QString ownerText(QObject* owner)
{
    QString text;
    QDebug(&text).nospace() << owner;
    return text;
}

} // namespace

void ResourceManager::Private::track(QObject* owner)
{
    if (!owner || tracked.contains(owner)) {
        return;
    }
    tracked.insert(owner);
    QObject::connect(owner, &QObject::destroyed, q, [this](QObject* gone) { dropOwner(gone); });
}

void ResourceManager::Private::dropOwner(QObject* owner)
{
    tracked.remove(owner);
    resources.remove(owner);
    const auto byName = watchers.take(owner);
    for (const auto& byKey : byName) {
        for (ResourceWatcher* w : byKey) {
            // Safe even while the watcher is emitting: a slot may destroy the
            // owner, and Qt copes with a sender deleted during its emission.
            delete w;
        }
    }
}

ResourceEntry& ResourceManager::Private::entry(QObject* owner, const QString& name)
{
    track(owner);
    return resources[owner][name];
}

const ResourceEntry* ResourceManager::Private::find(QObject* owner, const QString& name) const
{
    const auto byOwner = resources.constFind(owner);
    if (byOwner == resources.constEnd()) {
        return nullptr;
    }
    const auto it = byOwner->constFind(name);
    return it == byOwner->constEnd() ? nullptr : &it.value();
}

ResourceWatcher* ResourceManager::Private::watcher(QObject* owner, const QString& name,
                                                   const QString& key)
{
    const QString normalized = normalizeKey(key);
    ResourceWatcher*& w = watchers[owner][name][normalized];
    if (!w) {
        track(owner);
        w = new ResourceWatcher(owner, name, normalized, q);
    }
    return w;
}

void ResourceManager::Private::notify(QObject* owner, const QString& name, const QString& key,
                                      const QJsonObject& before, const QJsonObject& after)
{
    const auto byOwner = watchers.constFind(owner);
    if (byOwner == watchers.constEnd()) {
        return;
    }
    const auto byName = byOwner->constFind(name);
    if (byName == byOwner->constEnd()) {
        return;
    }

    struct Report
    {
        QPointer<ResourceWatcher> watcher;
        QJsonValue value;
    };
    // Collected first: a slot may add or remove watchers, or write again.
    QVector<Report> reports;
    for (auto it = byName->constBegin(); it != byName->constEnd(); ++it) {
        ResourceWatcher* w = it.value();
        if (!w->isEnabled() || !affects(key, it.key())) {
            continue;
        }
        const QJsonValue value = valueAt(after, it.key());
        if (w->onlyWhenDifferent() && value == valueAt(before, it.key())) {
            continue;
        }
        reports.append({w, value});
    }
    for (const Report& r : qAsConst(reports)) {
        if (r.watcher && r.watcher->isEnabled()) {
            Q_EMIT r.watcher->valueChanged(r.value, key, owner);
        }
    }
}

ResourceManager& ResourceManager::instance()
{
    static ResourceManager manager;
    return manager;
}

ResourceManager::ResourceManager()
    : d(new Private(this))
{
}

ResourceManager::~ResourceManager()
{
    delete d;
}

bool ResourceManager::regist(QObject* owner, const QString& name, bool publish)
{
    const bool created = !d->find(owner, name);
    ResourceEntry& e = d->entry(owner, name);
    if (publish && !e.publishedAt) {
        e.publishedAt = d->nextPublication++;
    }
    return created;
}

bool ResourceManager::cancel(QObject* owner, const QString& name)
{
    const auto byOwner = d->resources.find(owner);
    if (byOwner == d->resources.end() || !byOwner->remove(name)) {
        return false;
    }
    if (byOwner->isEmpty()) {
        d->resources.erase(byOwner);
    }
    return true;
}

bool ResourceManager::has(QObject* owner, const QString& name) const
{
    return d->find(owner, name) != nullptr;
}

bool ResourceManager::load(QObject* owner, const QString& name, const QString& file, bool merge)
{
    if (!QFileInfo::exists(file)) {
        // Callers probe optional files (a cache that may not exist yet).
        return false;
    }
    QString error;
    const QJsonValue value = JsonFile::read(file, &error);
    if (value.isNull()) {
        internal::error(QStringLiteral("resource \"%1\" of %2 not loaded: %3")
                            .arg(name, ownerText(owner), error));
        return false;
    }
    if (!value.isObject()) {
        internal::error(QStringLiteral("resource \"%1\" of %2 not loaded: %3 is not a JSON object")
                            .arg(name, ownerText(owner), file));
        return false;
    }
    ResourceEntry& e = d->entry(owner, name);
    if (!merge) {
        e.doc = value.toObject();
        return true;
    }
    const QJsonObject loaded = value.toObject();
    for (auto it = loaded.constBegin(); it != loaded.constEnd(); ++it) {
        e.doc.insert(it.key(), it.value());
    }
    return true;
}

bool ResourceManager::save(QObject* owner, const QString& name, const QString& file)
{
    const ResourceEntry* e = d->find(owner, name);
    if (!e) {
        internal::warn(QStringLiteral("resource \"%1\" of %2 not saved to %3: not registered")
                           .arg(name, ownerText(owner), file));
        return false;
    }
    QString error;
    if (!JsonFile::write(file, e->doc, &error)) {
        internal::error(QStringLiteral("resource \"%1\" of %2 not saved: %3")
                            .arg(name, ownerText(owner), error));
        return false;
    }
    return true;
}

QJsonValue ResourceManager::get(QObject* owner, const QString& name, const QString& key,
                                bool* ok) const
{
    bool found = false;
    QJsonValue value;
    if (const ResourceEntry* e = d->find(owner, name)) {
        value = valueAt(e->doc, splitKey(key), &found);
    }
    if (ok) {
        *ok = found;
    }
    return value;
}

bool ResourceManager::set(QObject* owner, const QString& name, const QString& key,
                          const QJsonValue& value, bool notify)
{
    const QStringList parts = splitKey(key);
    if (parts.isEmpty() && !value.isObject()) {
        internal::warn(QStringLiteral("resource \"%1\" of %2: the whole document must be an object")
                           .arg(name, ownerText(owner)));
        return false;
    }
    const ResourceEntry* existing = d->find(owner, name);
    const QJsonObject before = existing ? existing->doc : QJsonObject();
    QJsonObject after = before;
    if (parts.isEmpty()) {
        after = value.toObject();
    } else if (!setAt(after, parts, 0, value)) {
        internal::warn(QStringLiteral("resource \"%1\" of %2: \"%3\" not written, a level of it "
                                      "is not an object")
                           .arg(name, ownerText(owner), key));
        return false;
    }
    d->entry(owner, name).doc = after;
    if (notify) {
        // The writer is the owner: resources are written on their owner's behalf.
        d->notify(owner, name, parts.join(kKeySeparator), before, after);
        Q_EMIT written(owner, name, key, value);
    }
    return true;
}

void ResourceManager::enableWatcher(QObject* owner, const QString& name, const QString& key,
                                    bool onlyWhenDifferent, bool on)
{
    ResourceWatcher* w = d->watcher(owner, name, key);
    w->setOnlyWhenDifferent(onlyWhenDifferent);
    w->setEnabled(on);
}

ResourceWatcher* ResourceManager::getWatcher(QObject* owner, const QString& name,
                                             const QString& key)
{
    return d->watcher(owner, name, key);
}

QObject* ResourceManager::getModulePtr(QObject* requester, const QString& name, bool* ok) const
{
    Q_UNUSED(requester)
    QObject* first = nullptr;
    quint64 firstAt = 0;
    for (auto byOwner = d->resources.constBegin(); byOwner != d->resources.constEnd(); ++byOwner) {
        const auto it = byOwner->constFind(name);
        if (it == byOwner->constEnd() || !it->publishedAt) {
            continue;
        }
        if (!firstAt || it->publishedAt < firstAt) {
            first = byOwner.key();
            firstAt = it->publishedAt;
        }
    }
    if (ok) {
        *ok = firstAt != 0;
    }
    return first;
}

ResourceManager& resource()
{
    return ResourceManager::instance();
}

} // namespace velk
