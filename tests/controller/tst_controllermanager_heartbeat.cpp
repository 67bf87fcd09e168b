// What the heartbeat accepts as a controller's answer, and how it forgives
// one missed answer. Takes about three heartbeat periods of real time.

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

    void init() { QVERIFY(backToSimulator(fixture)); }

    void cleanupTestCase() { fixture.stop(); }

    void wrongHeartbeatAnswer_data()
    {
        QTest::addColumn<QJsonValue>("data");
        QTest::newRow("another name") << QJsonValue(QJsonObject{{"name", "Other"}});
        QTest::newRow("name in another case") << QJsonValue(QJsonObject{{"name", "zarvo"}});
        QTest::newRow("name not a string") << QJsonValue(QJsonObject{{"name", 7}});
        QTest::newRow("no name") << QJsonValue(QJsonObject{{"alias", "Zarvo"}});
        QTest::newRow("no data") << QJsonValue(QJsonValue::Undefined);
    }

    // Only a peer that names itself "Zarvo" is a controller.
    void wrongHeartbeatAnswer()
    {
        QFETCH(QJsonValue, data);
        RawPeer impostor;
        impostor.heartbeatData = data;
        QVERIFY(impostor.listen());
        QVERIFY(dropLink());
        pointServerAt(impostor.port());
        HmiRecords records;
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);

        rc()->connectToRC(true, false);
        QVERIFY(records.waitFor("Connection failed: no response",
                                ControllerManager::ExecTimeout + Slack));
        QVERIFY(!rc()->isConnected());
        QTRY_COMPARE_WITH_TIMEOUT(impostor.closed, 1, Slack);
        QVERIFY(!connected.wait(ControllerManager::AnnounceDelay + 500));
    }

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
        QVERIFY(log.lines().at(log.indexOf("controller dying")).startsWith("[W|"));

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
