// The runtime model "zarvo.r" against a simulated controller over loopback.

#include "linkfixture.h"

#include "runtime/runtime.h"
#include "simrobot.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <limits>

namespace {

velk::ModuleObject* r(const char* child)
{
    return velk::m(QString("zarvo.r.") + child);
}

QString str(const char* child)
{
    return r(child)->getString();
}

QList<double> doubles(const char* child)
{
    QList<double> out;
    for (const QVariant& item : r(child)->get().toList()) {
        out.append(item.toDouble());
    }
    return out;
}

} // namespace

class tst_Runtime : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

    zarvo::sim::SimRobot* robot() const { return fixture.sim.robot(); }

    // Once this returns, everything the simulator sent before was handled.
    static bool drain()
    {
        return rc()->execRequest("system", "controller.heart", QJsonValue(), false)->getBool();
    }

    bool notify(const char* module, const char* command, const QJsonObject& data)
    {
        fixture.sim.notifyAll(module, command, data);
        return drain();
    }

    static bool request(const char* name)
    {
        return rc()->request(QString("system.") + name, nullptr);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // A robot unlike the defaults, so that the state queried on connect shows.
        robot()->setOperate("auto");
        robot()->setRobotState("running");
        robot()->setPower("on");
        QVERIFY(fixture.start());
        QVERIFY(drain());
        QCOMPARE((QStringList{str("mode"), str("state"), str("power")}),
                 (QStringList{"auto", "running", "on"}));
    }

    void init()
    {
        // Back to a still robot; the notification brings "zarvo.r" along.
        QVERIFY(fixture.connectLink());
        robot()->setSafetyStop(zarvo::sim::SimRobot::noStop());
        robot()->setPower("off");
        robot()->setRobotState("idle");
        robot()->setOperate("manual");
        QVERIFY(notify("system", "state.change", robot()->stateData()));
        QCOMPARE(str("power"), QString("off"));
    }

    void cleanupTestCase() { fixture.stop(); }

    void powerFollowsMotorAndSafetyStop()
    {
        QVERIFY(request("state.switch_motor_on"));
        QTRY_COMPARE_WITH_TIMEOUT(str("power"), QString("on"), 5000);
        robot()->setSafetyStop("EStop");
        QTRY_COMPARE_WITH_TIMEOUT(str("power"), QString("estop"), 5000);
        // The stop cut the motor, so the word that comes back is "off".
        robot()->setSafetyStop("NStop");
        QTRY_COMPARE_WITH_TIMEOUT(str("power"), QString("off"), 5000);
    }

    void identicalPowerWordsChangeOnce()
    {
        QSignalSpy changes(r("power"), &velk::ModuleObject::changed);
        for (int i = 0; i < 2; ++i) {
            QVERIFY(notify("system", "state.change", {{"power", "on"}, {"safety_stop", "NStop"}}));
        }
        QCOMPARE(changes.count(), 1);
    }

    void motionFillsPose()
    {
        QVERIFY(notify("motion", "move.monitor",
                       {{"joint", QJsonArray{1.5, -2.5, 3, 4, 5, 6.25}},
                        {"position", QJsonArray{400.5, -20, 615}},
                        {"euler", QJsonArray{180, 0.5, -90}},
                        {"quaternion", QJsonArray{0.5, 0.5, -0.5, 0.5}},
                        {"elb", 7.5},
                        {"torque", QJsonArray{1, 2, 3, 4, 5, 6}}}));
        QCOMPARE(doubles("joint"), (QList<double>{1.5, -2.5, 3, 4, 5, 6.25}));
        QCOMPARE(doubles("position"), (QList<double>{400.5, -20, 615}));
        QCOMPARE(doubles("euler"), (QList<double>{180, 0.5, -90}));
        QCOMPARE(doubles("quaternion"), (QList<double>{0.5, 0.5, -0.5, 0.5}));
        // What the model has no place for is dropped, not added.
        QVERIFY(!velk::m("zarvo.r")->hasCmobj("elb") && !velk::m("zarvo.r")->hasCmobj("torque"));
    }

    void packVersion_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("expected");
        auto row = [](const QString& text, qint64 expected) {
            QTest::newRow(qPrintable(text.left(12))) << text << expected;
        };
        row("1.2.3", 10203);
        row("2.10.0.7", 2100007);
        row("5", 5);
        row("1.100", 200); // a place over 99 overlaps the next
        row("beta", 0);
        row(QString("9.").repeated(40), std::numeric_limits<qint64>::max());
    }

    void packVersion()
    {
        QFETCH(QString, text);
        QFETCH(qint64, expected);
        QCOMPARE(zarvo::Runtime::packVersion(text), expected);
    }

    void connectionFieldsEndToEnd()
    {
        QVERIFY(request("state.switch_auto"));
        QTRY_COMPARE_WITH_TIMEOUT(str("mode"), QString("auto"), 5000);
        robot()->setSerialNumber("ZSIM-TEST-0042");
        robot()->setVersion("2.10.0.7");
        QVERIFY(request("controller.get_params"));
        QTRY_COMPARE_WITH_TIMEOUT(str("id"), QString("ZSIM-TEST-0042"), 5000);
        QCOMPARE(r("version")->get().toLongLong(), 2100007LL);
        QVERIFY(notify("motion", "block_state", {{"block_state", true}}));
        QCOMPARE(r("block")->get(), QVariant(true));
        r("level")->set(nullptr, 3);

        // A lost link resets what belongs to the connection, not what the operator still needs.
        QVERIFY(fixture.disconnectLink());
        QCOMPARE(r("level")->getInt(-1), 0);
        QCOMPARE(str("id"), QString("LOCALHOST"));
        QCOMPARE(r("block")->get(), QVariant(false));
        QCOMPARE(str("mode"), QString("auto"));
        QCOMPARE(r("version")->get().toLongLong(), 2100007LL);
    }
};

QTEST_MAIN(tst_Runtime)
#include "tst_runtime.moc"
