#include <velk/networkhandle.h>
#include <velk/networkobject.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>
#include <QtTest>

#include <memory>

using velk::NetworkChannel;
using velk::NetworkHandle;
using velk::NetworkObject;

namespace {

const QHostAddress kLoopback(QHostAddress::LocalHost);

QJsonObject obj(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

// A UDP channel on loopback with an ephemeral local port.
std::unique_ptr<NetworkObject> udpChannel(const QHostAddress& remote = kLoopback, int port = 9)
{
    return std::make_unique<NetworkObject>("udp", velk::UDP,
                                           NetworkChannel(kLoopback, remote, 0, port));
}

quint16 portOf(const NetworkObject& channel)
{
    return channel.socket()->localPort();
}

// Connects `channel` to `server`, listening on loopback; returns the server side.
QTcpSocket* connectPair(NetworkObject& channel, QTcpServer& server)
{
    QSignalSpy connected(channel.socket(), &QAbstractSocket::connected);
    const bool ok = (server.isListening() || server.listen(kLoopback, 0)) &&
                    channel.tryConnectToHost(kLoopback, server.serverPort()) &&
                    connected.wait(5000) &&
                    (server.hasPendingConnections() || server.waitForNewConnection(5000));
    return ok ? server.nextPendingConnection() : nullptr;
}

} // namespace

class TestNetworkObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1"); }

    void tcpPeerDisconnectsMidPacket()
    {
        NetworkObject channel("tcp", velk::TCP, NetworkChannel());
        QTcpServer server;
        QTcpSocket* peer = connectPair(channel, server);
        QVERIFY(peer);
        QSignalSpy obtained(channel.handle(), &NetworkHandle::jsonObtained);
        QSignalSpy packageErrors(channel.handle(), &NetworkHandle::packageError);
        QSignalSpy disconnected(channel.socket(), &QAbstractSocket::disconnected);
        peer->write("{\"a\":1}\n{\"cut\":\"of");
        peer->disconnectFromHost();
        QVERIFY(disconnected.wait(5000));
        QCOMPARE(obtained.count(), 1);
        QCOMPARE(packageErrors.count(), 1);

        // The next connection starts clean: nothing of the cut package survives.
        QTcpSocket* second = connectPair(channel, server);
        QVERIFY(second);
        second->write("\"}\n{\"c\":3}\n");
        QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
        QCOMPARE(obtained.at(1).at(0).toJsonObject(), obj(R"({"c":3})"));
    }

    void connectRefusedAndWriteWhenDisconnected()
    {
        auto probe = std::make_unique<QTcpServer>();
        QVERIFY(probe->listen(kLoopback, 0));
        const quint16 freePort = probe->serverPort();
        probe.reset();
        NetworkObject channel("tcp", velk::TCP, NetworkChannel());
        QVERIFY(!channel.writeJsonPackage(obj(R"({"a":1})"), true));
        QSignalSpy socketErrors(channel.handle(), &NetworkHandle::socketError);
        QVERIFY(channel.tryConnectToHost(kLoopback, freePort));
        QTRY_COMPARE_WITH_TIMEOUT(socketErrors.count(), 1, 5000);
        QVERIFY(!socketErrors.at(0).at(0).toString().isEmpty());
        QCOMPARE(channel.socket()->state(), QAbstractSocket::UnconnectedState);
        QVERIFY(!channel.writeJsonPackage(obj(R"({"a":1})"), true));
    }

    void udpPeerAddress()
    {
        // As destination: the remote address is not used once a peer is stored.
        auto receiver = udpChannel();
        auto sender = udpChannel(QHostAddress("127.0.0.2"), portOf(*receiver));
        sender->setPeerAddress(kLoopback);
        QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
        QVERIFY(sender->writeJsonPackage(obj(R"({"from":"peer"})"), true));
        QVERIFY(obtained.wait(5000));

        // As filter: another host's datagrams are dropped...
        QSignalSpy arrived(receiver->socket(), &QIODevice::readyRead);
        QUdpSocket raw;
        receiver->setPeerAddress(QHostAddress("127.0.0.2"));
        raw.writeDatagram("{\"from\":\"stranger\"}\n", kLoopback, portOf(*receiver));
        QVERIFY(arrived.wait(5000));
        QCOMPARE(obtained.count(), 1);
        // ...while without a peer anyone is heard.
        receiver->setPeerAddress(QHostAddress());
        raw.writeDatagram("{\"from\":\"anyone\"}\n", kLoopback, portOf(*receiver));
        QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
    }

    void udpBroadcastIsRedirected()
    {
        auto receiver = udpChannel();
        QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
        // Bound to any address, as a channel without a configured local address is.
        NetworkObject sender("any", velk::UDP,
                             NetworkChannel(QHostAddress(), QHostAddress(QHostAddress::Broadcast),
                                            0, portOf(*receiver)));
        QVERIFY(sender.writeJsonPackage(obj(R"({"n":1})"), true));
        QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 1, 5000);
    }

    void receiverDeletesTheChannel()
    {
        QPointer<NetworkObject> channel = udpChannel().release();
        int calls = 0;
        connect(channel->handle(), &NetworkHandle::jsonObtained, this, [&] {
            ++calls;
            delete channel;
        });
        // Three packages at once: the handle must stop after the first.
        QUdpSocket().writeDatagram("{\"a\":1}\n{\"a\":2}\n{\"a\":3}\n", kLoopback,
                                   portOf(*channel));
        QTRY_VERIFY_WITH_TIMEOUT(channel.isNull(), 5000);
        QCOMPARE(calls, 1);
    }

    void udpChannelsShareAPort()
    {
        auto first = udpChannel();
        NetworkObject second("second", velk::UDP,
                             NetworkChannel(kLoopback, kLoopback, portOf(*first), 9));
        QVERIFY(second.isBound());
        QCOMPARE(portOf(second), portOf(*first));
        QSignalSpy firstObtained(first->handle(), &NetworkHandle::jsonObtained);
        QSignalSpy secondObtained(second.handle(), &NetworkHandle::jsonObtained);
        QUdpSocket().writeDatagram("{\"a\":1}\n", kLoopback, portOf(second));
        QTRY_COMPARE_WITH_TIMEOUT(firstObtained.count() + secondObtained.count(), 1, 5000);
    }

    void orderedJson_data()
    {
        QTest::addColumn<QJsonObject>("json");
        QTest::addColumn<QByteArray>("expected");
        // clang-format off
        QTest::newRow("protocol order") << QJsonObject{{"data", QJsonObject{{"b", 1}, {"a", true}}}, {"module", "m"}, {"id", "1"}, {"command", "c"}}
            << QByteArray(R"({"id":"1","module":"m","command":"c","data":{"a":true,"b":1}})");
        QTest::newRow("missing keys skipped, rest sorted") << QJsonObject{{"z", 1}, {"id", "x"}, {"a", QJsonValue()}}
            << QByteArray(R"({"id":"x","a":null,"z":1})");
        QTest::newRow("scalars and escapes") << QJsonObject{{"id", "q\"\n\u673a"}, {"data", QJsonArray{1.5, "a"}}}
            << QByteArray("{\"id\":\"q\\\"\\n\xe6\x9c\xba\",\"data\":[1.5,\"a\"]}");
        // clang-format on
    }

    void orderedJson()
    {
        QFETCH(QJsonObject, json);
        QFETCH(QByteArray, expected);
        const QByteArray text =
            NetworkObject::orderedJson(json, {"id", "module", "command", "data"});
        QCOMPARE(text, expected);
        QCOMPARE(QJsonDocument::fromJson(text).object(), json);
    }
};

QTEST_GUILESS_MAIN(TestNetworkObject)
#include "tst_networkobject.moc"
