#include "rcsimulator.h"

#include "simcatalogue.h"
#include "simconnection.h"
#include "simdiscoveryserver.h"
#include "simresponder.h"
#include "simrobot.h"

#include <QJsonDocument>
#include <QMetaEnum>
#include <QPointer>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTime>
#include <QTimer>

#include <cstdio>

namespace zarvo::sim {

namespace {

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

RcSimulator::RcSimulator(QObject* parent)
    : QObject(parent)
    , m_robot(new SimRobot(this))
    , m_catalogue(new SimCatalogue)
    , m_responder(new SimResponder(m_catalogue.get(), m_robot))
    , m_discoveryServer(new SimDiscoveryServer(m_robot, this))
    , m_monitorTimer(new QTimer(this))
{
    connect(m_discoveryServer, &SimDiscoveryServer::discoveryAnswered, this,
            &RcSimulator::discoveryAnswered);
    connect(m_discoveryServer, &SimDiscoveryServer::upgradeGreeted, this,
            &RcSimulator::upgradeGreeted);
    connect(m_discoveryServer, &SimDiscoveryServer::upgradeClientConnected, this,
            &RcSimulator::upgradeClientConnected);
    connect(m_discoveryServer, &SimDiscoveryServer::sessionEvent, this, &RcSimulator::log);
    connect(m_discoveryServer, &SimDiscoveryServer::datagramTraced, this,
            [this](const QString& direction, const QString& peer, const QByteArray& bytes) {
                trace(direction == QLatin1String("<-") ? "<-" : "->", "udp", peer, bytes);
            });
    m_monitorTimer->setTimerType(Qt::PreciseTimer);
    connect(m_monitorTimer, &QTimer::timeout, this, &RcSimulator::onMonitorTick);
    connect(m_robot, &SimRobot::stateChanged, this, &RcSimulator::onRobotStateChanged);
}

RcSimulator::~RcSimulator()
{
    stop();
}

void RcSimulator::setAllPorts(quint16 port)
{
    m_tcpPortWanted = m_discoveryPortWanted = m_upgradeUdpPortWanted = m_upgradeTcpPortWanted =
        port;
}

bool RcSimulator::start()
{
    stop();
    if (!m_catalogue->isValid()) {
        m_error = m_catalogue->errorString();
        return false;
    }

    m_server = new QTcpServer(this);
    QString failed;
    if (!m_server->listen(m_bindAddress, m_tcpPortWanted)) {
        failed =
            QStringLiteral("tcp port %1: %2").arg(m_tcpPortWanted).arg(m_server->errorString());
    } else {
        m_discoveryServer->setControllerTcpPort(m_server->serverPort());
        m_discoveryServer->start(m_bindAddress, m_discoveryPortWanted, m_upgradeUdpPortWanted,
                                 m_upgradeTcpPortWanted, &failed);
    }
    if (!failed.isEmpty()) {
        m_error = QStringLiteral("cannot bind %1 %2").arg(m_bindAddress.toString(), failed);
        log(m_error);
        m_running = true; // so that stop() tears the half-built state down
        stop();
        return false;
    }
    connect(m_server, &QTcpServer::newConnection, this, &RcSimulator::onNewConnection);

    m_running = true;
    m_error.clear();
    setMonitorRate(m_monitorRate);
    log(QStringLiteral("listening on %1: tcp %2, discovery udp %3, upgrade udp %4 tcp %5")
            .arg(m_bindAddress.toString())
            .arg(tcpPort())
            .arg(discoveryPort())
            .arg(upgradeUdpPort())
            .arg(upgradeTcpPort()));
    return true;
}

void RcSimulator::stop()
{
    m_monitorTimer->stop();
    const QList<SimConnection*> clients = m_clients;
    m_clients.clear();
    for (SimConnection* client : clients) {
        // Delayed answers die with their connection (they use it as context).
        const QString peer = client->peer();
        log(QStringLiteral("client %1 dropped").arg(peer));
        delete client;
        Q_EMIT clientDisconnected(peer);
    }
    m_bursting.clear();
    delete m_server;
    m_server = nullptr;
    m_discoveryServer->stop();
    if (m_running)
        log(QStringLiteral("stopped"));
    m_running = false;
}

quint16 RcSimulator::tcpPort() const
{
    return m_server && m_server->isListening() ? m_server->serverPort() : 0;
}

quint16 RcSimulator::discoveryPort() const
{
    return m_discoveryServer->discoveryPort();
}

quint16 RcSimulator::upgradeUdpPort() const
{
    return m_discoveryServer->upgradeUdpPort();
}

quint16 RcSimulator::upgradeTcpPort() const
{
    return m_discoveryServer->upgradeTcpPort();
}

bool RcSimulator::loadCatalogue(const QString& path)
{
    return m_catalogue->load(path);
}

QJsonObject RcSimulator::storedData(const QString& setCommand) const
{
    return m_responder->storedData(setCommand);
}

QStringList RcSimulator::clientPeers() const
{
    QStringList peers;
    for (const SimConnection* client : m_clients)
        peers << client->peer();
    return peers;
}

// ---- TCP clients ---------------------------------------------------------

void RcSimulator::onNewConnection()
{
    while (QTcpSocket* socket = m_server->nextPendingConnection()) {
        auto* connection = new SimConnection(socket, this);
        m_clients.append(connection);
        connect(connection, &SimConnection::packetReceived, this,
                [this, connection](const QJsonObject& packet) { onPacket(connection, packet); });
        connect(connection, &SimConnection::malformedReceived, this,
                [this, connection](const QByteArray& bytes) {
                    trace("<!", "tcp", connection->peer(), bytes);
                    log(QStringLiteral("client %1 sent %2 malformed bytes")
                            .arg(connection->peer())
                            .arg(bytes.size()));
                    Q_EMIT malformedReceived(connection->peer(), bytes);
                });
        connect(connection, &SimConnection::bytesSent, this,
                [this, connection](const QByteArray& bytes) {
                    if (m_verbose)
                        trace("->", "tcp", connection->peer(), bytes);
                });
        connect(connection, &SimConnection::burstFinished, this,
                [this, connection]() { onBurstFinished(connection); });
        connect(connection, &SimConnection::closed, this,
                [this, connection]() { onClientClosed(connection); });

        log(QStringLiteral("client %1 connected (%2 connected)")
                .arg(connection->peer())
                .arg(m_clients.size()));
        Q_EMIT clientConnected(connection->peer());

        for (Fault fault : {Fault::Malformed, Fault::UnknownNotify, Fault::CloseNow}) {
            if (m_connectFaults.contains(fault) && m_clients.contains(connection))
                applyImmediate(fault, connection);
        }
    }
}

void RcSimulator::onClientClosed(SimConnection* connection)
{
    if (!m_clients.removeOne(connection))
        return;
    if (m_bursting.contains(connection))
        onBurstFinished(connection);
    log(QStringLiteral("client %1 disconnected (%2 connected)")
            .arg(connection->peer())
            .arg(m_clients.size()));
    Q_EMIT clientDisconnected(connection->peer());
    connection->deleteLater();
}

void RcSimulator::onPacket(SimConnection* connection, const QJsonObject& packet)
{
    if (m_verbose)
        trace("<-", "tcp", connection->peer(), compact(packet));
    Q_EMIT requestReceived(packet);
    if (!packet.contains(QLatin1String("id")))
        return; // a notification from the HMI: nothing to answer

    const int delay = m_faults.value(Fault::Delay, 0);
    if (delay > 0) {
        QPointer<SimConnection> guard(connection);
        QTimer::singleShot(delay, connection, [this, guard, packet]() {
            if (guard && m_clients.contains(guard.data()))
                process(guard.data(), packet);
        });
        return;
    }
    process(connection, packet);
}

void RcSimulator::process(SimConnection* connection, const QJsonObject& request)
{
    if (m_faults.contains(Fault::CloseOnRequest)) {
        int& left = m_faults[Fault::CloseOnRequest];
        if (left <= 0) {
            m_faults.remove(Fault::CloseOnRequest);
            log(QStringLiteral("fault close-on-request: closing %1").arg(connection->peer()));
            connection->close();
            return;
        }
        --left;
    }

    if (SimResponder::isHeartbeat(request)) {
        if (m_faults.contains(Fault::NoHeartbeat))
            return;
        if (m_faults.contains(Fault::MissHeartbeats)) {
            int& left = m_faults[Fault::MissHeartbeats];
            if (--left <= 0)
                m_faults.remove(Fault::MissHeartbeats);
            return;
        }
    }

    m_answering = true;
    m_changePending = false;
    const QJsonObject response = m_responder->answer(request);
    m_answering = false;
    sendAnswer(connection, response);
    if (m_changePending) {
        m_changePending = false;
        onRobotStateChanged();
    }
}

void RcSimulator::sendAnswer(SimConnection* connection, const QJsonObject& response)
{
    connection->send(response);
    if (m_faults.contains(Fault::AnswerTwice))
        connection->send(response);
}

void RcSimulator::notifyAll(const QString& module, const QString& command, const QJsonValue& data)
{
    QJsonObject packet{{QStringLiteral("module"), module}, {QStringLiteral("command"), command}};
    if (!data.isUndefined())
        packet.insert(QStringLiteral("data"), data);
    const QList<SimConnection*> clients = m_clients;
    for (SimConnection* client : clients)
        client->send(packet);
}

void RcSimulator::onRobotStateChanged()
{
    if (m_answering) {
        m_changePending = true;
        return;
    }
    notifyAll(QStringLiteral("system"), QStringLiteral("state.change"), m_robot->stateData());
}

// ---- monitor stream ------------------------------------------------------

void RcSimulator::setMonitorRate(int hertz)
{
    m_monitorRate = qBound(0, hertz, MaxMonitorRate);
    if (m_monitorRate == 0 || !m_running) {
        m_monitorTimer->stop();
        return;
    }
    m_monitorTimer->start(qMax(1, qRound(1000.0 / m_monitorRate)));
}

void RcSimulator::onMonitorTick()
{
    if (m_clients.isEmpty())
        return;
    const QJsonObject packet{{QStringLiteral("module"), QStringLiteral("motion")},
                             {QStringLiteral("command"), QStringLiteral("move.monitor")},
                             {QStringLiteral("data"), m_robot->livePose()}};
    const QList<SimConnection*> clients = m_clients;
    for (SimConnection* client : clients) {
        if (client->isBursting() || client->bytesToWrite() > MonitorBacklogLimit)
            continue;
        client->send(packet);
    }
}

int RcSimulator::sendMonitorBurst(qint64 count)
{
    if (count <= 0)
        return 0;
    const QList<SimConnection*> clients = m_clients;
    int served = 0;
    for (SimConnection* client : clients) {
        if (client->isBursting() || !client->isOpen())
            continue;
        ++served;
        m_bursting.insert(client);
        client->startBurst(count, [](qint64 index) {
            const QJsonObject packet{{QStringLiteral("module"), QStringLiteral("motion")},
                                     {QStringLiteral("command"), QStringLiteral("move.monitor")},
                                     {QStringLiteral("data"), SimRobot::pose(index * 0.01)}};
            return compact(packet) + '\n';
        });
    }
    return served;
}

void RcSimulator::onBurstFinished(SimConnection* connection)
{
    if (!m_bursting.remove(connection))
        return;
    if (m_bursting.isEmpty())
        Q_EMIT burstFinished();
}

// ---- faults --------------------------------------------------------------

void RcSimulator::injectFault(Fault fault, int parameter)
{
    log(QStringLiteral("fault %1 %2").arg(faultName(fault)).arg(parameter));
    switch (fault) {
    case Fault::CloseNow:
    case Fault::Malformed:
    case Fault::UnknownNotify:
        applyImmediate(fault, nullptr);
        return;
    case Fault::MissHeartbeats:
        m_faults.insert(fault, qMax(1, parameter));
        return;
    case Fault::Delay:
        if (parameter > 0)
            m_faults.insert(fault, parameter);
        else
            m_faults.remove(fault);
        return;
    case Fault::CloseOnRequest:
        m_faults.insert(fault, qMax(0, parameter));
        return;
    case Fault::NoHeartbeat:
    case Fault::AnswerTwice:
        m_faults.insert(fault, parameter);
        return;
    }
}

void RcSimulator::clearFault(Fault fault)
{
    m_faults.remove(fault);
    m_connectFaults.remove(fault);
}

void RcSimulator::clearFaults()
{
    m_faults.clear();
    m_connectFaults.clear();
}

void RcSimulator::setConnectFault(Fault fault, bool enabled)
{
    if (fault != Fault::CloseNow && fault != Fault::Malformed && fault != Fault::UnknownNotify)
        return;
    if (enabled)
        m_connectFaults.insert(fault);
    else
        m_connectFaults.remove(fault);
}

QByteArray RcSimulator::malformedBytes()
{
    return QByteArrayLiteral("this is not json\r\n"
                             "{\"module\":\"system\",\"command\":\"state.change\",\"data\":{\n"
                             "[1,2,3]\n"
                             "{\"id\":\"x\",}\n"
                             "}}\n");
}

void RcSimulator::applyImmediate(Fault fault, SimConnection* only)
{
    const QList<SimConnection*> targets = only ? QList<SimConnection*>{only} : m_clients;
    for (SimConnection* client : targets) {
        switch (fault) {
        case Fault::CloseNow:
            client->close();
            break;
        case Fault::Malformed:
            client->sendRaw(malformedBytes());
            break;
        case Fault::UnknownNotify:
            client->send(QJsonObject{
                {QStringLiteral("module"), QStringLiteral("zarvo_sim")},
                {QStringLiteral("command"), QStringLiteral("unknown.command")},
                {QStringLiteral("data"),
                 QJsonObject{{QStringLiteral("reason"), QStringLiteral("fault injection")}}}});
            break;
        default:
            break;
        }
    }
}

QString RcSimulator::faultName(Fault fault)
{
    switch (fault) {
    case Fault::NoHeartbeat:
        return QStringLiteral("no-heartbeat");
    case Fault::MissHeartbeats:
        return QStringLiteral("miss-heartbeats");
    case Fault::Delay:
        return QStringLiteral("delay");
    case Fault::AnswerTwice:
        return QStringLiteral("answer-twice");
    case Fault::CloseNow:
        return QStringLiteral("close-now");
    case Fault::CloseOnRequest:
        return QStringLiteral("close-on-request");
    case Fault::Malformed:
        return QStringLiteral("malformed");
    case Fault::UnknownNotify:
        return QStringLiteral("unknown-notify");
    }
    return QString();
}

QStringList RcSimulator::faultNames()
{
    QStringList names;
    const QMetaEnum meta = QMetaEnum::fromType<Fault>();
    for (int i = 0; i < meta.keyCount(); ++i)
        names << faultName(Fault(meta.value(i)));
    return names;
}

bool RcSimulator::faultFromName(const QString& name, Fault* fault)
{
    const QMetaEnum meta = QMetaEnum::fromType<Fault>();
    for (int i = 0; i < meta.keyCount(); ++i) {
        const Fault candidate = Fault(meta.value(i));
        if (faultName(candidate) == name.trimmed().toLower()) {
            if (fault)
                *fault = candidate;
            return true;
        }
    }
    return false;
}

bool RcSimulator::parseFault(const QString& text, Fault* fault, int* parameter)
{
    const int sep = text.indexOf(QRegularExpression(QStringLiteral("[:=]")));
    const QString name = sep < 0 ? text : text.left(sep);
    int value = 0;
    if (sep >= 0) {
        bool ok = false;
        value = text.mid(sep + 1).trimmed().toInt(&ok);
        if (!ok || value < 0)
            return false;
    }
    if (!faultFromName(name, fault))
        return false;
    if (parameter)
        *parameter = value;
    return true;
}

// ---- output ----------------------------------------------------------------

void RcSimulator::trace(const char* direction, const char* channel, const QString& peer,
                        const QByteArray& bytes) const
{
    if (!m_verbose)
        return;
    QByteArray text = bytes;
    while (text.endsWith('\n') || text.endsWith('\r'))
        text.chop(1);
    text.replace('\n', "\\n");
    text.replace('\r', "\\r");
    std::fprintf(stdout, "%s %s %s %s\n", direction, channel, peer.toUtf8().constData(),
                 text.constData());
    std::fflush(stdout);
}

void RcSimulator::log(const QString& text) const
{
    if (!m_sessionLog)
        return;
    std::fprintf(stderr, "[%s] rcsim: %s\n",
                 QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")).toUtf8().constData(),
                 text.toUtf8().constData());
    std::fflush(stderr);
}

} // namespace zarvo::sim
