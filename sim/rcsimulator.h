#pragma once

#include <QHash>
#include <QHostAddress>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>

class QTcpServer;
class QTimer;

namespace zarvo::sim {

class SimCatalogue;
class SimConnection;
class SimDiscoveryServer;
class SimResponder;
class SimRobot;

// A simulated robot controller on real sockets: the TCP protocol port with
// heartbeat, catalogue answers, state changes and the motion monitor stream;
// UDP discovery; the upgrade server's UDP greeting and TCP listener. Faults can
// be injected by name. Several simulators can run side by side in one process
// when their ports are 0 (ephemeral); the *Port() getters report what was
// bound. What each request is answered with is SimResponder's business
// (a command the catalogue does not know gets -20000).
class RcSimulator : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 DefaultTcpPort = 5050;
    static constexpr quint16 DefaultDiscoveryPort = 5052;
    static constexpr quint16 DefaultUpgradePort = 4567;
    static constexpr int DefaultMonitorRate = 100; // Hz
    static constexpr int MaxMonitorRate = 1000;
    // A client with more than this queued misses monitor frames instead of
    // making us buffer without bound.
    static constexpr qint64 MonitorBacklogLimit = 1024 * 1024;

    // Named failure modes.
    enum class Fault {
        // Heartbeats go unanswered until the fault is cleared; other requests
        // are still answered.
        NoHeartbeat,
        // The next N heartbeats (parameter, default 1) go unanswered, then
        // heartbeats are answered again.
        MissHeartbeats,
        // Every request is handled T ms (parameter) after it arrived, so its
        // answer and the notifications it causes come late. 0 clears it.
        Delay,
        // Every answer is sent twice, byte for byte.
        AnswerTwice,
        // Immediate: close every client connection now.
        CloseNow,
        // Answer N more requests (parameter, default 0), then close the
        // connection that sends the next one, without answering it.
        CloseOnRequest,
        // Immediate: send every client a run of malformed bytes (text, an
        // object cut by a line break, an array, an unparsable object).
        Malformed,
        // Immediate: send every client a notification of a command that no
        // catalogue knows ("zarvo_sim" "unknown.command").
        UnknownNotify,
    };
    Q_ENUM(Fault)

    explicit RcSimulator(QObject* parent = nullptr);
    ~RcSimulator() override;

    // Configuration; ports and address take effect at the next start().
    void setBindAddress(const QHostAddress& address) { m_bindAddress = address; }
    QHostAddress bindAddress() const { return m_bindAddress; }
    void setTcpPort(quint16 port) { m_tcpPortWanted = port; }
    void setDiscoveryPort(quint16 port) { m_discoveryPortWanted = port; }
    void setUpgradeUdpPort(quint16 port) { m_upgradeUdpPortWanted = port; }
    void setUpgradeTcpPort(quint16 port) { m_upgradeTcpPortWanted = port; }
    // All four at once; 0 makes them all ephemeral.
    void setAllPorts(quint16 port);

    // Binds everything; false (and errorString()) when any bind fails, in
    // which case nothing stays bound. Restarts when already running.
    bool start();
    // Closes every socket; clients see their connection end.
    void stop();
    bool isRunning() const { return m_running; }
    QString errorString() const { return m_error; }

    // Ports actually bound; 0 while stopped.
    quint16 tcpPort() const;
    quint16 discoveryPort() const;
    quint16 upgradeUdpPort() const;
    quint16 upgradeTcpPort() const;

    // Monitor notifications per second to every client; 0 stops the stream.
    // Clamped to 0..MaxMonitorRate. Takes effect at once.
    void setMonitorRate(int hertz);
    int monitorRate() const { return m_monitorRate; }

    // Sends `count` monitor notifications to every connected client as fast
    // as each one reads them (the regular stream pauses meanwhile). Returns
    // the number of clients served; burstFinished() follows when all of them
    // have taken their last byte (not at all when it returns 0).
    int sendMonitorBurst(qint64 count);

    SimRobot* robot() const { return m_robot; }
    const SimCatalogue& catalogue() const { return *m_catalogue; }
    // Answers from another catalogue file from now on.
    bool loadCatalogue(const QString& path);
    // What set_* requests stored, completed from the template.
    QJsonObject storedData(const QString& setCommand) const;

    int clientCount() const { return int(m_clients.size()); }
    QStringList clientPeers() const;

    // A notification packet (no "id"; "data" left out when undefined) to
    // every client.
    void notifyAll(const QString& module, const QString& command,
                   const QJsonValue& data = QJsonValue(QJsonValue::Undefined));

    // Fault injection. `parameter` as each mode describes; immediate modes
    // act at once and are not kept.
    void injectFault(Fault fault, int parameter = 0);
    void clearFault(Fault fault);
    void clearFaults();
    bool hasFault(Fault fault) const { return m_faults.contains(fault); }
    int faultParameter(Fault fault) const { return m_faults.value(fault, 0); }
    // Immediate modes (CloseNow, Malformed, UnknownNotify) applied to each
    // client as it connects; other modes are ignored here.
    void setConnectFault(Fault fault, bool enabled);

    // "no-heartbeat", "miss-heartbeats", "delay", "answer-twice",
    // "close-now", "close-on-request", "malformed", "unknown-notify".
    static QString faultName(Fault fault);
    static bool faultFromName(const QString& name, Fault* fault);
    static QStringList faultNames();
    // "name" or "name:parameter" (also "name=parameter").
    static bool parseFault(const QString& text, Fault* fault, int* parameter);
    static QByteArray malformedBytes();

    // Every packet received and sent on stdout, one line each:
    // "<- tcp 127.0.0.1:40000 {...}", "-> udp 127.0.0.1:5053 {...}"; malformed
    // input shows as "<! tcp ...".
    void setVerbose(bool verbose) { m_verbose = verbose; }
    bool isVerbose() const { return m_verbose; }
    // Connects, disconnects, binds and faults on stderr.
    void setSessionLog(bool enabled) { m_sessionLog = enabled; }

Q_SIGNALS:
    void clientConnected(const QString& peer);
    void clientDisconnected(const QString& peer);
    // Every packet a TCP client sent, as it arrives (before any delay).
    void requestReceived(const QJsonObject& packet);
    void malformedReceived(const QString& peer, const QByteArray& bytes);
    void discoveryAnswered(const QString& peer);
    void upgradeGreeted(const QString& peer);
    void upgradeClientConnected(const QString& peer);
    void burstFinished();

private:
    void onNewConnection();
    void onClientClosed(SimConnection* connection);
    void onPacket(SimConnection* connection, const QJsonObject& packet);
    void process(SimConnection* connection, const QJsonObject& request);
    void sendAnswer(SimConnection* connection, const QJsonObject& response);
    void onRobotStateChanged();
    void onMonitorTick();
    void onBurstFinished(SimConnection* connection);
    void applyImmediate(Fault fault, SimConnection* only);
    void trace(const char* direction, const char* channel, const QString& peer,
               const QByteArray& bytes) const;
    void log(const QString& text) const;

    SimRobot* m_robot;
    std::unique_ptr<SimCatalogue> m_catalogue;
    std::unique_ptr<SimResponder> m_responder;
    SimDiscoveryServer* m_discoveryServer;

    QHostAddress m_bindAddress{QHostAddress::LocalHost};
    quint16 m_tcpPortWanted = DefaultTcpPort;
    quint16 m_discoveryPortWanted = DefaultDiscoveryPort;
    quint16 m_upgradeUdpPortWanted = DefaultUpgradePort;
    quint16 m_upgradeTcpPortWanted = DefaultUpgradePort;

    QTcpServer* m_server = nullptr;
    bool m_running = false;
    QString m_error;

    QList<SimConnection*> m_clients;
    QTimer* m_monitorTimer;
    int m_monitorRate = DefaultMonitorRate;
    QSet<SimConnection*> m_bursting;

    QHash<Fault, int> m_faults;
    QSet<Fault> m_connectFaults;

    // A state change caused by a request is announced after its answer.
    bool m_answering = false;
    bool m_changePending = false;

    bool m_verbose = false;
    bool m_sessionLog = false;
};

inline uint qHash(RcSimulator::Fault fault, uint seed = 0)
{
    return ::qHash(int(fault), seed);
}

} // namespace zarvo::sim
