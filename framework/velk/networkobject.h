#pragma once

#include "velk_global.h"
#include "networkchannel.h"

#include <QJsonObject>
#include <QStringList>
#include <QObject>

class QAbstractSocket;

namespace velk {

class NetworkHandle;

// One registered channel: its handle (socket + framing) and its addresses.
//
// UDP peer address: null means sends go to the channel's remote address and
// datagrams from any sender are accepted; otherwise sends go to the peer and
// only datagrams from it are accepted (a broadcast or "any" peer, naming no
// single host, filters nothing). A send to the limited broadcast address
// goes to $ZARVO_BROADCAST_ADDRESS instead when that variable is set.
class VELK_EXPORT NetworkObject : public QObject
{
    Q_OBJECT

public:
    NetworkObject(const QString& name, NetworkType type, const NetworkChannel& channel,
                  QObject* parent = nullptr);
    ~NetworkObject() override;

    // False only for the inert object that net(name) returns for unknown names.
    bool isValid() const;
    QString name() const;
    NetworkType type() const;
    NetworkChannel channel() const;
    NetworkHandle* handle() const;  // null for the inert object
    QAbstractSocket* socket() const; // null for the inert object

    // UDP: whether the socket is bound to its local address and port.
    bool isBound() const;

    QHostAddress peerAddress() const;
    void setPeerAddress(const QHostAddress& address);
    QHostAddress remoteAddress() const;
    void setRemoteAddress(const QHostAddress& address);

    // TCP: drop any current connection and connect to address:port; false when
    // the address is null or the port out of range (reported through socketError).
    // UDP: set the remote address and port.
    bool tryConnectToHost(const QHostAddress& address, int port);
    // TCP: close the connection (pending writes are flushed first); UDP: nothing.
    bool tryDisconnectFromHost();

    // Write one compact JSON object. `framed`: end it with a line break, the
    // framing of the controller protocol; without it the bare object is sent
    // (a datagram for peers that take one datagram as one document).
    // False when a TCP socket is not connected or the write fails.
    bool writeJsonPackage(const QJsonObject& json, bool framed);

    // Keys written first, in this order, by writeJsonPackage; the others
    // follow in Qt's sorted order. A protocol that fixes its key order on the
    // wire (id, module, command, data) sets it once per channel.
    void setKeyOrder(const QStringList& keys);
    QStringList keyOrder() const;

    // Compact JSON of `json` with `leadingKeys` first, in that order.
    static QByteArray orderedJson(const QJsonObject& json, const QStringList& leadingKeys);

    // The inert object returned for unknown channel names.
    static NetworkObject* invalid();

private:
    class Private;
    Private* d;
};

} // namespace velk
