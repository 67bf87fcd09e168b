#pragma once

#include <zarvo/zarvo_global.h>

#include <zarvo/logthrottle.h>

#include <pomr/bmodule.h>

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QJsonValue>

class PendingCommand;
class QEventLoop;
class QTimer;

namespace velk {
class ModuleObject;
}

// The HMI's link to the robot controller ("rc"): the command catalogue under
// the module object "rc", the TCP link with its heartbeat, UDP discovery of
// controllers and of the upgrade server, requests with time-outs, and the
// dispatch of answers and notifications into the catalogue objects.
//
// Reconnection is manual: after a lost link nothing happens until someone
// calls connectToRC() again.
class ZARVO_EXPORT ControllerManager : public pomr::BModule
{
    Q_OBJECT

public:
    static constexpr int HeartbeatInterval = 6400;
    static constexpr int AnnounceDelay = 100;
    static constexpr int RequestTimeout = 4800;
    static constexpr int ExecTimeout = 1600;
    static constexpr int DetectRound = 1000;

    // What one packet's data may bring: levels of nesting and values in all.
    static constexpr int MaxPacketDepth = 64;
    static constexpr int MaxPacketNodes = 10000;
    // Nodes the controller's data may add to the catalogue beyond its
    // templates over the whole run; a packet that would go past is refused.
    static constexpr int MaxCatalogueGrowth = 50000;
    // A refused UDP packet is logged at most this often.
    static constexpr int UdpRefusalLogInterval = 60000;

    // The upgrade server's discovery ports (local 4568, remote 4567). Taken
    // at init(); tests move them to free ports.
    static void setUpgradeDiscoveryPorts(int local, int remote);

    explicit ControllerManager(QObject* parent = nullptr);
    ~ControllerManager() override;

    QString name() const override;

    // Loads the catalogue, registers the four channels and the console commands.
    void init() override;
    // Unregisters the channels.
    void detach() override;

    // Resource aliases need nothing from the link.
    void installQrc(const QString& alias);

    // Start TCP connects to the saved controller and/or upgrade-server address.
    void connectToRC(bool rc, bool upgrade);
    // Save the non-empty addresses, drop pending requests, then connect those.
    void connectToRC(const QString& ip, const QString& upgradeIp);
    // Drop pending requests and close both TCP links.
    void disconnectFromRC();

    // True from a proven connect (the first heartbeat answered) until the link drops.
    bool isConnected() const;
    bool isDetecting() const;

    // A one-second UDP round asking controllers and upgrade servers to answer.
    void startDetecting();
    void stopDetecting();

    // Asynchronous requests: false when not connected or when the same request
    // (same id) is still pending. The answer lands in the catalogue objects.
    bool request(const QString& module, const QString& command, const QJsonValue& data);
    // By full name; the data is completed from the catalogue's request template.
    bool request(const QString& name, velk::ModuleObject* data);

    // Synchronous requests: wait up to 1600 ms in a nested event loop (any
    // slot may run meanwhile) and return the result object "exec": value true
    // with the response data as children, false after an error code or a
    // time-out. The empty node when not connected. When it returns, "exec"
    // holds the answer to this very request, whatever other requests were
    // answered meanwhile; a later synchronous request overwrites it.
    velk::ModuleObject* execRequest(const QString& module, const QString& command,
                                    const QJsonValue& data, bool verbose);
    velk::ModuleObject* execRequest(const QString& name, velk::ModuleObject* data, bool verbose);

    // Catalogue lookups by full name; the empty node (with a warning) when missing.
    velk::ModuleObject* cmdMobj(const QString& name);
    velk::ModuleObject* requestMobj(const QString& name);
    velk::ModuleObject* responseMobj(const QString& name);
    velk::ModuleObject* notifyMobj(const QString& name);

    // The id of an asynchronous request: hex MD5 over module, command and the
    // data's string form (empty for anything but a JSON string).
    static QString requestId(const QString& module, const QString& command, const QJsonValue& data);
    // The request packet: "id", "module", "command", and "data" unless null.
    static QJsonObject requestPacket(const QString& id, const QString& module,
                                     const QString& command, const QJsonValue& data);

    int pendingCount() const;
    // UDP packets dropped because they did not come from the connected controller.
    int refusedUdpCount() const;
    // Nodes the controller's data has added to the catalogue so far.
    int catalogueGrowth() const;

Q_SIGNALS:
    void rcConnected();
    void rcDisconnected();
    void upgradeServerDetected(const QJsonObject& json);

public Q_SLOTS:
    void showConnetionError(const QString& error_str);
    void onControllerConnected();
    void onControllerDisconnected();
    void analyseJson(const QJsonObject& json);
    void analyseUdpJson(const QJsonObject& json);
    void handleUpgradeUdpJson(const QJsonObject& json);

private:
    bool checkRc();
    void heartbeat();
    void response(const QJsonObject& json);
    void notify(const QJsonObject& json);
    void handleErrorCode(const QString& name, int code);
    QString errorCodeText(const QString& name, int code);
    void asyncTimeout(const QString& id, PendingCommand* record);
    void execTimeout(const QString& id, bool verbose);
    void clearPending();
    // The catalogue node of a command, or its part's "data" (part "request", ...).
    velk::ModuleObject* catalogueMobj(const QString& name, const QString& part);
    velk::ModuleObject* templateOrData(const QString& name, velk::ModuleObject* data);
    void registerChannels();
    QString commandText(const QString& fullName) const;
    // Imports a packet's data below `target` within the bounds above; false,
    // with one log line, when it is refused. `fullName` names the command.
    bool importData(velk::ModuleObject* target, const QJsonValue& data, const QString& fullName,
                    bool intoCatalogue);
    // An error line caused by the peer: thrown unless its kind is over its
    // burst, with a summary of what was held back.
    void peerError(const QString& kind, const QString& text, bool hmiRecord = true);
    void flushPeerErrors();
    // Counts a dropped UDP packet; `why` goes into the (rare) log line.
    void refuseUdp(const QString& why);
    void narrowUdp();

    // The answer to one synchronous request, kept apart from "exec" so that
    // nested requests cannot swap answers.
    struct ExecAnswer
    {
        bool answered = false;
        bool ok = false;
        bool hasData = false;
        QJsonValue data;
    };
    QHash<QString, ExecAnswer> m_answers;
    LogThrottle m_peerErrors;
    bool m_peerFlushScheduled = false;
    QElapsedTimer m_clock;
    int m_grown = 0;
    int m_udpRefused = 0;
    int m_udpRefusedLogged = 0;
    qint64 m_udpLoggedAt = -1;

    bool m_connected = false;
    bool m_detecting = false;
    QHash<QString, PendingCommand*> m_pending;
    QHash<QString, QEventLoop*> m_loops;
    velk::ModuleObject* m_exec;
    QTimer* m_heartbeat;
    unsigned int m_missed = 0;
    unsigned int m_counter = 0;
    // Bumped at every connect, so that the delayed announcement of an older
    // connection cannot fire for a newer one.
    unsigned int m_session = 0;
};
