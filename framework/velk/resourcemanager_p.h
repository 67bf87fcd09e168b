#pragma once

#include "resourcemanager.h"

#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QString>

namespace velk {

class ResourceWatcher;

struct ResourceEntry
{
    QJsonObject doc;
    // Order of publication, so that getModulePtr() finds the first one; 0:
    // not published.
    quint64 publishedAt = 0;
};

class ResourceManager::Private
{
public:
    explicit Private(ResourceManager* q)
        : q(q)
    {
    }

    // Watch the owner's destruction once, so that nothing keyed by its address
    // outlives it (a later object may be given the same address).
    void track(QObject* owner);
    void dropOwner(QObject* owner);

    ResourceEntry& entry(QObject* owner, const QString& name);
    const ResourceEntry* find(QObject* owner, const QString& name) const;
    ResourceWatcher* watcher(QObject* owner, const QString& name, const QString& key);

    // Tell the watchers of (owner, name) that `key` was written, given the
    // document before and after the write.
    void notify(QObject* owner, const QString& name, const QString& key, const QJsonObject& before,
                const QJsonObject& after);

    ResourceManager* q;
    QHash<QObject*, QHash<QString, ResourceEntry>> resources;
    // owner -> name -> normalised key -> watcher
    QHash<QObject*, QHash<QString, QHash<QString, ResourceWatcher*>>> watchers;
    QSet<QObject*> tracked;
    quint64 nextPublication = 1;
};

} // namespace velk
