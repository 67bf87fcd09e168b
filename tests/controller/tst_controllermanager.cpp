// The requests of the controller link: packets and ids as they go out,
// duplicates, template completion, and refusal without a link.

#include "linkprobes.h"

#include <QJsonArray>
#include <QRegularExpression>

using namespace linkprobes;

namespace {

const QString SetParams = QStringLiteral("system.controller.set_params");

} // namespace

class tst_ControllerManager : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }
    QString m_firstSyncId;
    QJsonValue m_setParamsTemplate;

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
    }

    void init()
    {
        sim().clearFaults();
        rc()->requestMobj(SetParams)->importFromJson(nullptr, m_setParamsTemplate, false, false,
                                                     false);
        QVERIFY(backToSimulator(fixture));
    }

    void cleanup() { QVERIFY(restoreLink(fixture)); }

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
