// A controller that streams faster than the HMI follows: the link stays
// alive and truthful. The heartbeat is answered during the burst, a state
// change sent in its middle is never dropped, and the newest pose wins.

#include "linkprobes.h"

#include "simrobot.h"

using namespace linkprobes;

class tst_ControllerManagerFlood : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

    static bool heartbeatAnswered()
    {
        velk::ModuleObject* answer = rc()->execRequest("system", "controller.heart", {}, false);
        return answer->cmobj("name", false)->getString() == QLatin1String("Zarvo");
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(startLinked(fixture)); }
    void cleanupTestCase() { fixture.stop(); }

    void burst_data()
    {
        QTest::addColumn<QJsonObject>("change");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("shown");
        QTest::addRow("robot state") << QJsonObject{{"robot_state", "running"}} << "state"
                                     << "running";
        QTest::addRow("safety stop") << QJsonObject{{"safety_stop", "EStop"}} << "power"
                                     << "estop";
    }

    void burst()
    {
        QFETCH(QJsonObject, change);
        QFETCH(QString, key);
        QFETCH(QString, shown);
        const qint64 count = 100000;
        LogTail log;
        velk::ModuleObject* monitor = rc()->cmdMobj("motion.move.monitor");
        qint64 poses = 0;
        QObject context;
        connect(monitor, &velk::ModuleObject::activated, &context,
                [&](velk::ModuleObject* target) { poses += target == monitor; });
        QSignalSpy finished(&fixture.sim, &RcSimulator::burstFinished);

        QCOMPARE(fixture.sim.sendMonitorBurst(count), 1);
        QTRY_VERIFY_WITH_TIMEOUT(poses > 100, 10000);
        fixture.sim.notifyAll("system", "state.change", change);
        QVERIFY(heartbeatAnswered());
        // Still in the middle of it, or the answer proved nothing.
        QVERIFY(finished.isEmpty());

        QVERIFY(finished.wait(60000));
        QVERIFY(heartbeatAnswered());
        QCOMPARE(velk::m("zarvo.r." + key)->getString(), shown);
        const QJsonObject newest = zarvo::sim::SimRobot::pose((count - 1) * 0.01);
        for (const char* part : {"joint", "position", "quaternion"}) {
            QCOMPARE(QJsonArray::fromVariantList(velk::m(QString("zarvo.r.") + part)->getList()),
                     newest.value(part).toArray());
        }
        QVERIFY(poses <= count);
        QCOMPARE(log.count("controller dying"), 0);

        fixture.sim.notifyAll("system", "state.change",
                              QJsonObject{{"robot_state", "idle"}, {"safety_stop", "NStop"}});
        QVERIFY(heartbeatAnswered());
    }
};

QTEST_MAIN(tst_ControllerManagerFlood)
#include "tst_controllermanager_flood.moc"
