#include "networkmanager.h"
#include "networkhandle.h"
#include "networkobject.h"
#include "velk.h"
#include "velklog_p.h"

#include <QAbstractSocket>
#include <QHash>

namespace velk {

class NetworkManager::Private
{
public:
    QHash<QString, NetworkObject*> channels;
    QStringList names; // in the order of registration
};

namespace {

// After this nobody hears from the channel again, not even its own
// disconnected signal: the owner cancels it precisely because it is done with it.
void closeChannel(NetworkObject* object)
{
    object->handle()->blockSignals(true);
    QAbstractSocket* socket = object->socket();
    socket->blockSignals(true);
    // Hands what is still queued to the system, which delivers it after the close.
    socket->flush();
    socket->abort();
}

} // namespace

NetworkManager& NetworkManager::instance()
{
    static NetworkManager manager;
    return manager;
}

NetworkManager::NetworkManager()
    : d(new Private)
{
}

NetworkManager::~NetworkManager()
{
    for (NetworkObject* object : qAsConst(d->channels)) {
        closeChannel(object);
    }
    // The channels are children and go with the manager.
    delete d;
}

bool NetworkManager::regist(const QString& name, NetworkType type, const NetworkChannel& channel)
{
    if (name.isEmpty()) {
        internal::warn(QStringLiteral("a network channel needs a name"));
        return false;
    }
    if (d->channels.contains(name)) {
        internal::warn(QStringLiteral("network channel \"%1\" is already registered").arg(name));
        return false;
    }
    d->channels.insert(name, new NetworkObject(name, type, channel, this));
    d->names.append(name);
    return true;
}

bool NetworkManager::cancel(const QString& name)
{
    NetworkObject* object = d->channels.take(name);
    if (!object) {
        return false;
    }
    d->names.removeOne(name);
    closeChannel(object);
    // A receiver of one of its signals may be the caller: delete it from the event loop.
    object->deleteLater();
    return true;
}

bool NetworkManager::has(const QString& name) const
{
    return d->channels.contains(name);
}

NetworkObject* NetworkManager::channel(const QString& name) const
{
    NetworkObject* object = d->channels.value(name);
    return object ? object : NetworkObject::invalid();
}

QStringList NetworkManager::names() const
{
    return d->names;
}

NetworkManager& net()
{
    return NetworkManager::instance();
}

NetworkObject* net(const QString& channel)
{
    return NetworkManager::instance().channel(channel);
}

} // namespace velk
