#pragma once

#include "velk_global.h"

#include <QJsonValue>
#include <QObject>

namespace velk {

// Tells about changes of one key of one resource (the empty key: the whole
// document). Obtained from ResourceManager::getWatcher().
class VELK_EXPORT ResourceWatcher : public QObject
{
    Q_OBJECT

public:
    ResourceWatcher(QObject* owner, const QString& name, const QString& key,
                    QObject* parent = nullptr);
    ~ResourceWatcher() override;

    QObject* owner() const;
    QString name() const;
    QString key() const;

    bool isEnabled() const;
    void setEnabled(bool on);
    // When set, a write of a value equal to the stored one is not reported.
    bool onlyWhenDifferent() const;
    void setOnlyWhenDifferent(bool on);

Q_SIGNALS:
    // `value` is the watched key's new value (the whole document for the empty
    // key); `key` the key that was written; `sender` who wrote it.
    void valueChanged(const QJsonValue& value, const QString& key, QObject* sender);

private:
    QObject* m_owner;
    QString m_name;
    QString m_key;
    bool m_enabled = true;
    bool m_onlyWhenDifferent = false;
};

} // namespace velk
