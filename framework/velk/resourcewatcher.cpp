#include "resourcewatcher.h"

namespace velk {

ResourceWatcher::ResourceWatcher(QObject* owner, const QString& name, const QString& key,
                                 QObject* parent)
    : QObject(parent)
    , m_owner(owner)
    , m_name(name)
    , m_key(key)
{
}

ResourceWatcher::~ResourceWatcher() = default;

QObject* ResourceWatcher::owner() const
{
    return m_owner;
}

QString ResourceWatcher::name() const
{
    return m_name;
}

QString ResourceWatcher::key() const
{
    return m_key;
}

bool ResourceWatcher::isEnabled() const
{
    return m_enabled;
}

void ResourceWatcher::setEnabled(bool on)
{
    m_enabled = on;
}

bool ResourceWatcher::onlyWhenDifferent() const
{
    return m_onlyWhenDifferent;
}

void ResourceWatcher::setOnlyWhenDifferent(bool on)
{
    m_onlyWhenDifferent = on;
}

} // namespace velk
