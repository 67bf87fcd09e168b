// What a controller that lies, floods or forges can do through the link:
// swap the answers of synchronous requests, grow the tree without end, write
// lines of its own into the log or push the history out of it.

#include "linkprobes.h"

#include <velk/commandmanager.h>

#include <QJsonArray>
#include <QRegularExpression>
#include <QTimer>

using namespace linkprobes;

namespace {

QByteArray line(const QJsonObject& packet)
{
    return compact(packet);
}

QByteArray notification(const QString& command, const QJsonValue& data)
{
    return line({{"module", command.section('.', 0, 0)},
                 {"command", command.section('.', 1)},
                 {"data", data}});
}

QJsonValue nested(int depth)
{
    QJsonValue value = 1;
    for (int i = 1; i < depth; ++i) {
        value = QJsonObject{{"n", value}};
    }
    return value;
}

QJsonValue nestedArrays(int depth)
{
    QJsonValue value = 1;
    for (int i = 1; i < depth; ++i) {
        value = QJsonArray{value};
    }
    return value;
}

QJsonArray ones(int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i) {
        array.append(1);
    }
    return array;
}

QJsonObject keys(int count, const QString& prefix)
{
    QJsonObject object;
    for (int i = 0; i < count; ++i) {
        object.insert(prefix + QString::number(i), i);
    }
    return object;
}

// Whatever the peer wrote is through the link once this is answered.
bool synced()
{
    return rc()->execRequest("system", "state.get_operate", {}, false)->get().toBool();
}

QString exported(velk::ModuleObject* object)
{
    return QJsonDocument(object->exportToJson(false).toObject()).toJson(QJsonDocument::Compact);
}

} // namespace

class tst_ControllerManagerHostile : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RawPeer m_peer;

private Q_SLOTS:
    void initTestCase() { QVERIFY(startLinked(fixture) && relink(fixture, m_peer.port())); }
    void init()
    {
        m_peer.responder = nullptr;
        QVERIFY(rc()->isConnected());
    }
    void cleanupTestCase() { fixture.stop(); }

    void ownAnswer_data()
    {
        QTest::addColumn<bool>("nestedHeartbeat");
        // The answer to a request that timed out comes right after the next one's.
        QTest::newRow("late answer after the own one") << false;
        // The motor's answer arrives while the heartbeat waits inside its wait.
        QTest::newRow("heartbeat nested in the wait") << true;
    }

    void ownAnswer()
    {
        QFETCH(bool, nestedHeartbeat);
        QString motorId;
        QString heartbeat;
        const QByteArray motor = R"({"power":"off"})";
        m_peer.responder = [&](const QJsonObject& packet) -> QByteArray {
            const QString id = packet.value("id").toString();
            if (packet.value("command") == "state.get_motor") {
                motorId = id;
                if (nestedHeartbeat) {
                    QTimer::singleShot(0, [&] {
                        m_peer.send(line(
                            {{"id", motorId}, {"data", QJsonDocument::fromJson(motor).object()}}));
                        heartbeat =
                            exported(rc()->execRequest("system.controller.heart", nullptr, false));
                    });
                }
                return {};
            }
            // Own answer first, then the stale one in the same read.
            return line({{"id", id}, {"data", QJsonObject{{"operate", "auto"}}}}) +
                   line({{"id", motorId}, {"data", QJsonObject{{"power", "STALE"}}}});
        };
        QSignalSpy output(&velk::command(), &velk::CommandManager::output);
        if (nestedHeartbeat) {
            QVERIFY(velk::command().execute("rc.request system.state.get_motor -s"));
            QCOMPARE(heartbeat, QString(R"({"name":"Zarvo"})"));
            QCOMPARE(output.value(0).value(0).toString(), QString(motor));
        } else {
            QVERIFY(!rc()->execRequest("system", "state.get_motor", {}, true)->get().toBool());
            QVERIFY(velk::command().execute("rc.request system.state.get_operate -s"));
            QCOMPARE(output.value(0).value(0).toString(), QString(R"({"operate":"auto"})"));
        }
        QCOMPARE(output.size(), 1);
    }

    void bounds_data()
    {
        QTest::addColumn<QJsonValue>("data");
        QTest::addColumn<bool>("refused");
        QTest::newRow("60 levels") << nested(60) << false;
        QTest::newRow("100 levels") << nested(100) << true;
        QTest::newRow("5,000 keys") << QJsonValue(keys(5000, "a")) << false;
        QTest::newRow("20,000 keys") << QJsonValue(keys(20000, "b")) << true;
        QTest::newRow("array of 20,000") << QJsonValue(ones(20000)) << true;
        // Arrays are counted without walking their numbers: what they nest must still count.
        QTest::newRow("arrays 60 levels deep") << nestedArrays(60) << false;
        QTest::newRow("arrays 100 levels deep") << nestedArrays(100) << true;
        QTest::newRow("100 levels inside an array")
            << QJsonValue(QJsonArray{1, nested(100)}) << true;
        QTest::newRow("two nested arrays of 6,000")
            << QJsonValue(QJsonArray{ones(6000), ones(6000)}) << true;
    }

    // Refused whole, with one line, and the link answers on.
    void bounds()
    {
        QFETCH(QJsonValue, data);
        QFETCH(bool, refused);
        const QString name = "motion.move.monitor";
        velk::ModuleObject* notify = rc()->cmdMobj(name)->cmobj("notify")->cmobj("data");
        notify->clear(nullptr, true, false);
        LogTail log;
        m_peer.send(notification(name, data));
        QVERIFY(synced());
        QCOMPARE(log.count("Refused the data of " + name), refused ? 1 : 0);
        QCOMPARE(notify->cmobjCount(), refused ? 0 : data.toObject().size());
        QVERIFY(rc()->isConnected());
    }

    void logLines_data()
    {
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<QString>("shown");
        const QString big(2 * 1024 * 1024, 'x');
        QTest::newRow("2 MiB id") << line({{"id", big}})
                                  << "xxx ...(" + QString::number(big.size()) + " characters)]!";
        QTest::newRow("line break in an id") << line({{"id", "a\n[E|01/01 00:00:00.000] forged\r"}})
                                             << R"(a\n[E|01/01 00:00:00.000] forged\r)";
        QTest::newRow("terminal clear in a name")
            << line({{"module", "\x1b[2J\x1b[H"}, {"command", "x"}}) << R"(\x1b[2J\x1b[H.x)";
        QTest::newRow("right-to-left override")
            << line({{"module", QString("a") + QChar(0x202e) + "b"}, {"command", "c"}})
            << R"(a\u202eb.c)";
        QTest::newRow("non-string id, long packet")
            << line({{"id", 5}, {"pad", big}}) << "Invalid response id in {\"id\":5,\"pad\":\"xxx";
    }

    // One bounded line each, with nothing in it that starts another line or
    // steers a terminal.
    void logLines()
    {
        QFETCH(QByteArray, packet);
        QFETCH(QString, shown);
        LogTail log;
        m_peer.send(packet);
        QVERIFY(synced());
        const QStringList lines = log.lines();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].startsWith("[E|") && lines[0].contains(shown), qPrintable(lines[0]));
        QVERIFY(lines[0].size() < 2 * zarvo::ExcerptLength);
        QVERIFY(!lines[0].contains(QRegularExpression("[\\x00-\\x1f\\x7f\\x{2028}\\x{202e}]")));
    }

    // A burst gets through, the rest is counted in one line once the peer stops.
    void throttle()
    {
        LogTail log;
        const int sent = 50;
        QByteArray burst;
        for (int i = 0; i < sent; ++i) {
            burst += line({{"id", "no such id"}});
        }
        m_peer.send(burst);
        QVERIFY(synced());
        const int written = log.count("Unrecognized response [no such id]!");
        QVERIFY(written > 0 && written <= 10);
        const QRegularExpression summary(
            "(\\d+) similar lines suppressed \\(unrecognized response\\)");
        QVERIFY(QTest::qWaitFor([&] { return log.lines().filter(summary).size() == 1; },
                                10000 + Slack));
        const int held = summary.match(log.lines().filter(summary).first()).captured(1).toInt();
        QCOMPARE(written + held, sent);
    }

    // Ever new keys stop adding nodes at the growth bound; the link stays up.
    // Last: it uses the bound up for the rest of the run.
    void growth()
    {
        LogTail log;
        for (int i = 0; i < 8; ++i) {
            m_peer.send(notification("system.state.change", keys(9000, QString("k%1_").arg(i))));
            QVERIFY(synced());
            QVERIFY(rc()->catalogueGrowth() <= ControllerManager::MaxCatalogueGrowth);
        }
        QVERIFY(log.count("would grow the catalogue past") >= 1);
        QVERIFY(rc()->isConnected());
    }
};

QTEST_MAIN(tst_ControllerManagerHostile)
#include "tst_controllermanager_hostile.moc"
