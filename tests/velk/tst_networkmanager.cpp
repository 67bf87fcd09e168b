#include <velk/networkhandle.h>
#include <velk/networkmanager.h>
#include <velk/networkobject.h>
#include <velk/velk.h>

#include <QJsonDocument>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>
#include <QtTest>

using velk::net;
using velk::NetworkChannel;
using velk::NetworkHandle;
using velk::NetworkObject;

namespace {

const QHostAddress kLoopback(QHostAddress::LocalHost);

NetworkChannel loopbackUdp(int remotePort = 9)
{
    return NetworkChannel(kLoopback, kLoopback, 0, remotePort);
}

} // namespace

class TestNetworkManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void registry();
    void registRefuses_data();
    void registRefuses();
    void unknownNamesGiveTheInertObject();
    void bindFailureStaysRegistered();
    void cancelClosesAndDeletes();
    void cancelFromAReceiver();
};

void TestNetworkManager::initTestCase()
{
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
}

void TestNetworkManager::cleanup()
{
    for (const QString& name : net().names()) {
        QVERIFY(net().cancel(name));
    }
    QVERIFY(net().names().isEmpty());
}

void TestNetworkManager::registry()
{
    QCOMPARE(&net(), &velk::NetworkManager::instance());
    QVERIFY(net().regist(QStringLiteral("rc_tcp"), velk::TCP, NetworkChannel()));
    QVERIFY(net().regist(QStringLiteral("rc_udp"), velk::UDP, loopbackUdp()));
    QVERIFY(net().has(QStringLiteral("rc_tcp")));
    QCOMPARE(net().names(), QStringList({QStringLiteral("rc_tcp"), QStringLiteral("rc_udp")}));

    NetworkObject* tcp = net(QStringLiteral("rc_tcp"));
    QCOMPARE(net().channel(QStringLiteral("rc_tcp")), tcp);
    QVERIFY(tcp->isValid());
    QCOMPARE(tcp->name(), QStringLiteral("rc_tcp"));
    QCOMPARE(tcp->type(), velk::TCP);
    QVERIFY(tcp->handle());
    QCOMPARE(tcp->socket(), tcp->handle()->socket());
    QVERIFY(qobject_cast<QTcpSocket*>(tcp->socket()));

    NetworkObject* udp = net(QStringLiteral("rc_udp"));
    QCOMPARE(udp->type(), velk::UDP);
    QVERIFY(qobject_cast<QUdpSocket*>(udp->socket()));
    QVERIFY(udp->isBound());
    QCOMPARE(udp->channel().localAddress, kLoopback);
}

void TestNetworkManager::registRefuses_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty name") << QString();
    QTest::newRow("taken name") << QStringLiteral("taken");
}

void TestNetworkManager::registRefuses()
{
    QFETCH(QString, name);
    QVERIFY(net().regist(QStringLiteral("taken"), velk::UDP, loopbackUdp()));
    NetworkObject* before = net(QStringLiteral("taken"));
    QVERIFY(!net().regist(name, velk::TCP, NetworkChannel()));
    QCOMPARE(net().names(), QStringList(QStringLiteral("taken")));
    QCOMPARE(net(QStringLiteral("taken")), before);
}

void TestNetworkManager::unknownNamesGiveTheInertObject()
{
    NetworkObject* unknown = net(QStringLiteral("nobody"));
    QCOMPARE(unknown, NetworkObject::invalid());
    QVERIFY(!unknown->isValid());
    QVERIFY(!net().has(QStringLiteral("nobody")));
    QVERIFY(!net().cancel(QStringLiteral("nobody")));
    // Callers write without checking; nothing may break.
    QVERIFY(!unknown->writeJsonPackage(QJsonObject{{QStringLiteral("a"), 1}}, true));
}

void TestNetworkManager::bindFailureStaysRegistered()
{
    QVERIFY(
        net().regist(QStringLiteral("foreign"), velk::UDP,
                     NetworkChannel(QHostAddress(QStringLiteral("192.0.2.1")), kLoopback, 0, 9)));
    QVERIFY(net().has(QStringLiteral("foreign")));
    QVERIFY(net(QStringLiteral("foreign"))->isValid());
    QVERIFY(!net(QStringLiteral("foreign"))->isBound());
}

void TestNetworkManager::cancelClosesAndDeletes()
{
    QTcpServer server;
    QVERIFY(server.listen(kLoopback, 0));
    QVERIFY(net().regist(QStringLiteral("link"), velk::TCP, NetworkChannel()));
    NetworkObject* link = net(QStringLiteral("link"));
    QSignalSpy connected(link->socket(), &QAbstractSocket::connected);
    QSignalSpy disconnected(link->socket(), &QAbstractSocket::disconnected);
    QVERIFY(link->tryConnectToHost(kLoopback, server.serverPort()));
    QVERIFY(connected.wait(5000));
    QTRY_VERIFY_WITH_TIMEOUT(server.hasPendingConnections(), 5000);
    QTcpSocket* peer = server.nextPendingConnection();
    QVERIFY(link->writeJsonPackage(QJsonObject{{QStringLiteral("last"), true}}, true));

    QPointer<NetworkObject> alive(link);
    QVERIFY(net().cancel(QStringLiteral("link")));
    // Gone from the registry at once, deleted soon after.
    QVERIFY(!net().has(QStringLiteral("link")));
    QCOMPARE(net(QStringLiteral("link")), NetworkObject::invalid());
    QVERIFY(!net().cancel(QStringLiteral("link")));
    QTRY_VERIFY_WITH_TIMEOUT(alive.isNull(), 5000);

    // The peer gets what was written last, then sees the link close; the
    // owner who cancelled hears nothing more.
    QByteArray received;
    QTRY_VERIFY_WITH_TIMEOUT(
        (received += peer->readAll(), peer->state() == QAbstractSocket::UnconnectedState), 5000);
    QCOMPARE(received, QByteArray("{\"last\":true}\n"));
    QCOMPARE(disconnected.count(), 0);

    // The name is free again.
    QVERIFY(net().regist(QStringLiteral("link"), velk::TCP, NetworkChannel()));
}

void TestNetworkManager::cancelFromAReceiver()
{
    QVERIFY(net().regist(QStringLiteral("self"), velk::UDP, loopbackUdp()));
    NetworkObject* self = net(QStringLiteral("self"));
    QPointer<NetworkObject> alive(self);
    int calls = 0;
    connect(self->handle(), &NetworkHandle::jsonObtained, this, [&] {
        ++calls;
        QVERIFY(net().cancel(QStringLiteral("self")));
    });
    QUdpSocket raw;
    raw.writeDatagram("{\"a\":1}\n{\"a\":2}\n", kLoopback, quint16(self->socket()->localPort()));
    QTRY_VERIFY_WITH_TIMEOUT(alive.isNull(), 5000);
    QCOMPARE(calls, 1);
}

QTEST_GUILESS_MAIN(TestNetworkManager)
#include "tst_networkmanager.moc"
