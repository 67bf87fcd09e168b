#pragma once

#include "simframereader.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>

class QTcpSocket;

namespace zarvo::sim {

// One client of the simulator's TCP port: reads its packets, writes ours one
// compact object per line, and feeds monitor bursts to it at the pace of the
// socket.
class SimConnection : public QObject
{
    Q_OBJECT

public:
    // Bytes a burst keeps queued in the socket; refilled as they leave.
    static constexpr qint64 BurstHighWater = 256 * 1024;
    // How long close() lets queued bytes drain before it drops them.
    static constexpr int CloseGraceMs = 1000;

    // Takes ownership of `socket`.
    SimConnection(QTcpSocket* socket, QObject* parent = nullptr);
    ~SimConnection() override;

    QTcpSocket* socket() const { return m_socket; }
    // "address:port" of the client, kept after the socket closed.
    QString peer() const { return m_peer; }
    bool isOpen() const;
    qint64 bytesToWrite() const;

    // One compact JSON object and "\n". False when the socket is closed.
    bool send(const QJsonObject& packet);
    // Exactly these bytes, for malformed input.
    bool sendRaw(const QByteArray& bytes);
    // Graceful close: what is queued is still written, for at most
    // CloseGraceMs; an unfinished burst is abandoned.
    void close();

    // Writes `count` lines made by `make(index)` as fast as the client reads
    // them, never holding more than about BurstHighWater bytes in the
    // socket. burstFinished() follows once the last byte has left.
    void startBurst(qint64 count, std::function<QByteArray(qint64)> make);
    bool isBursting() const { return m_burstLeft > 0 || m_burstDraining; }

Q_SIGNALS:
    void packetReceived(const QJsonObject& packet);
    void malformedReceived(const QByteArray& bytes);
    // Every line written, for tracing.
    void bytesSent(const QByteArray& bytes);
    void burstFinished(qint64 sent);
    void closed();

private:
    void onReadyRead();
    void onBytesWritten();
    void fillBurst();

    QTcpSocket* m_socket;
    QString m_peer;
    SimFrameReader m_reader;
    std::function<QByteArray(qint64)> m_burstMake;
    qint64 m_burstLeft = 0;
    qint64 m_burstSent = 0;
    bool m_burstDraining = false;
};

} // namespace zarvo::sim
