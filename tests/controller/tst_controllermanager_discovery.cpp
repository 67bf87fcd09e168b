// Discovery rounds over UDP and the narrowing of the UDP channel to the
// controller. The upgrade server's discovery ports are moved to free ones.

#include "linkprobes.h"

#include <velk/networkhandle.h>
#include <velk/networkobject.h>

#include <QUdpSocket>

using namespace linkprobes;

namespace {

// A discovery answer ("controller.detect") or a state change carrying `value`.
QJsonObject udp(const QString& command, const QString& value)
{
    return {{"module", "system"},
            {"command", command},
            {"data", QJsonObject{{"alias", value}, {"operate", value}}}};
}

// What a command's notification carried at each activation.
struct NotifyLog
{
    NotifyLog(const QString& name, const QString& field)
    {
        velk::ModuleObject* command = rc()->cmdMobj(name);
        QObject::connect(command, &velk::ModuleObject::activated, &context,
                         [=](velk::ModuleObject* target, int type) {
                             if (target == command && type == 0) {
                                 values << rc()->notifyMobj(name)->cmobj(field)->getString();
                             }
                         });
    }
    QStringList values;
    QObject context;
};

// True once a spy of a channel's jsonObtained has seen `json`.
bool handled(const QSignalSpy& spy, const QJsonObject& json)
{
    return QTest::qWaitFor([&] { return spy.contains({QVariant(json)}); }, Slack);
}

bool roundOver()
{
    return QTest::qWaitFor([] { return !rc()->isDetecting(); },
                           ControllerManager::DetectRound + Slack);
}

} // namespace

class tst_ControllerManagerDiscovery : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    QUdpSocket m_upgradeServer;

    static void post(QUdpSocket& from, const QString& command, const QString& value)
    {
        from.writeDatagram(compact(udp(command, value)), QHostAddress::LocalHost,
                           velk::net("rc_udp")->socket()->localPort());
    }

    // True once the link took it; loopback keeps the order of datagrams.
    static bool sendFrom(QUdpSocket& from, const QString& command, const QString& value)
    {
        QSignalSpy got(velk::net("rc_udp")->handle(), &velk::NetworkHandle::jsonObtained);
        post(from, command, value);
        return handled(got, udp(command, value));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_upgradeServer.bind(QHostAddress::LocalHost, 0));
        QVERIFY(startLinked(fixture, {{"local", QJsonObject{{"ip", "127.0.0.1"}}}}));
        // Greetings go to this silent server, not to the simulator, which would answer.
        velk::net("upgrade_udp")
            ->tryConnectToHost(QHostAddress::LocalHost, m_upgradeServer.localPort());
    }
    void init()
    {
        QVERIFY(roundOver());
        QVERIFY(restoreLink(fixture));
    }
    void cleanupTestCase() { fixture.stop(); }

    // A round hears only discovery answers, from anyone; outside one all else,
    // from the connected controller's address only: while no controller is
    // connected, nobody can set the state shown to the operator.
    void udpFilters()
    {
        QUdpSocket own, stranger;
        QVERIFY(own.bind(QHostAddress::LocalHost, 0));
        QVERIFY(stranger.bind(QHostAddress("127.0.0.2"), 0));
        NotifyLog changes("system.state.change", "operate");
        NotifyLog answers("system.controller.detect", "alias");
        const int refused = rc()->refusedUdpCount();
        post(stranger, "state.change", "stranger");
        QVERIFY(sendFrom(own, "state.change", "own"));
        QVERIFY(sendFrom(own, "controller.detect", "outside the round"));
        rc()->startDetecting();
        QVERIFY(sendFrom(stranger, "controller.detect", "stranger"));
        QVERIFY(sendFrom(own, "state.change", "during the round"));
        QVERIFY(roundOver());
        post(stranger, "state.change", "stranger after the round");
        QVERIFY(sendFrom(own, "state.change", "own again"));
        QVERIFY(fixture.disconnectLink());
        QVERIFY(sendFrom(stranger, "state.change", "unlinked"));
        QVERIFY(sendFrom(own, "state.change", "own unlinked"));
        QCOMPARE(changes.values, (QStringList{"own", "own again"}));
        // Both strangers, the change during the round and both unlinked ones.
        QCOMPARE(rc()->refusedUdpCount() - refused, 5);
        QVERIFY(answers.values.contains("stranger"));
        QVERIFY(!answers.values.contains("outside the round"));
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
        QSignalSpy found(rc(), &ControllerManager::upgradeServerDetected);
        QSignalSpy got(velk::net(QStringLiteral("upgrade_udp"))->handle(),
                       &velk::NetworkHandle::jsonObtained);
        rc()->startDetecting();
        if (afterRound) {
            QVERIFY(roundOver());
        }
        m_upgradeServer.writeDatagram(compact(answer), QHostAddress::LocalHost,
                                      velk::net("upgrade_udp")->socket()->localPort());
        QVERIFY(handled(got, answer));
        QCOMPARE(found.count(), detected ? 1 : 0);
    }
};

QTEST_MAIN(tst_ControllerManagerDiscovery)
#include "tst_controllermanager_discovery.moc"
