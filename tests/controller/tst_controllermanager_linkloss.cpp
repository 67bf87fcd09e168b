// How the controller link notices that its peer is gone or never was a
// controller, and that it does not come back by itself.

#include "linkprobes.h"

#include <velk/networkhandle.h>
#include <velk/networkobject.h>

using namespace linkprobes;

class tst_ControllerManagerLinkLoss : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        QVERIFY(fixture.start());
    }

    void init()
    {
        sim().clearFaults();
        QVERIFY(backToSimulator(fixture));
    }

    void cleanupTestCase() { fixture.stop(); }

    // A peer that takes the connection and never answers is no controller:
    // its first heartbeat decides at once.
    void silentPeerIsNeverAnnounced()
    {
        RawPeer silent;
        silent.answering = false;
        QVERIFY(silent.listen());
        QVERIFY(dropLink());
        pointServerAt(silent.port());
        HmiRecords records;
        LogTail log;
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);

        rc()->connectToRC(true, false);
        QVERIFY(records.waitFor("Connection failed: no response",
                                ControllerManager::ExecTimeout + Slack));
        QCOMPARE(records.titles(), QStringList{"Connection failed: no response"});
        QCOMPARE(log.count("controller dying"), 0);
        QCOMPARE(log.count("controller dead"), 1);
        QVERIFY(log.indexOf("controller dead") < log.indexOf("Connection failed: no response"));
        QVERIFY(!rc()->isConnected());
        QTRY_COMPARE_WITH_TIMEOUT(silent.closed, 1, Slack);
        QCOMPARE(silent.packets.size(), 1);
        QVERIFY(RawPeer::isHeartbeat(silent.packets.first()));

        // The announcement would have come 100 ms after a proven connect.
        QVERIFY(!connected.wait(ControllerManager::AnnounceDelay + 500));
        QCOMPARE(disconnected.count(), 0);
    }

    // Errors of the upgrade link matter only while the controller is there.
    void upgradeLinkErrors_data()
    {
        QTest::addColumn<bool>("linked");
        QTest::newRow("controller connected") << true;
        QTest::newRow("controller not connected") << false;
    }

    void upgradeLinkErrors()
    {
        QFETCH(bool, linked);
        if (!linked) {
            QVERIFY(dropLink());
        }
        quint16 deadPort;
        {
            QTcpServer gone;
            QVERIFY(gone.listen(QHostAddress::LocalHost, 0));
            deadPort = gone.serverPort();
        }
        const QJsonObject upgrade = setting()->getObj("upgrade_server");
        setting()->set("upgrade_server", QJsonObject{{"ip", "127.0.0.1"}, {"port", deadPort}});
        QSignalSpy failed(velk::net(QStringLiteral("upgrade_tcp"))->handle(),
                          &velk::NetworkHandle::socketError);
        LogTail log;

        rc()->connectToRC(false, true);
        QVERIFY(failed.wait(Slack));
        QCOMPARE(log.count("upgrade server socket error: "), linked ? 1 : 0);
        setting()->set("upgrade_server", upgrade);
    }

    // The socket drops while the first heartbeat is out: the link was up for
    // that moment, so it says it went down, though it never announced itself.
    void dropDuringFirstHeartbeat()
    {
        QVERIFY(dropLink());
        HmiRecords records;
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        sim().injectFault(Fault::CloseOnRequest, 0);

        rc()->connectToRC(true, false);
        QVERIFY(records.waitFor("Connection failed: no response",
                                ControllerManager::ExecTimeout + Slack));
        QCOMPARE(disconnected.count(), 1);
        QVERIFY(!rc()->isConnected());
        QVERIFY(!connected.wait(ControllerManager::AnnounceDelay + 500));
    }

    void secondMissDisconnects()
    {
        QVERIFY(dropLink());
        QVERIFY(raiseLink());
        QElapsedTimer clock;
        clock.start();
        LogTail log;
        HmiRecords records;
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const int period = ControllerManager::HeartbeatInterval;

        sim().injectFault(Fault::NoHeartbeat);
        QVERIFY(disconnected.wait(2 * period + ControllerManager::ExecTimeout + Slack));
        // Two whole periods (timers may run 5 % early) plus the last wait.
        QVERIFY2(clock.elapsed() >= 2 * period * 95 / 100 + ControllerManager::ExecTimeout,
                 qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(log.count("controller dying"), 1);
        QCOMPARE(log.count("controller dead"), 1);
        const QStringList lines = log.lines();
        const int dying = log.indexOf("controller dying");
        const int dead = log.indexOf("controller dead");
        QVERIFY(dying < dead);
        QVERIFY(lines.at(dying).startsWith("[W|"));
        QVERIFY(lines.at(dead).startsWith("[E|"));
        QVERIFY(!rc()->isConnected());
        QCOMPARE(records.titles(), QStringList());
    }

    // Losing the controller is noticed, and the link stays down until
    // someone connects again.
    void simulatorStopIsNoticed()
    {
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const quint16 tcp = sim().tcpPort();
        const quint16 discovery = sim().discoveryPort();
        const quint16 upgradeUdp = sim().upgradeUdpPort();
        const quint16 upgradeTcp = sim().upgradeTcpPort();

        sim().stop();
        QVERIFY(disconnected.wait(Slack));
        QVERIFY(!rc()->isConnected());

        sim().setTcpPort(tcp);
        sim().setDiscoveryPort(discovery);
        sim().setUpgradeUdpPort(upgradeUdp);
        sim().setUpgradeTcpPort(upgradeTcp);
        QVERIFY2(sim().start(), qPrintable(sim().errorString()));
        QSignalSpy clients(&sim(), &RcSimulator::clientConnected);
        QVERIFY(!clients.wait(ControllerManager::HeartbeatInterval + 1000));
        QVERIFY(!rc()->isConnected());

        QVERIFY(raiseLink());
        QCOMPARE(clients.count(), 1);
    }
};

QTEST_MAIN(tst_ControllerManagerLinkLoss)
#include "tst_controllermanager_linkloss.moc"
