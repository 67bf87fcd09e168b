#pragma once

#include "networkchannel.h"
#include "velk_global.h"

#include <QJsonObject>
#include <QObject>

class QAbstractSocket;
class QHostAddress;

namespace velk {

// The socket of a channel and the framing of its JSON packets.
class VELK_EXPORT NetworkHandle : public QObject
{
    Q_OBJECT

public:
    NetworkHandle(NetworkType type, QObject* parent = nullptr);
    ~NetworkHandle() override;

    NetworkType type() const;
    // A QTcpSocket or a QUdpSocket, owned by the handle.
    QAbstractSocket* socket() const;

Q_SIGNALS:
    // Once per complete JSON object received.
    void jsonObtained(const QJsonObject& json);
    // Socket errors, and refused oversize packets, in readable form.
    void socketError(const QString& error_str);
    // Malformed input that was skipped; the stream goes on after it.
    void packageError(const QString& error_str);
    // UDP: a datagram dropped unread because it came from another sender
    // than the peer the channel is narrowed to.
    void datagramRefused(const QHostAddress& sender);

private:
    friend class NetworkObject;
    class Private;
    Private* d;
};

} // namespace velk
