#pragma once

// A controller stand-in for benchmarks, on its own thread so that producing
// packets never costs the HMI's thread anything: it answers requests at once
// (the heartbeat as "Zarvo") and streams pre-serialised pose notifications,
// either as fast as the socket takes them or at a fixed rate.

#include <QByteArray>
#include <QThread>

#include <atomic>

class FloodPeerWorker;

class FloodPeer
{
public:
    // Who receives a stream: the link that sent a heartbeat, or a bare
    // consumer that greeted the peer with a line {"floor":true}.
    enum Target { Hmi, Floor };

    FloodPeer();
    ~FloodPeer();

    // Listens on loopback, port 0. False when it cannot.
    bool start();
    quint16 port() const;
    // Bytes of one pose notification, line break included (the average).
    double packetBytes() const;

    // `count` notifications as fast as the socket takes them, never more than
    // a few hundred kilobytes queued, so answers are not stuck behind them.
    void burst(Target target, qint64 count);
    // `count` notifications at `hertz`.
    void stream(Target target, int hertz, qint64 count);
    // True until a burst or stream has been handed to the kernel entirely.
    bool busy() const;
    // Whether a bare consumer has greeted the peer.
    bool hasFloor() const;
    // Requests answered since start.
    qint64 answered() const;

private:
    QThread m_thread;
    FloodPeerWorker* m_worker = nullptr;
};
