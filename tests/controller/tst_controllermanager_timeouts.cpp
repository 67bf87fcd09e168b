// Time-outs of both request forms, answers that come late or twice, and the
// dropping of pending requests, against the simulated controller.

#include "linkprobes.h"

using namespace linkprobes;

namespace {

// The asynchronous time-out's own error line names the id.
bool hasErrorLineWith(const LogTail& log, const QString& id)
{
    for (const QString& line : log.lines()) {
        if (line.startsWith("[E|") && line.contains(id) && !line.contains("Unrecognized")) {
            return true;
        }
    }
    return false;
}

const QString DragGet = QStringLiteral("dynamic.drag.get_params");

} // namespace

class tst_ControllerManagerTimeouts : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }

    // A new connection, so that no heartbeat falls into the next 6400 ms.
    bool freshLink() { return dropLink() && raiseLink(); }

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        qRegisterMetaType<velk::ModuleObject*>();
        QVERIFY(fixture.start());
    }

    void init()
    {
        sim().clearFaults();
        QVERIFY(backToSimulator(fixture));
    }

    void cleanup() { QVERIFY(restoreLink(fixture)); }

    void cleanupTestCase() { fixture.stop(); }

    void asyncTimeout()
    {
        HmiRecords records;
        LogTail log;
        velk::ModuleObject* command = rc()->cmdMobj(DragGet);
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        const QString id = md5Id("dynamic", "drag.get_params");
        delayNext(sim(), "drag.get_params", ControllerManager::RequestTimeout + 1500);

        QElapsedTimer clock;
        clock.start();
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject()));
        QVERIFY(records.waitFor("Command dynamic.drag.get_params timeout!",
                                ControllerManager::RequestTimeout + Slack));
        // A coarse timer may fire up to 5 % early.
        QVERIFY2(clock.elapsed() >= 4500, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(rc()->pendingCount(), 0);
        QVERIFY2(hasErrorLineWith(log, id), qPrintable(log.dump()));

        // The answer finds nobody waiting for it.
        QVERIFY(
            records.waitFor(QStringLiteral("Unrecognized response [%1]!").arg(id), 1500 + Slack));
        QVERIFY(!activatedItself(activated, command));
        QCOMPARE(records.count("Command dynamic.drag.get_params timeout!"), 1);
    }

    // A dropped socket leaves pending requests in place; they time out later
    // without bothering the user about a link that is gone anyway.
    void asyncTimeoutAfterSocketDrop()
    {
        HmiRecords records;
        LogTail log;
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const QString id = md5Id("dynamic", "drag.get_params");
        delayNext(sim(), "drag.get_params", ControllerManager::RequestTimeout + 3000);

        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject()));
        QVERIFY(received.wait(Slack));
        sim().injectFault(Fault::CloseNow);
        QVERIFY(disconnected.wait(Slack));
        QCOMPARE(rc()->pendingCount(), 1);

        QVERIFY(QTest::qWaitFor([&] { return hasErrorLineWith(log, id); },
                                ControllerManager::RequestTimeout + Slack));
        QCOMPARE(rc()->pendingCount(), 0);
        QCOMPARE(records.titles(), QStringList());
    }

    void execTimeout_data()
    {
        QTest::addColumn<bool>("verbose");
        QTest::newRow("verbose") << true;
        QTest::newRow("quiet, as the heartbeat") << false;
    }

    void execTimeout()
    {
        QFETCH(bool, verbose);
        QVERIFY(freshLink());
        HmiRecords records;
        LogTail log;
        delayNext(sim(), "state.get_motor", ControllerManager::ExecTimeout + 800);

        QElapsedTimer clock;
        clock.start();
        velk::ModuleObject* exec =
            rc()->execRequest("system", "state.get_motor", QJsonValue(), verbose);
        const qint64 waited = clock.elapsed();
        QVERIFY2(waited >= ControllerManager::ExecTimeout - 50 &&
                     waited < ControllerManager::ExecTimeout + 800,
                 qPrintable(QString::number(waited)));
        QCOMPARE(exec->get(), QVariant(false));
        QCOMPARE(exec->cmobjCount(), 0);
        QCOMPARE(records.titles(),
                 verbose ? QStringList{"Command system.state.get_motor timeout!"} : QStringList());

        // The late answer still lands in the result object.
        QVERIFY(log.waitFor("exec command: system.state.get_motor is not looped", 800 + Slack));
        QCOMPARE(exec->get(), QVariant(true));
        QCOMPARE(exec->cmobj("power")->getString(), QStringLiteral("off"));
        QCOMPARE(records.titles().size(), verbose ? 1 : 0);
    }

    void asyncAnsweredTwice()
    {
        HmiRecords records;
        LogTail log;
        velk::ModuleObject* command = rc()->cmdMobj(DragGet);
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        sim().injectFault(Fault::AnswerTwice);
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject()));
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        sim().clearFault(Fault::AnswerTwice);

        const QString unknown =
            QStringLiteral("Unrecognized response [%1]!").arg(md5Id("dynamic", "drag.get_params"));
        QVERIFY(records.waitFor(unknown, Slack));
        QCOMPARE(records.titles(), QStringList{unknown});
        QCOMPARE(log.count("is not looped"), 0);
    }

    // A synchronous answer repeated after the wait ended still overwrites
    // the result object.
    void syncAnswerRepeatedLater()
    {
        RawPeer peer;
        peer.responder = [](const QJsonObject& request) {
            return compact({{"id", request.value("id")}, {"data", QJsonObject{{"n", 1}}}}) + '\n';
        };
        QVERIFY(peer.listen());
        QVERIFY(relink(peer.port()));
        LogTail log;
        HmiRecords records;

        velk::ModuleObject* exec =
            rc()->execRequest("dynamic", "drag.get_params", QJsonObject(), true);
        QCOMPARE(exec->get(), QVariant(true));
        QCOMPARE(exec->cmobj("n")->getInt(), 1);
        const int at = peer.waitFor(
            [](const QJsonObject& p) { return p.value("command") == "drag.get_params"; }, Slack);
        QVERIFY(at >= 0);
        const QString id = peer.packets.at(at).value("id").toString();

        peer.send(compact({{"id", id}, {"data", QJsonObject{{"n", 2}}}}) + '\n');
        QVERIFY(log.waitFor("exec command: dynamic.drag.get_params is not looped", Slack));
        QCOMPARE(exec->get(), QVariant(true));
        QCOMPARE(exec->cmobj("n")->getInt(), 2);
        QCOMPARE(records.titles(), QStringList());
    }

    // Without addresses it only forgets what is pending.
    void connectWithoutAddressesClearsPending()
    {
        HmiRecords records;
        QSignalSpy clients(&sim(), &RcSimulator::clientConnected);
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const QJsonObject server = setting()->getObj("server");
        const QJsonObject upgrade = setting()->getObj("upgrade_server");
        delayNext(sim(), "drag.get_params", 300);

        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject()));
        QCOMPARE(rc()->pendingCount(), 1);
        rc()->connectToRC(QString(), QString());
        QCOMPARE(rc()->pendingCount(), 0);

        // The answer comes for a request the link no longer knows.
        QVERIFY(records.waitFor(
            QStringLiteral("Unrecognized response [%1]!").arg(md5Id("dynamic", "drag.get_params")),
            300 + Slack));
        QCOMPARE(setting()->getObj("server"), server);
        QCOMPARE(setting()->getObj("upgrade_server"), upgrade);
        QCOMPARE(clients.count(), 0);
        QCOMPARE(disconnected.count(), 0);
        QVERIFY(rc()->isConnected());
    }

    // With an address it keeps the port, stores the address and connects.
    void connectWithAddressSavesIt()
    {
        QVERIFY(dropLink());
        setting()->set("server", QJsonObject{{"ip", "127.0.0.9"}, {"port", sim().tcpPort()}});
        const QJsonObject upgrade = setting()->getObj("upgrade_server");
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);

        rc()->connectToRC(QStringLiteral("127.0.0.1"), QString());
        QVERIFY(connected.wait(Slack));
        QCOMPARE(setting()->getObj("server"),
                 (QJsonObject{{"ip", "127.0.0.1"}, {"port", sim().tcpPort()}}));
        QCOMPARE(setting()->getObj("upgrade_server"), upgrade);
    }
};

QTEST_MAIN(tst_ControllerManagerTimeouts)
#include "tst_controllermanager_timeouts.moc"
