#include "networkhandle.h"
#include "jsonstreamreader_p.h"
#include "networkhandle_p.h"
#include "velklog_p.h"

#include <QNetworkDatagram>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>
#include <QUdpSocket>

#include <utility>

namespace velk {

namespace {

// A backlog is worked off in slices so that a flood never holds the event
// loop for long; the rest follows in a queued call. One read is small enough
// that its packets are handed out well within a slice, and large enough that
// more input than it takes means the handle has fallen behind.
constexpr qint64 kTcpReadChunk = 64 * 1024;
constexpr int kDatagramsPerSlice = 64;
constexpr int kPacketsPerClockRead = 16;
constexpr qint64 kKernelReceiveBuffer = 256 * 1024;
// A flood that goes on for hours must not fill the log with its reports.
constexpr qint64 kCoalesceReportMs = 60 * 1000;

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
        // Beyond this the kernel holds the data and TCP holds the peer back,
        // instead of our memory growing with whatever the peer sends.
        tcp->setReadBufferSize(ReadBufferSize);
        connect(tcp, &QTcpSocket::readyRead, this,
                [this] { d->fromSocket([this] { d->readTcp(); }); });
        connect(tcp, &QTcpSocket::connected, this, [this] {
            d->reader.reset();
            d->queue.clear();
            // Requests and answers are small and interactive.
            d->socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            // Whatever waits in the kernel is read before an answer behind
            // it: a fixed, modest window keeps the answer to a heartbeat
            // near during a flood, where the grown window of a fast link
            // would put megabytes in front of it.
            d->socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption,
                                       int(kKernelReceiveBuffer));
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
    d->coalesceReport = new QTimer(this);
    d->coalesceReport->setSingleShot(true);
    connect(d->coalesceReport, &QTimer::timeout, this, [this] { d->reportCoalesced(); });
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

void NetworkHandle::setCoalesceKey(const CoalesceKey& key)
{
    d->coalesceKey = key;
}

NetworkHandle::CoalesceKey NetworkHandle::coalesceKey() const
{
    return d->coalesceKey;
}

void NetworkHandle::Private::readTcp()
{
    QElapsedTimer slice;
    slice.start();
    // Ends when the input runs dry or the slice is used up; every round
    // either hands out packets or takes new input.
    for (;;) {
        if (queue.isEmpty()) {
            if (socket->bytesAvailable() <= 0) {
                return;
            }
            const QByteArray input = socket->read(kTcpReadChunk);
            if (input.isEmpty()) {
                break;
            }
            reader.append(input);
            if (!frame()) {
                return;
            }
            if (coalesceKey && socket->bytesAvailable() > 0) {
                const qint64 dropped = queue.coalesce(coalesceKey);
                if (dropped > 0) {
                    noteCoalesced(dropped);
                }
            }
        }
        if (!deliver(&slice)) {
            return;
        }
        if (slice.elapsed() >= SliceMs) {
            break;
        }
    }
    if (!queue.isEmpty() || socket->bytesAvailable() > 0) {
        scheduleRead();
    }
}

bool NetworkHandle::Private::frame()
{
    const QPointer<NetworkHandle> guard(q);
    QJsonObject object;
    QString error;
    for (;;) {
        switch (reader.next(&object, &error)) {
        case JsonStreamReader::NeedMoreData:
            return true;
        case JsonStreamReader::Object:
            queue.push(object);
            break;
        case JsonStreamReader::Error:
            report(error);
            if (!guard) {
                return false;
            }
            break;
        }
    }
}

bool NetworkHandle::Private::deliver(const QElapsedTimer* slice)
{
    const QPointer<NetworkHandle> guard(q);
    for (int n = 1; !queue.isEmpty(); ++n) {
        // Taken off first: a nested event loop of the receiver reads on from here.
        const QJsonObject object = queue.take();
        Q_EMIT q->jsonObtained(object);
        if (!guard) {
            return false;
        }
        // The clock is read now and then only: on a virtual machine one read
        // can cost as much as handing out a small packet.
        if (slice && n % kPacketsPerClockRead == 0 && slice->elapsed() >= SliceMs) {
            return true;
        }
    }
    return true;
}

void NetworkHandle::Private::noteCoalesced(qint64 count)
{
    unreportedCoalesced += count;
    if (coalesceReport->isActive()) {
        return;
    }
    const qint64 since =
        lastCoalesceReport.isValid() ? lastCoalesceReport.elapsed() : kCoalesceReportMs;
    // Reported from the event loop, never from inside a read: a receiver of
    // the report may close or destroy the channel.
    coalesceReport->start(int(qMax<qint64>(0, kCoalesceReportMs - since)));
}

void NetworkHandle::Private::reportCoalesced()
{
    const qint64 count = std::exchange(unreportedCoalesced, 0);
    if (count <= 0) {
        return;
    }
    lastCoalesceReport.start();
    Q_EMIT q->packagesCoalesced(count);
}

void NetworkHandle::Private::finishTcpStream()
{
    // Whatever the peer sent before closing is still worth having.
    if (!deliver(nullptr)) {
        return;
    }
    while (socket->bytesAvailable() > 0) {
        const QByteArray input = socket->read(kTcpReadChunk);
        if (input.isEmpty()) {
            break;
        }
        reader.append(input);
        if (!frame() || !deliver(nullptr)) {
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
