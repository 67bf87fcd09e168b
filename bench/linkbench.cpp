#include "linkbench.h"

#include "benchhmi.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"

#include <velk/moduleobject.h>
#include <velk/networkobject.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTimer>

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
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("no temporary working directory");
        return false;
    }
    m_simulator.setProgram(m_simulatorPath);
    m_simulator.setWorkingDirectory(m_dir.path());
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

    return benchhmi::startHmi(m_dir, {m_tcpPort, m_discoveryPort, m_upgradePort}, this, &m_error);
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
    benchhmi::waitFor([&] { return samples.size() >= count; }, 60000 + count * 20);
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
        benchhmi::parseLines(buffer, [&](const QJsonDocument& answer) {
            if (answer.isObject() && samples.size() < count) {
                samples.append(clock.nsecsElapsed());
                if (samples.size() < count) {
                    send();
                }
            }
        });
    });
    send();
    benchhmi::waitFor([&] { return samples.size() >= count; }, 60000 + count * 20);
    return samples;
}
