// The controller link's requests and what comes back, peers that are no
// controller, a heartbeat that goes unanswered, and a controller that goes away.

#include "linkprobes.h"

#include <QElapsedTimer>

using namespace linkprobes;

class tst_ControllerManager : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

private Q_SLOTS:
    void initTestCase() { QVERIFY(startLinked(fixture)); }
    void init()
    {
        setting()->set("language", "en");
        QVERIFY(restoreLink(fixture));
    }
    void cleanupTestCase() { fixture.stop(); }

    void wireForm_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("json"); // the data as sent; empty: null
        QTest::addColumn<bool>("sync");
        QTest::newRow("object") << "system.state.get_motor" << QByteArray(R"({"a":2})") << false;
        QTest::newRow("null: no data key") << "system.state.get_motor" << QByteArray() << false;
        QTest::newRow("string, not ASCII")
            << "system.state.get_robot_state" << QByteArray(R"("数据")") << false;
        QTest::newRow("sync") << "io.io_signal.set_signal_value" << QByteArray("[1,2]") << true;
    }

    // Keys in protocol order, byte for byte; sync ids count on from the heartbeat.
    void wireForm()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, json);
        QFETCH(bool, sync);
        const QString module = name.section('.', 0, 0);
        const QString command = name.section('.', 1);
        const QJsonValue data = json.isEmpty() ? QJsonValue(QJsonValue::Null)
                                               : QJsonDocument::fromJson("[" + json + "]")[0];
        RawPeer peer;
        QVERIFY(relink(fixture, peer.port()));
        const QString beat = peer.packets.first().value("id").toString();
        if (sync) {
            QVERIFY(rc()->execRequest(module, command, data, true)->get().toBool());
        } else {
            QVERIFY(rc()->request(module, command, data));
            QVERIFY(settled());
        }
        const QString id =
            sync ? QStringLiteral("#%1#%2").arg(beat.section('#', 1, 1).toUInt() + 1).arg(name)
                 : md5Id(module, command, data.toString());
        QCOMPARE(peer.lines.last(), "{\"id\":\"" + id.toUtf8() + "\",\"module\":\"" +
                                        module.toUtf8() + "\",\"command\":\"" + command.toUtf8() +
                                        "\"" + (json.isEmpty() ? "" : ",\"data\":" + json) + "}\n");
    }

    // Object data has no string form, so it repeats; different strings do not.
    void duplicates()
    {
        LogTail log;
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 1}}));
        QVERIFY(!rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 2}}));
        QCOMPARE(log.count("duplicate request: dynamic drag.get_params"), 1);
        QVERIFY(rc()->request("system", "state.get_motor", QStringLiteral("alpha")));
        QVERIFY(rc()->request("system", "state.get_motor", QStringLiteral("beta")));
        QVERIFY(settled());
        QCOMPARE(packetsOf(received, "drag.get_params").size(), 1);
        QCOMPARE(packetsOf(received, "state.get_motor").size(), 2);
        // Answered, it may go again.
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 2}}));
    }

    // The template completes the data and keeps what was copied in.
    void templateCompletion()
    {
        const QString name = QStringLiteral("system.controller.set_params");
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        const auto lastSent = [&] {
            return packetsOf(received, "controller.set_params").last()["data"].toObject();
        };
        QJsonObject sent{{"alias", ""}, {"time_zone", "UTC+08:00"}, {"auto_load_project", false}};
        QVERIFY(rc()->request(name, nullptr));
        QVERIFY(settled());
        QCOMPARE(lastSent(), sent);
        velk::ModuleObject data(QStringLiteral("data"));
        data.importFromJson(nullptr, QJsonObject{{"alias", "cell-7"}, {"colour", "red"}}, true,
                            false, false);
        QVERIFY(rc()->execRequest(name, &data, true)->get().toBool());
        sent["alias"] = "cell-7";
        QCOMPARE(lastSent(), sent);
        QVERIFY(rc()->request(name, nullptr));
        QVERIFY(settled());
        QCOMPARE(lastSent(), sent);
    }

    void errorTexts_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("expected");
        const QString drag = "dynamic.drag.set_params";
        const QString motor = "system.state.switch_motor_on";
        QTest::newRow("own table wins") << "en" << drag << -10002 << ": operate mode error";
        QTest::newRow("own table, cn") << "cn" << drag << -10002 << QString(": 操作模式错误");
        QTest::newRow("global") << "en" << motor << -10002 << ": motor power state error";
        QTest::newRow("global, cn") << "cn" << motor << -10002 << QString(": 电机上电状态错误");
        QTest::newRow("zero: no suffix") << "cn" << drag << 0 << "";
        QTest::newRow("unknown") << "en" << drag << -12345 << ": unknown error [12345]";
    }

    // Both forms, in the user's language; the data of the failure is kept.
    void errorTexts()
    {
        QFETCH(QString, language);
        QFETCH(QString, name);
        QFETCH(int, code);
        QFETCH(QString, expected);
        RawPeer peer;
        peer.responder = [=](const QJsonObject& request) {
            QJsonObject answer{{"id", request["id"]}, {"data", QJsonObject{{"seen", 1}}}};
            if (request["module"].toString() + '.' + request["command"].toString() == name) {
                answer.insert("error_code", code);
            }
            return compact(answer);
        };
        QVERIFY(relink(fixture, peer.port()));
        setting()->set("language", language);
        const QStringList failed{"Command " + name + " failed" + expected};
        HmiRecords sync;
        velk::ModuleObject* exec = rc()->execRequest(name, nullptr, true);
        QCOMPARE(exec->get(), QVariant(false));
        QCOMPARE(exec->cmobj("seen")->getInt(), 1);
        QCOMPARE(sync.titles, failed);
        HmiRecords async;
        velk::ModuleObject* command = rc()->cmdMobj(name);
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        QVERIFY(rc()->request(name, nullptr));
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(command->get(), QVariant(false));
        QCOMPARE(rc()->responseMobj(name)->cmobj("seen")->getInt(), 1);
        QCOMPARE(async.titles, failed);
    }

    // A notification without data activates its command all the same.
    void notifications()
    {
        const QString name = QStringLiteral("project.rl_program.print");
        velk::ModuleObject* command = rc()->cmdMobj(name);
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        fixture.sim.notifyAll("project", "rl_program.print", QJsonObject{{"text", "hello"}});
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(rc()->notifyMobj(name)->cmobj("text")->getString(), QStringLiteral("hello"));
        activated.clear();
        fixture.sim.notifyAll("project", "rl_program.print");
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(rc()->notifyMobj(name)->cmobj("text")->getString(), QStringLiteral("hello"));
    }

    void timeouts_data()
    {
        QTest::addColumn<bool>("sync");
        QTest::addColumn<bool>("verbose");
        QTest::newRow("async") << false << true;
        QTest::newRow("sync") << true << true;
        QTest::newRow("sync, quiet") << true << false;
    }

    // A late asynchronous answer finds nobody; a late synchronous one still lands.
    void timeouts()
    {
        QFETCH(bool, sync);
        QFETCH(bool, verbose);
        // A fresh link: no heartbeat falls into the wait.
        QVERIFY(relink(fixture, fixture.sim.tcpPort()));
        HmiRecords records;
        LogTail log;
        const int timeout =
            sync ? ControllerManager::ExecTimeout : ControllerManager::RequestTimeout;
        delayNext(fixture.sim, "state.get_motor", timeout + 800);
        const QString timedOut = "Command system.state.get_motor timeout!";
        QElapsedTimer clock;
        clock.start();
        velk::ModuleObject* exec =
            sync ? rc()->execRequest("system", "state.get_motor", {}, verbose) : nullptr;
        QVERIFY(sync || rc()->request("system", "state.get_motor", {}));
        QVERIFY(!verbose || records.waitFor(timedOut, timeout + Slack));
        // A coarse timer may fire up to 5 % early.
        QVERIFY(clock.elapsed() >= timeout * 95 / 100 && clock.elapsed() < timeout + 800);
        QCOMPARE(rc()->pendingCount(), 0);
        QVERIFY(!exec || exec->get() == QVariant(false));
        const QString late =
            sync ? "exec command: system.state.get_motor is not looped"
                 : QString("Unrecognized response [%1]!").arg(md5Id("system", "state.get_motor"));
        QVERIFY(log.waitFor(late, 800 + Slack));
        QVERIFY(!exec || exec->cmobj("power")->getString() == "off");
        QCOMPARE(records.titles.count(timedOut), verbose ? 1 : 0);
    }

    void answerFindsNobody_data()
    {
        QTest::addColumn<bool>("forget");
        QTest::newRow("answered twice") << false;
        QTest::newRow("connectToRC(\"\", \"\") forgot the request") << true;
    }

    // connectToRC("", "") only forgets what is pending and connects nothing.
    void answerFindsNobody()
    {
        QFETCH(bool, forget);
        HmiRecords records;
        QSignalSpy clients(&fixture.sim, &RcSimulator::clientConnected);
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const QJsonObject server = setting()->getObj("server");
        forget ? delayNext(fixture.sim, "drag.get_params", 300)
               : fixture.sim.injectFault(Fault::AnswerTwice);
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject()));
        if (forget) {
            rc()->connectToRC(QString(), QString());
            QCOMPARE(rc()->pendingCount(), 0);
        }
        const QString unknown =
            QStringLiteral("Unrecognized response [%1]!").arg(md5Id("dynamic", "drag.get_params"));
        QVERIFY(records.waitFor(unknown, 300 + Slack));
        QCOMPARE(records.titles, QStringList{unknown});
        QCOMPARE(setting()->getObj("server"), server);
        QCOMPARE(clients.count() + disconnected.count(), 0);
    }

    void notAController_data()
    {
        QTest::addColumn<bool>("answering"); // its heartbeat answer names another
        QTest::newRow("never answers") << false;
        QTest::newRow("another name") << true;
    }

    // The first heartbeat decides at once.
    void notAController()
    {
        QFETCH(bool, answering);
        RawPeer peer;
        peer.answering = answering;
        peer.name = "zarvo";
        QVERIFY(peer.port() && fixture.disconnectLink());
        pointServerAt(peer.port());
        HmiRecords records;
        LogTail log;
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        rc()->connectToRC(true, false);
        QVERIFY(records.waitFor("Connection failed: no response",
                                ControllerManager::ExecTimeout + Slack));
        QCOMPARE(log.count("controller dying"), 0);
        QCOMPARE(log.count("controller dead"), 1);
        QTRY_COMPARE_WITH_TIMEOUT(peer.closed, 1, Slack);
        QCOMPARE(peer.packets.size(), 1);
        QVERIFY(!connected.wait(ControllerManager::AnnounceDelay + 500));
    }

    // One missed answer is forgiven, the second in a row ends the link. Takes
    // four heartbeat periods of real time.
    void missedHeartbeats()
    {
        // A fresh link starts the heartbeat timer from now.
        QVERIFY(relink(fixture, fixture.sim.tcpPort()));
        LogTail log;
        HmiRecords records;
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        const auto beats = [&] { return packetsOf(received, "controller.heart").size(); };
        const int period = ControllerManager::HeartbeatInterval;

        fixture.sim.injectFault(Fault::MissHeartbeats, 1);
        QVERIFY(log.waitFor("controller dying", period + ControllerManager::ExecTimeout + Slack));
        QCOMPARE(beats(), 1);
        QVERIFY(log.lines().filter("controller dying").value(0).startsWith("[W|"));

        // The answered second beat resets the count: the third warns, the fourth ends it.
        QTRY_COMPARE_WITH_TIMEOUT(beats(), 2, period + Slack);
        fixture.sim.injectFault(Fault::NoHeartbeat);
        QVERIFY(disconnected.wait(2 * period + ControllerManager::ExecTimeout + Slack));
        QCOMPARE(beats(), 4);
        QCOMPARE(log.count("controller dying"), 2);
        QCOMPARE(log.count("controller dead"), 1);
        QVERIFY(log.lines().filter("controller dead").value(0).startsWith("[E|"));
        QCOMPARE(records.titles, QStringList());
    }

    void simulatorStopIsNoticed()
    {
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        const quint16 port = fixture.sim.tcpPort();
        fixture.sim.stop();
        QVERIFY(disconnected.wait(Slack));
        fixture.sim.setTcpPort(port);
        QVERIFY(fixture.sim.start());
    }
};

QTEST_MAIN(tst_ControllerManager)
#include "tst_controllermanager.moc"
