#include <velk/networkhandle.h>
#include <velk/networkmanager.h>
#include <velk/networkobject.h>
#include <velk/velk.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>
#include <QtTest>

using velk::net;
using velk::NetworkChannel;
using velk::NetworkObject;

namespace {
const QHostAddress kLoopback(QHostAddress::LocalHost);
const NetworkChannel kUdp(kLoopback, kLoopback, 0, 9);
} // namespace

class TestNetworkManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        for (const QString& name : net().names()) {
            QVERIFY(net().cancel(name));
        }
    }

    void registryAndTheInertObject()
    {
        QVERIFY(net().regist("rc_tcp", velk::TCP, NetworkChannel()));
        QVERIFY(net().regist("rc_udp", velk::UDP, kUdp) && net("rc_udp")->isBound());
        QVERIFY(!net().regist("rc_udp", velk::TCP, NetworkChannel()));
        QVERIFY(!net().regist(QString(), velk::TCP, NetworkChannel()));
        QCOMPARE(net().names(), QStringList({"rc_tcp", "rc_udp"}));
        // Unknown names give the inert object: callers use it unchecked, nothing may break.
        NetworkObject* inert = net("nobody");
        QCOMPARE(inert, NetworkObject::invalid());
        QVERIFY(!inert->isValid() && !inert->handle() && !inert->socket() && !inert->isBound());
        QVERIFY(!net().cancel("nobody"));
        QVERIFY(!inert->tryConnectToHost(kLoopback, 5000));
        QVERIFY(!inert->tryDisconnectFromHost());
        QVERIFY(!inert->writeJsonPackage(QJsonObject{{"a", 1}}, true));
        inert->setPeerAddress(kLoopback);
        inert->setKeyOrder({"id"});
        QVERIFY(inert->peerAddress().isNull() && inert->keyOrder().isEmpty());
    }

    void cancelClosesAndDeletes()
    {
        QTcpServer server;
        QVERIFY(server.listen(kLoopback, 0));
        QVERIFY(net().regist("link", velk::TCP, NetworkChannel()));
        NetworkObject* link = net("link");
        QSignalSpy disconnected(link->socket(), &QAbstractSocket::disconnected);
        QVERIFY(link->tryConnectToHost(kLoopback, server.serverPort()));
        QVERIFY(server.waitForNewConnection(5000));
        QTcpSocket* peer = server.nextPendingConnection();
        QTRY_COMPARE_WITH_TIMEOUT(link->socket()->state(), QAbstractSocket::ConnectedState, 5000);
        QVERIFY(link->writeJsonPackage(QJsonObject{{"last", true}}, true));

        QPointer<NetworkObject> alive(link);
        QVERIFY(net().cancel("link"));
        // Gone from the registry at once, deleted soon after, the name free again.
        QCOMPARE(net("link"), NetworkObject::invalid());
        QTRY_VERIFY_WITH_TIMEOUT(alive.isNull(), 5000);
        QVERIFY(net().regist("link", velk::TCP, NetworkChannel()));
        // The peer gets what was written last, then the close; the owner hears nothing more.
        QByteArray received;
        QTRY_VERIFY_WITH_TIMEOUT(
            (received += peer->readAll(), peer->state() == QAbstractSocket::UnconnectedState),
            5000);
        QCOMPARE(received, QByteArray("{\"last\":true}\n"));
        QCOMPARE(disconnected.count(), 0);
    }

    void cancelFromAReceiver()
    {
        QVERIFY(net().regist("self", velk::UDP, kUdp));
        QPointer<NetworkObject> self = net("self");
        int calls = 0;
        connect(self->handle(), &velk::NetworkHandle::jsonObtained, this, [&] {
            ++calls;
            QVERIFY(net().cancel("self"));
        });
        QUdpSocket raw;
        raw.writeDatagram("{\"a\":1}\n{\"a\":2}\n", kLoopback, self->socket()->localPort());
        QTRY_VERIFY_WITH_TIMEOUT(self.isNull(), 5000);
        QCOMPARE(calls, 1);
    }
};

QTEST_GUILESS_MAIN(TestNetworkManager)
#include "tst_networkmanager.moc"
