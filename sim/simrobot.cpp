#include "simrobot.h"

#include <cmath>

#include <QJsonArray>
#include <QtMath>

namespace zarvo::sim {

namespace {
const QString Running = QStringLiteral("running");
const QString Idle = QStringLiteral("idle");
const QString On = QStringLiteral("on");
const QString Off = QStringLiteral("off");
} // namespace

SimRobot::SimRobot(QObject* parent)
    : QObject(parent)
{
}

SimRobot::Code SimRobot::switchOperate(const QString& operate)
{
    if (m_operate == operate)
        return NoError;
    if (m_power == On)
        return MotorPowerError;
    if (m_robotState == Running)
        return RobotStateError;
    m_operate = operate;
    Q_EMIT stateChanged();
    return NoError;
}

SimRobot::Code SimRobot::switchManual()
{
    return switchOperate(QStringLiteral("manual"));
}

SimRobot::Code SimRobot::switchAuto()
{
    return switchOperate(QStringLiteral("auto"));
}

SimRobot::Code SimRobot::switchMotorOn()
{
    if (isSafetyStopActive())
        return SafetyStopError;
    if (m_power == On)
        return NoError;
    m_power = On;
    Q_EMIT stateChanged();
    return NoError;
}

SimRobot::Code SimRobot::switchMotorOff()
{
    if (m_power == Off)
        return NoError;
    if (m_robotState == Running)
        return RobotStateError;
    m_power = Off;
    Q_EMIT stateChanged();
    return NoError;
}

void SimRobot::setSafetyStop(const QString& word)
{
    const QString stop = word.isEmpty() ? noStop() : word;
    if (stop == m_safetyStop)
        return;
    m_safetyStop = stop;
    if (isSafetyStopActive()) {
        m_power = Off;
        if (m_robotState == Running)
            m_robotState = Idle;
    }
    Q_EMIT stateChanged();
}

void SimRobot::setRobotState(const QString& state)
{
    if (state.isEmpty() || state == m_robotState)
        return;
    m_robotState = state;
    Q_EMIT stateChanged();
}

void SimRobot::setOperate(const QString& operate)
{
    if (operate.isEmpty() || operate == m_operate)
        return;
    m_operate = operate;
    Q_EMIT stateChanged();
}

void SimRobot::setPower(const QString& power)
{
    if (power.isEmpty() || power == m_power)
        return;
    m_power = power;
    Q_EMIT stateChanged();
}

QJsonObject SimRobot::stateData() const
{
    return QJsonObject{{QStringLiteral("operate"), m_operate},
                       {QStringLiteral("robot_state"), m_robotState},
                       {QStringLiteral("power"), m_power},
                       {QStringLiteral("safety_stop"), m_safetyStop}};
}

namespace {

// A real controller reports what its encoders resolve, not 17 digits of
// floating-point noise; the stream carries what a cell would send.
double resolved(double value, double step)
{
    return std::round(value / step) * step;
}

} // namespace

QJsonObject SimRobot::pose(double seconds)
{
    // Slow sines with different periods and phases: smooth, never repeating
    // in a way a test could mistake for a frozen stream.
    const double w = 2.0 * M_PI * 0.1 * seconds;
    static const double base[6] = {0.0, -30.0, 60.0, 0.0, 60.0, 0.0};
    static const double amp[6] = {45.0, 15.0, 20.0, 30.0, 25.0, 90.0};

    QJsonArray joint;
    QJsonArray torque;
    for (int i = 0; i < 6; ++i) {
        const double phase = w * (1.0 + 0.17 * i) + 0.5 * i;
        joint.append(resolved(base[i] + amp[i] * qSin(phase), 0.001));
        torque.append(resolved((6 - i) * 4.0 * qCos(phase) + 0.5 * qSin(3.0 * phase), 0.01));
    }

    const QJsonArray position{resolved(400.0 + 100.0 * qCos(w), 0.001),
                              resolved(100.0 * qSin(w), 0.001),
                              resolved(500.0 + 50.0 * qSin(2.0 * w), 0.001)};

    // Roll, pitch, yaw in degrees; the quaternion is the same rotation
    // (Z-Y-X convention), so a reader can cross-check the two.
    const double rx = 180.0;
    const double ry = resolved(10.0 * qSin(w), 0.001);
    const double rz = resolved(90.0 + 20.0 * qSin(0.5 * w), 0.001);
    const double cr = qCos(qDegreesToRadians(rx) / 2), sr = qSin(qDegreesToRadians(rx) / 2);
    const double cp = qCos(qDegreesToRadians(ry) / 2), sp = qSin(qDegreesToRadians(ry) / 2);
    const double cy = qCos(qDegreesToRadians(rz) / 2), sy = qSin(qDegreesToRadians(rz) / 2);
    const QJsonArray quaternion{resolved(cr * cp * cy + sr * sp * sy, 1e-6),
                                resolved(sr * cp * cy - cr * sp * sy, 1e-6),
                                resolved(cr * sp * cy + sr * cp * sy, 1e-6),
                                resolved(cr * cp * sy - sr * sp * cy, 1e-6)};

    return QJsonObject{{QStringLiteral("joint"), joint},
                       {QStringLiteral("position"), position},
                       {QStringLiteral("euler"), QJsonArray{rx, ry, rz}},
                       {QStringLiteral("quaternion"), quaternion},
                       {QStringLiteral("elb"), resolved(5.0 * qSin(0.7 * w), 0.001)},
                       {QStringLiteral("torque"), torque}};
}

} // namespace zarvo::sim
