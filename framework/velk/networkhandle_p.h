#pragma once

#include "jsonstreamreader.h"
#include "networkhandle.h"

#include <QHostAddress>

class QAbstractSocket;

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
    void report(const QString& error);
    void scheduleRead();

    NetworkHandle* const q;
    NetworkType type = TCP;
    QAbstractSocket* socket = nullptr;
    JsonStreamReader reader;
    // UDP: when a unicast address, datagrams from other senders are dropped.
    QHostAddress acceptFrom;
    bool readScheduled = false;
};

namespace internal {

// A peer address that names one host, as opposed to null, "any" or a broadcast.
bool isSingleHost(const QHostAddress& address);

} // namespace internal

} // namespace velk
