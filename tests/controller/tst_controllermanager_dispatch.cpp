// The dispatch of what the controller sends: responses into the catalogue,
// error texts in the user's language, notifications, and traffic the link
// does not know or cannot use.

#include "linkprobes.h"

using namespace linkprobes;

namespace {

const QString DragSet = QStringLiteral("dynamic.drag.set_params");

} // namespace

class tst_ControllerManagerDispatch : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }
    QJsonValue m_dragTemplate;

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        qRegisterMetaType<velk::ModuleObject*>();
        QVERIFY(fixture.start());
        m_dragTemplate = rc()->requestMobj(DragSet)->exportToJson();
    }

    void init()
    {
        sim().clearFaults();
        sim().robot()->setSafetyStop(QString());
        sim().robot()->setOperate("manual");
        sim().robot()->setPower("off");
        sim().robot()->setRobotState("idle");
        setting()->set("language", "en");
        rc()->requestMobj(DragSet)->importFromJson(nullptr, m_dragTemplate, false, false, false);
        QVERIFY(backToSimulator(fixture));
    }

    void cleanup() { QVERIFY(restoreLink(fixture)); }

    void cleanupTestCase() { fixture.stop(); }

    void responseFillsCatalogue()
    {
        velk::ModuleObject* command = rc()->cmdMobj("system.state.get_motor");
        command->set(nullptr, QVariant(false));
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        sim().robot()->setPower("on");

        QVERIFY(rc()->request("system.state.get_motor", nullptr));
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(command->get(), QVariant(true));
        QCOMPARE(rc()->responseMobj("system.state.get_motor")->cmobj("power")->getString(),
                 QStringLiteral("on"));
    }

    void errorTexts_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("sync");
        QTest::addColumn<QString>("expected");

        const QString drag = "Command dynamic.drag.set_params failed";
        const QString motorOn = "Command system.state.switch_motor_on failed";
        // The command's own table wins over the global one.
        QTest::newRow("own table, en")
            << "en" << DragSet << -10002 << false << drag + ": operate mode error";
        QTest::newRow("own table, cn")
            << "cn" << DragSet << -10002 << false << drag + QStringLiteral(": 操作模式错误");
        QTest::newRow("own table, sync")
            << "en" << DragSet << -10003 << true << drag + ": motor is powered off";
        QTest::newRow("own table falls back to global")
            << "en" << DragSet << -10005 << false << drag + ": safety stop error";
        QTest::newRow("global, en") << "en"
                                    << "system.state.switch_motor_on" << -10002 << false
                                    << motorOn + ": motor power state error";
        QTest::newRow("global, cn") << "cn"
                                    << "system.state.switch_motor_on" << -10002 << true
                                    << motorOn + QStringLiteral(": 电机上电状态错误");
        QTest::newRow("zero, en") << "en"
                                  << "system.state.switch_motor_on" << 0 << false << motorOn;
        QTest::newRow("zero, cn") << "cn"
                                  << "system.state.switch_motor_on" << 0 << true << motorOn;
        QTest::newRow("unknown, en")
            << "en" << DragSet << -12345 << false << drag + ": unknown error [12345]";
        QTest::newRow("unknown, cn")
            << "cn"
            << "system.state.switch_motor_on" << -99 << true << motorOn + ": unknown error [99]";
    }

    // Failures are reported in the user's language, and the data that came
    // with them is kept all the same.
    void errorTexts()
    {
        QFETCH(QString, language);
        QFETCH(QString, name);
        QFETCH(int, code);
        QFETCH(bool, sync);
        QFETCH(QString, expected);

        RawPeer peer;
        peer.responder = [code, name](const QJsonObject& request) {
            if (request.value("module").toString() + "." + request.value("command").toString() !=
                name) {
                return QByteArray();
            }
            return compact({{"id", request.value("id")},
                            {"error_code", code},
                            {"data", QJsonObject{{"seen", true}}}}) +
                   '\n';
        };
        QVERIFY(peer.listen());
        QVERIFY(relink(peer.port()));
        setting()->set("language", language);
        HmiRecords records;

        const QString module = name.section('.', 0, 0);
        const QString command = name.section('.', 1);
        if (sync) {
            velk::ModuleObject* exec = rc()->execRequest(module, command, QJsonObject(), true);
            QCOMPARE(exec->get(), QVariant(false));
            QCOMPARE(exec->cmobj("seen")->get(), QVariant(true));
        } else {
            velk::ModuleObject* object = rc()->cmdMobj(name);
            QSignalSpy activated(object, &velk::ModuleObject::activated);
            QVERIFY(rc()->request(module, command, QJsonObject()));
            QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, object), Slack);
            QCOMPARE(object->get(), QVariant(false));
            QCOMPARE(rc()->responseMobj(name)->cmobj("seen")->get(), QVariant(true));
        }
        QCOMPARE(records.titles(), QStringList{expected});
    }

    void simulatorRefusals_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("operate");
        QTest::addColumn<QString>("stop");
        QTest::addColumn<QString>("expected");

        QTest::newRow("drag in auto mode")
            << DragSet << "auto"
            << ""
            << "Command dynamic.drag.set_params failed: operate mode error";
        QTest::newRow("drag with the motor off")
            << DragSet << "manual"
            << ""
            << "Command dynamic.drag.set_params failed: motor is powered off";
        QTest::newRow("motor on in a safety stop")
            << "system.state.switch_motor_on"
            << "manual"
            << "EStop"
            << "Command system.state.switch_motor_on failed: safety stop error";
    }

    void simulatorRefusals()
    {
        QFETCH(QString, name);
        QFETCH(QString, operate);
        QFETCH(QString, stop);
        QFETCH(QString, expected);

        sim().robot()->setOperate(operate);
        sim().robot()->setSafetyStop(stop);
        HmiRecords records;
        velk::ModuleObject* command = rc()->cmdMobj(name);
        QSignalSpy activated(command, &velk::ModuleObject::activated);
        const auto data = mobjOf({{"enable", true}});
        QVERIFY(rc()->request(name, data.get()));
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(command->get(), QVariant(false));
        QCOMPARE(records.titles(), QStringList{expected});
    }

    void notifications_data()
    {
        QTest::addColumn<bool>("withData");
        QTest::newRow("with data") << true;
        QTest::newRow("without data") << false;
    }

    // A notification activates its command and leaves the command's value,
    // which belongs to responses, alone.
    void notifications()
    {
        QFETCH(bool, withData);
        const QString name = QStringLiteral("project.rl_program.print");
        velk::ModuleObject* command = rc()->cmdMobj(name);
        command->set(nullptr, QVariant(QStringLiteral("untouched")));
        rc()->notifyMobj(name)->cmobj("text")->set(nullptr, QVariant(QStringLiteral("before")));
        QSignalSpy activated(command, &velk::ModuleObject::activated);

        if (withData) {
            sim().notifyAll("project", "rl_program.print",
                            QJsonObject{{"task", "main"}, {"text", "hello"}});
        } else {
            sim().notifyAll("project", "rl_program.print");
        }
        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(rc()->notifyMobj(name)->cmobj("text")->getString(),
                 withData ? QStringLiteral("hello") : QStringLiteral("before"));
        QCOMPARE(command->get(), QVariant(QStringLiteral("untouched")));
        command->set(nullptr, QVariant());
    }

    void unknownTrafficLeavesLinkUp_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("expected");
        QTest::newRow("unknown notification")
            << 0 << "Unrecognized notification: zarvo_sim.unknown.command!";
        QTest::newRow("answer to a command outside the catalogue")
            << 1 << "Unrecognized response: zarvo_sim.no.such!";
        QTest::newRow("malformed bytes") << 2 << QString();
    }

    void unknownTrafficLeavesLinkUp()
    {
        QFETCH(int, kind);
        QFETCH(QString, expected);
        HmiRecords records;
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        QSignalSpy malformed(&sim(), &RcSimulator::malformedReceived);

        if (kind == 0) {
            sim().injectFault(Fault::UnknownNotify);
        } else if (kind == 1) {
            // The by-value form sends what the catalogue does not know.
            QVERIFY(rc()->request("zarvo_sim", "no.such", QJsonObject()));
        } else {
            sim().injectFault(Fault::Malformed);
        }
        if (!expected.isEmpty()) {
            QVERIFY(records.waitFor(expected, Slack));
        }
        // The stream goes on behind it.
        velk::ModuleObject* exec =
            rc()->execRequest("system", "state.get_motor", QJsonValue(), true);
        QCOMPARE(exec->get(), QVariant(true));
        QCOMPARE(exec->cmobj("power")->getString(), QStringLiteral("off"));
        QVERIFY(rc()->isConnected());
        QCOMPARE(disconnected.count(), 0);
        QCOMPARE(rc()->pendingCount(), 0);
        QCOMPARE(malformed.count(), 0);
        for (const QString& title : records.titles()) {
            QVERIFY2(!title.contains("failed"), qPrintable(title));
        }
    }

    void garbledPackets_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("array") << QByteArray("[1,2]\n");
        QTest::newRow("array of objects") << QByteArray("[{\"id\":\"x\"}]\n");
        QTest::newRow("number id") << QByteArray("{\"id\":5,\"data\":{\"power\":\"on\"}}\n");
        QTest::newRow("null id") << QByteArray("{\"id\":null}\n");
        QTest::newRow("object id") << QByteArray("{\"id\":{\"a\":\"b\"},\"error_code\":-1}\n");
        QTest::newRow("array id") << QByteArray("{\"id\":[\"#1#system.state.get_motor\"]}\n");
    }

    // Valid JSON of the wrong shape is an error to log, never a reason to
    // drop the link.
    void garbledPackets()
    {
        QFETCH(QByteArray, bytes);
        RawPeer peer;
        QVERIFY(peer.listen());
        QVERIFY(relink(peer.port()));
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        LogTail log;

        peer.send(bytes);
        QVERIFY2(log.waitFor("[E|", Slack), qPrintable(log.dump()));
        QVERIFY(rc()->execRequest("system", "state.get_motor", QJsonValue(), true)->get().toBool());
        QVERIFY(rc()->isConnected());
        QCOMPARE(disconnected.count(), 0);
        QCOMPARE(peer.closed, 0);
    }
};

QTEST_MAIN(tst_ControllerManagerDispatch)
#include "tst_controllermanager_dispatch.moc"
