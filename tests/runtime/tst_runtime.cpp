// The runtime model "zarvo.r" against a simulated controller over loopback:
// what the controller answers and announces must show in the subtree pages
// bind to, and a lost link must reset only what belongs to the connection.

#include "linkfixture.h"

#include "runtime/constant.h"
#include "runtime/runtime.h"
#include "simrobot.h"

#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QJsonArray>

#include <limits>

using zarvo::sim::RcSimulator;
using zarvo::sim::SimRobot;

namespace {

velk::ModuleObject* r(const QString& child)
{
    return velk::m(velk::mName(QStringLiteral("zarvo"), QStringLiteral("r"), child));
}

QString power()
{
    return r(QStringLiteral("power"))->getString();
}

QList<double> doubles(const QVariant& value)
{
    QList<double> out;
    const QVariantList list = value.toList();
    for (const QVariant& item : list) {
        out.append(item.toDouble());
    }
    return out;
}

QString fullName(const QJsonObject& packet)
{
    return packet.value(QLatin1String("module")).toString() + QLatin1Char('.') +
           packet.value(QLatin1String("command")).toString();
}

} // namespace

class tst_Runtime : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    // Every packet the simulator received, heartbeats left out.
    QList<QJsonObject> requests;
    // "zarvo.r" once the answers to the first connect's queries were in.
    QString firstMode, firstState, firstPower;

    SimRobot* robot() const { return fixture.sim.robot(); }

    // Returns once the plug-in has handled everything the simulator sent
    // before: its answer to a synchronous request comes after all of it.
    static bool drain()
    {
        return rc()
            ->execRequest(QStringLiteral("system"), QStringLiteral("controller.heart"),
                          QJsonValue(), false)
            ->getBool();
    }

    bool notifyAndWait(const QString& module, const QString& command, const QJsonObject& data)
    {
        fixture.sim.notifyAll(module, command, data);
        return drain();
    }

    // rcDisconnected comes at once from a disconnect we ask for.
    static bool disconnectLink()
    {
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        rc()->disconnectFromRC();
        return !rc()->isConnected() && (!disconnected.isEmpty() || disconnected.wait(5000));
    }

    QStringList requestNamesSince(int first) const
    {
        QStringList names;
        for (int i = first; i < requests.size(); ++i) {
            names.append(fullName(requests.at(i)));
        }
        return names;
    }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase() { fixture.stop(); }

    void connectQueriesFillState();
    void motorOnRequestShowsOn();
    void refusedMotorOnKeepsStopWord();
    void safetyStopFromRobot();
    void safetyStopOnlyNotification();
    void powerWord_data();
    void powerWord();
    void identicalPowerWordsChangeOnce();
    void modeAndStateFollowController();
    void motionMonitorFillsPose();
    void motionStreamFillsPose();
    void blockStateNotification();
    void controllerParamsSetIdAndVersion();
    void packVersion_data();
    void packVersion();
    void constantResource();
    void disconnectResetsConnectionFields();
    void reconnectQueriesAgain();
    void simulatorGoneResetsConnectionFields();
};

void tst_Runtime::initTestCase()
{
    // A disk template and a cache for the constants, both below the working
    // directory the fixture switches to: the cache must win where both speak.
    QVERIFY(velk::JsonFile::write(fixture.dir.filePath(QStringLiteral("zarvo/template/c.json")),
                                  QJsonObject{{"cell", "template"}, {"from_template", true}}));
    QVERIFY(velk::JsonFile::write(fixture.dir.filePath(QStringLiteral("cache/zarvo/c.json")),
                                  QJsonObject{{"cell", "A7"}, {"max_speed", 250}}));

    // A robot unlike the template's defaults, so that the first queries show.
    robot()->setOperate(QStringLiteral("auto"));
    robot()->setRobotState(QStringLiteral("running"));
    robot()->setPower(QStringLiteral("on"));

    connect(&fixture.sim, &RcSimulator::requestReceived, this, [this](const QJsonObject& packet) {
        if (fullName(packet) != QLatin1String("system.controller.heart")) {
            requests.append(packet);
        }
    });
    QVERIFY(fixture.start());
    QVERIFY(drain());
    firstMode = r(QStringLiteral("mode"))->getString();
    firstState = r(QStringLiteral("state"))->getString();
    firstPower = power();
}

void tst_Runtime::init()
{
    if (!fixture.sim.isRunning()) {
        return;
    }
    QVERIFY(fixture.connectLink());
    // Back to a still robot; the notification brings "zarvo.r" along even
    // when a test changed it behind the robot's back.
    robot()->setSafetyStop(SimRobot::noStop());
    robot()->setPower(QStringLiteral("off"));
    robot()->setRobotState(QStringLiteral("idle"));
    robot()->setOperate(QStringLiteral("manual"));
    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          robot()->stateData()));
    QCOMPARE(power(), QStringLiteral("off"));
    QCOMPARE(r(QStringLiteral("mode"))->getString(), QStringLiteral("manual"));
    QCOMPARE(r(QStringLiteral("state"))->getString(), QStringLiteral("idle"));
}

void tst_Runtime::connectQueriesFillState()
{
    // init() has already reset the robot: what the first connect brought
    // was noted by initTestCase().
    QVERIFY(requests.size() >= 4);
    const QStringList expected{"system.state.get_operate", "system.state.get_motor",
                               "system.state.get_robot_state", "system.state.get_safety_stop"};
    QCOMPARE(requestNamesSince(0).mid(0, 4), expected);
    for (int i = 0; i < 4; ++i) {
        QVERIFY2(!requests.at(i).contains(QLatin1String("data")),
                 qPrintable(fullName(requests.at(i))));
    }
    QCOMPARE(firstMode, QStringLiteral("auto"));
    QCOMPARE(firstState, QStringLiteral("running"));
    QCOMPARE(firstPower, QStringLiteral("on"));

    // Now through the model itself: the answers alone must fill it.
    robot()->setOperate(QStringLiteral("auto"));
    robot()->setRobotState(QStringLiteral("running"));
    robot()->setPower(QStringLiteral("on"));
    QVERIFY(disconnectLink());
    // Make the model disagree with the robot while no notification can come.
    r(QStringLiteral("mode"))->set(nullptr, QStringLiteral("manual"));
    r(QStringLiteral("state"))->set(nullptr, QStringLiteral("idle"));
    QVERIFY(fixture.connectLink());
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("state"))->getString(), QStringLiteral("running"),
                              5000);
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("on"), 5000);
}

void tst_Runtime::motorOnRequestShowsOn()
{
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_motor_on"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("on"), 5000);
    QCOMPARE(robot()->power(), QStringLiteral("on"));

    QVERIFY(rc()->request(QStringLiteral("system"), QStringLiteral("state.switch_motor_off"),
                          QJsonValue()));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("off"), 5000);
}

void tst_Runtime::refusedMotorOnKeepsStopWord()
{
    robot()->setSafetyStop(QStringLiteral("EStop"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("estop"), 5000);

    velk::ModuleObject* command = rc()->cmdMobj(QStringLiteral("system.state.switch_motor_on"));
    QSignalSpy answered(command, &velk::ModuleObject::changed);
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_motor_on"), nullptr));
    QVERIFY(answered.wait(5000));
    QCOMPARE(command->getBool(true), false);
    QCOMPARE(power(), QStringLiteral("estop"));
}

void tst_Runtime::safetyStopFromRobot()
{
    robot()->setPower(QStringLiteral("on"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("on"), 5000);

    robot()->setSafetyStop(QStringLiteral("EStop"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("estop"), 5000);

    // The stop cut the motor, so the word that comes back is "off".
    robot()->setSafetyStop(QStringLiteral("NStop"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("off"), 5000);
}

void tst_Runtime::safetyStopOnlyNotification()
{
    robot()->setPower(QStringLiteral("on"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("on"), 5000);

    // Only the stop's word: the motor word the model remembers must survive.
    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"safety_stop", "PStop"}}));
    QCOMPARE(power(), QStringLiteral("pstop"));
    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"safety_stop", "NStop"}}));
    QCOMPARE(power(), QStringLiteral("on"));
}

void tst_Runtime::powerWord_data()
{
    QTest::addColumn<QString>("motor");
    QTest::addColumn<QString>("stop");
    QTest::addColumn<QString>("expected");

    QTest::newRow("on, no stop") << "on"
                                 << "NStop"
                                 << "on";
    QTest::newRow("off, no stop") << "off"
                                  << "NStop"
                                  << "off";
    QTest::newRow("on, emergency stop") << "on"
                                        << "EStop"
                                        << "estop";
    QTest::newRow("off, protective stop") << "off"
                                          << "PStop"
                                          << "pstop";
    // Only the exact word means "no stop".
    QTest::newRow("stop word in lower case") << "on"
                                             << "nstop"
                                             << "nstop";
    QTest::newRow("empty stop word") << "on"
                                     << ""
                                     << "";
}

void tst_Runtime::powerWord()
{
    QFETCH(QString, motor);
    QFETCH(QString, stop);
    QFETCH(QString, expected);

    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"power", motor}, {"safety_stop", stop}}));
    QCOMPARE(power(), expected);
}

void tst_Runtime::identicalPowerWordsChangeOnce()
{
    robot()->setPower(QStringLiteral("on"));
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("on"), 5000);
    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"power", "off"}, {"safety_stop", "NStop"}}));

    QSignalSpy changes(r(QStringLiteral("power")), &velk::ModuleObject::changed);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                              QJsonObject{{"power", "on"}, {"safety_stop", "NStop"}}));
    }
    QCOMPARE(changes.count(), 1);

    // A change that names no power word, and two answers with the same word.
    QVERIFY(notifyAndWait(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"operate", "manual"}}));
    for (int i = 0; i < 2; ++i) {
        velk::ModuleObject* command = rc()->cmdMobj(QStringLiteral("system.state.get_motor"));
        QSignalSpy answered(command, &velk::ModuleObject::changed);
        QVERIFY(rc()->request(QStringLiteral("system"), QStringLiteral("state.get_motor"),
                              QJsonValue()));
        QVERIFY(answered.wait(5000));
    }
    QCOMPARE(changes.count(), 1);
    QCOMPARE(power(), QStringLiteral("on"));
}

void tst_Runtime::modeAndStateFollowController()
{
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_auto"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_manual"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("manual"),
                              5000);

    robot()->setRobotState(QStringLiteral("running"));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("state"))->getString(), QStringLiteral("running"),
                              5000);

    // A mode answer alone (no notification) reaches "mode" as well.
    robot()->setOperate(QStringLiteral("auto"));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    r(QStringLiteral("mode"))->set(nullptr, QStringLiteral("manual"));
    QVERIFY(
        rc()->request(QStringLiteral("system"), QStringLiteral("state.get_operate"), QJsonValue()));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
}

void tst_Runtime::motionMonitorFillsPose()
{
    const QJsonObject pose{
        {"joint", QJsonArray{1.5, -2.5, 3, 4, 5, 6.25}},
        {"position", QJsonArray{400.5, -20, 615}},
        {"euler", QJsonArray{180, 0.5, -90}},
        {"quaternion", QJsonArray{0.5, 0.5, -0.5, 0.5}},
        {"elb", 7.5},
        {"torque", QJsonArray{1, 2, 3, 4, 5, 6}},
    };
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("move.monitor"), pose));
    QCOMPARE(doubles(r(QStringLiteral("joint"))->get()), (QList<double>{1.5, -2.5, 3, 4, 5, 6.25}));
    QCOMPARE(doubles(r(QStringLiteral("position"))->get()), (QList<double>{400.5, -20, 615}));
    QCOMPARE(doubles(r(QStringLiteral("euler"))->get()), (QList<double>{180, 0.5, -90}));
    QCOMPARE(doubles(r(QStringLiteral("quaternion"))->get()), (QList<double>{0.5, 0.5, -0.5, 0.5}));

    // What the model has no place for is dropped, not added.
    velk::ModuleObject* runtime = velk::m(QStringLiteral("zarvo.r"));
    QVERIFY(!runtime->hasCmobj(QStringLiteral("elb")));
    QVERIFY(!runtime->hasCmobj(QStringLiteral("torque")));

    // A frame with the joints only leaves the Cartesian pose as it was.
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("move.monitor"),
                          QJsonObject{{"joint", QJsonArray{0, 0, 0, 0, 90, 0}}}));
    QCOMPARE(doubles(r(QStringLiteral("joint"))->get()), (QList<double>{0, 0, 0, 0, 90, 0}));
    QCOMPARE(doubles(r(QStringLiteral("position"))->get()), (QList<double>{400.5, -20, 615}));
}

void tst_Runtime::motionStreamFillsPose()
{
    QSignalSpy joints(r(QStringLiteral("joint")), &velk::ModuleObject::changed);
    QSignalSpy quaternions(r(QStringLiteral("quaternion")), &velk::ModuleObject::changed);
    QCOMPARE(fixture.sim.sendMonitorBurst(20), 1);
    QTRY_COMPARE_WITH_TIMEOUT(joints.count(), 20, 5000);
    QCOMPARE(quaternions.count(), 20);

    velk::ModuleObject* monitor = rc()->notifyMobj(QStringLiteral("motion.move.monitor"));
    for (const char* name : {"joint", "position", "euler", "quaternion"}) {
        const QString child = QString::fromLatin1(name);
        QCOMPARE(doubles(r(child)->get()), doubles(monitor->cmobj(child)->get()));
    }
    QCOMPARE(doubles(r(QStringLiteral("joint"))->get()).size(), 6);
    QCOMPARE(doubles(r(QStringLiteral("quaternion"))->get()).size(), 4);
    QVERIFY(!velk::m(QStringLiteral("zarvo.r"))->hasCmobj(QStringLiteral("torque")));
}

void tst_Runtime::blockStateNotification()
{
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("block_state"),
                          QJsonObject{{"block_state", true}}));
    QCOMPARE(r(QStringLiteral("block"))->get(), QVariant(true));
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("block_state"),
                          QJsonObject{{"block_state", false}}));
    QCOMPARE(r(QStringLiteral("block"))->get(), QVariant(false));
}

void tst_Runtime::controllerParamsSetIdAndVersion()
{
    robot()->setSerialNumber(QStringLiteral("ZSIM-TEST-0042"));
    robot()->setVersion(QStringLiteral("1.2.3"));
    QVERIFY(rc()->request(QStringLiteral("system.controller.get_params"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("id"))->getString(),
                              QStringLiteral("ZSIM-TEST-0042"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("version"))->get().toLongLong(), 10203LL, 5000);

    robot()->setVersion(QStringLiteral("2.10.0.7"));
    QVERIFY(rc()->request(QStringLiteral("system.controller.get_params"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("version"))->get().toLongLong(), 2100007LL, 5000);
    QCOMPARE(r(QStringLiteral("id"))->getString(), QStringLiteral("ZSIM-TEST-0042"));
}

void tst_Runtime::packVersion_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("three places") << "1.2.3" << qint64(10203);
    QTest::newRow("four places") << "2.10.0.7" << qint64(2100007);
    QTest::newRow("one number") << "5" << qint64(5);
    QTest::newRow("no digits") << "beta" << qint64(0);
    QTest::newRow("empty") << "" << qint64(0);
    QTest::newRow("overlapping place") << "1.100" << qint64(200);
    QTest::newRow("all zero") << "0.0.0" << qint64(0);
    QTest::newRow("two places") << "10.2" << qint64(1002);
    QTest::newRow("words around digits") << "v3.4-rc1" << qint64(30401);
    QTest::newRow("dozens of numbers saturate")
        << QStringLiteral("9.").repeated(40) << std::numeric_limits<qint64>::max();
}

void tst_Runtime::packVersion()
{
    QFETCH(QString, text);
    QFETCH(qint64, expected);
    QCOMPARE(zarvo::Runtime::packVersion(text), expected);
}

void tst_Runtime::constantResource()
{
    bool ok = false;
    QObject* owner = velk::resource().getModulePtr(this, QStringLiteral("c"), &ok);
    QVERIFY(ok);
    QVERIFY(qobject_cast<zarvo::Constant*>(owner));
    QVERIFY(velk::resource().has(owner, QStringLiteral("c")));
    // The cache is laid over the template, member by member.
    QCOMPARE(velk::resource().get(owner, QStringLiteral("c"), QStringLiteral("cell")).toString(),
             QStringLiteral("A7"));
    QCOMPARE(velk::resource().get(owner, QStringLiteral("c"), QStringLiteral("max_speed")).toInt(),
             250);
    QCOMPARE(
        velk::resource().get(owner, QStringLiteral("c"), QStringLiteral("from_template")).toBool(),
        true);
}

void tst_Runtime::disconnectResetsConnectionFields()
{
    robot()->setSerialNumber(QStringLiteral("ZSIM-TEST-0099"));
    robot()->setVersion(QStringLiteral("3.1.4"));
    QVERIFY(rc()->request(QStringLiteral("system.controller.get_params"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("id"))->getString(),
                              QStringLiteral("ZSIM-TEST-0099"), 5000);
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_auto"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("block_state"),
                          QJsonObject{{"block_state", true}}));
    r(QStringLiteral("level"))->set(nullptr, 3);

    QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
    QVERIFY(disconnectLink());
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(r(QStringLiteral("level"))->getInt(-1), 0);
    QCOMPARE(r(QStringLiteral("id"))->getString(), QStringLiteral("LOCALHOST"));
    QCOMPARE(r(QStringLiteral("block"))->get(), QVariant(false));
    // What the operator should still see.
    QCOMPARE(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"));
    QCOMPARE(r(QStringLiteral("version"))->get().toLongLong(), 30104LL);
    QCOMPARE(power(), QStringLiteral("off"));
}

void tst_Runtime::reconnectQueriesAgain()
{
    QVERIFY(disconnectLink());
    // The robot changes while nobody listens.
    robot()->setOperate(QStringLiteral("auto"));
    robot()->setSafetyStop(QStringLiteral("EStop"));
    const int first = requests.size();

    QVERIFY(fixture.connectLink());
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(power(), QStringLiteral("estop"), 5000);
    QCOMPARE(requestNamesSince(first).mid(0, 4),
             (QStringList{"system.state.get_operate", "system.state.get_motor",
                          "system.state.get_robot_state", "system.state.get_safety_stop"}));
}

void tst_Runtime::simulatorGoneResetsConnectionFields()
{
    QVERIFY(notifyAndWait(QStringLiteral("motion"), QStringLiteral("block_state"),
                          QJsonObject{{"block_state", true}}));
    QVERIFY(rc()->request(QStringLiteral("system.state.switch_auto"), nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"), 5000);
    r(QStringLiteral("level"))->set(nullptr, 2);

    QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
    fixture.sim.stop(); // last test: the link is not needed again
    QVERIFY(disconnected.wait(5000));
    QCOMPARE(r(QStringLiteral("level"))->getInt(-1), 0);
    QCOMPARE(r(QStringLiteral("id"))->getString(), QStringLiteral("LOCALHOST"));
    QCOMPARE(r(QStringLiteral("block"))->get(), QVariant(false));
    QCOMPARE(r(QStringLiteral("mode"))->getString(), QStringLiteral("auto"));
}

QTEST_MAIN(tst_Runtime)
#include "tst_runtime.moc"
