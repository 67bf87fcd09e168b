// The heartbeat forgives one missed answer and ends the link at the second
// in a row. Takes four heartbeat periods of real time.

#include "linkprobes.h"

using namespace linkprobes;

class tst_ControllerManagerHeartbeat : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

private Q_SLOTS:
    void initTestCase() { QVERIFY(startLinked(fixture)); }
    void cleanupTestCase() { fixture.stop(); }

    void missedHeartbeats()
    {
        // A fresh link starts the heartbeat timer from now.
        QVERIFY(relink(fixture, fixture.sim.tcpPort()));
        LogTail log;
        HmiRecords records;
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        const auto beats = [&] { return packetsOf(received, "controller.heart").size(); };
        const int period = ControllerManager::HeartbeatInterval;

        fixture.sim.injectFault(Fault::MissHeartbeats, 1);
        QVERIFY(log.waitFor("controller dying", period + ControllerManager::ExecTimeout + Slack));
        QCOMPARE(beats(), 1);
        QVERIFY(log.lines().filter("controller dying").value(0).startsWith("[W|"));

        // The answered second beat resets the count: the third warns, the fourth ends it.
        QTRY_COMPARE_WITH_TIMEOUT(beats(), 2, period + Slack);
        fixture.sim.injectFault(Fault::NoHeartbeat);
        QVERIFY(disconnected.wait(2 * period + ControllerManager::ExecTimeout + Slack));
        QCOMPARE(beats(), 4);
        QCOMPARE(log.count("controller dying"), 2);
        QCOMPARE(log.count("controller dead"), 1);
        QVERIFY(log.lines().filter("controller dead").value(0).startsWith("[E|"));
        QCOMPARE(records.titles, QStringList());
    }
};

QTEST_MAIN(tst_ControllerManagerHeartbeat)
#include "tst_controllermanager_heartbeat.moc"
