#include "networkchannel.h"

namespace velk {

NetworkChannel::NetworkChannel(const QHostAddress& localAddress,
                               const QHostAddress& remoteAddress, int localPort,
                               int remotePort)
    : localAddress(localAddress)
    , remoteAddress(remoteAddress)
    , localPort(localPort)
    , remotePort(remotePort)
{
}

} // namespace velk
