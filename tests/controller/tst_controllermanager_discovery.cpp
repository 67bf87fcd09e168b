// Discovery of controllers and of the upgrade server over UDP, and the
// narrowing of the UDP channel to the controller. The only test executable
// that takes the upgrade server's fixed port 4567.

#include "linkprobes.h"

#include <velk/networkhandle.h>
#include <velk/networkobject.h>

#include <QNetworkDatagram>
#include <QUdpSocket>

using namespace linkprobes;

namespace {

const QString Detect = QStringLiteral("system.controller.detect");
const QString Change = QStringLiteral("system.state.change");
constexpr quint16 UpgradeServerPort = 4567;

velk::NetworkObject* rcUdp()
{
    return velk::net(QStringLiteral("rc_udp"));
}

QJsonObject detectPacket(const QString& alias)
{
    return {{"module", "system"},
            {"command", "controller.detect"},
            {"data", QJsonObject{{"alias", alias}}}};
}

QJsonObject changePacket(const QString& operate)
{
    return {{"module", "system"},
            {"command", "state.change"},
            {"data", QJsonObject{{"operate", operate}}}};
}

// What a command's notification carried each time it was activated.
class NotifyLog
{
public:
    NotifyLog(const QString& name, const QString& field)
    {
        velk::ModuleObject* command = rc()->cmdMobj(name);
        QObject::connect(command, &velk::ModuleObject::activated, &m_context,
                         [this, command, name, field](velk::ModuleObject* target, int type) {
                             if (target == command && type == 0) {
                                 values << rc()->notifyMobj(name)->cmobj(field)->getString();
                             }
                         });
    }
    QStringList values;

private:
    QObject m_context;
};

} // namespace

class tst_ControllerManagerDiscovery : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    QUdpSocket m_upgradeServer;

    void sendTo(QUdpSocket& from, const QJsonObject& packet)
    {
        from.writeDatagram(compact(packet) + '\n', QHostAddress::LocalHost,
                           rcUdp()->socket()->localPort());
    }

    // True once the channel has handed `packet` to the link.
    static bool waitHandled(const QSignalSpy& got, const QJsonObject& packet)
    {
        return QTest::qWaitFor(
            [&] {
                for (const QList<QVariant>& args : got) {
                    if (args.at(0).toJsonObject() == packet) {
                        return true;
                    }
                }
                return false;
            },
            Slack);
    }

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        // Bound to loopback, the upgrade channel's port 4568 is ours even
        // when other test executables hold it on the any address.
        QVERIFY(fixture.start(QJsonObject{{"local", QJsonObject{{"ip", "127.0.0.1"}}}}));
        QVERIFY2(m_upgradeServer.bind(QHostAddress::LocalHost, UpgradeServerPort),
                 qPrintable(m_upgradeServer.errorString()));
    }

    void init()
    {
        QTRY_VERIFY_WITH_TIMEOUT(!rc()->isDetecting(), ControllerManager::DetectRound + Slack);
        QVERIFY(backToSimulator(fixture));
    }

    void cleanupTestCase() { fixture.stop(); }

    void channelsBindTheConfiguredAddress()
    {
        const QHostAddress loopback(QHostAddress::LocalHost);
        QCOMPARE(rcUdp()->socket()->localAddress(), loopback);
        velk::NetworkObject* upgrade = velk::net(QStringLiteral("upgrade_udp"));
        QCOMPARE(upgrade->socket()->localAddress(), loopback);
        QCOMPARE(upgrade->socket()->localPort(), quint16(4568));
    }

    void detectRequestOnTheWire()
    {
        QUdpSocket listener;
        QVERIFY(listener.bind(QHostAddress::LocalHost, 0));
        const int serverPort = rcUdp()->channel().remotePort;
        rcUdp()->tryConnectToHost(QHostAddress(QHostAddress::Broadcast), listener.localPort());
        rc()->startDetecting();
        rcUdp()->tryConnectToHost(QHostAddress(QHostAddress::Broadcast), serverPort);
        QVERIFY(QTest::qWaitFor([&] { return listener.hasPendingDatagrams(); }, Slack));
        QCOMPARE(listener.receiveDatagram().data(),
                 QByteArray("{\"module\":\"system\",\"command\":\"controller.detect\"}\n"));
    }

    void roundFindsTheSimulator()
    {
        NotifyLog answers(Detect, "tcp_port");
        QElapsedTimer clock;
        clock.start();
        rc()->startDetecting();
        QVERIFY(rc()->isDetecting());
        QTRY_VERIFY_WITH_TIMEOUT(!answers.values.isEmpty(), ControllerManager::DetectRound);
        QCOMPARE(answers.values.first(), QString::number(fixture.sim.tcpPort()));
        QCOMPARE(rc()->notifyMobj(Detect)->cmobj("alias")->getString(),
                 fixture.sim.robot()->alias());

        QTRY_VERIFY_WITH_TIMEOUT(!rc()->isDetecting(), ControllerManager::DetectRound + Slack);
        QVERIFY2(clock.elapsed() >= ControllerManager::DetectRound - 20,
                 qPrintable(QString::number(clock.elapsed())));
        // Connected, the channel listens to its controller alone again.
        QCOMPARE(rcUdp()->peerAddress(), QHostAddress(QHostAddress::LocalHost));
    }

    void roundFilter_data()
    {
        QTest::addColumn<bool>("detecting");
        QTest::newRow("during a round only answers pass") << true;
        QTest::newRow("outside a round answers are dropped") << false;
    }

    void roundFilter()
    {
        QFETCH(bool, detecting);
        QUdpSocket sender;
        QVERIFY(sender.bind(QHostAddress::LocalHost, 0));
        NotifyLog answers(Detect, "alias");
        NotifyLog changes(Change, "operate");
        QSignalSpy got(rcUdp()->handle(), &velk::NetworkHandle::jsonObtained);

        if (detecting) {
            rc()->startDetecting();
        }
        sendTo(sender, changePacket("from the test"));
        sendTo(sender, detectPacket("from the test"));
        QVERIFY(waitHandled(got, changePacket("from the test")));
        QVERIFY(waitHandled(got, detectPacket("from the test")));
        QCOMPARE(rc()->isDetecting(), detecting);

        QCOMPARE(answers.values.contains("from the test"), detecting);
        QCOMPARE(changes.values.contains("from the test"), !detecting);
    }

    // Connected, the link hears UDP from its controller's address only; a
    // discovery round listens to everyone, and so does a link without a
    // controller.
    void narrowedToTheController()
    {
        QUdpSocket own;
        QUdpSocket stranger;
        QVERIFY(own.bind(QHostAddress::LocalHost, 0));
        QVERIFY2(stranger.bind(QHostAddress("127.0.0.2"), 0), qPrintable(stranger.errorString()));
        NotifyLog changes(Change, "operate");
        NotifyLog answers(Detect, "alias");
        QSignalSpy got(rcUdp()->handle(), &velk::NetworkHandle::jsonObtained);
        QCOMPARE(rcUdp()->peerAddress(), QHostAddress(QHostAddress::LocalHost));

        sendTo(stranger, changePacket("stranger"));
        sendTo(own, changePacket("own"));
        QVERIFY(waitHandled(got, changePacket("own")));
        QCOMPARE(changes.values, QStringList{"own"});

        rc()->startDetecting();
        sendTo(stranger, detectPacket("stranger"));
        QVERIFY(waitHandled(got, detectPacket("stranger")));
        QVERIFY(answers.values.contains("stranger"));
        QTRY_VERIFY_WITH_TIMEOUT(!rc()->isDetecting(), ControllerManager::DetectRound + Slack);
        QCOMPARE(rcUdp()->peerAddress(), QHostAddress(QHostAddress::LocalHost));

        QVERIFY(dropLink());
        QVERIFY(rcUdp()->peerAddress().isBroadcast());
        sendTo(stranger, changePacket("stranger, unlinked"));
        QVERIFY(waitHandled(got, changePacket("stranger, unlinked")));
        QCOMPARE(changes.values, (QStringList{"own", "stranger, unlinked"}));

        QVERIFY(raiseLink());
        QCOMPARE(rcUdp()->peerAddress(), QHostAddress(QHostAddress::LocalHost));
    }

    void upgradeServer_data()
    {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("afterRound");
        QTest::addColumn<bool>("detected");

        const QJsonObject welcome{{"my_name", "RC"}, {"reply", "welcome"}, {"version", "3.1"}};
        QTest::newRow("welcome") << welcome << false << true;
        QTest::newRow("other reply")
            << QJsonObject{{"my_name", "RC"}, {"reply", "busy"}} << false << false;
        QTest::newRow("other name")
            << QJsonObject{{"my_name", "NAS"}, {"reply", "welcome"}} << false << false;
        QTest::newRow("welcome after the round") << welcome << true << false;
    }

    void upgradeServer()
    {
        QFETCH(QJsonObject, answer);
        QFETCH(bool, afterRound);
        QFETCH(bool, detected);
        while (m_upgradeServer.hasPendingDatagrams()) {
            m_upgradeServer.receiveDatagram();
        }
        QSignalSpy found(rc(), &ControllerManager::upgradeServerDetected);
        QSignalSpy got(velk::net(QStringLiteral("upgrade_udp"))->handle(),
                       &velk::NetworkHandle::jsonObtained);

        rc()->startDetecting();
        QVERIFY(QTest::qWaitFor([&] { return m_upgradeServer.hasPendingDatagrams(); }, Slack));
        const QNetworkDatagram greeting = m_upgradeServer.receiveDatagram();
        // One bare document per datagram, as upgrade servers read it.
        QCOMPARE(greeting.data(), QByteArray("{\"greet\":\"hello\",\"my_name\":\"HMI\"}"));

        if (afterRound) {
            QTRY_VERIFY_WITH_TIMEOUT(!rc()->isDetecting(), ControllerManager::DetectRound + Slack);
        }
        m_upgradeServer.writeDatagram(compact(answer), greeting.senderAddress(),
                                      quint16(greeting.senderPort()));
        QVERIFY(waitHandled(got, answer));
        QCOMPARE(rc()->isDetecting(), !afterRound);
        QCOMPARE(found.count(), detected ? 1 : 0);
        if (detected) {
            QCOMPARE(found.first().first().toJsonObject(), answer);
        }
    }
};

QTEST_MAIN(tst_ControllerManagerDiscovery)
#include "tst_controllermanager_discovery.moc"
