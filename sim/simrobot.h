#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QVector>

namespace zarvo::sim {

// The simulated robot: operating mode, motor power, robot state, safety stop,
// identity, and the arm's joints, which move only while jogging.
//
// The switch_* operations refuse what a real controller refuses and return
// the negative code of the global error table:
// - motor on while a safety stop is active: SafetyStopError (-10005);
// - manual/auto while the motor is on: MotorPowerError (-10002);
// - manual/auto or motor off while the robot is "running": RobotStateError
//   (-10004); the motor check comes first.
// Switching to the mode or power the robot already has succeeds and changes
// nothing. Activating a safety stop cuts the motor power and ends "running"
// (the state goes back to "idle"), as a stop does on the real cell.
// stateChanged() is emitted once per operation that changed anything.
//
// Jogging moves one joint at the jog speed (a percentage of MaxJogSpeed) until
// motion.move.stop, a safety stop, motor off or a mode change ends it, or until
// no jog.start renewed it for JogTimeoutMs: a pendant repeats the start while
// its key is held, and a lost link must not leave the arm moving. In step mode
// a jog ends after `step` degrees. Only joint space is simulated.
class SimRobot : public QObject
{
    Q_OBJECT

public:
    // Codes a controller answers with, from the global error table.
    enum Code {
        NoError = 0,
        OperateModeError = -10001,
        MotorPowerError = -10002,
        MotorControlError = -10003,
        RobotStateError = -10004,
        SafetyStopError = -10005,
        PackageError = -20000,
    };
    Q_ENUM(Code)

    static constexpr int JointCount = 6;
    static constexpr int JogTimeoutMs = 500;
    static constexpr double MaxJogSpeed = 60.0; // degrees per second at 100 %

    // The safety-stop word that means "no stop active".
    static QString noStop() { return QStringLiteral("NStop"); }

    explicit SimRobot(QObject* parent = nullptr);

    QString operate() const { return m_operate; }       // "manual" or "auto"
    QString power() const { return m_power; }           // "on" or "off"
    QString robotState() const { return m_robotState; } // "idle", "running", ...
    QString safetyStop() const { return m_safetyStop; } // "NStop" or the stop's name
    bool isSafetyStopActive() const { return m_safetyStop != noStop(); }

    QString serialNumber() const { return m_serialNumber; }
    void setSerialNumber(const QString& serial) { m_serialNumber = serial; }
    QString version() const { return m_version; }
    void setVersion(const QString& version) { m_version = version; }
    QString robotType() const { return m_robotType; }
    void setRobotType(const QString& type) { m_robotType = type; }
    QString alias() const { return m_alias; }
    void setAlias(const QString& alias) { m_alias = alias; }

    // The controller's answers to the system.state.switch_* requests.
    Code switchManual();
    Code switchAuto();
    Code switchMotorOn();
    Code switchMotorOff();

    // robot.servo.clear_alarm: the stop is acknowledged and ends.
    Code clearAlarm();

    // motion.jog.start: refused unless manual, motor on, no safety stop and
    // not running; a malformed jog (axis, direction, space) is a PackageError.
    Code jogStart(int space, int axis, int direction);
    // motion.jog.set_params; mode 1 is the step mode.
    void setJogParams(int speedPercent, int mode, double step);
    // motion.move.stop, and whatever else ends a motion.
    void stopMotion();
    bool isJogging() const;
    // Degrees, as the joints stand now.
    QVector<double> joints() const;

    // Direct control for tests and the console, without any refusal.
    // An empty word counts as "NStop".
    void setSafetyStop(const QString& word);
    void setRobotState(const QString& state);
    void setOperate(const QString& operate);
    void setPower(const QString& power);

    // {"operate", "robot_state", "power", "safety_stop"}: the data of a
    // system.state.change notification.
    QJsonObject stateData() const;

    // A synthetic motion.move.monitor notification for floods and bursts, a
    // smooth, never repeating motion at `seconds`: "joint" (6, degrees), "position" (3, mm),
    // "euler" (3, degrees), "quaternion" (4, w x y z, matching "euler"), "elb", "torque" (6, Nm).
    static QJsonObject pose(double seconds);
    // The same fields for the arm as it stands now: the joints and the flange
    // pose that follows from them.
    QJsonObject livePose() const;

Q_SIGNALS:
    void stateChanged();

private:
    Code switchOperate(const QString& operate);
    qint64 now() const { return m_clock.elapsed(); }
    double jogSpeed() const { return MaxJogSpeed * m_jogSpeed / 100.0; }

    QString m_operate = QStringLiteral("manual");
    QString m_power = QStringLiteral("off");
    QString m_robotState = QStringLiteral("idle");
    QString m_safetyStop = noStop();
    QString m_serialNumber = QStringLiteral("ZSIM-0000-0001");
    QString m_version = QStringLiteral("2.10.0.7");
    QString m_robotType = QStringLiteral("ZR-6");
    QString m_alias = QStringLiteral("zarvo-rcsim");

    QElapsedTimer m_clock;
    QVector<double> m_joints{0.0, -30.0, 60.0, 0.0, 60.0, 0.0};
    int m_jogSpeed = 10; // percent
    int m_jogMode = 0;
    double m_jogStep = 1.0;
    // The jog under way: the axis (-1: none), its direction, and the time
    // span in which it moves from the stored joint value.
    int m_jogAxis = -1;
    int m_jogDirection = 0;
    qint64 m_jogFrom = 0;
    qint64 m_jogUntil = 0;
};

} // namespace zarvo::sim
