// The controller link's requests, ids and dispatch, against the simulated
// controller and, where the exact bytes matter, a bare TCP peer.

#include "linkprobes.h"

#include <QJsonArray>
#include <QRegularExpression>

using namespace linkprobes;

namespace {

const QString SetParams = QStringLiteral("system.controller.set_params");
const QString DragSet = QStringLiteral("dynamic.drag.set_params");

int countCommand(const QSignalSpy& received, const QString& command)
{
    int n = 0;
    for (const QList<QVariant>& args : received) {
        n += args.at(0).toJsonObject().value("command").toString() == command ? 1 : 0;
    }
    return n;
}

QJsonObject lastOf(const QSignalSpy& received, const QString& command)
{
    for (int i = received.size() - 1; i >= 0; --i) {
        const QJsonObject packet = received.at(i).at(0).toJsonObject();
        if (packet.value("command").toString() == command) {
            return packet;
        }
    }
    return {};
}

// True when `spy` recorded an activation of `object` itself with new data.
bool activatedItself(const QSignalSpy& spy, velk::ModuleObject* object)
{
    for (const QList<QVariant>& args : spy) {
        if (args.at(0).value<velk::ModuleObject*>() == object && args.at(1).toInt() == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

class tst_ControllerManager : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }
    QString m_firstSyncId;
    QJsonValue m_setParamsTemplate;
    QJsonValue m_dragTemplate;

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        qRegisterMetaType<velk::ModuleObject*>();
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        QVERIFY(fixture.start());
        QVERIFY(!received.isEmpty());
        m_firstSyncId = received.first().first().toJsonObject().value("id").toString();
        m_setParamsTemplate = rc()->requestMobj(SetParams)->exportToJson();
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
        rc()->requestMobj(SetParams)->importFromJson(nullptr, m_setParamsTemplate, false, false,
                                                     false);
        rc()->requestMobj(DragSet)->importFromJson(nullptr, m_dragTemplate, false, false, false);
        QVERIFY(backToSimulator(fixture));
    }

    void cleanup()
    {
        sim().clearFaults();
        QVERIFY(backToSimulator(fixture));
        if (!settled()) {
            // Whatever a failed case left pending must not leak into the next one.
            rc()->connectToRC(QString(), QString());
        }
    }

    void cleanupTestCase() { fixture.stop(); }

    void counterStartsAtZero()
    {
        // The connect's heartbeat is the plug-in's first synchronous request.
        QCOMPARE(m_firstSyncId, QStringLiteral("#0#system.controller.heart"));
    }

    void wireForm_data()
    {
        QTest::addColumn<QString>("module");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QJsonValue>("data");
        QTest::addColumn<bool>("sync");
        QTest::addColumn<QByteArray>("dataPart");

        const QJsonValue null(QJsonValue::Null);
        QTest::newRow("object") << "dynamic"
                                << "drag.set_params"
                                << QJsonValue(
                                       QJsonObject{{"type", 2}, {"enable", true}, {"space", 1}})
                                << false
                                << QByteArray(",\"data\":{\"enable\":true,\"space\":1,\"type\":2}");
        QTest::newRow("null: no data key") << "system"
                                           << "state.get_motor" << null << false << QByteArray();
        QTest::newRow("empty object") << "system"
                                      << "state.get_operate" << QJsonValue(QJsonObject()) << false
                                      << QByteArray(",\"data\":{}");
        QTest::newRow("array") << "io"
                               << "io_signal.set_signal_value" << QJsonValue(QJsonArray{1, 2})
                               << false << QByteArray(",\"data\":[1,2]");
        QTest::newRow("string, not ASCII")
            << "system"
            << "state.get_robot_state" << QJsonValue(QStringLiteral("数据")) << false
            << QStringLiteral(",\"data\":\"数据\"").toUtf8();
        QTest::newRow("number") << "system"
                                << "state.get_safety_stop" << QJsonValue(5) << false
                                << QByteArray(",\"data\":5");
        QTest::newRow("sync, null") << "system"
                                    << "state.get_motor" << null << true << QByteArray();
        QTest::newRow("sync, object")
            << "dynamic"
            << "drag.set_params" << QJsonValue(QJsonObject{{"space", 1}, {"enable", false}}) << true
            << QByteArray(",\"data\":{\"enable\":false,\"space\":1}");
    }

    // The controller reads the keys in protocol order, byte for byte.
    void wireForm()
    {
        QFETCH(QString, module);
        QFETCH(QString, command);
        QFETCH(QJsonValue, data);
        QFETCH(bool, sync);
        QFETCH(QByteArray, dataPart);

        RawPeer peer;
        QVERIFY(peer.listen());
        QVERIFY(relink(peer.port()));
        const int from = peer.packets.size();
        if (sync) {
            QCOMPARE(rc()->execRequest(module, command, data, true)->get(), QVariant(true));
        } else {
            QVERIFY(rc()->request(module, command, data));
        }
        const int at = peer.waitFor(
            [&](const QJsonObject& p) { return p.value("command").toString() == command; }, Slack,
            from);
        QVERIFY(at >= 0);

        const QString id = peer.packets.at(at).value("id").toString();
        if (sync) {
            const QRegularExpression form(
                QStringLiteral("^#\\d+#%1$")
                    .arg(QRegularExpression::escape(module + "." + command)));
            QVERIFY2(form.match(id).hasMatch(), qPrintable(id));
        } else {
            QCOMPARE(id, md5Id(module, command, data.isString() ? data.toString() : QString()));
        }
        const QByteArray expected = "{\"id\":\"" + id.toUtf8() + "\",\"module\":\"" +
                                    module.toUtf8() + "\",\"command\":\"" + command.toUtf8() +
                                    "\"" + dataPart + "}\n";
        QCOMPARE(peer.lines.at(at), expected);
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
    }

    void heartbeatOnTheWire()
    {
        RawPeer peer;
        QVERIFY(peer.listen());
        QVERIFY(relink(peer.port()));
        QVERIFY(!peer.lines.isEmpty());
        const QRegularExpression form("^\\{\"id\":\"#\\d+#system\\.controller\\.heart\",\"module\":"
                                      "\"system\",\"command\":\"controller\\.heart\"\\}\\n$");
        QVERIFY2(form.match(QString::fromUtf8(peer.lines.first())).hasMatch(),
                 peer.lines.first().constData());
    }

    // Every synchronous request, heartbeats included, takes the next number.
    void syncIdsCount()
    {
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        for (int i = 0; i < 3; ++i) {
            velk::ModuleObject* exec =
                rc()->execRequest("system", "state.get_motor", QJsonValue(), true);
            QCOMPARE(exec->get(), QVariant(true));
            QCOMPARE(exec->cmobj("power")->getString(), QStringLiteral("off"));
        }
        QVERIFY(rc()->execRequest("system.state.get_operate", nullptr, true)->get().toBool());

        QList<uint> numbers;
        for (const QList<QVariant>& args : received) {
            const QJsonObject packet = args.at(0).toJsonObject();
            const QString id = packet.value("id").toString();
            if (!id.startsWith('#')) {
                continue;
            }
            QCOMPARE(id.section('#', -1),
                     packet.value("module").toString() + "." + packet.value("command").toString());
            numbers << id.section('#', 1, 1).toUInt();
        }
        QVERIFY(numbers.size() >= 4);
        for (int i = 1; i < numbers.size(); ++i) {
            QCOMPARE(numbers.at(i), numbers.at(i - 1) + 1);
        }
    }

    // Object data has no string form: the second request is the first one
    // again while that is pending.
    void duplicateRefused()
    {
        LogTail log;
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        velk::ModuleObject* command = rc()->cmdMobj("dynamic.drag.get_params");
        QSignalSpy activated(command, &velk::ModuleObject::activated);

        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 1}}));
        QVERIFY(!rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 2}}));
        QCOMPARE(log.count("duplicate request: dynamic drag.get_params"), 1);
        QCOMPARE(rc()->pendingCount(), 1);

        QTRY_VERIFY_WITH_TIMEOUT(activatedItself(activated, command), Slack);
        QCOMPARE(countCommand(received, "drag.get_params"), 1);
        QCOMPARE(lastOf(received, "drag.get_params").value("data").toObject().value("space"), 1);

        // Answered: the same request may go again.
        QVERIFY(rc()->request("dynamic", "drag.get_params", QJsonObject{{"space", 2}}));
        QTRY_COMPARE_WITH_TIMEOUT(countCommand(received, "drag.get_params"), 2, Slack);
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
    }

    void differentStringsBothSent()
    {
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        QVERIFY(rc()->request("system", "state.get_motor", QStringLiteral("alpha")));
        QVERIFY(rc()->request("system", "state.get_motor", QStringLiteral("beta")));
        QCOMPARE(rc()->pendingCount(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(countCommand(received, "state.get_motor"), 2, Slack);

        QStringList ids;
        for (const QList<QVariant>& args : received) {
            ids << args.at(0).toJsonObject().value("id").toString();
        }
        QVERIFY(ids.contains(md5Id("system", "state.get_motor", "alpha")));
        QVERIFY(ids.contains(md5Id("system", "state.get_motor", "beta")));
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
    }

    void templateCompletion_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QJsonValue>("given"); // null: no data object at all
        QTest::addColumn<bool>("sync");
        QTest::addColumn<QJsonValue>("sent"); // undefined: no "data" key

        const QJsonObject filled{
            {"alias", "cell-7"}, {"time_zone", "UTC+08:00"}, {"auto_load_project", false}};
        QTest::newRow("template completes the data")
            << SetParams << QJsonValue(QJsonObject{{"alias", "cell-7"}}) << false
            << QJsonValue(filled);
        QTest::newRow("template completes the data, sync")
            << SetParams << QJsonValue(QJsonObject{{"alias", "cell-7"}}) << true
            << QJsonValue(filled);
        QTest::newRow("fields the template lacks stay out")
            << SetParams << QJsonValue(QJsonObject{{"alias", "cell-7"}, {"colour", "red"}}) << false
            << QJsonValue(filled);
        QTest::newRow("no data sends the template")
            << SetParams << QJsonValue() << false
            << QJsonValue(QJsonObject{
                   {"alias", ""}, {"time_zone", "UTC+08:00"}, {"auto_load_project", false}});
        QTest::newRow("no template: data as given")
            << "system.state.get_motor" << QJsonValue(QJsonObject{{"x", 1}}) << false
            << QJsonValue(QJsonObject{{"x", 1}});
        QTest::newRow("no template, no data") << "system.state.get_motor" << QJsonValue() << false
                                              << QJsonValue(QJsonValue::Undefined);
    }

    void templateCompletion()
    {
        QFETCH(QString, name);
        QFETCH(QJsonValue, given);
        QFETCH(bool, sync);
        QFETCH(QJsonValue, sent);

        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        std::unique_ptr<velk::ModuleObject> data =
            given.isNull() ? nullptr : mobjOf(given.toObject());
        if (sync) {
            QVERIFY(rc()->execRequest(name, data.get(), true)->get().toBool());
        } else {
            QVERIFY(rc()->request(name, data.get()));
        }
        const QString command = name.section('.', 1);
        QTRY_COMPARE_WITH_TIMEOUT(countCommand(received, command), 1, Slack);
        const QJsonObject packet = lastOf(received, command);
        QCOMPARE(packet.value("module").toString(), name.section('.', 0, 0));
        QCOMPARE(packet.contains("data"), !sent.isUndefined());
        if (!sent.isUndefined()) {
            QCOMPARE(packet.value("data"), sent);
        }
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
    }

    void templateKeepsCopiedValues()
    {
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        const auto data = mobjOf({{"alias", "cell-7"}, {"auto_load_project", true}});
        QVERIFY(rc()->request(SetParams, data.get()));
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
        QCOMPARE(rc()->requestMobj(SetParams)->cmobj("alias")->getString(),
                 QStringLiteral("cell-7"));

        // The next request starts from what the last one copied in.
        QVERIFY(rc()->request(SetParams, nullptr));
        QTRY_COMPARE_WITH_TIMEOUT(countCommand(received, "controller.set_params"), 2, Slack);
        const QJsonObject expected{
            {"alias", "cell-7"}, {"time_zone", "UTC+08:00"}, {"auto_load_project", true}};
        QCOMPARE(lastOf(received, "controller.set_params").value("data").toObject(), expected);
        QTRY_COMPARE_WITH_TIMEOUT(rc()->pendingCount(), 0, Slack);
        QCOMPARE(sim().storedData(SetParams), expected);
    }

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

    // Nothing goes out and nothing is logged while there is no link.
    void refusedWhileDisconnected()
    {
        QVERIFY(dropLink());
        LogTail log;
        HmiRecords records;
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);

        QVERIFY(!rc()->request("system", "state.get_motor", QStringLiteral("probe")));
        QVERIFY(!rc()->request("system.controller.get_params", nullptr));
        QVERIFY(rc()->execRequest("system", "state.get_motor", QJsonValue(), true)->isEmptyMobj());
        QVERIFY(rc()->execRequest("system.state.get_motor", nullptr, true)->isEmptyMobj());
        QCOMPARE(rc()->pendingCount(), 0);
        QCOMPARE(log.lines(), QStringList());
        QCOMPARE(records.titles(), QStringList());

        // Nothing was queued either: after a reconnect only the heartbeat and
        // the runtime model's own queries arrive.
        QVERIFY(raiseLink());
        for (const QList<QVariant>& args : received) {
            const QJsonObject packet = args.at(0).toJsonObject();
            QVERIFY(packet.value("data") != QJsonValue(QStringLiteral("probe")));
            QVERIFY(packet.value("command") != QJsonValue(QStringLiteral("controller.get_params")));
            QVERIFY(!packet.value("id").toString().startsWith('#') || RawPeer::isHeartbeat(packet));
        }
    }
};

QTEST_MAIN(tst_ControllerManager)
#include "tst_controllermanager.moc"
