#include <velk/jsonstreamreader.h>
#include <velk/networkhandle.h>
#include <velk/networkobject.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkDatagram>
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

std::unique_ptr<NetworkObject> tcpChannel()
{
    return std::make_unique<NetworkObject>(QStringLiteral("tcp"), velk::TCP, NetworkChannel());
}

// A UDP channel on loopback with an ephemeral local port.
std::unique_ptr<NetworkObject> udpChannel(const QHostAddress& remote = kLoopback,
                                          int remotePort = 9)
{
    return std::make_unique<NetworkObject>(QStringLiteral("udp"), velk::UDP,
                                           NetworkChannel(kLoopback, remote, 0, remotePort));
}

int portOf(const NetworkObject& channel)
{
    return channel.socket()->localPort();
}

} // namespace

class TestNetworkObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void tcpRoundTrip();
    void tcpPeerDisconnectsMidPacket();
    void tcpOversizePackageIsASocketError();
    void tcpReceiverDeletesTheChannel();
    void connectRefused();
    void connectRejectsBadArguments_data();
    void connectRejectsBadArguments();
    void writeWhenDisconnected();
    void disconnectFlushesPendingWrites();
    void disconnectWhileConnectingAborts();

    void udpSendAndReceive();
    void udpDatagramFraming();
    void udpPeerNarrowsTheDestination();
    void udpPeerFiltersSenders();
    void udpBroadcastIsRedirected();
    void udpChannelsShareAPort();
    void udpBindFailureLeavesTheChannelUnbound();

    void invalidObjectIsInert();

    void orderedJson_data();
    void orderedJson();
    void keyOrderReachesTheWire();

private:
    // Connects `channel` to a fresh listening server; returns the server side.
    QTcpSocket* connectPair(NetworkObject& channel, QTcpServer& server);
};

void TestNetworkObject::initTestCase()
{
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
}

QTcpSocket* TestNetworkObject::connectPair(NetworkObject& channel, QTcpServer& server)
{
    if (!server.isListening() && !server.listen(kLoopback, 0)) {
        return nullptr;
    }
    QSignalSpy connected(channel.socket(), &QAbstractSocket::connected);
    if (!channel.tryConnectToHost(kLoopback, server.serverPort())) {
        return nullptr;
    }
    if (!connected.wait(5000) ||
        (!server.hasPendingConnections() && !server.waitForNewConnection(5000))) {
        return nullptr;
    }
    return server.nextPendingConnection();
}

void TestNetworkObject::tcpRoundTrip()
{
    auto channel = tcpChannel();
    QTcpServer server;
    QTcpSocket* peer = connectPair(*channel, server);
    QVERIFY(peer);
    QCOMPARE(channel->channel().remotePort, int(server.serverPort()));

    QVERIFY(channel->writeJsonPackage(obj(R"({"id":"1","module":"system"})"), true));
    QVERIFY(channel->writeJsonPackage(obj(R"({"bare":1})"), false));
    const QByteArray expected = "{\"id\":\"1\",\"module\":\"system\"}\n{\"bare\":1}";
    QByteArray received;
    QTRY_VERIFY_WITH_TIMEOUT((received += peer->readAll()).size() >= expected.size(), 5000);
    QCOMPARE(received, expected);

    QSignalSpy obtained(channel->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy packageErrors(channel->handle(), &NetworkHandle::packageError);
    peer->write("{\"a\":1}\n{\"b\":");
    peer->flush();
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 1, 5000);
    peer->write(u8"\"中文\"}\r\n");
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
    QCOMPARE(obtained.at(0).at(0).toJsonObject(), obj(R"({"a":1})"));
    QCOMPARE(obtained.at(1).at(0).toJsonObject(),
             QJsonObject({{QStringLiteral("b"), QString::fromUtf8(u8"中文")}}));
    QCOMPARE(packageErrors.count(), 0);
}

void TestNetworkObject::tcpPeerDisconnectsMidPacket()
{
    auto channel = tcpChannel();
    QTcpServer server;
    QTcpSocket* peer = connectPair(*channel, server);
    QVERIFY(peer);

    QSignalSpy obtained(channel->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy packageErrors(channel->handle(), &NetworkHandle::packageError);
    QSignalSpy disconnected(channel->socket(), &QAbstractSocket::disconnected);
    peer->write("{\"a\":1}\n{\"cut\":\"of");
    peer->disconnectFromHost();
    QVERIFY(disconnected.wait(5000));
    QCOMPARE(obtained.count(), 1);
    QCOMPARE(packageErrors.count(), 1);

    // The next connection starts clean: nothing of the cut package survives.
    QTcpSocket* second = connectPair(*channel, server);
    QVERIFY(second);
    second->write("\"}\n{\"c\":3}\n");
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
    QCOMPARE(obtained.at(1).at(0).toJsonObject(), obj(R"({"c":3})"));
}

void TestNetworkObject::tcpOversizePackageIsASocketError()
{
    auto channel = tcpChannel();
    QTcpServer server;
    QTcpSocket* peer = connectPair(*channel, server);
    QVERIFY(peer);

    QSignalSpy obtained(channel->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy socketErrors(channel->handle(), &NetworkHandle::socketError);
    const int size = velk::JsonStreamReader::DefaultMaxPackageSize + 1024;
    peer->write("{\"big\":\"" + QByteArray(size, 'x') + "\"}\n{\"ok\":1}\n");
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 1, 30000);
    QCOMPARE(obtained.at(0).at(0).toJsonObject(), obj(R"({"ok":1})"));
    QCOMPARE(socketErrors.count(), 1);
}

void TestNetworkObject::tcpReceiverDeletesTheChannel()
{
    auto owned = tcpChannel();
    QTcpServer server;
    QTcpSocket* peer = connectPair(*owned, server);
    QVERIFY(peer);

    NetworkObject* channel = owned.release();
    QPointer<NetworkObject> alive(channel);
    int calls = 0;
    connect(channel->handle(), &NetworkHandle::jsonObtained, this, [&] {
        ++calls;
        delete channel;
    });
    // Three packages in one read: the handle must stop after the first.
    peer->write("{\"a\":1}\n{\"a\":2}\n{\"a\":3}\n");
    QTRY_VERIFY_WITH_TIMEOUT(alive.isNull(), 5000);
    QCOMPARE(calls, 1);
}

void TestNetworkObject::connectRefused()
{
    quint16 freePort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(kLoopback, 0));
        freePort = probe.serverPort();
    }
    auto channel = tcpChannel();
    QSignalSpy socketErrors(channel->handle(), &NetworkHandle::socketError);
    QVERIFY(channel->tryConnectToHost(kLoopback, freePort));
    QTRY_COMPARE_WITH_TIMEOUT(socketErrors.count(), 1, 5000);
    QVERIFY(!socketErrors.at(0).at(0).toString().isEmpty());
    QCOMPARE(channel->socket()->state(), QAbstractSocket::UnconnectedState);
}

void TestNetworkObject::connectRejectsBadArguments_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("type");

    for (const int type : {int(velk::TCP), int(velk::UDP)}) {
        const QByteArray t = type == velk::TCP ? "TCP " : "UDP ";
        QTest::newRow(t + "null address") << QString() << 5000 << type;
        QTest::newRow(t + "port 0") << QStringLiteral("127.0.0.1") << 0 << type;
        QTest::newRow(t + "negative port") << QStringLiteral("127.0.0.1") << -1 << type;
        QTest::newRow(t + "port too large") << QStringLiteral("127.0.0.1") << 65536 << type;
    }
}

void TestNetworkObject::connectRejectsBadArguments()
{
    QFETCH(QString, address);
    QFETCH(int, port);
    QFETCH(int, type);

    NetworkObject channel(QStringLiteral("bad"), velk::NetworkType(type),
                          NetworkChannel(kLoopback, QHostAddress(), 0, 0));
    QSignalSpy socketErrors(channel.handle(), &NetworkHandle::socketError);
    QVERIFY(!channel.tryConnectToHost(QHostAddress(address), port));
    QCOMPARE(socketErrors.count(), 1);
    QCOMPARE(channel.socket()->state(),
             type == velk::TCP ? QAbstractSocket::UnconnectedState : QAbstractSocket::BoundState);
}

void TestNetworkObject::writeWhenDisconnected()
{
    auto channel = tcpChannel();
    QVERIFY(!channel->writeJsonPackage(obj(R"({"a":1})"), true));

    QTcpServer server;
    QVERIFY(connectPair(*channel, server));
    QVERIFY(channel->writeJsonPackage(obj(R"({"a":1})"), true));
    QVERIFY(channel->tryDisconnectFromHost());
    QTRY_COMPARE_WITH_TIMEOUT(channel->socket()->state(), QAbstractSocket::UnconnectedState, 5000);
    QVERIFY(!channel->writeJsonPackage(obj(R"({"a":1})"), true));
}

void TestNetworkObject::disconnectFlushesPendingWrites()
{
    auto channel = tcpChannel();
    QTcpServer server;
    QTcpSocket* peer = connectPair(*channel, server);
    QVERIFY(peer);

    const QJsonObject big{{QStringLiteral("data"), QString(200000, QLatin1Char('z'))}};
    QVERIFY(channel->writeJsonPackage(big, true));
    QVERIFY(channel->tryDisconnectFromHost());
    QByteArray received;
    QTRY_VERIFY_WITH_TIMEOUT((received += peer->readAll()).endsWith('\n'), 10000);
    QCOMPARE(QJsonDocument::fromJson(received).object(), big);
}

void TestNetworkObject::disconnectWhileConnectingAborts()
{
    QTcpServer server;
    QVERIFY(server.listen(kLoopback, 0));
    auto channel = tcpChannel();
    QSignalSpy connected(channel->socket(), &QAbstractSocket::connected);
    QVERIFY(channel->tryConnectToHost(kLoopback, server.serverPort()));
    if (channel->socket()->state() != QAbstractSocket::ConnectingState) {
        QSKIP("the connection completed at once");
    }
    QVERIFY(channel->tryDisconnectFromHost());
    QCOMPARE(channel->socket()->state(), QAbstractSocket::UnconnectedState);
    QVERIFY(!connected.wait(100));
}

void TestNetworkObject::udpSendAndReceive()
{
    auto receiver = udpChannel();
    QVERIFY(receiver->isBound());
    auto sender = udpChannel(kLoopback, portOf(*receiver));
    QVERIFY(sender->isBound());

    QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
    QVERIFY(sender->writeJsonPackage(obj(R"({"module":"system"})"), true));
    QVERIFY(sender->writeJsonPackage(obj(R"({"greet":"hello"})"), false));
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
    QCOMPARE(obtained.at(0).at(0).toJsonObject(), obj(R"({"module":"system"})"));
    QCOMPARE(obtained.at(1).at(0).toJsonObject(), obj(R"({"greet":"hello"})"));

    // tryConnectToHost only retargets a UDP channel.
    auto other = udpChannel();
    QSignalSpy otherObtained(other->handle(), &NetworkHandle::jsonObtained);
    QVERIFY(sender->tryConnectToHost(kLoopback, portOf(*other)));
    QVERIFY(sender->writeJsonPackage(obj(R"({"to":"other"})"), true));
    QTRY_COMPARE_WITH_TIMEOUT(otherObtained.count(), 1, 5000);
    QCOMPARE(obtained.count(), 2);
}

void TestNetworkObject::udpDatagramFraming()
{
    auto receiver = udpChannel();
    QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy packageErrors(receiver->handle(), &NetworkHandle::packageError);
    QUdpSocket raw;
    const quint16 port = quint16(portOf(*receiver));

    raw.writeDatagram("{\"a\":1}\n{\"a\":2}\n", kLoopback, port);
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
    // An unfinished package does not leak into the next datagram.
    raw.writeDatagram("{\"a\":", kLoopback, port);
    QTRY_COMPARE_WITH_TIMEOUT(packageErrors.count(), 1, 5000);
    raw.writeDatagram("3}", kLoopback, port);
    raw.writeDatagram("{\"a\":4}", kLoopback, port);
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 3, 5000);
    QCOMPARE(obtained.at(2).at(0).toJsonObject(), obj(R"({"a":4})"));
    QCOMPARE(packageErrors.count(), 2);
}

void TestNetworkObject::udpPeerNarrowsTheDestination()
{
    auto receiver = udpChannel();
    // The remote address is never used once a peer is stored.
    auto sender = udpChannel(QHostAddress(QStringLiteral("127.0.0.2")), portOf(*receiver));
    sender->setPeerAddress(kLoopback);
    QCOMPARE(sender->peerAddress(), kLoopback);

    QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
    QVERIFY(sender->writeJsonPackage(obj(R"({"a":1})"), true));
    QVERIFY(obtained.wait(5000));
    QCOMPARE(obtained.at(0).at(0).toJsonObject(), obj(R"({"a":1})"));
}

void TestNetworkObject::udpPeerFiltersSenders()
{
    auto receiver = udpChannel();
    QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy arrived(receiver->socket(), &QIODevice::readyRead);
    QUdpSocket raw;
    const quint16 port = quint16(portOf(*receiver));

    // Another host's datagrams are dropped...
    receiver->setPeerAddress(QHostAddress(QStringLiteral("127.0.0.2")));
    raw.writeDatagram("{\"from\":\"stranger\"}\n", kLoopback, port);
    QVERIFY(arrived.wait(5000));
    // The handle reads before the spy hears of it: the datagram is gone already.
    QVERIFY(!static_cast<QUdpSocket*>(receiver->socket())->hasPendingDatagrams());
    QCOMPARE(obtained.count(), 0);

    // ...the peer's are taken...
    receiver->setPeerAddress(kLoopback);
    raw.writeDatagram("{\"from\":\"peer\"}\n", kLoopback, port);
    QVERIFY(obtained.wait(5000));

    // ...and a broadcast or null peer accepts anyone.
    for (const QHostAddress& any : {QHostAddress(QHostAddress::Broadcast), QHostAddress()}) {
        receiver->setPeerAddress(any);
        const int before = obtained.count();
        raw.writeDatagram("{\"from\":\"anyone\"}\n", kLoopback, port);
        QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), before + 1, 5000);
    }
    for (const QList<QVariant>& args : qAsConst(obtained)) {
        QVERIFY(args.at(0).toJsonObject().value(QStringLiteral("from")).toString() !=
                QLatin1String("stranger"));
    }
}

void TestNetworkObject::udpBroadcastIsRedirected()
{
    QCOMPARE(qgetenv("ZARVO_BROADCAST_ADDRESS"), QByteArray("127.0.0.1"));
    auto receiver = udpChannel();
    // Bound to any address, as a channel without a configured local address is.
    NetworkObject sender(QStringLiteral("any"), velk::UDP,
                         NetworkChannel(QHostAddress(), QHostAddress(QHostAddress::Broadcast), 0,
                                        portOf(*receiver)));
    QVERIFY(sender.isBound());
    QSignalSpy obtained(receiver->handle(), &NetworkHandle::jsonObtained);

    QVERIFY(sender.writeJsonPackage(obj(R"({"n":1})"), true));
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 1, 5000);

    // A peer set to broadcast after a discovery round goes the same way.
    auto viaPeer = udpChannel(kLoopback, portOf(*receiver));
    viaPeer->setPeerAddress(QHostAddress(QHostAddress::Broadcast));
    QVERIFY(viaPeer->writeJsonPackage(obj(R"({"n":2})"), true));
    QTRY_COMPARE_WITH_TIMEOUT(obtained.count(), 2, 5000);
}

void TestNetworkObject::udpChannelsShareAPort()
{
    auto first = udpChannel();
    QVERIFY(first->isBound());
    const int port = portOf(*first);
    NetworkObject second(QStringLiteral("second"), velk::UDP,
                         NetworkChannel(kLoopback, kLoopback, port, 9));
    QVERIFY(second.isBound());
    QCOMPARE(portOf(second), port);

    QSignalSpy firstObtained(first->handle(), &NetworkHandle::jsonObtained);
    QSignalSpy secondObtained(second.handle(), &NetworkHandle::jsonObtained);
    QUdpSocket raw;
    raw.writeDatagram("{\"a\":1}\n", kLoopback, quint16(port));
    QTRY_COMPARE_WITH_TIMEOUT(firstObtained.count() + secondObtained.count(), 1, 5000);
}

void TestNetworkObject::udpBindFailureLeavesTheChannelUnbound()
{
    NetworkObject badPort(QStringLiteral("badport"), velk::UDP,
                          NetworkChannel(kLoopback, kLoopback, 70000, 9));
    QVERIFY(badPort.isValid());
    QVERIFY(!badPort.isBound());
}

void TestNetworkObject::invalidObjectIsInert()
{
    NetworkObject* inert = NetworkObject::invalid();
    QVERIFY(inert);
    QCOMPARE(NetworkObject::invalid(), inert);
    QVERIFY(!inert->isValid());
    QVERIFY(!inert->handle());
    QVERIFY(!inert->socket());
    QVERIFY(!inert->isBound());
    QVERIFY(!inert->tryConnectToHost(kLoopback, 5000));
    QVERIFY(!inert->tryDisconnectFromHost());
    QVERIFY(!inert->writeJsonPackage(obj(R"({"a":1})"), true));
    inert->setPeerAddress(kLoopback);
    QVERIFY(inert->peerAddress().isNull());
    inert->setRemoteAddress(kLoopback);
    QVERIFY(inert->remoteAddress().isNull());
}

void TestNetworkObject::orderedJson_data()
{
    QTest::addColumn<QJsonObject>("json");
    QTest::addColumn<QStringList>("order");
    QTest::addColumn<QByteArray>("expected");

    const QJsonObject packet{{"data", QJsonObject{{"b", 1}, {"a", true}}},
                             {"module", "system"},
                             {"id", "#0#system.controller.heart"},
                             {"command", "controller.heart"}};
    const QStringList protocol{"id", "module", "command", "data"};
    // clang-format off
    QTest::newRow("protocol order") << packet << protocol
        << QByteArray(R"({"id":"#0#system.controller.heart","module":"system","command":"controller.heart","data":{"a":true,"b":1}})");
    QTest::newRow("no order is Qt's") << packet << QStringList()
        << QJsonDocument(packet).toJson(QJsonDocument::Compact);
    QTest::newRow("missing keys skipped, rest sorted") << QJsonObject{{"z", 1}, {"id", "x"}, {"a", QJsonValue()}} << protocol
        << QByteArray(R"({"id":"x","a":null,"z":1})");
    QTest::newRow("scalars and escapes") << QJsonObject{{"id", "q\"\n\u673a"}, {"data", 1.5}} << protocol
        << QByteArray("{\"id\":\"q\\\"\\n\xe6\x9c\xba\",\"data\":1.5}");
    QTest::newRow("array data") << QJsonObject{{"data", QJsonArray{1, "a", false}}, {"id", "i"}} << protocol
        << QByteArray(R"({"id":"i","data":[1,"a",false]})");
    // clang-format on
}

void TestNetworkObject::orderedJson()
{
    QFETCH(QJsonObject, json);
    QFETCH(QStringList, order);
    QFETCH(QByteArray, expected);
    const QByteArray text = NetworkObject::orderedJson(json, order);
    QCOMPARE(text, expected);
    // Whatever the order, the text stays the same JSON.
    QCOMPARE(QJsonDocument::fromJson(text).object(), json);
}

void TestNetworkObject::keyOrderReachesTheWire()
{
    QTcpServer server;
    NetworkObject channel(QStringLiteral("ordered"), velk::TCP, velk::NetworkChannel());
    channel.setKeyOrder({"id", "module", "command", "data"});
    QCOMPARE(channel.keyOrder(), QStringList({"id", "module", "command", "data"}));
    QTcpSocket* peer = connectPair(channel, server);
    QVERIFY(peer);
    QVERIFY(channel.writeJsonPackage(QJsonObject{{"module", "m"}, {"id", "1"}}, true));
    QTRY_VERIFY(peer->canReadLine());
    QCOMPARE(peer->readLine(), QByteArray("{\"id\":\"1\",\"module\":\"m\"}\n"));
    NetworkObject::invalid()->setKeyOrder({"id"});
    QVERIFY(NetworkObject::invalid()->keyOrder().isEmpty());
}

QTEST_GUILESS_MAIN(TestNetworkObject)
#include "tst_networkobject.moc"
