#include "linksupervisor.h"

#include "commandproxy.h"
#include "hostlog.h"

#include <velk/modulemanager.h>
#include <velk/networkobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QHostAddress>
#include <QJsonObject>

namespace hmi {

namespace {

const char* const kChannel = "rc_tcp";

QString reasonOf(QAbstractSocket::SocketError error, const QAbstractSocket* socket)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return LinkSupervisor::tr("refused");
    case QAbstractSocket::HostNotFoundError:
    case QAbstractSocket::NetworkError:
        return LinkSupervisor::tr("unreachable");
    case QAbstractSocket::SocketTimeoutError:
        return LinkSupervisor::tr("time-out");
    case QAbstractSocket::RemoteHostClosedError:
        return LinkSupervisor::tr("closed by the controller");
    default:
        break;
    }
    return socket ? socket->errorString() : QString();
}

} // namespace

LinkSupervisor::LinkSupervisor(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<hmi::LinkSupervisor::State>();
    m_retry.setSingleShot(true);
    m_connectTimer.setSingleShot(true);
    m_tick.setInterval(1000);
    connect(&m_retry, &QTimer::timeout, this, &LinkSupervisor::attempt);
    connect(&m_tick, &QTimer::timeout, this, &LinkSupervisor::emitStatus);
    connect(&m_connectTimer, &QTimer::timeout, this, [this] {
        // A controller that is switched off or unplugged may leave a connect
        // hanging for minutes; the operator should see a retry instead.
        m_timedOut = true;
        if (m_socket) {
            m_socket->abort();
        }
    });
}

LinkSupervisor::~LinkSupervisor()
{
    detach();
}

bool LinkSupervisor::attach()
{
    detach();
    QObject* rc = velk::m().module(QStringLiteral("rc"));
    velk::NetworkObject* channel = velk::net(QString::fromLatin1(kChannel));
    if (!rc || !channel->isValid() || !channel->socket()) {
        return false;
    }
    m_rc = rc;
    m_socket = channel->socket();
    // The signal names are the link's published interface; the host does
    // not link the plug-in, so it cannot name them as member pointers.
    connect(m_rc, SIGNAL(rcConnected()), this, SLOT(onRcConnectedSlot()));
    connect(m_rc, SIGNAL(rcDisconnected()), this, SLOT(onRcDisconnectedSlot()));
    connect(m_socket, &QAbstractSocket::stateChanged, this, &LinkSupervisor::onSocketState);
    connect(m_socket, &QAbstractSocket::errorOccurred, this, &LinkSupervisor::onSocketError);
    m_connectProxy = CommandProxy::install(QStringLiteral("rc.connect"), this);
    m_disconnectProxy = CommandProxy::install(QStringLiteral("rc.disconnect"), this);
    if (m_connectProxy) {
        connect(m_connectProxy, &CommandProxy::aboutToRun, this,
                &LinkSupervisor::onOperatorConnect);
    }
    if (m_disconnectProxy) {
        connect(m_disconnectProxy, &CommandProxy::aboutToRun, this,
                &LinkSupervisor::onOperatorDisconnect);
    }
    onSocketState(m_socket->state());
    return true;
}

void LinkSupervisor::detach()
{
    m_retry.stop();
    m_tick.stop();
    m_connectTimer.stop();
    delete m_connectProxy;
    delete m_disconnectProxy;
    if (m_rc) {
        disconnect(m_rc, nullptr, this, nullptr);
    }
    if (m_socket) {
        disconnect(m_socket, nullptr, this, nullptr);
    }
    m_rc = nullptr;
    m_socket = nullptr;
}

void LinkSupervisor::setEnabled(bool enabled)
{
    m_enabled = enabled;
    if (!enabled && m_state == Reconnecting) {
        m_retry.stop();
        m_tick.stop();
        setState(Disconnected);
    }
}

bool LinkSupervisor::isEnabled() const
{
    return m_enabled;
}

void LinkSupervisor::setDelays(int first, int maximum)
{
    m_first = qMax(1, first);
    m_maximum = qMax(m_first, maximum);
    m_delay = m_first;
}

int LinkSupervisor::nextDelay(int current, int maximum)
{
    return current >= maximum / 2 ? maximum : current * 2;
}

QString LinkSupervisor::statusText() const
{
    switch (m_state) {
    case Connected:
        return tr("connected to %1").arg(m_address);
    case Connecting:
        return tr("connecting to %1").arg(m_address);
    case Reconnecting:
        return tr("reconnecting in %1 s").arg((qMax(0, m_retry.remainingTime()) + 999) / 1000);
    case Disconnected:
        break;
    }
    return tr("disconnected");
}

void LinkSupervisor::onSocketState(QAbstractSocket::SocketState socketState)
{
    switch (socketState) {
    case QAbstractSocket::HostLookupState:
    case QAbstractSocket::ConnectingState: {
        m_retry.stop();
        m_tick.stop();
        m_timedOut = false;
        m_reason.clear();
        QString ip;
        int port = 0;
        m_address = savedAddress(&ip, &port);
        m_connectTimer.start(connectTimeoutMs);
        setState(Connecting);
        return;
    }
    case QAbstractSocket::ConnectedState:
        m_connectTimer.stop();
        m_address = QStringLiteral("%1:%2")
                        .arg(m_socket->peerAddress().toString())
                        .arg(m_socket->peerPort());
        return;
    case QAbstractSocket::UnconnectedState:
        // The socket tells its error only after this state change: judge the
        // loss once the reason is known.
        QTimer::singleShot(0, this, [this] {
            if (m_socket && m_socket->state() == QAbstractSocket::UnconnectedState) {
                linkDown();
            }
        });
        return;
    default:
        return;
    }
}

void LinkSupervisor::onSocketError(QAbstractSocket::SocketError socketError)
{
    m_reason = reasonOf(socketError, m_socket);
}

void LinkSupervisor::onRcConnectedSlot()
{
    m_connectTimer.stop();
    m_retry.stop();
    m_tick.stop();
    m_delay = m_first;
    m_loggedReason.clear();
    if (m_state != Connected) {
        hostLog('i', tr("controller link up: %1").arg(tr("connected to %1").arg(m_address)));
    }
    setState(Connected);
}

void LinkSupervisor::onRcDisconnectedSlot()
{
    // Normally the socket said so first; this covers a link the controller
    // manager gave up while the socket is still closing.
    linkDown();
}

void LinkSupervisor::onOperatorConnect()
{
    if (m_heldOff) {
        hostLog('i', tr("automatic reconnection resumed by rc.connect"));
    }
    m_heldOff = false;
    m_delay = m_first;
    m_loggedReason.clear();
}

void LinkSupervisor::onOperatorDisconnect()
{
    if (!m_heldOff) {
        hostLog('i', tr("automatic reconnection held off by rc.disconnect until rc.connect"));
    }
    m_heldOff = true;
    m_retry.stop();
    m_tick.stop();
    // A connect under way is not "connected" for rc.disconnect, which would
    // refuse to touch it; the operator asked for the link to stay down.
    if (m_state == Connecting) {
        velk::net(QString::fromLatin1(kChannel))->tryDisconnectFromHost();
        if (m_socket) {
            m_socket->abort();
        }
    }
    if (m_state != Connected) {
        setState(Disconnected);
    }
}

void LinkSupervisor::linkDown()
{
    m_connectTimer.stop();
    // Already waiting: the socket and the controller manager both report one loss.
    if (m_state == Reconnecting) {
        return;
    }
    const bool wasUp = m_state == Connected;
    QString reason = m_timedOut ? tr("time-out") : m_reason;
    if (reason.isEmpty()) {
        reason = wasUp ? tr("link closed") : tr("no answer from the controller");
    }
    m_timedOut = false;
    m_reason.clear();

    if (m_heldOff) {
        // The operator's own doing, logged when it was asked for.
        setState(Disconnected);
        return;
    }
    if (!m_enabled || !settingAllows()) {
        if (m_state != Disconnected) {
            hostLog('w', tr("controller link down (%1)").arg(reason));
        }
        setState(Disconnected);
        return;
    }
    if (wasUp || m_loggedReason.isEmpty()) {
        hostLog('w', tr("controller link down (%1): reconnecting by itself, every %2 s at first, "
                        "at most every %3 s")
                         .arg(reason)
                         .arg(m_first / 1000.0)
                         .arg(m_maximum / 1000.0));
    } else if (m_loggedReason != reason) {
        hostLog('w', tr("controller link still down (%1)").arg(reason));
    }
    m_loggedReason = reason;
    m_retry.start(m_delay);
    m_delay = nextDelay(m_delay, m_maximum);
    m_tick.start();
    setState(Reconnecting);
}

void LinkSupervisor::attempt()
{
    m_tick.stop();
    QString ip;
    int port = 0;
    const QString address = savedAddress(&ip, &port);
    const QHostAddress host(ip);
    if (host.isNull() || port <= 0 || port > 65535) {
        m_reason = tr("no valid controller address in the settings (%1)").arg(address);
        setState(Disconnected);
        linkDown();
        return;
    }
    m_address = address;
    velk::net(QString::fromLatin1(kChannel))->tryConnectToHost(host, port);
}

void LinkSupervisor::setState(State state)
{
    if (m_state != state) {
        m_state = state;
        Q_EMIT stateChanged(state);
    }
    emitStatus();
}

void LinkSupervisor::emitStatus()
{
    Q_EMIT statusChanged(statusText());
}

bool LinkSupervisor::settingAllows() const
{
    bool ok = false;
    QObject* owner = velk::resource().getModulePtr(const_cast<LinkSupervisor*>(this),
                                                   QStringLiteral("setting"), &ok);
    if (!ok || !owner) {
        return true;
    }
    const QJsonValue value = velk::resource().get(owner, QStringLiteral("setting"),
                                                  QStringLiteral("auto_reconnect"), &ok);
    return !ok || !value.isBool() || value.toBool();
}

QString LinkSupervisor::savedAddress(QString* ip, int* port) const
{
    bool ok = false;
    QObject* owner = velk::resource().getModulePtr(const_cast<LinkSupervisor*>(this),
                                                   QStringLiteral("setting"), &ok);
    QJsonObject server;
    if (ok && owner) {
        server = velk::resource()
                     .get(owner, QStringLiteral("setting"), QStringLiteral("server"), &ok)
                     .toObject();
    }
    *ip = server.value(QStringLiteral("ip")).toString();
    *port = server.value(QStringLiteral("port")).toInt(0);
    return QStringLiteral("%1:%2").arg(*ip).arg(*port);
}

} // namespace hmi
