#include "controller/controllermanager.h"

#include "controller/connectcommand.h"
#include "controller/disconnectcommand.h"
#include "controller/pendingcommand.h"
#include "controller/requestcommand.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "services/paths.h"
#include "settings/settingmanager.h"

#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/networkhandle.h>
#include <velk/networkmanager.h>
#include <velk/networkobject.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QAbstractSocket>
#include <QEventLoop>
#include <QNetworkInterface>
#include <QTimer>

namespace {

const QString kRcUdp = QStringLiteral("rc_udp");
const QString kRcTcp = QStringLiteral("rc_tcp");
const QString kUpgradeUdp = QStringLiteral("upgrade_udp");
const QString kUpgradeTcp = QStringLiteral("upgrade_tcp");

int gUpgradeLocalPort = 4568;
int gUpgradeRemotePort = 4567;

// The configured local address counts only when this host really has it;
// anything else (a stale setting from another panel PC) binds to any address.
QHostAddress localAddress(const QString& configured)
{
    if (configured.isEmpty()) {
        return QHostAddress(QHostAddress::AnyIPv4);
    }
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    for (const QHostAddress& address : addresses) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol &&
            address.toString() == configured) {
            return address;
        }
    }
    return QHostAddress(QHostAddress::AnyIPv4);
}

// The pose stream tells nothing but the newest pose: while the HMI has fallen
// behind a flood, an older pose may give way to a newer one. Responses and
// every other notification (state changes above all) are never dropped.
QString coalesceKey(const QJsonObject& json)
{
    static const QString monitor = QStringLiteral("motion.move.monitor");
    if (json.contains(QLatin1String("id")) ||
        json.value(QLatin1String("module")).toString() != QLatin1String("motion") ||
        json.value(QLatin1String("command")).toString() != QLatin1String("move.monitor")) {
        return QString();
    }
    return monitor;
}

} // namespace

ControllerManager::ControllerManager(QObject* parent)
    : pomr::BModule(parent)
    , m_exec(new velk::ModuleObject(QStringLiteral("exec"), nullptr))
    , m_heartbeat(new QTimer(this))
{
    velk::m().regist(this, name());
    connect(m_heartbeat, &QTimer::timeout, this, &ControllerManager::heartbeat);
    m_clock.start();
}

void ControllerManager::setUpgradeDiscoveryPorts(int local, int remote)
{
    gUpgradeLocalPort = local;
    gUpgradeRemotePort = remote;
}

ControllerManager::~ControllerManager()
{
    velk::m().cancel(this, name());
    delete m_heartbeat;
    qDeleteAll(m_pending);
    m_pending.clear();
    for (QEventLoop* loop : qAsConst(m_loops)) {
        loop->quit();
    }
    m_loops.clear();
    delete m_exec;
}

QString ControllerManager::name() const
{
    return QStringLiteral("rc");
}

void ControllerManager::installQrc(const QString& alias)
{
    Q_UNUSED(alias)
}

void ControllerManager::init()
{
    velk::m().importFromJson(this, getTemplatePath(QStringLiteral("rc")), name(), true, true);

    const QString language = setting()->getStr(QStringLiteral("language"), QStringLiteral("cn"));
    const QString names = ManagerHelper::instance().getQrcPath(
        QStringLiteral("translation"), QStringLiteral(".json"),
        QStringLiteral("command_%1").arg(language), QString(), QString());
    velk::translator().installJsonTranslator(QStringLiteral("command"), names);

    registerChannels();

    velk::command().regist(new ConnectCommand(this));
    velk::command().regist(new DisconnectCommand(this));
    velk::command().regist(new RequestCommand(this));
}

void ControllerManager::registerChannels()
{
    const QHostAddress local = localAddress(
        setting()->getObj(QStringLiteral("local")).value(QStringLiteral("ip")).toString());
    const QJsonObject udp = setting()->getObj(QStringLiteral("udp"));
    const QHostAddress broadcast(QHostAddress::Broadcast);
    const QHostAddress any;

    velk::net().regist(kRcUdp, velk::UDP,
                       velk::NetworkChannel(local, broadcast,
                                            udp.value(QStringLiteral("local_port")).toInt(5053),
                                            udp.value(QStringLiteral("server_port")).toInt(5052)));
    // The controller reads packets with their keys in protocol order.
    const QStringList keyOrder{QStringLiteral("id"), QStringLiteral("module"),
                               QStringLiteral("command"), QStringLiteral("data")};
    velk::NetworkObject* rcUdp = velk::net(kRcUdp);
    rcUdp->setRemoteAddress(broadcast);
    rcUdp->setKeyOrder(keyOrder);
    if (rcUdp->handle()) {
        connect(rcUdp->handle(), &velk::NetworkHandle::jsonObtained, this,
                &ControllerManager::analyseUdpJson);
        connect(rcUdp->handle(), &velk::NetworkHandle::datagramRefused, this,
                [this](const QHostAddress& from) {
                    refuseUdp(QStringLiteral("from %1, not the controller").arg(from.toString()));
                });
    }

    velk::net().regist(kRcTcp, velk::TCP, velk::NetworkChannel(any, any, 0, 0));
    velk::NetworkObject* rcTcp = velk::net(kRcTcp);
    rcTcp->setKeyOrder(keyOrder);
    if (rcTcp->handle()) {
        connect(rcTcp->handle(), &velk::NetworkHandle::jsonObtained, this,
                &ControllerManager::analyseJson);
        rcTcp->handle()->setCoalesceKey(coalesceKey);
        connect(rcTcp->handle(), &velk::NetworkHandle::packagesCoalesced, this, [](qint64 count) {
            zarvo::warnLog().nospace() << "rc streams faster than the HMI follows: " << count
                                       << " older pose notifications skipped";
        });
        // The framework skips what is no JSON object and reads on; that our
        // controller sent it belongs in the module's log as an error.
        connect(rcTcp->handle(), &velk::NetworkHandle::packageError, this,
                [this](const QString& error) {
                    peerError(QStringLiteral("unusable packet"),
                              QStringLiteral("unusable packet from rc: ") + zarvo::excerpt(error),
                              false);
                });
        connect(rcTcp->socket(), &QAbstractSocket::connected, this,
                &ControllerManager::onControllerConnected);
        connect(rcTcp->socket(), &QAbstractSocket::disconnected, this,
                &ControllerManager::onControllerDisconnected);
    }

    velk::net().regist(
        kUpgradeUdp, velk::UDP,
        velk::NetworkChannel(local, broadcast, gUpgradeLocalPort, gUpgradeRemotePort));
    velk::NetworkObject* upgradeUdp = velk::net(kUpgradeUdp);
    if (upgradeUdp->handle()) {
        connect(upgradeUdp->handle(), &velk::NetworkHandle::jsonObtained, this,
                &ControllerManager::handleUpgradeUdpJson);
    }

    velk::net().regist(kUpgradeTcp, velk::TCP, velk::NetworkChannel(any, any, 0, 0));
    velk::NetworkObject* upgradeTcp = velk::net(kUpgradeTcp);
    if (upgradeTcp->handle()) {
        connect(upgradeTcp->handle(), &velk::NetworkHandle::socketError, this,
                &ControllerManager::showConnetionError);
    }
}

void ControllerManager::detach()
{
    // Nothing may keep probing a link whose channels are gone.
    m_heartbeat->stop();
    for (const QString& channel : {kRcUdp, kRcTcp, kUpgradeUdp, kUpgradeTcp}) {
        velk::net().cancel(channel);
    }
}

void ControllerManager::connectToRC(bool rc, bool upgrade)
{
    if (rc) {
        const QJsonObject server = setting()->getObj(QStringLiteral("server"));
        const QString ip = server.value(QStringLiteral("ip")).toString();
        const int port = server.value(QStringLiteral("port")).toInt(0);
        velk::net(kRcTcp)->tryConnectToHost(QHostAddress(ip), port);
        zarvo::infoLog().nospace() << "connect to rc [" << ip << ":" << port << "]";
    }
    if (upgrade) {
        const QJsonObject server = setting()->getObj(QStringLiteral("upgrade_server"));
        const QString ip = server.value(QStringLiteral("ip")).toString();
        const int port = server.value(QStringLiteral("port")).toInt(0);
        velk::net(kUpgradeTcp)->tryConnectToHost(QHostAddress(ip), port);
        zarvo::infoLog().nospace() << "connect to upgrade [" << ip << ":" << port << "]";
    }
}

void ControllerManager::connectToRC(const QString& ip, const QString& upgradeIp)
{
    clearPending();
    if (!ip.isEmpty()) {
        QJsonObject server = setting()->getObj(QStringLiteral("server"));
        server.insert(QStringLiteral("ip"), ip);
        setting()->set(QStringLiteral("server"), server);
    }
    if (!upgradeIp.isEmpty()) {
        QJsonObject server = setting()->getObj(QStringLiteral("upgrade_server"));
        server.insert(QStringLiteral("ip"), upgradeIp);
        setting()->set(QStringLiteral("upgrade_server"), server);
    }
    helper().getControllerManager()->connectToRC(!ip.isEmpty(), !upgradeIp.isEmpty());
}

void ControllerManager::disconnectFromRC()
{
    clearPending();
    velk::net(kRcTcp)->tryDisconnectFromHost();
    velk::net(kUpgradeTcp)->tryDisconnectFromHost();
}

void ControllerManager::clearPending()
{
    // Their time-outs die with them; nobody is told, on purpose.
    for (PendingCommand* record : qAsConst(m_pending)) {
        record->deleteLater();
    }
    m_pending.clear();
}

bool ControllerManager::isConnected() const
{
    return m_connected;
}

bool ControllerManager::isDetecting() const
{
    return m_detecting;
}

void ControllerManager::onControllerConnected()
{
    m_connected = true;
    // From now on UDP is heard from the controller only, also during the
    // first heartbeat's wait.
    narrowUdp();
    // The very first heartbeat is decisive: one failure ends the connection.
    m_missed = 1;
    const unsigned int session = ++m_session;
    if (!checkRc()) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                tr("Connection failed: no response"));
        m_connected = false;
        disconnectFromRC();
        return;
    }
    zarvo::infoLog().nospace() << name() << " connected";
    stopDetecting();
    QTimer::singleShot(AnnounceDelay, this, [this, session] {
        if (m_connected && session == m_session) {
            Q_EMIT rcConnected();
            m_heartbeat->start(HeartbeatInterval);
        }
    });
}

void ControllerManager::onControllerDisconnected()
{
    const bool was = m_connected;
    m_connected = false;
    zarvo::infoLog().nospace() << name() << " disconnected";
    stopDetecting();
    m_heartbeat->stop();
    if (was) {
        Q_EMIT rcDisconnected();
    }
}

void ControllerManager::heartbeat()
{
    if (!checkRc()) {
        disconnectFromRC();
    }
}

bool ControllerManager::checkRc()
{
    velk::ModuleObject* result =
        execRequest(QStringLiteral("system.controller.heart"), nullptr, false);
    velk::ModuleObject* peer = result->cmobj(QStringLiteral("name"));
    if (!result->isEmptyMobj() && peer->get().userType() == QMetaType::QString &&
        peer->getString() == QLatin1String("Zarvo")) {
        m_missed = 0;
        return true;
    }
    result->dump();
    if (m_missed == 0) {
        zarvo::warnLog() << "controller dying";
        ++m_missed;
        return true;
    }
    zarvo::errorLog() << "controller dead";
    m_missed = 0;
    return false;
}

void ControllerManager::showConnetionError(const QString& error_str)
{
    if (m_connected) {
        zarvo::errorLog().nospace() << "upgrade server socket error: " << error_str;
    }
}

void ControllerManager::startDetecting()
{
    m_detecting = true;

    QJsonObject detect;
    detect.insert(QStringLiteral("module"), QStringLiteral("system"));
    detect.insert(QStringLiteral("command"), QStringLiteral("controller.detect"));
    velk::NetworkObject* rcUdp = velk::net(kRcUdp);
    rcUdp->setPeerAddress(QHostAddress());
    rcUdp->writeJsonPackage(detect, true);

    QJsonObject greet;
    greet.insert(QStringLiteral("greet"), QStringLiteral("hello"));
    greet.insert(QStringLiteral("my_name"), QStringLiteral("HMI"));
    velk::NetworkObject* upgradeUdp = velk::net(kUpgradeUdp);
    upgradeUdp->setPeerAddress(QHostAddress());
    upgradeUdp->writeJsonPackage(greet, false);

    QTimer::singleShot(DetectRound, this, &ControllerManager::stopDetecting);
}

void ControllerManager::stopDetecting()
{
    m_detecting = false;
    narrowUdp();
}

void ControllerManager::narrowUdp()
{
    velk::NetworkObject* rcUdp = velk::net(kRcUdp);
    if (!rcUdp->isValid() || !rcUdp->handle()) {
        return;
    }
    if (!m_connected) {
        // Sends go out as broadcasts; what comes in is sorted in analyseUdpJson().
        rcUdp->setPeerAddress(QHostAddress(QHostAddress::Broadcast));
        return;
    }
    // Outside a round only our own controller may talk to us over UDP. The
    // address the TCP link really reached wins over the setting's text,
    // which might not name one host ("0.0.0.0" reaches this one).
    QHostAddress controller(
        setting()->getObj(QStringLiteral("server")).value(QStringLiteral("ip")).toString());
    const QAbstractSocket* socket = velk::net(kRcTcp)->socket();
    if (socket && !socket->peerAddress().isNull()) {
        controller = socket->peerAddress();
    }
    rcUdp->setPeerAddress(controller);
}

void ControllerManager::handleUpgradeUdpJson(const QJsonObject& json)
{
    if (!m_detecting) {
        return;
    }
    if (json.value(QStringLiteral("my_name")).toString() == QLatin1String("RC") &&
        json.value(QStringLiteral("reply")).toString() == QLatin1String("welcome")) {
        Q_EMIT upgradeServerDetected(json);
    }
}

QString ControllerManager::commandText(const QString& fullName) const
{
    return velk::translator().dtr(QStringLiteral("command"), fullName);
}
