#include "linkbench.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"
#include "services/modulelog.h"

#include <pomr/lifecycledriver.h>
#include <velk/jsonfile.h>
#include <velk/moduleobject.h>
#include <velk/networkobject.h>

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTimer>

namespace {

// Runs the event loop until `done` holds or `ms` pass.
template <typename Done>
bool waitFor(Done done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(5, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

} // namespace

LinkBench::LinkBench(const QString& simulatorPath, QObject* parent)
    : QObject(parent)
    , m_simulatorPath(simulatorPath)
{
}

LinkBench::~LinkBench()
{
    if (m_simulator.state() != QProcess::NotRunning) {
        m_simulator.write("quit\n");
        if (!m_simulator.waitForFinished(2000)) {
            m_simulator.kill();
            m_simulator.waitForFinished(2000);
        }
    }
}

bool LinkBench::start()
{
    if (!m_dir.isValid() || !QDir::setCurrent(m_dir.path())) {
        m_error = QStringLiteral("no temporary working directory");
        return false;
    }
    m_simulator.setProgram(m_simulatorPath);
    m_simulator.setArguments({"--tcp-port", "0", "--discovery-port", "0", "--upgrade-port", "0",
                              "--monitor-rate", "0", "-q"});
    m_simulator.start();
    if (!m_simulator.waitForStarted(5000)) {
        m_error =
            QStringLiteral("cannot start %1: %2").arg(m_simulatorPath, m_simulator.errorString());
        return false;
    }
    if (!m_simulator.waitForReadyRead(5000)) {
        m_error = QStringLiteral("the simulator did not report its ports");
        return false;
    }
    const QString line = QString::fromUtf8(m_simulator.readLine());
    const QRegularExpression ports(
        QStringLiteral("tcp=(\\d+) discovery=(\\d+) upgrade_udp=\\d+ upgrade_tcp=(\\d+)"));
    const QRegularExpressionMatch match = ports.match(line);
    if (!match.hasMatch()) {
        m_error = QStringLiteral("unexpected simulator output: %1").arg(line.trimmed());
        return false;
    }
    m_tcpPort = quint16(match.captured(1).toUInt());
    m_discoveryPort = quint16(match.captured(2).toUInt());
    m_upgradePort = quint16(match.captured(3).toUInt());

    const QJsonObject settings{
        {"language", "en"},
        {"server", QJsonObject{{"ip", "127.0.0.1"}, {"port", int(m_tcpPort)}}},
        {"local", QJsonObject{{"ip", ""}}},
        {"udp", QJsonObject{{"local_port", 0}, {"server_port", int(m_discoveryPort)}}},
        {"upgrade_server", QJsonObject{{"ip", "127.0.0.1"}, {"port", int(m_upgradePort)}}},
        {"workspace", "workspace"},
        {"interval", 18},
    };
    if (!velk::JsonFile::write(QStringLiteral("config/setting.json"), settings)) {
        m_error = QStringLiteral("cannot write the settings");
        return false;
    }

    auto* module = new Zarvo(this);
    auto* driver = new pomr::LifecycleDriver(this);
    bool announced = false;
    const QMetaObject::Connection announcement =
        connect(rc(), &ControllerManager::rcConnected, this, [&announced] { announced = true; });
    driver->startup(module);
    const bool up = waitFor([&announced] { return announced; }, 5000);
    disconnect(announcement);
    if (!up) {
        m_error = QStringLiteral("the link did not connect");
        return false;
    }
    // The runtime model queries the robot's state at every connect; let
    // those answers pass before measuring.
    waitFor([] { return rc()->pendingCount() == 0; }, 5000);
    return true;
}

QVector<qint64> LinkBench::linkRoundTrips(int count)
{
    QVector<qint64> samples;
    samples.reserve(count);
    velk::ModuleObject* command = rc()->cmdMobj(QStringLiteral("system.state.get_motor"));
    QElapsedTimer clock;
    auto send = [&] {
        clock.start();
        rc()->request(QStringLiteral("system"), QStringLiteral("state.get_motor"), QJsonValue());
    };
    // The whole road: request, packet, answer, dispatch, import, activation.
    const QMetaObject::Connection connection = connect(
        command, &velk::ModuleObject::activated, this, [&](velk::ModuleObject* target, int type) {
            if (target != command || type != velk::ActivateData) {
                return;
            }
            samples.append(clock.nsecsElapsed());
            if (samples.size() < count) {
                send();
            }
        });
    send();
    waitFor([&] { return samples.size() >= count; }, 60000 + count * 20);
    disconnect(connection);
    return samples;
}

QVector<qint64> LinkBench::floorRoundTrips(int count)
{
    QVector<qint64> samples;
    samples.reserve(count);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_tcpPort);
    if (!socket.waitForConnected(5000)) {
        return samples;
    }
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    const QStringList order{"id", "module", "command", "data"};
    QByteArray buffer;
    QElapsedTimer clock;
    auto send = [&] {
        clock.start();
        const QString id = ControllerManager::requestId(
            QStringLiteral("system"), QStringLiteral("state.get_motor"), QJsonValue());
        socket.write(
            velk::NetworkObject::orderedJson(
                ControllerManager::requestPacket(id, QStringLiteral("system"),
                                                 QStringLiteral("state.get_motor"), QJsonValue()),
                order) +
            '\n');
    };
    connect(&socket, &QTcpSocket::readyRead, this, [&] {
        buffer += socket.readAll();
        int end;
        while ((end = buffer.indexOf('\n')) >= 0) {
            const QJsonDocument answer = QJsonDocument::fromJson(buffer.left(end));
            buffer.remove(0, end + 1);
            if (answer.isObject() && samples.size() < count) {
                samples.append(clock.nsecsElapsed());
                if (samples.size() < count) {
                    send();
                }
            }
        }
    });
    send();
    waitFor([&] { return samples.size() >= count; }, 60000 + count * 20);
    return samples;
}
