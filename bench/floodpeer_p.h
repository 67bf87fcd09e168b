#pragma once

#include "floodpeer.h"

#include <QObject>
#include <QVector>

class QTcpServer;
class QTcpSocket;
class QTimer;

// Lives on the peer's thread; FloodPeer reaches it through queued calls only.
class FloodPeerWorker : public QObject
{
public:
    FloodPeerWorker();

    void listen();
    void burst(FloodPeer::Target target, qint64 count);
    void stream(FloodPeer::Target target, int hertz, qint64 count);

    std::atomic<quint16> port{0};
    std::atomic<bool> listened{false};
    std::atomic<bool> busy{false};
    std::atomic<bool> hasFloor{false};
    std::atomic<qint64> answered{0};
    double packetBytes = 0;

private:
    void accept();
    void read(QTcpSocket* socket);
    void pump();
    void tick();
    // Writes up to `count` packets from the ring in one call; returns how many.
    qint64 writePackets(QTcpSocket* socket, qint64 count);
    QTcpSocket* socketFor(FloodPeer::Target target) const;
    void finishWhenDrained();

    QTcpServer* m_server = nullptr;
    QTcpSocket* m_hmi = nullptr;
    QTcpSocket* m_floor = nullptr;
    // Distinct poses back to back, so that every packet changes the pose.
    QByteArray m_ring;
    QVector<int> m_offsets; // start of each packet, then the ring's size
    int m_next = 0;
    QTcpSocket* m_target = nullptr;
    qint64 m_left = 0;
    QTimer* m_timer = nullptr;
};
