#pragma once

#include "jsonstreamreader.h"
#include "networkhandle.h"
#include "packetqueue_p.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QPointer>

class QAbstractSocket;
class QTimer;

namespace velk {

class NetworkHandle::Private
{
public:
    explicit Private(NetworkHandle* handle)
        : q(handle)
    {
    }

    void readTcp();
    void readUdp();
    void finishTcpStream();
    // Hands out everything complete in `reader`; false when the handle was
    // destroyed by a receiver, and nothing of it may be touched any more.
    bool drain(JsonStreamReader& reader);
    // Moves the complete packets of `reader` to the queue; false as drain().
    bool frame();
    // Hands out queued packets until the queue is empty or, with `slice`,
    // the slice is used up; false as drain().
    bool deliver(const QElapsedTimer* slice);
    void noteCoalesced(qint64 count);
    void reportCoalesced();
    void report(const QString& error);
    void scheduleRead();
    // Runs `handler` for a signal of the socket, counting how deep such calls nest.
    template <typename Handler>
    void fromSocket(Handler handler);

    NetworkHandle* const q;
    NetworkType type = TCP;
    QAbstractSocket* socket = nullptr;
    JsonStreamReader reader;
    // TCP packets framed but not yet handed out, oldest first. Receivers may
    // run nested event loops that read on: they take from the same queue, so
    // packets keep their order.
    internal::PacketQueue queue;
    NetworkHandle::CoalesceKey coalesceKey;
    qint64 unreportedCoalesced = 0;
    QElapsedTimer lastCoalesceReport;
    QTimer* coalesceReport = nullptr;
    // UDP: when a unicast address, datagrams from other senders are dropped.
    QHostAddress acceptFrom;
    bool readScheduled = false;
    // Qt touches a socket after its signal returns, so a handle destroyed by a
    // receiver of one must leave the socket to the event loop.
    int inSocketSignal = 0;
};

template <typename Handler>
void NetworkHandle::Private::fromSocket(Handler handler)
{
    const QPointer<NetworkHandle> guard(q);
    ++inSocketSignal;
    handler();
    if (guard) {
        --inSocketSignal;
    }
}

namespace internal {

// A peer address that names one host, as opposed to null, "any" or a broadcast.
bool isSingleHost(const QHostAddress& address);

} // namespace internal

} // namespace velk
