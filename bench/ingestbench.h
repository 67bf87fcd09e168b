#pragma once

// The HMI's ingest path under a flood, with the producer out of the way: a
// FloodPeer on its own thread sends pre-serialised pose notifications as fast
// as the socket takes them. Measures the whole path (framing, dispatch,
// import into the catalogue object, activation, runtime copy) against the
// floor of a bare consumer that only frames and parses the same bytes, and
// what the operator sees during a burst and a 1 kHz stream.

#include "floodpeer.h"

#include <QObject>
#include <QTemporaryDir>
#include <QUdpSocket>

class IngestBench : public QObject
{
public:
    explicit IngestBench(QObject* parent = nullptr);
    ~IngestBench() override;

    bool start();
    QString errorString() const { return m_error; }
    double packetBytes() const { return m_peer.packetBytes(); }

    // Notifications a second through the whole path, every one of them (no
    // coalescing); `debug` with the link's debug lines on (written to
    // /dev/null: the formatting is measured, not a terminal). 0 on failure.
    double hmiRate(qint64 count, bool debug);
    // The same bytes framed and parsed by a bare QTcpSocket + QJsonDocument.
    double floorRate(qint64 count);

    struct Flood
    {
        bool complete = false;
        qint64 delivered = 0; // pose notifications that reached the tree
        double seconds = 0;   // from the first packet to the last answer
        qint64 idleRssKib = 0;
        qint64 peakRssKib = 0;
        int heartbeats = 0; // answered during the burst
        int heartbeatsFailed = 0;
        double heartbeatMedianMs = 0;
        double heartbeatMaxMs = 0;
        int dying = 0; // "controller dying" lines logged
        double lateP50 = 0, lateP99 = 0, lateMax = 0;
    };
    // A burst as the link runs in the field, coalescing on.
    Flood flood(qint64 count);

    struct Stream
    {
        bool complete = false;
        qint64 delivered = 0;
        double lateP50 = 0, lateP99 = 0, lateMax = 0;
    };
    Stream stream(int hertz, qint64 count);
    // The same timer with no traffic at all: what the machine itself allows.
    Stream idle(int ms);

private:
    // Waits until the peer handed everything over and one heartbeat behind it
    // came back: then everything before it was processed.
    bool settle(int ms);

    FloodPeer m_peer;
    QTemporaryDir m_dir;
    QUdpSocket m_discovery;
    QString m_error;
};
