#pragma once

#include "velk_global.h"

#include <QJsonValue>
#include <QObject>

namespace velk {

class ResourceWatcher;

// JSON documents keyed by owner and name ("setting" of the settings manager,
// "log" of any sender, ...). A key selects a member of the document: empty is
// the whole document, "a/b" a nested member. The owner may be null. Resources
// of an owner are dropped when the owner is destroyed.
//
// Watchers: a write of key K reports to the watcher of K (its new value) and
// to the watcher of the whole document (the document); a write of the whole
// document reports to the watcher of the whole document and to every key
// watcher of that resource (each with its key's new value). The same holds
// for nested keys: a write of "a" or "a/b/c" reports to the watcher of "a/b".
class VELK_EXPORT ResourceManager : public QObject
{
    Q_OBJECT

public:
    static ResourceManager& instance();
    ~ResourceManager() override;

    // Create an empty document (an existing one is kept). `publish`: the owner
    // can be found under `name` with getModulePtr(). Returns true when created.
    bool regist(QObject* owner, const QString& name, bool publish);
    bool cancel(QObject* owner, const QString& name);
    bool has(QObject* owner, const QString& name) const;

    // Read `file` into the resource (registered when missing). `merge`: the
    // file's top-level members are written over the current document; without
    // it the document is replaced. Loading is not a change: watchers are not
    // told. False when the file is missing or invalid; the document then stays.
    bool load(QObject* owner, const QString& name, const QString& file, bool merge);
    // Write the document to `file`: UTF-8 with BOM and CRLF, atomically.
    bool save(QObject* owner, const QString& name, const QString& file);

    // The value at `key`; null (and *ok false) when the resource or key is missing.
    QJsonValue get(QObject* owner, const QString& name, const QString& key,
                   bool* ok = nullptr) const;
    // Write the value at `key` (missing levels are created; a resource never
    // registered is created). `notify`: tell the watchers. An undefined value
    // removes the key. False when a level of `key` holds a non-object value,
    // or when the whole document is given something other than an object.
    bool set(QObject* owner, const QString& name, const QString& key, const QJsonValue& value,
             bool notify);

    // Enable or disable the watcher of (owner, name, key), creating it when
    // needed. `onlyWhenDifferent`: see ResourceWatcher.
    void enableWatcher(QObject* owner, const QString& name, const QString& key,
                       bool onlyWhenDifferent, bool on);
    // The watcher of (owner, name, key), created enabled when missing; never null.
    ResourceWatcher* getWatcher(QObject* owner, const QString& name, const QString& key);

    // The owner of the first published resource called `name`, or null.
    QObject* getModulePtr(QObject* requester, const QString& name, bool* ok = nullptr) const;

Q_SIGNALS:
    // Every notified write, whoever owns the resource: for listeners that
    // follow one key across owners (the latest log record of any module).
    void written(QObject* owner, const QString& name, const QString& key, const QJsonValue& value);

private:
    ResourceManager();
    Q_DISABLE_COPY(ResourceManager)

    class Private;
    Private* d;
};

} // namespace velk
