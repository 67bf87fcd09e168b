#include "simconsole.h"

#include "rcsimulator.h"
#include "simrobot.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QSocketNotifier>
#include <QStringList>

#include <cstdio>
#include <unistd.h>

namespace zarvo::sim {

SimConsole::SimConsole(RcSimulator* simulator, QObject* parent)
    : QObject(parent)
    , m_sim(simulator)
{
}

QString SimConsole::help()
{
    return QStringLiteral(
               "commands:\n"
               "  estop WORD            activate a safety stop (NStop ends it)\n"
               "  state WORD            set the robot state (idle, running, ...)\n"
               "  operate manual|auto   force the operating mode\n"
               "  power on|off          force the motor power\n"
               "  fault NAME [PARAM]    inject a fault: %1\n"
               "  clear [NAME]          clear one fault, or all\n"
               "  monitor HZ            monitor stream rate (0 = off)\n"
               "  burst N               send N monitor notifications as fast as possible\n"
               "  notify MODULE COMMAND [JSON]  notify every client\n"
               "  status                show state, faults and clients\n"
               "  help, quit")
        .arg(RcSimulator::faultNames().join(QStringLiteral(", ")));
}

bool SimConsole::execute(const QString& line, QString* reply)
{
    QString out;
    const QString text = line.trimmed();
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    auto fail = [&](const QString& why) {
        if (reply)
            *reply = why;
        return false;
    };
    if (words.isEmpty()) {
        if (reply)
            reply->clear();
        return true;
    }
    const QString cmd = words.first().toLower();
    const QString arg = words.value(1);
    SimRobot* robot = m_sim->robot();

    if (cmd == QLatin1String("estop")) {
        if (arg.isEmpty())
            return fail(QStringLiteral("usage: estop WORD (NStop ends the stop)"));
        robot->setSafetyStop(arg);
        out = QStringLiteral("safety stop %1").arg(robot->safetyStop());
    } else if (cmd == QLatin1String("state")) {
        if (arg.isEmpty())
            return fail(QStringLiteral("usage: state WORD"));
        robot->setRobotState(arg);
        out = QStringLiteral("robot state %1").arg(robot->robotState());
    } else if (cmd == QLatin1String("operate")) {
        if (arg != QLatin1String("manual") && arg != QLatin1String("auto"))
            return fail(QStringLiteral("usage: operate manual|auto"));
        robot->setOperate(arg);
        out = QStringLiteral("operate %1").arg(robot->operate());
    } else if (cmd == QLatin1String("power")) {
        if (arg != QLatin1String("on") && arg != QLatin1String("off"))
            return fail(QStringLiteral("usage: power on|off"));
        robot->setPower(arg);
        out = QStringLiteral("power %1").arg(robot->power());
    } else if (cmd == QLatin1String("fault")) {
        QString faultText = arg;
        if (words.size() > 2)
            faultText += QLatin1Char(':') + words.at(2);
        RcSimulator::Fault fault;
        int parameter = 0;
        if (!RcSimulator::parseFault(faultText, &fault, &parameter))
            return fail(QStringLiteral("unknown fault \"%1\"; one of: %2")
                            .arg(faultText, RcSimulator::faultNames().join(QStringLiteral(", "))));
        m_sim->injectFault(fault, parameter);
        out = QStringLiteral("fault %1 %2").arg(RcSimulator::faultName(fault)).arg(parameter);
    } else if (cmd == QLatin1String("clear")) {
        if (arg.isEmpty()) {
            m_sim->clearFaults();
            out = QStringLiteral("all faults cleared");
        } else {
            RcSimulator::Fault fault;
            if (!RcSimulator::faultFromName(arg, &fault))
                return fail(QStringLiteral("unknown fault \"%1\"").arg(arg));
            m_sim->clearFault(fault);
            out = QStringLiteral("fault %1 cleared").arg(RcSimulator::faultName(fault));
        }
    } else if (cmd == QLatin1String("monitor")) {
        bool ok = false;
        const int rate = arg.toInt(&ok);
        if (!ok || rate < 0)
            return fail(QStringLiteral("usage: monitor HZ"));
        m_sim->setMonitorRate(rate);
        out = QStringLiteral("monitor %1 Hz").arg(m_sim->monitorRate());
    } else if (cmd == QLatin1String("burst")) {
        bool ok = false;
        const qint64 count = arg.toLongLong(&ok);
        if (!ok || count <= 0)
            return fail(QStringLiteral("usage: burst N"));
        out = QStringLiteral("burst of %1 to %2 clients")
                  .arg(count)
                  .arg(m_sim->sendMonitorBurst(count));
    } else if (cmd == QLatin1String("notify")) {
        if (words.size() < 3)
            return fail(QStringLiteral("usage: notify MODULE COMMAND [JSON]"));
        QJsonValue data(QJsonValue::Undefined);
        const int jsonStart = text.indexOf(QLatin1Char('{'));
        if (jsonStart >= 0) {
            QJsonParseError error;
            const QJsonDocument doc = QJsonDocument::fromJson(text.mid(jsonStart).toUtf8(), &error);
            if (error.error != QJsonParseError::NoError || !doc.isObject())
                return fail(QStringLiteral("bad JSON: %1").arg(error.errorString()));
            data = doc.object();
        }
        m_sim->notifyAll(words.at(1), words.at(2), data);
        out = QStringLiteral("notified %1 clients").arg(m_sim->clientCount());
    } else if (cmd == QLatin1String("status")) {
        QStringList faults;
        for (const QString& name : RcSimulator::faultNames()) {
            RcSimulator::Fault fault;
            RcSimulator::faultFromName(name, &fault);
            if (m_sim->hasFault(fault))
                faults << QStringLiteral("%1:%2").arg(name).arg(m_sim->faultParameter(fault));
        }
        QStringList joints;
        for (double joint : robot->joints())
            joints << QString::number(joint, 'f', 2);
        out = QStringLiteral("operate %1, power %2, state %3, safety stop %4, version %5\n"
                             "joints %9%10\nmonitor %6 Hz, faults: %7\nclients: %8")
                  .arg(robot->operate(), robot->power(), robot->robotState(), robot->safetyStop(),
                       robot->version())
                  .arg(m_sim->monitorRate())
                  .arg(faults.isEmpty() ? QStringLiteral("none") : faults.join(QLatin1Char(' ')))
                  .arg(m_sim->clientPeers().isEmpty() ? QStringLiteral("none")
                                                      : m_sim->clientPeers().join(QLatin1Char(' ')))
                  .arg(joints.join(QLatin1Char(' ')),
                       robot->isJogging() ? QStringLiteral(" (jogging)") : QString());
    } else if (cmd == QLatin1String("help")) {
        out = help();
    } else if (cmd == QLatin1String("quit") || cmd == QLatin1String("exit")) {
        Q_EMIT quitRequested();
        out = QStringLiteral("bye");
    } else {
        return fail(QStringLiteral("unknown command \"%1\"; try help").arg(cmd));
    }
    if (reply)
        *reply = out;
    return true;
}

void SimConsole::readStandardInput()
{
    if (m_notifier)
        return;
    m_notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SimConsole::onStdinReadable);
}

void SimConsole::onStdinReadable()
{
    char buffer[4096];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n <= 0) {
        // End of input (or an error): the simulator goes on without a console.
        m_notifier->setEnabled(false);
        return;
    }
    m_pending.append(buffer, int(n));
    int nl;
    while ((nl = m_pending.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_pending.left(nl));
        m_pending.remove(0, nl + 1);
        QString reply;
        const bool ok = execute(line, &reply);
        if (!reply.isEmpty())
            std::fprintf(stderr, "%s%s\n", ok ? "" : "error: ", reply.toUtf8().constData());
    }
    if (m_pending.size() > 64 * 1024)
        m_pending.clear(); // no line is that long
}

} // namespace zarvo::sim
