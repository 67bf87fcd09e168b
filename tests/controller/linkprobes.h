#pragma once

// What the controller link tests look at: the module's log file, the log
// records the link publishes for the HMI, the raw bytes a bare TCP peer gets,
// and small helpers to point the link elsewhere and back.

#include "linkfixture.h"

#include "settings/settingmanager.h"
#include "simrobot.h"

#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <functional>
#include <memory>

using zarvo::sim::RcSimulator;
using Fault = RcSimulator::Fault;

namespace linkprobes {

// Room for the slowest step of a loaded machine on top of a protocol timer.
constexpr int Slack = 3000;

// Broadcasts must reach loopback only, also when a test is run by hand
// outside CTest (which sets the same).
inline void keepBroadcastsLocal()
{
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
}

// The id of an asynchronous request, computed here without the link's code:
// hex MD5 over module, command and the data's string form.
inline QString md5Id(const QString& module, const QString& command, const QString& text = {})
{
    return QString::fromLatin1(
        QCryptographicHash::hash((module + command + text).toUtf8(), QCryptographicHash::Md5)
            .toHex());
}

inline QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// A free-standing module object holding `json`, for the by-name request forms.
inline std::unique_ptr<velk::ModuleObject> mobjOf(const QJsonObject& json)
{
    auto object = std::make_unique<velk::ModuleObject>(QStringLiteral("data"));
    object->importFromJson(nullptr, json, true, false, false);
    return object;
}

// Lines appended to ./log/zarvo.log (info, warning and error lines of the
// module) since construction or the last mark().
class LogTail
{
public:
    LogTail()
        : m_path(QDir::current().filePath(QStringLiteral("log/zarvo.log")))
    {
        mark();
    }

    void mark() { m_offset = QFileInfo(m_path).size(); }

    QStringList lines() const
    {
        QFile file(m_path);
        if (!file.open(QIODevice::ReadOnly) || !file.seek(m_offset)) {
            return {};
        }
        return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    int count(const QString& text) const
    {
        int n = 0;
        for (const QString& line : lines()) {
            n += line.contains(text) ? 1 : 0;
        }
        return n;
    }

    // Index of the first new line containing `text`, -1 when none.
    int indexOf(const QString& text) const
    {
        const QStringList all = lines();
        for (int i = 0; i < all.size(); ++i) {
            if (all.at(i).contains(text)) {
                return i;
            }
        }
        return -1;
    }

    bool waitFor(const QString& text, int timeout, int times = 1) const
    {
        return QTest::qWaitFor([&] { return count(text) >= times; }, timeout);
    }

    QString dump() const { return lines().join(QLatin1Char('\n')); }

private:
    QString m_path;
    qint64 m_offset = 0;
};

// The "cur_hmi_log" records the controller manager publishes while it lives.
class HmiRecords
{
public:
    HmiRecords()
    {
        velk::ResourceWatcher* watcher =
            velk::resource().getWatcher(rc(), QStringLiteral("log"), QStringLiteral("cur_hmi_log"));
        QObject::connect(watcher, &velk::ResourceWatcher::valueChanged, &m_context,
                         [this](const QJsonValue& value) { m_records << value.toObject(); });
    }

    QStringList titles() const
    {
        QStringList out;
        for (const QJsonObject& record : m_records) {
            out << record.value(QStringLiteral("title")).toString();
        }
        return out;
    }

    QList<QJsonObject> records() const { return m_records; }
    int count(const QString& title) const { return titles().count(title); }
    bool waitFor(const QString& title, int timeout) const
    {
        return QTest::qWaitFor([&] { return titles().contains(title); }, timeout);
    }

private:
    QObject m_context;
    QList<QJsonObject> m_records;
};

// A bare controller on a loopback port that keeps every line it receives as
// bytes. It answers heartbeats as a controller does and every other request
// with {"id": id} unless told otherwise; with `answering` off it never
// answers at all.
class RawPeer
{
public:
    RawPeer()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost, 0); }
    quint16 port() const { return m_server.serverPort(); }

    bool answering = true;
    // The data of heartbeat answers; undefined leaves the key out.
    QJsonValue heartbeatData = QJsonObject{{"name", "Zarvo"}};
    // The bytes to send back for a request that is not the heartbeat; a null
    // result leaves it to the default answer, an empty one sends nothing.
    std::function<QByteArray(const QJsonObject&)> responder;

    QList<QByteArray> lines;
    QList<QJsonObject> packets;
    int connections = 0;
    int closed = 0;

    void send(const QByteArray& bytes)
    {
        for (const QPointer<QTcpSocket>& socket : qAsConst(m_sockets)) {
            if (socket && socket->state() == QAbstractSocket::ConnectedState) {
                socket->write(bytes);
                socket->flush();
            }
        }
    }

    // The first received packet after index `from` that `match` accepts.
    int waitFor(const std::function<bool(const QJsonObject&)>& match, int timeout, int from = 0)
    {
        int found = -1;
        (void)QTest::qWaitFor(
            [&] {
                for (int i = from; i < packets.size(); ++i) {
                    if (match(packets.at(i))) {
                        found = i;
                        return true;
                    }
                }
                return false;
            },
            timeout);
        return found;
    }

    static bool isHeartbeat(const QJsonObject& packet)
    {
        return packet.value(QStringLiteral("command")).toString() ==
               QLatin1String("controller.heart");
    }

private:
    void accept()
    {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            ++connections;
            m_sockets << socket;
            QObject::connect(socket, &QTcpSocket::readyRead, socket,
                             [this, socket] { read(socket); });
            QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] { ++closed; });
        }
    }

    void read(QTcpSocket* socket)
    {
        QByteArray& buffer = m_buffers[socket];
        buffer += socket->readAll();
        int end;
        while ((end = buffer.indexOf('\n')) >= 0) {
            const QByteArray line = buffer.left(end + 1);
            buffer.remove(0, end + 1);
            lines << line;
            const QJsonObject packet = QJsonDocument::fromJson(line).object();
            packets << packet;
            if (!answering) {
                continue;
            }
            const QString id = packet.value(QStringLiteral("id")).toString();
            QByteArray answer;
            if (isHeartbeat(packet)) {
                QJsonObject beat{{"id", id}};
                if (!heartbeatData.isUndefined()) {
                    beat.insert("data", heartbeatData);
                }
                answer = compact(beat) + '\n';
            } else {
                answer = responder ? responder(packet) : QByteArray();
                if (answer.isNull() && !id.isEmpty()) {
                    answer = compact({{"id", id}}) + '\n';
                }
            }
            if (!answer.isEmpty()) {
                socket->write(answer);
            }
        }
    }

    QTcpServer m_server;
    QList<QPointer<QTcpSocket>> m_sockets;
    QHash<QTcpSocket*, QByteArray> m_buffers;
};

// Over a spy of RcSimulator::requestReceived: how many packets of `command`
// arrived, and the last of them.
inline int countCommand(const QSignalSpy& received, const QString& command)
{
    int n = 0;
    for (const QList<QVariant>& args : received) {
        n += args.at(0).toJsonObject().value("command").toString() == command ? 1 : 0;
    }
    return n;
}

inline QJsonObject lastOf(const QSignalSpy& received, const QString& command)
{
    for (int i = received.size() - 1; i >= 0; --i) {
        const QJsonObject packet = received.at(i).at(0).toJsonObject();
        if (packet.value("command").toString() == command) {
            return packet;
        }
    }
    return {};
}

// True when `spy` recorded an activation of `object` itself with new data.
inline bool activatedItself(const QSignalSpy& spy, velk::ModuleObject* object)
{
    for (const QList<QVariant>& args : spy) {
        if (args.at(0).value<velk::ModuleObject*>() == object && args.at(1).toInt() == 0) {
            return true;
        }
    }
    return false;
}

inline void pointServerAt(quint16 port)
{
    setting()->set(QStringLiteral("server"), QJsonObject{{"ip", "127.0.0.1"}, {"port", int(port)}});
}

// The runtime model queries the robot's state at every announcement; tests
// start once those answers are in.
inline bool settled(int timeout = Slack)
{
    return QTest::qWaitFor([] { return rc()->pendingCount() == 0; }, timeout);
}

// Closes the link; true once it is down. The socket may go down inside
// disconnectFromRC(), before anyone waits for the signal.
inline bool dropLink()
{
    if (!rc()->isConnected()) {
        return true;
    }
    QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
    rc()->disconnectFromRC();
    return !disconnected.isEmpty() || disconnected.wait(5000) || !rc()->isConnected();
}

// Connects with the saved settings; true once announced and settled.
inline bool raiseLink()
{
    if (rc()->isConnected()) {
        return settled();
    }
    QSignalSpy connected(rc(), &ControllerManager::rcConnected);
    rc()->connectToRC(true, false);
    return connected.wait(5000) && settled();
}

// Drops the current link and connects to 127.0.0.1:port; true once announced.
inline bool relink(quint16 port)
{
    if (!dropLink()) {
        return false;
    }
    pointServerAt(port);
    return raiseLink();
}

// Back to the fixture's simulator, connected, when the link is anywhere else.
inline bool backToSimulator(LinkFixture& fixture)
{
    const bool atSim =
        setting()->getObj(QStringLiteral("server")).value("port").toInt() == fixture.sim.tcpPort();
    if (atSim && rc()->isConnected()) {
        return settled();
    }
    return relink(fixture.sim.tcpPort());
}

// The simulator holds back its answer to the next request of `command` by
// `ms`; requests after that one are answered at once again.
// Between two cases: no faults, linked to the simulator again, and nothing a
// failed case left pending leaking into the next one.
inline bool restoreLink(LinkFixture& fixture)
{
    fixture.sim.clearFaults();
    if (!backToSimulator(fixture)) {
        return false;
    }
    if (!settled()) {
        rc()->connectToRC(QString(), QString());
    }
    return true;
}

inline void delayNext(RcSimulator& sim, const QString& command, int ms)
{
    sim.injectFault(Fault::Delay, ms);
    auto* context = new QObject(&sim);
    QObject::connect(&sim, &RcSimulator::requestReceived, context,
                     [&sim, context, command](const QJsonObject& packet) {
                         if (packet.value(QStringLiteral("command")).toString() != command) {
                             return;
                         }
                         // Queued: the simulator reads the delay after this signal.
                         QMetaObject::invokeMethod(
                             context,
                             [&sim, context] {
                                 sim.clearFault(Fault::Delay);
                                 context->deleteLater();
                             },
                             Qt::QueuedConnection);
                     });
}

} // namespace linkprobes
