#include "simrobot.h"

#include <array>
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
    m_clock.start();
}

SimRobot::Code SimRobot::switchOperate(const QString& operate)
{
    if (m_operate == operate)
        return NoError;
    if (m_power == On)
        return MotorPowerError;
    if (m_robotState == Running)
        return RobotStateError;
    stopMotion();
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
    stopMotion();
    m_power = Off;
    Q_EMIT stateChanged();
    return NoError;
}

SimRobot::Code SimRobot::clearAlarm()
{
    setSafetyStop(noStop());
    return NoError;
}

void SimRobot::setSafetyStop(const QString& word)
{
    const QString stop = word.isEmpty() ? noStop() : word;
    if (stop == m_safetyStop)
        return;
    m_safetyStop = stop;
    if (isSafetyStopActive()) {
        stopMotion();
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
    stopMotion();
    m_operate = operate;
    Q_EMIT stateChanged();
}

void SimRobot::setPower(const QString& power)
{
    if (power.isEmpty() || power == m_power)
        return;
    stopMotion();
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

// ---- jogging --------------------------------------------------------------

namespace {

// Joint limits of the simulated arm, degrees.
const double LowerLimit[SimRobot::JointCount] = {-170.0, -120.0, -80.0, -190.0, -120.0, -360.0};
const double UpperLimit[SimRobot::JointCount] = {170.0, 85.0, 160.0, 190.0, 120.0, 360.0};

} // namespace

SimRobot::Code SimRobot::jogStart(int space, int axis, int direction)
{
    if (space != 0 || axis < 0 || axis >= JointCount || (direction != 1 && direction != -1))
        return PackageError;
    if (isSafetyStopActive())
        return SafetyStopError;
    if (m_operate != QLatin1String("manual"))
        return OperateModeError;
    if (m_power != On)
        return MotorPowerError;
    if (m_robotState == Running)
        return RobotStateError;
    // A renewal goes on from where the joint stands; another axis ends the old jog.
    stopMotion();
    m_jogAxis = axis;
    m_jogDirection = direction;
    m_jogFrom = now();
    const qint64 span = m_jogMode == 1 ? qint64(1000.0 * m_jogStep / jogSpeed()) : JogTimeoutMs;
    m_jogUntil = m_jogFrom + span;
    return NoError;
}

void SimRobot::setJogParams(int speedPercent, int mode, double step)
{
    stopMotion();
    m_jogSpeed = qBound(1, speedPercent, 100);
    m_jogMode = mode;
    m_jogStep = qBound(0.001, step, 360.0);
}

void SimRobot::stopMotion()
{
    if (m_jogAxis >= 0)
        m_joints = joints();
    m_jogAxis = -1;
}

bool SimRobot::isJogging() const
{
    return m_jogAxis >= 0 && now() < m_jogUntil;
}

QVector<double> SimRobot::joints() const
{
    QVector<double> out = m_joints;
    if (m_jogAxis >= 0) {
        const double seconds = (qMin(now(), m_jogUntil) - m_jogFrom) / 1000.0;
        const double moved = out[m_jogAxis] + m_jogDirection * jogSpeed() * seconds;
        out[m_jogAxis] = qBound(LowerLimit[m_jogAxis], moved, UpperLimit[m_jogAxis]);
    }
    return out;
}

namespace {

// A real controller reports what its encoders resolve, not 17 digits of
// floating-point noise; the stream carries what a cell would send.
double resolved(double value, double step)
{
    return std::round(value / step) * step;
}

// The rotation of Z-Y-X Euler angles (radians) as a quaternion, w x y z.
QJsonArray quaternionOf(double rx, double ry, double rz)
{
    const double cr = std::cos(rx / 2), sr = std::sin(rx / 2);
    const double cp = std::cos(ry / 2), sp = std::sin(ry / 2);
    const double cy = std::cos(rz / 2), sy = std::sin(rz / 2);
    return QJsonArray{
        resolved(cr * cp * cy + sr * sp * sy, 1e-6), resolved(sr * cp * cy - cr * sp * sy, 1e-6),
        resolved(cr * sp * cy + sr * cp * sy, 1e-6), resolved(cr * cp * sy - sr * sp * cy, 1e-6)};
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
    const QJsonArray quaternion =
        quaternionOf(qDegreesToRadians(rx), qDegreesToRadians(ry), qDegreesToRadians(rz));

    return QJsonObject{{QStringLiteral("joint"), joint},
                       {QStringLiteral("position"), position},
                       {QStringLiteral("euler"), QJsonArray{rx, ry, rz}},
                       {QStringLiteral("quaternion"), quaternion},
                       {QStringLiteral("elb"), resolved(5.0 * qSin(0.7 * w), 0.001)},
                       {QStringLiteral("torque"), torque}};
}

namespace {

using Matrix = std::array<std::array<double, 4>, 4>;

Matrix multiply(const Matrix& a, const Matrix& b)
{
    Matrix out{};
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            for (int k = 0; k < 4; ++k)
                out[r][c] += a[r][k] * b[k][c];
    return out;
}

// One link in Denavit-Hartenberg form: rotate theta about z, move d along z,
// move a along x, rotate alpha about x.
Matrix link(double theta, double d, double a, double alpha)
{
    const double ct = std::cos(theta), st = std::sin(theta);
    const double ca = std::cos(alpha), sa = std::sin(alpha);
    return Matrix{{{ct, -st * ca, st * sa, a * ct},
                   {st, ct * ca, -ct * sa, a * st},
                   {0.0, sa, ca, d},
                   {0.0, 0.0, 0.0, 1.0}}};
}

} // namespace

QJsonObject SimRobot::livePose() const
{
    // A six-axis arm of ordinary proportions (mm); the numbers only need to
    // give a flange that moves plausibly with the joints.
    static const double d[JointCount] = {400.0, 0.0, 0.0, 420.0, 0.0, 80.0};
    static const double a[JointCount] = {25.0, 455.0, 35.0, 0.0, 0.0, 0.0};
    static const double alpha[JointCount] = {-M_PI / 2, 0.0, -M_PI / 2, M_PI / 2, -M_PI / 2, 0.0};
    static const double offset[JointCount] = {0.0, -M_PI / 2, 0.0, 0.0, 0.0, 0.0};

    const QVector<double> q = joints();
    Matrix t{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    QJsonArray joint;
    QJsonArray torque;
    for (int i = 0; i < JointCount; ++i) {
        t = multiply(t, link(qDegreesToRadians(q.at(i)) + offset[i], d[i], a[i], alpha[i]));
        joint.append(resolved(q.at(i), 0.001));
    }
    // Gravity on the shoulder and the elbow; the wrist carries next to nothing.
    const double j2 = qDegreesToRadians(q.at(1)), j3 = qDegreesToRadians(q.at(2));
    const double held[JointCount] = {
        0.0, 60.0 * std::sin(j2) + 20.0 * std::sin(j2 + j3), 20.0 * std::sin(j2 + j3), 0.0, 1.5,
        0.0};
    for (double value : held)
        torque.append(resolved(value, 0.01));

    // Z-Y-X Euler angles of the flange, and the matching quaternion (w x y z).
    const double rx = std::atan2(t[2][1], t[2][2]);
    const double ry = std::asin(qBound(-1.0, -t[2][0], 1.0));
    const double rz = std::atan2(t[1][0], t[0][0]);
    const QJsonArray quaternion = quaternionOf(rx, ry, rz);
    return QJsonObject{
        {QStringLiteral("joint"), joint},
        {QStringLiteral("position"),
         QJsonArray{resolved(t[0][3], 0.001), resolved(t[1][3], 0.001), resolved(t[2][3], 0.001)}},
        {QStringLiteral("euler"),
         QJsonArray{resolved(qRadiansToDegrees(rx), 0.001), resolved(qRadiansToDegrees(ry), 0.001),
                    resolved(qRadiansToDegrees(rz), 0.001)}},
        {QStringLiteral("quaternion"), quaternion},
        {QStringLiteral("elb"), 0.0},
        {QStringLiteral("torque"), torque}};
}

} // namespace zarvo::sim
