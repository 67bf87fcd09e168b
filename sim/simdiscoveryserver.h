#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QObject>
#include <QString>

class QTcpServer;
class QUdpSocket;

namespace zarvo::sim {

class SimRobot;

// The simulator's discovery side: answers controller discovery datagrams with
// the controller's real addresses and ports, and plays the upgrade server
// (UDP greeting, and a TCP listener that accepts and idles).
class SimDiscoveryServer : public QObject
{
    Q_OBJECT

public:
    explicit SimDiscoveryServer(const SimRobot* robot, QObject* parent = nullptr);
    ~SimDiscoveryServer() override;

    // Binds all three; false with *error set when any bind fails, and then
    // nothing stays bound.
    bool start(const QHostAddress& address, quint16 discoveryPort, quint16 upgradeUdpPort,
               quint16 upgradeTcpPort, QString* error);
    void stop();

    // The controller's TCP port, reported in discovery answers.
    void setControllerTcpPort(quint16 port) { m_controllerTcpPort = port; }

    quint16 discoveryPort() const;
    quint16 upgradeUdpPort() const;
    quint16 upgradeTcpPort() const;

    // The data of a discovery answer to a request from `senderPort`.
    QJsonObject detectData(quint16 senderPort) const;

Q_SIGNALS:
    void discoveryAnswered(const QString& peer);
    void upgradeGreeted(const QString& peer);
    void upgradeClientConnected(const QString& peer);
    // Every datagram in ("<-") and out ("->"), for tracing.
    void datagramTraced(const QString& direction, const QString& peer, const QByteArray& bytes);
    // Connects and disconnects of upgrade clients, for the session log.
    void sessionEvent(const QString& text);

private:
    void onDiscoveryDatagrams();
    void onUpgradeDatagrams();
    void onUpgradeConnection();

    const SimRobot* m_robot;
    QHostAddress m_address;
    quint16 m_controllerTcpPort = 0;
    QUdpSocket* m_discovery = nullptr;
    QUdpSocket* m_upgradeUdp = nullptr;
    QTcpServer* m_upgradeServer = nullptr;
};

} // namespace zarvo::sim
