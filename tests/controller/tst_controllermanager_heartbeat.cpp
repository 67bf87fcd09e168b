// The heartbeat forgives one missed answer, and the next good one forgives it
// again. Takes about three heartbeat periods of real time.

#include "linkprobes.h"

using namespace linkprobes;

class tst_ControllerManagerHeartbeat : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        QVERIFY(fixture.start());
    }

    void cleanupTestCase() { fixture.stop(); }

    void oneMissIsTolerated()
    {
        // A new connection starts the heartbeat timer from now.
        QVERIFY(dropLink());
        QVERIFY(raiseLink());
        QElapsedTimer clock;
        clock.start();
        LogTail log;
        HmiRecords records;
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        QList<qint64> beats;
        QObject context;
        connect(&fixture.sim, &RcSimulator::requestReceived, &context,
                [&](const QJsonObject& packet) {
                    if (RawPeer::isHeartbeat(packet)) {
                        beats << clock.elapsed();
                    }
                });
        const int period = ControllerManager::HeartbeatInterval;
        const int round = period + ControllerManager::ExecTimeout + Slack;

        fixture.sim.injectFault(Fault::MissHeartbeats, 1);
        QVERIFY(log.waitFor("controller dying", round));
        QCOMPARE(beats.size(), 1);
        QVERIFY(log.lines().last().startsWith("[W|"));

        // The next heartbeat is answered; the waits above and below return
        // only after the link has handled it.
        QTRY_COMPARE_WITH_TIMEOUT(beats.size(), 2, period + Slack);
        // Timers may run up to 5 % off.
        QVERIFY2(beats.at(1) - beats.at(0) >= period * 95 / 100 &&
                     beats.at(1) - beats.at(0) <= period * 105 / 100 + 500,
                 qPrintable(QString::number(beats.at(1) - beats.at(0))));

        // One more single miss is a warning again, not the end.
        fixture.sim.injectFault(Fault::MissHeartbeats, 1);
        QVERIFY(QTest::qWaitFor(
            [&] { return log.count("controller dying") >= 2 || log.count("controller dead") > 0; },
            round));
        QCOMPARE(log.count("controller dying"), 2);
        QCOMPARE(log.count("controller dead"), 0);
        QCOMPARE(beats.size(), 3);
        QVERIFY(rc()->isConnected());
        QCOMPARE(disconnected.count(), 0);
        QCOMPARE(records.titles(), QStringList());
    }
};

QTEST_MAIN(tst_ControllerManagerHeartbeat)
#include "tst_controllermanager_heartbeat.moc"
