#pragma once

#include "velk_global.h"

#include <QHostAddress>

namespace velk {

enum NetworkType {
    UDP = 0,
    TCP = 1,
};

// Addresses and ports of a channel, in the order of registration.
// TCP: the local part is unused (ports 0); the remote part is set at connect time.
// UDP: the socket binds to the local address and port at registration (any
// address when null); sends go to the remote address and port.
struct VELK_EXPORT NetworkChannel
{
    NetworkChannel() = default;
    NetworkChannel(const QHostAddress& localAddress, const QHostAddress& remoteAddress,
                   int localPort, int remotePort);

    QHostAddress localAddress;
    QHostAddress remoteAddress;
    int localPort = 0;
    int remotePort = 0;
};

} // namespace velk
