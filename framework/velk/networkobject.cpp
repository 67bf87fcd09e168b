#include "networkobject.h"
#include "networkhandle.h"
#include "networkhandle_p.h"
#include "velklog_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QTimer>
#include <QUdpSocket>

namespace velk {

namespace {

// A graceful close waits for pending writes; a peer that stops reading must
// not keep the link half open for ever.
constexpr int kCloseTimeoutMs = 3000;

bool validPort(int port)
{
    return port > 0 && port <= 65535;
}

// Tests and simulators point broadcasts at loopback so that nothing leaves the host.
QHostAddress deliveryAddress(const QHostAddress& destination)
{
    if (!destination.isBroadcast()) {
        return destination;
    }
    const QByteArray substitute = qgetenv("ZARVO_BROADCAST_ADDRESS").trimmed();
    if (substitute.isEmpty()) {
        return destination;
    }
    const QHostAddress address(QString::fromLatin1(substitute));
    if (address.isNull()) {
        internal::warn(QStringLiteral("ZARVO_BROADCAST_ADDRESS \"%1\" is not an address; "
                                      "broadcasting instead")
                           .arg(QString::fromLatin1(substitute)));
        return destination;
    }
    return address;
}

} // namespace

class NetworkObject::Private
{
public:
    void bindUdp();

    QString name;
    NetworkType type = TCP;
    NetworkChannel channel;
    NetworkHandle* handle = nullptr;
    QHostAddress peer;
    bool valid = true;
    // Tells a pending close time-out whether it still belongs to the current link.
    quint64 linkGeneration = 0;
    QStringList keyOrder;
};

void NetworkObject::Private::bindUdp()
{
    auto* udp = static_cast<QUdpSocket*>(handle->socket());
    if (channel.localPort < 0 || channel.localPort > 65535) {
        internal::error(QStringLiteral("UDP channel \"%1\": local port %2 is out of range; "
                                       "the channel stays unbound")
                            .arg(name)
                            .arg(channel.localPort));
        return;
    }
    QHostAddress local = channel.localAddress;
    if (local.isNull()) {
        // The socket can only reach peers of its own protocol family.
        const bool ipv6 = channel.remoteAddress.protocol() == QAbstractSocket::IPv6Protocol;
        local = QHostAddress(ipv6 ? QHostAddress::AnyIPv6 : QHostAddress::AnyIPv4);
    }
    if (!udp->bind(local, quint16(channel.localPort),
                   QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        internal::error(QStringLiteral("UDP channel \"%1\" cannot bind to %2:%3: %4")
                            .arg(name, local.toString())
                            .arg(channel.localPort)
                            .arg(udp->errorString()));
    }
}

NetworkObject::NetworkObject(const QString& name, NetworkType type, const NetworkChannel& channel,
                             QObject* parent)
    : QObject(parent)
    , d(new Private)
{
    d->name = name;
    d->type = type;
    d->channel = channel;
    setObjectName(name);
    d->handle = new NetworkHandle(type, this);
    d->handle->setObjectName(name);
    if (type == UDP) {
        d->bindUdp();
    }
}

NetworkObject::~NetworkObject()
{
    delete d->handle;
    delete d;
}

bool NetworkObject::isValid() const
{
    return d->valid;
}

QString NetworkObject::name() const
{
    return d->name;
}

NetworkType NetworkObject::type() const
{
    return d->type;
}

NetworkChannel NetworkObject::channel() const
{
    return d->channel;
}

NetworkHandle* NetworkObject::handle() const
{
    return d->handle;
}

QAbstractSocket* NetworkObject::socket() const
{
    return d->handle ? d->handle->socket() : nullptr;
}

bool NetworkObject::isBound() const
{
    return d->handle && d->type == UDP &&
           d->handle->socket()->state() == QAbstractSocket::BoundState;
}

QHostAddress NetworkObject::peerAddress() const
{
    return d->peer;
}

void NetworkObject::setPeerAddress(const QHostAddress& address)
{
    if (!d->valid) {
        return;
    }
    d->peer = address;
    if (d->type == UDP) {
        d->handle->d->acceptFrom = address;
    }
}

QHostAddress NetworkObject::remoteAddress() const
{
    return d->channel.remoteAddress;
}

void NetworkObject::setRemoteAddress(const QHostAddress& address)
{
    if (!d->valid) {
        return;
    }
    d->channel.remoteAddress = address;
}

bool NetworkObject::tryConnectToHost(const QHostAddress& address, int port)
{
    if (!d->valid) {
        return false;
    }
    if (address.isNull() || !validPort(port)) {
        const QString reason = address.isNull()
                                   ? QStringLiteral("no address given")
                                   : QStringLiteral("port %1 is out of range").arg(port);
        Q_EMIT d->handle->socketError(
            QStringLiteral("cannot connect channel \"%1\": %2").arg(d->name, reason));
        return false;
    }
    d->channel.remoteAddress = address;
    d->channel.remotePort = port;
    if (d->type == UDP) {
        return true;
    }
    ++d->linkGeneration;
    QAbstractSocket* s = d->handle->socket();
    s->abort();
    s->connectToHost(address, quint16(port));
    return true;
}

bool NetworkObject::tryDisconnectFromHost()
{
    if (!d->valid) {
        return false;
    }
    if (d->type == UDP) {
        return true;
    }
    QAbstractSocket* s = d->handle->socket();
    ++d->linkGeneration;
    switch (s->state()) {
    case QAbstractSocket::UnconnectedState:
        return true;
    case QAbstractSocket::HostLookupState:
    case QAbstractSocket::ConnectingState:
        // A graceful close would wait for the connection and only then close it.
        s->abort();
        return true;
    default:
        break;
    }
    s->disconnectFromHost();
    if (s->state() != QAbstractSocket::UnconnectedState) {
        const quint64 generation = d->linkGeneration;
        QTimer::singleShot(kCloseTimeoutMs, s, [this, s, generation] {
            if (generation == d->linkGeneration &&
                s->state() != QAbstractSocket::UnconnectedState) {
                internal::warn(QStringLiteral("channel \"%1\": the peer did not take the last "
                                              "data in time; connection aborted")
                                   .arg(d->name));
                s->abort();
            }
        });
    }
    return true;
}

bool NetworkObject::writeJsonPackage(const QJsonObject& json, bool framed)
{
    if (!d->valid) {
        return false;
    }
    QByteArray data = orderedJson(json, d->keyOrder);
    if (framed) {
        data += '\n';
    }
    QAbstractSocket* s = d->handle->socket();
    if (d->type == TCP) {
        if (s->state() != QAbstractSocket::ConnectedState) {
            return false;
        }
        return s->write(data) == data.size();
    }
    const QHostAddress destination =
        deliveryAddress(d->peer.isNull() ? d->channel.remoteAddress : d->peer);
    if (destination.isNull() || !validPort(d->channel.remotePort)) {
        internal::warn(QStringLiteral("UDP channel \"%1\" has no destination (%2:%3); "
                                      "package not sent")
                           .arg(d->name, destination.toString())
                           .arg(d->channel.remotePort));
        return false;
    }
    return static_cast<QUdpSocket*>(s)->writeDatagram(
               data, destination, quint16(d->channel.remotePort)) == data.size();
}

void NetworkObject::setKeyOrder(const QStringList& keys)
{
    if (d->valid) {
        d->keyOrder = keys;
    }
}

QStringList NetworkObject::keyOrder() const
{
    return d->keyOrder;
}

namespace {

QByteArray valueJson(const QJsonValue& value)
{
    if (value.isObject()) {
        return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    }
    if (value.isArray()) {
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    }
    // Qt serialises only documents: wrap a scalar in an array and unwrap it.
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

} // namespace

QByteArray NetworkObject::orderedJson(const QJsonObject& json, const QStringList& leadingKeys)
{
    if (leadingKeys.isEmpty()) {
        return QJsonDocument(json).toJson(QJsonDocument::Compact);
    }
    QByteArray out("{");
    bool first = true;
    auto append = [&](const QString& key, const QJsonValue& value) {
        if (!first) {
            out += ',';
        }
        first = false;
        out += valueJson(QJsonValue(key));
        out += ':';
        out += valueJson(value);
    };
    for (const QString& key : leadingKeys) {
        const auto it = json.constFind(key);
        if (it != json.constEnd()) {
            append(key, it.value());
        }
    }
    for (auto it = json.constBegin(); it != json.constEnd(); ++it) {
        if (!leadingKeys.contains(it.key())) {
            append(it.key(), it.value());
        }
    }
    out += '}';
    return out;
}

NetworkObject* NetworkObject::invalid()
{
    // Never deleted: callers may hold it for the life of the process.
    static NetworkObject* const inert = [] {
        auto* object = new NetworkObject(QString(), TCP, NetworkChannel());
        delete object->d->handle;
        object->d->handle = nullptr;
        object->d->valid = false;
        return object;
    }();
    return inert;
}

} // namespace velk
