#pragma once

// Probes of the controller link tests: log lines, HMI records, a bare TCP peer.

#include "linkfixture.h"

#include "settings/settingmanager.h"

#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QCryptographicHash>
#include <QFile>
#include <QJsonDocument>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <functional>

using zarvo::sim::RcSimulator;
using Fault = RcSimulator::Fault;

namespace linkprobes {

// Room for the slowest step of a loaded machine on top of a protocol timer.
constexpr int Slack = 3000;

// Broadcasts stay on loopback also when a test runs outside CTest.
inline bool startLinked(LinkFixture& fixture, const QJsonObject& extra = {})
{
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
    qRegisterMetaType<velk::ModuleObject*>();
    return fixture.start(extra);
}

// The asynchronous id, computed without the link's code.
inline QString md5Id(const QString& module, const QString& command, const QString& text = {})
{
    return QCryptographicHash::hash((module + command + text).toUtf8(), QCryptographicHash::Md5)
        .toHex();
}

inline QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

// Lines appended to ./log/zarvo.log since construction.
struct LogTail
{
    QStringList lines() const
    {
        QFile file(path);
        const bool ok = file.open(QIODevice::ReadOnly) && file.seek(offset);
        return ok ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
                  : QStringList();
    }
    int count(const QString& text) const { return lines().filter(text).size(); }
    bool waitFor(const QString& text, int timeout) const
    {
        return QTest::qWaitFor([&] { return count(text) > 0; }, timeout);
    }
    QString path = QDir::current().filePath(QStringLiteral("log/zarvo.log"));
    qint64 offset = QFile(path).size();
};

// Titles of the "cur_hmi_log" records published while it lives.
struct HmiRecords
{
    HmiRecords()
    {
        QObject::connect(velk::resource().getWatcher(rc(), "log", "cur_hmi_log"),
                         &velk::ResourceWatcher::valueChanged, &context,
                         [this](const QJsonValue& value) { titles << value["title"].toString(); });
    }
    bool waitFor(const QString& title, int timeout) const
    {
        return QTest::qWaitFor([&] { return titles.contains(title); }, timeout);
    }
    QStringList titles;
    QObject context;
};

// A bare loopback controller (port 0: none) keeping every line it gets. It
// answers heartbeats in the name of `name`, the rest with `responder` or
// {"id": id}; with `answering` off, nothing.
class RawPeer
{
public:
    RawPeer()
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                m_socket = socket;
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [=] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] { ++closed; });
            }
        });
    }
    quint16 port() const { return m_server.serverPort(); }
    // Unasked, on the latest connection.
    void send(const QByteArray& bytes)
    {
        if (m_socket) {
            m_socket->write(bytes);
        }
    }

    bool answering = true;
    QString name = QStringLiteral("Zarvo");
    std::function<QByteArray(const QJsonObject&)> responder;
    QList<QByteArray> lines;
    QList<QJsonObject> packets;
    int closed = 0;

private:
    void read(QTcpSocket* socket)
    {
        while (socket->canReadLine()) {
            lines << socket->readLine();
            packets << QJsonDocument::fromJson(lines.last()).object();
            const bool heart = packets.last().value("command") == QLatin1String("controller.heart");
            QJsonObject answer{{"id", packets.last().value("id")}};
            if (heart) {
                answer.insert("data", QJsonObject{{"name", name}});
            }
            if (answering) {
                socket->write(responder && !heart ? responder(packets.last()) : compact(answer));
            }
        }
    }

    QTcpServer m_server;
    QPointer<QTcpSocket> m_socket;
};

// The packets of `command` in a spy of RcSimulator::requestReceived.
inline QList<QJsonObject> packetsOf(const QSignalSpy& received, const QString& command)
{
    QList<QJsonObject> out;
    for (const QList<QVariant>& args : received) {
        if (args.at(0).toJsonObject().value("command").toString() == command) {
            out << args.at(0).toJsonObject();
        }
    }
    return out;
}

// True when `spy` recorded an activation of `object` itself with new data.
inline bool activatedItself(const QSignalSpy& spy, velk::ModuleObject* object)
{
    return std::any_of(spy.begin(), spy.end(), [=](const QList<QVariant>& args) {
        return args.at(0).value<velk::ModuleObject*>() == object && args.at(1).toInt() == 0;
    });
}

inline void pointServerAt(quint16 port)
{
    setting()->set(QStringLiteral("server"), QJsonObject{{"ip", "127.0.0.1"}, {"port", int(port)}});
}

// Tests start once the runtime model's queries at the announcement are answered.
inline bool settled()
{
    return QTest::qWaitFor([] { return rc()->pendingCount() == 0; }, Slack);
}

inline bool relink(LinkFixture& fixture, quint16 port)
{
    const bool down = fixture.disconnectLink();
    pointServerAt(port);
    return down && fixture.connectLink() && settled();
}

// Between cases: no faults, linked to the simulator, nothing left pending.
inline bool restoreLink(LinkFixture& fixture)
{
    fixture.sim.clearFaults();
    const quint16 port = fixture.sim.tcpPort();
    const bool atSim = rc()->isConnected() && setting()->getObj("server")["port"].toInt() == port;
    if (atSim && !settled()) {
        rc()->connectToRC(QString(), QString());
    }
    return atSim || relink(fixture, port);
}

// The simulator answers the next request of `command` `ms` late.
inline void delayNext(RcSimulator& sim, const QString& command, int ms)
{
    sim.injectFault(Fault::Delay, ms);
    auto* context = new QObject(&sim);
    // Queued: the simulator reads the delay after the signal.
    QObject::connect(
        &sim, &RcSimulator::requestReceived, context,
        [=, &sim](const QJsonObject& packet) {
            if (packet.value("command") == command) {
                sim.clearFault(Fault::Delay);
                context->deleteLater();
            }
        },
        Qt::QueuedConnection);
}

} // namespace linkprobes
