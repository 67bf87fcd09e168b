#pragma once

#include "networkchannel.h"
#include "velk_global.h"

#include <QJsonObject>
#include <QObject>

#include <functional>

class QAbstractSocket;
class QHostAddress;

namespace velk {

// The socket of a channel and the framing of its JSON packets.
//
// TCP input is flow-controlled: the socket buffers at most ReadBufferSize
// bytes (the peer is held back by TCP beyond that), and packets are handed
// out in slices of about SliceMs, so that timers and other sockets are served
// while a fast peer floods the link.
class VELK_EXPORT NetworkHandle : public QObject
{
    Q_OBJECT

public:
    NetworkHandle(NetworkType type, QObject* parent = nullptr);
    ~NetworkHandle() override;

    static constexpr qint64 ReadBufferSize = 1024 * 1024;
    static constexpr int SliceMs = 4;

    NetworkType type() const;
    // A QTcpSocket or a QUdpSocket, owned by the handle.
    QAbstractSocket* socket() const;

    // Tells which packets only report the latest state of something, so that
    // a newer one of the same key makes an older one worthless. Only while the
    // handle has fallen behind (more input waits than one read takes) are such
    // packets coalesced: of each key, the newest one of a read survives, in
    // its place. Packets with an empty key are never dropped. Unset (the
    // default), nothing is dropped. TCP only.
    using CoalesceKey = std::function<QString(const QJsonObject&)>;
    void setCoalesceKey(const CoalesceKey& key);
    CoalesceKey coalesceKey() const;

Q_SIGNALS:
    // Once per complete JSON object received.
    void jsonObtained(const QJsonObject& json);
    // Socket errors, and refused oversize packets, in readable form.
    void socketError(const QString& error_str);
    // Malformed input that was skipped; the stream goes on after it.
    void packageError(const QString& error_str);
    // Packets dropped by coalescing since the last report; at most one report
    // a minute, the first at once.
    void packagesCoalesced(qint64 count);
    // UDP: a datagram dropped unread because it came from another sender
    // than the peer the channel is narrowed to.
    void datagramRefused(const QHostAddress& sender);

private:
    friend class NetworkObject;
    class Private;
    Private* d;
};

} // namespace velk
