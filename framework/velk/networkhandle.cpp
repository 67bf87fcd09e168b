#include "networkhandle.h"
#include "jsonstreamreader_p.h"
#include "networkhandle_p.h"
#include "velklog_p.h"

#include <QNetworkDatagram>
#include <QPointer>
#include <QTcpSocket>
#include <QUdpSocket>

namespace velk {

namespace {

// A backlog is worked off in slices so that a flood never holds the event
// loop for long; the rest follows in a queued call.
constexpr qint64 kTcpReadSlice = 1024 * 1024;
constexpr int kDatagramsPerSlice = 64;

} // namespace

namespace internal {

bool isSingleHost(const QHostAddress& address)
{
    return !address.isNull() && !address.isBroadcast() && !address.isMulticast() &&
           address != QHostAddress(QHostAddress::AnyIPv4) &&
           address != QHostAddress(QHostAddress::AnyIPv6) &&
           address != QHostAddress(QHostAddress::Any);
}

} // namespace internal

NetworkHandle::NetworkHandle(NetworkType type, QObject* parent)
    : QObject(parent)
    , d(new Private(this))
{
    d->type = type;
    if (type == TCP) {
        auto* tcp = new QTcpSocket(this);
        d->socket = tcp;
        connect(tcp, &QTcpSocket::readyRead, this,
                [this] { d->fromSocket([this] { d->readTcp(); }); });
        connect(tcp, &QTcpSocket::connected, this, [this] {
            d->reader.reset();
            // Requests and answers are small and interactive.
            d->socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        });
        connect(tcp, &QTcpSocket::disconnected, this,
                [this] { d->fromSocket([this] { d->finishTcpStream(); }); });
    } else {
        auto* udp = new QUdpSocket(this);
        d->socket = udp;
        connect(udp, &QUdpSocket::readyRead, this,
                [this] { d->fromSocket([this] { d->readUdp(); }); });
    }
    connect(d->socket, &QAbstractSocket::errorOccurred, this, [this](QAbstractSocket::SocketError) {
        d->fromSocket([this] { Q_EMIT socketError(d->socket->errorString()); });
    });
}

NetworkHandle::~NetworkHandle()
{
    // The socket goes first, while the handlers it may still reach are intact.
    QObject::disconnect(d->socket, nullptr, this, nullptr);
    if (d->inSocketSignal > 0) {
        d->socket->setParent(nullptr);
        d->socket->abort();
        d->socket->deleteLater();
    } else {
        delete d->socket;
    }
    delete d;
}

NetworkType NetworkHandle::type() const
{
    return d->type;
}

QAbstractSocket* NetworkHandle::socket() const
{
    return d->socket;
}

void NetworkHandle::Private::readTcp()
{
    if (socket->bytesAvailable() <= 0) {
        return;
    }
    reader.append(socket->read(kTcpReadSlice));
    if (!drain(reader)) {
        return;
    }
    if (socket->bytesAvailable() > 0) {
        scheduleRead();
    }
}

void NetworkHandle::Private::finishTcpStream()
{
    // Whatever the peer sent before closing is still worth having.
    while (socket->bytesAvailable() > 0) {
        reader.append(socket->read(kTcpReadSlice));
        if (!drain(reader)) {
            return;
        }
    }
    const int pending = reader.pendingBytes();
    reader.reset();
    if (pending > 0) {
        report(QStringLiteral("the connection closed inside a JSON package; %1 bytes dropped")
                   .arg(pending));
    }
}

void NetworkHandle::Private::readUdp()
{
    auto* udp = static_cast<QUdpSocket*>(socket);
    const QPointer<NetworkHandle> guard(q);
    const bool filter = internal::isSingleHost(acceptFrom);
    // A receiver may close the socket (cancel the channel) between two datagrams.
    const auto readable = [udp] {
        return udp->state() == QAbstractSocket::BoundState && udp->hasPendingDatagrams();
    };
    for (int n = 0; n < kDatagramsPerSlice && readable(); ++n) {
        const QNetworkDatagram datagram = udp->receiveDatagram();
        if (!datagram.isValid()) {
            break;
        }
        if (filter &&
            !datagram.senderAddress().isEqual(acceptFrom, QHostAddress::TolerantConversion)) {
            Q_EMIT q->datagramRefused(datagram.senderAddress());
            if (!guard) {
                return;
            }
            continue;
        }
        // A datagram is complete in itself: nothing carries over to the next one.
        JsonStreamReader datagramReader;
        datagramReader.append(datagram.data());
        if (!drain(datagramReader)) {
            return;
        }
        if (datagramReader.pendingBytes() > 0) {
            report(QStringLiteral("a datagram from %1 ended inside a JSON package; %2 bytes "
                                  "dropped")
                       .arg(datagram.senderAddress().toString())
                       .arg(datagramReader.pendingBytes()));
            if (!guard) {
                return;
            }
        }
    }
    if (readable()) {
        scheduleRead();
    }
}

bool NetworkHandle::Private::drain(JsonStreamReader& source)
{
    const QPointer<NetworkHandle> guard(q);
    QJsonObject object;
    QString error;
    for (;;) {
        switch (source.next(&object, &error)) {
        case JsonStreamReader::NeedMoreData:
            return true;
        case JsonStreamReader::Object:
            Q_EMIT q->jsonObtained(object);
            break;
        case JsonStreamReader::Error:
            report(error);
            break;
        }
        if (!guard) {
            return false;
        }
    }
}

void NetworkHandle::Private::report(const QString& error)
{
    const QString channel = q->objectName();
    const QString line = channel.isEmpty() ? error : QStringLiteral("%1: %2").arg(channel, error);
    internal::warn(line);
    if (internal::isOversizePackageError(error)) {
        Q_EMIT q->socketError(error);
    } else {
        Q_EMIT q->packageError(error);
    }
}

void NetworkHandle::Private::scheduleRead()
{
    if (readScheduled) {
        return;
    }
    readScheduled = true;
    QMetaObject::invokeMethod(
        q,
        [this] {
            readScheduled = false;
            if (type == TCP) {
                readTcp();
            } else {
                readUdp();
            }
        },
        Qt::QueuedConnection);
}

} // namespace velk
