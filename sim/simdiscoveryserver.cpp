#include "simdiscoveryserver.h"

#include "simrobot.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>

namespace zarvo::sim {

namespace {

const QString System = QStringLiteral("system");
const QString Detect = QStringLiteral("controller.detect");

QJsonObject parseDatagram(const QByteArray& bytes)
{
    QByteArray body = bytes.trimmed();
    if (body.startsWith("\xEF\xBB\xBF"))
        body.remove(0, 3);
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    return error.error == QJsonParseError::NoError ? doc.object() : QJsonObject();
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QString peerOf(const QHostAddress& address, int port)
{
    return QStringLiteral("%1:%2").arg(address.toString()).arg(port);
}

} // namespace

SimDiscoveryServer::SimDiscoveryServer(const SimRobot* robot, QObject* parent)
    : QObject(parent)
    , m_robot(robot)
{
}

SimDiscoveryServer::~SimDiscoveryServer()
{
    stop();
}

bool SimDiscoveryServer::start(const QHostAddress& address, quint16 discoveryPort,
                               quint16 upgradeUdpPort, quint16 upgradeTcpPort, QString* error)
{
    stop();
    m_address = address;
    m_discovery = new QUdpSocket(this);
    m_upgradeUdp = new QUdpSocket(this);
    m_upgradeServer = new QTcpServer(this);

    QString failed;
    if (!m_discovery->bind(address, discoveryPort))
        failed = QStringLiteral("discovery udp port %1: %2")
                     .arg(discoveryPort)
                     .arg(m_discovery->errorString());
    else if (!m_upgradeUdp->bind(address, upgradeUdpPort))
        failed = QStringLiteral("upgrade udp port %1: %2")
                     .arg(upgradeUdpPort)
                     .arg(m_upgradeUdp->errorString());
    else if (!m_upgradeServer->listen(address, upgradeTcpPort))
        failed = QStringLiteral("upgrade tcp port %1: %2")
                     .arg(upgradeTcpPort)
                     .arg(m_upgradeServer->errorString());
    if (!failed.isEmpty()) {
        if (error)
            *error = failed;
        stop();
        return false;
    }

    connect(m_discovery, &QUdpSocket::readyRead, this, &SimDiscoveryServer::onDiscoveryDatagrams);
    connect(m_upgradeUdp, &QUdpSocket::readyRead, this, &SimDiscoveryServer::onUpgradeDatagrams);
    connect(m_upgradeServer, &QTcpServer::newConnection, this,
            &SimDiscoveryServer::onUpgradeConnection);
    return true;
}

void SimDiscoveryServer::stop()
{
    delete m_discovery;
    delete m_upgradeUdp;
    delete m_upgradeServer; // its sockets are its children
    m_discovery = nullptr;
    m_upgradeUdp = nullptr;
    m_upgradeServer = nullptr;
}

quint16 SimDiscoveryServer::discoveryPort() const
{
    return m_discovery ? m_discovery->localPort() : 0;
}

quint16 SimDiscoveryServer::upgradeUdpPort() const
{
    return m_upgradeUdp ? m_upgradeUdp->localPort() : 0;
}

quint16 SimDiscoveryServer::upgradeTcpPort() const
{
    return m_upgradeServer && m_upgradeServer->isListening() ? m_upgradeServer->serverPort() : 0;
}

QJsonObject SimDiscoveryServer::detectData(quint16 senderPort) const
{
    const bool any = m_address == QHostAddress::Any || m_address == QHostAddress::AnyIPv4;
    QJsonArray addresses;
    QString mac;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& iface : interfaces) {
        const QList<QNetworkAddressEntry> entries = iface.addressEntries();
        for (const QNetworkAddressEntry& entry : entries) {
            const QHostAddress ip = entry.ip();
            if (ip.protocol() != QAbstractSocket::IPv4Protocol)
                continue;
            // Bound to all addresses, the controller is reachable on every
            // outside one; bound to one, only there.
            if (any ? ip.isLoopback() : ip != m_address)
                continue;
            addresses.append(ip.toString());
            if (mac.isEmpty())
                mac = iface.hardwareAddress();
        }
    }
    if (addresses.isEmpty())
        addresses.append(m_address.toString());
    if (mac.isEmpty())
        mac = QStringLiteral("00:00:00:00:00:00");

    return QJsonObject{{QStringLiteral("addr_list"), addresses},
                       {QStringLiteral("mac_addr"), mac},
                       {QStringLiteral("tcp_port"), QString::number(m_controllerTcpPort)},
                       // There is no TLS port; "0" says so.
                       {QStringLiteral("ssl_port"), QStringLiteral("0")},
                       {QStringLiteral("udp_local_port"), QString::number(discoveryPort())},
                       {QStringLiteral("udp_remote_port"), QString::number(senderPort)},
                       {QStringLiteral("version"), m_robot->version()},
                       {QStringLiteral("robot_type"), m_robot->robotType()},
                       {QStringLiteral("alias"), m_robot->alias()}};
}

void SimDiscoveryServer::onDiscoveryDatagrams()
{
    while (m_discovery && m_discovery->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_discovery->receiveDatagram();
        const QString peer = peerOf(datagram.senderAddress(), datagram.senderPort());
        Q_EMIT datagramTraced(QStringLiteral("<-"), peer, datagram.data());
        const QJsonObject packet = parseDatagram(datagram.data());
        if (packet.value(QLatin1String("module")).toString() != System ||
            packet.value(QLatin1String("command")).toString() != Detect ||
            datagram.senderPort() <= 0)
            continue;
        const QJsonObject answer{
            {QStringLiteral("module"), System},
            {QStringLiteral("command"), Detect},
            {QStringLiteral("data"), detectData(quint16(datagram.senderPort()))}};
        const QByteArray bytes = compact(answer) + '\n';
        m_discovery->writeDatagram(bytes, datagram.senderAddress(), quint16(datagram.senderPort()));
        Q_EMIT datagramTraced(QStringLiteral("->"), peer, bytes);
        Q_EMIT discoveryAnswered(peer);
    }
}

void SimDiscoveryServer::onUpgradeDatagrams()
{
    while (m_upgradeUdp && m_upgradeUdp->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_upgradeUdp->receiveDatagram();
        const QString peer = peerOf(datagram.senderAddress(), datagram.senderPort());
        Q_EMIT datagramTraced(QStringLiteral("<-"), peer, datagram.data());
        const QJsonObject packet = parseDatagram(datagram.data());
        if (packet.value(QLatin1String("greet")).toString() != QLatin1String("hello") ||
            packet.value(QLatin1String("my_name")).toString() != QLatin1String("HMI") ||
            datagram.senderPort() <= 0)
            continue;
        // The greeting came as one bare document, so the answer goes back so.
        const QByteArray bytes = compact(
            QJsonObject{{QStringLiteral("my_name"), "RC"}, {QStringLiteral("reply"), "welcome"}});
        m_upgradeUdp->writeDatagram(bytes, datagram.senderAddress(),
                                    quint16(datagram.senderPort()));
        Q_EMIT datagramTraced(QStringLiteral("->"), peer, bytes);
        Q_EMIT upgradeGreeted(peer);
    }
}

void SimDiscoveryServer::onUpgradeConnection()
{
    while (QTcpSocket* socket = m_upgradeServer->nextPendingConnection()) {
        // The upgrade server only has to be there; what arrives is dropped.
        const QString peer = peerOf(socket->peerAddress(), socket->peerPort());
        connect(socket, &QTcpSocket::readyRead, socket, [socket]() { socket->readAll(); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::disconnected, this, [this, peer]() {
            Q_EMIT sessionEvent(QStringLiteral("upgrade client %1 disconnected").arg(peer));
        });
        Q_EMIT sessionEvent(QStringLiteral("upgrade client %1 connected").arg(peer));
        Q_EMIT upgradeClientConnected(peer);
    }
}

} // namespace zarvo::sim
