#include <velk/networkhandle.h>
#include <velk/networkobject.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <map>

using velk::NetworkChannel;
using velk::NetworkHandle;
using velk::NetworkObject;

namespace {

const QHostAddress kLoopback(QHostAddress::LocalHost);
// What a receiver spends on each packet in the flood test.
constexpr int kWorkNs = 50000;

// Connects `channel` to `server`, listening on loopback; returns the server side.
QTcpSocket* connectPair(NetworkObject& channel, QTcpServer& server)
{
    QSignalSpy connected(channel.socket(), &QAbstractSocket::connected);
    const bool ok = server.listen(kLoopback, 0) &&
                    channel.tryConnectToHost(kLoopback, server.serverPort()) &&
                    connected.wait(5000) &&
                    (server.hasPendingConnections() || server.waitForNewConnection(5000));
    return ok ? server.nextPendingConnection() : nullptr;
}

// Packets numbered by "seq"; the letters of `pattern`, repeated, give each
// packet's key ("s": none, a state change that must never be dropped).
QByteArray flood(const QString& pattern, int count)
{
    const QString padding(80, QLatin1Char('x'));
    QByteArray bytes;
    for (int seq = 0; seq < count; ++seq) {
        const QChar kind = pattern.at(seq % pattern.size());
        QJsonObject packet{{"seq", seq}, {"pad", padding}};
        if (kind != QLatin1Char('s')) {
            packet.insert("key", QString(kind));
        }
        bytes += QJsonDocument(packet).toJson(QJsonDocument::Compact) + '\n';
    }
    return bytes;
}

// Hands everything to the kernel before the receiver runs, so that the
// receiver finds more waiting than one read takes: it is behind.
void writeAhead(QTcpSocket* peer, const QByteArray& bytes)
{
    peer->write(bytes);
    for (int i = 0; i < 40 && peer->bytesToWrite() > 0; ++i) {
        peer->waitForBytesWritten(50);
    }
}

QString keyOf(const QJsonObject& json)
{
    return json.value("key").toString();
}

} // namespace

class TestNetworkHandle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void coalescing_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<bool>("keyed");
        QTest::addRow("poses only") << "p" << true;
        QTest::addRow("state changes among poses") << "ppppppppps" << true;
        QTest::addRow("two streams") << "pqpqs" << true;
        QTest::addRow("no key, nothing dropped") << "ppps" << false;
    }

    void coalescing()
    {
        QFETCH(QString, pattern);
        QFETCH(bool, keyed);
        const int count = 6000;
        NetworkObject channel("tcp", velk::TCP, NetworkChannel());
        if (keyed) {
            channel.handle()->setCoalesceKey(keyOf);
        }
        QTcpServer server;
        QTcpSocket* peer = connectPair(channel, server);
        QVERIFY(peer);
        QVector<int> delivered;
        std::map<QString, int> lastOfKey;
        QVector<int> unkeyed;
        connect(channel.handle(), &NetworkHandle::jsonObtained, this, [&](const QJsonObject& json) {
            const int seq = json.value("seq").toInt();
            delivered << seq;
            if (keyOf(json).isEmpty()) {
                unkeyed << seq;
            } else {
                lastOfKey[keyOf(json)] = seq;
            }
        });
        QSignalSpy reports(channel.handle(), &NetworkHandle::packagesCoalesced);

        writeAhead(peer, flood(pattern, count));
        QTRY_VERIFY_WITH_TIMEOUT(!delivered.isEmpty() && delivered.last() == count - 1, 20000);
        QTest::qWait(50);

        QVERIFY(std::is_sorted(delivered.begin(), delivered.end()));
        QVERIFY(std::adjacent_find(delivered.begin(), delivered.end()) == delivered.end());
        QVector<int> sentUnkeyed;
        std::map<QString, int> sentLast;
        int sentKeyed = 0;
        for (int seq = 0; seq < count; ++seq) {
            const QChar kind = pattern.at(seq % pattern.size());
            if (kind == QLatin1Char('s')) {
                sentUnkeyed << seq;
            } else {
                sentLast[QString(kind)] = seq;
                ++sentKeyed;
            }
        }
        QCOMPARE(unkeyed, sentUnkeyed);
        QVERIFY(lastOfKey == sentLast);
        const int keyedDelivered = delivered.size() - unkeyed.size();
        if (!keyed) {
            QCOMPARE(delivered.size(), count);
            QCOMPARE(reports.count(), 0);
            return;
        }
        QVERIFY(keyedDelivered < sentKeyed);
        // One report at once, the rest wait for the minute to pass.
        QCOMPARE(reports.count(), 1);
        const qint64 reported = reports.at(0).at(0).toLongLong();
        QVERIFY(reported > 0 && reported <= sentKeyed - keyedDelivered);
    }

    void nestedLoopKeepsOrder()
    {
        const int count = 3000;
        NetworkObject channel("tcp", velk::TCP, NetworkChannel());
        QTcpServer server;
        QTcpSocket* peer = connectPair(channel, server);
        QVERIFY(peer);
        QVector<int> delivered;
        int depth = 0;
        int deepest = 0;
        connect(channel.handle(), &NetworkHandle::jsonObtained, this, [&](const QJsonObject& json) {
            delivered << json.value("seq").toInt();
            if (delivered.last() % 500 == 7) {
                // A receiver that waits in a nested loop, as a synchronous request does.
                ++depth;
                deepest = qMax(deepest, depth);
                QEventLoop loop;
                QTimer::singleShot(20, &loop, &QEventLoop::quit);
                loop.exec();
                --depth;
            }
        });
        writeAhead(peer, flood("s", count));
        QTRY_COMPARE_WITH_TIMEOUT(delivered.size(), count, 20000);
        QTest::qWait(50);
        QCOMPARE(delivered.size(), count);
        QVERIFY(std::is_sorted(delivered.begin(), delivered.end()));
        QCOMPARE(delivered.last(), count - 1);
        QVERIFY(deepest >= 1);
    }

    void timersRunDuringAFlood()
    {
        const int count = 5000;
        NetworkObject channel("tcp", velk::TCP, NetworkChannel());
        QTcpServer server;
        QTcpSocket* peer = connectPair(channel, server);
        QVERIFY(peer);
        int delivered = 0;
        int deliveredWhenTimerRan = -1;
        connect(channel.handle(), &NetworkHandle::jsonObtained, this, [&](const QJsonObject&) {
            if (delivered++ == 0) {
                QTimer::singleShot(0, this, [&] { deliveredWhenTimerRan = delivered; });
            }
            // Work of a receiver: the flood takes far longer than one slice.
            QElapsedTimer busy;
            busy.start();
            while (busy.nsecsElapsed() < kWorkNs) {
            }
        });
        writeAhead(peer, flood("s", count));
        QTRY_COMPARE_WITH_TIMEOUT(delivered, count, 30000);
        // A slice ends after at most SliceMs of such work; the first read
        // alone held several times that many packets.
        const int perSlice = NetworkHandle::SliceMs * 1000000 / kWorkNs + 1;
        QVERIFY(deliveredWhenTimerRan > 0);
        QVERIFY2(deliveredWhenTimerRan <= 2 * perSlice,
                 qPrintable(QString::number(deliveredWhenTimerRan)));
    }
};

QTEST_MAIN(TestNetworkHandle)
#include "tst_networkhandle.moc"
