#include "rcsimulator.h"
#include "simcatalogue.h"
#include "simrobot.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QTcpSocket>
#include <QUdpSocket>
#include <QtTest>

#include <functional>

using zarvo::sim::RcSimulator;
using zarvo::sim::SimCatalogue;
using zarvo::sim::SimRobot;
using Fault = RcSimulator::Fault;

namespace {

constexpr int Timeout = 5000;

// A bare protocol client: writes lines, collects every line it gets back and
// insists that each one is a single compact JSON object.
class Client : public QObject
{
public:
    Client()
    {
        connect(&socket, &QTcpSocket::readyRead, this, [this]() { onReadyRead(); });
    }

    bool connectTo(quint16 port)
    {
        socket.connectToHost(QHostAddress::LocalHost, port);
        return socket.waitForConnected(Timeout);
    }

    void sendRaw(const QByteArray& bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    void send(const QJsonObject& packet)
    {
        sendRaw(QJsonDocument(packet).toJson(QJsonDocument::Compact) + '\n');
    }

    QString sendRequest(const QString& module, const QString& command,
                        const QJsonValue& data = QJsonValue::Undefined)
    {
        const QString id = QStringLiteral("req-%1").arg(++counter);
        QJsonObject packet{{"id", id}, {"module", module}, {"command", command}};
        if (!data.isUndefined())
            packet.insert("data", data);
        send(packet);
        return id;
    }

    // Index in `packets` of the first packet after `from` matching `match`,
    // waiting for it up to the time-out; -1 when it never came.
    int waitFor(const std::function<bool(const QJsonObject&)>& match, int from = 0,
                int timeout = Timeout)
    {
        int found = -1;
        auto look = [&]() {
            for (int i = from; i < packets.size(); ++i) {
                if (match(packets.at(i))) {
                    found = i;
                    return true;
                }
            }
            return false;
        };
        return QTest::qWaitFor(look, timeout) ? found : -1;
    }

    int waitForId(const QString& id, int from = 0)
    {
        return waitFor([&](const QJsonObject& p) { return p.value("id").toString() == id; }, from);
    }

    // Sends a request and returns its answer (empty object on time-out).
    QJsonObject request(const QString& module, const QString& command,
                        const QJsonValue& data = QJsonValue::Undefined)
    {
        const int index = waitForId(sendRequest(module, command, data), packets.size());
        return index < 0 ? QJsonObject() : packets.at(index);
    }

    int countOf(const QString& id) const
    {
        int n = 0;
        for (const QJsonObject& p : packets)
            n += p.value("id").toString() == id;
        return n;
    }

    int countNotifications(const QString& module, const QString& command, int from = 0) const
    {
        int n = 0;
        for (int i = from; i < packets.size(); ++i)
            n += isNotification(packets.at(i), module, command);
        return n;
    }

    static bool isNotification(const QJsonObject& p, const QString& module, const QString& command)
    {
        return !p.contains("id") && p.value("module").toString() == module &&
               p.value("command").toString() == command;
    }

    bool waitForDisconnect()
    {
        return QTest::qWaitFor(
            [this]() { return socket.state() == QAbstractSocket::UnconnectedState; }, Timeout);
    }

    QTcpSocket socket;
    QList<QJsonObject> packets;
    QList<QByteArray> badLines;
    int counter = 0;

private:
    void onReadyRead()
    {
        buffer.append(socket.readAll());
        int nl;
        while ((nl = buffer.indexOf('\n')) >= 0) {
            const QByteArray line = buffer.left(nl);
            buffer.remove(0, nl + 1);
            QJsonParseError error;
            const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
            if (error.error != QJsonParseError::NoError || !doc.isObject() ||
                doc.toJson(QJsonDocument::Compact) != line)
                badLines.append(line);
            else
                packets.append(doc.object());
        }
    }

    QByteArray buffer;
};

} // namespace

class TestRcSimulator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void heartbeatAnswersZarvo();
    void everyCatalogueCommandIsAnswered();
    void badRequestsGetPackageError_data();
    void badRequestsGetPackageError();
    void packetsWithoutIdAreNotAnswered();
    void setParamsComeBackFromGetParams_data();
    void setParamsComeBackFromGetParams();
    void controllerParamsReportTheRobot();
    void stateSwitches_data();
    void stateSwitches();
    void dragNeedsManualModeAndPower_data();
    void dragNeedsManualModeAndPower();
    void safetyStopAndStateFromApiNotify();
    void monitorStreamsAtRoughlyTheRate();
    void monitorRateZeroIsSilent();
    void monitorBurstSendsExactlyN();
    void monitorBurstEndsWhenItsClientGoes();
    void discoveryAnswersWithRealValues();
    void upgradeServerGreetsAndListens();
    void faultNoHeartbeat();
    void faultMissHeartbeats();
    void faultDelay();
    void faultAnswerTwice();
    void faultCloseNow();
    void faultCloseOnRequest();
    void faultMalformedAndUnknownNotify();
    void faultsOnConnect();
    void faultNames_data();
    void faultNames();
    void malformedInputIsSkipped_data();
    void malformedInputIsSkipped();
    void oversizeInputIsDropped();
    void twoClients();
    void simulatorsRunSideBySide();
    void bindFailureLeavesNothingBound();
    void stopDisconnectsClients();

private:
    Client* connectClient();

    RcSimulator* m_sim = nullptr;
    QList<Client*> m_clients;
};

void TestRcSimulator::init()
{
    m_sim = new RcSimulator;
    m_sim->setVerbose(qEnvironmentVariableIsSet("SIM_VERBOSE"));
    m_sim->setAllPorts(0);
    m_sim->setMonitorRate(0);
    QVERIFY2(m_sim->start(), qPrintable(m_sim->errorString()));
    QVERIFY(m_sim->tcpPort() != 0);
}

void TestRcSimulator::cleanup()
{
    qDeleteAll(m_clients);
    m_clients.clear();
    delete m_sim;
    m_sim = nullptr;
}

Client* TestRcSimulator::connectClient()
{
    auto* client = new Client;
    m_clients.append(client);
    const int before = m_sim->clientCount();
    if (!client->connectTo(m_sim->tcpPort()))
        return nullptr;
    // The simulator has seen it too.
    if (!QTest::qWaitFor([&]() { return m_sim->clientCount() > before; }, Timeout))
        return nullptr;
    return client;
}

void TestRcSimulator::heartbeatAnswersZarvo()
{
    Client* c = connectClient();
    QVERIFY(c);
    // The form the HMI sends: a synchronous id, no data.
    c->send(QJsonObject{{"id", "#17#system.controller.heart"},
                        {"module", "system"},
                        {"command", "controller.heart"}});
    const int index = c->waitForId("#17#system.controller.heart");
    QVERIFY(index >= 0);
    const QJsonObject answer = c->packets.at(index);
    QCOMPARE(answer, (QJsonObject{{"id", "#17#system.controller.heart"},
                                  {"data", QJsonObject{{"name", "Zarvo"}}}}));
    QVERIFY(c->badLines.isEmpty());
}

void TestRcSimulator::everyCatalogueCommandIsAnswered()
{
    Client* c = connectClient();
    QVERIFY(c);
    const SimCatalogue& catalogue = m_sim->catalogue();
    const QStringList commands = catalogue.commands();
    QCOMPARE(commands.size(), 120);
    QHash<QString, QString> ids;
    for (const QString& name : commands) {
        const int dot = name.indexOf('.');
        ids.insert(c->sendRequest(name.left(dot), name.mid(dot + 1), catalogue.requestData(name)),
                   name);
    }
    for (auto it = ids.begin(); it != ids.end(); ++it) {
        const int index = c->waitForId(it.key());
        QVERIFY2(index >= 0, qPrintable(it.value()));
        const QJsonObject answer = c->packets.at(index);
        const QString name = it.value();
        QVERIFY2(!answer.contains("error_code"), qPrintable(name));
        const QJsonValue tmpl = catalogue.responseData(name);
        QCOMPARE(answer.contains("data"), !tmpl.isUndefined());
        if (tmpl.isObject()) {
            // Same fields with the same types as the template.
            const QJsonObject data = answer.value("data").toObject();
            QCOMPARE(data.keys(), tmpl.toObject().keys());
            for (const QString& key : data.keys())
                QCOMPARE(data.value(key).type(), tmpl.toObject().value(key).type());
        }
    }
    QVERIFY(c->badLines.isEmpty());
}

void TestRcSimulator::badRequestsGetPackageError_data()
{
    QTest::addColumn<QJsonObject>("request");
    QTest::newRow("unknown command")
        << QJsonObject{{"id", "x"}, {"module", "system"}, {"command", "no_such.thing"}};
    QTest::newRow("unknown module")
        << QJsonObject{{"id", "x"}, {"module", "nowhere"}, {"command", "state.get_motor"}};
    QTest::newRow("no module") << QJsonObject{{"id", "x"}, {"command", "state.get_motor"}};
    QTest::newRow("no command") << QJsonObject{{"id", "x"}, {"module", "system"}};
    QTest::newRow("module not a string")
        << QJsonObject{{"id", "x"}, {"module", 7}, {"command", "state.get_motor"}};
    QTest::newRow("field of wrong type") << QJsonObject{{"id", "x"},
                                                        {"module", "dynamic"},
                                                        {"command", "drag.set_params"},
                                                        {"data", QJsonObject{{"enable", "yes"}}}};
    QTest::newRow("data not an object") << QJsonObject{{"id", "x"},
                                                       {"module", "dynamic"},
                                                       {"command", "drag.set_params"},
                                                       {"data", QJsonArray{1, 2}}};
}

void TestRcSimulator::badRequestsGetPackageError()
{
    QFETCH(QJsonObject, request);
    Client* c = connectClient();
    QVERIFY(c);
    c->send(request);
    const int index = c->waitForId("x");
    QVERIFY(index >= 0);
    QCOMPARE(c->packets.at(index), (QJsonObject{{"id", "x"}, {"error_code", -20000}}));
    // A refused set stores nothing.
    QVERIFY(m_sim->storedData("dynamic.drag.set_params").isEmpty());
    // And the connection goes on.
    QCOMPARE(c->request("system", "controller.heart").value("data").toObject().value("name"),
             QJsonValue("Zarvo"));
}

void TestRcSimulator::packetsWithoutIdAreNotAnswered()
{
    Client* c = connectClient();
    QVERIFY(c);
    QSignalSpy received(m_sim, &RcSimulator::requestReceived);
    c->send(QJsonObject{{"module", "system"}, {"command", "state.get_motor"}});
    // Answers come in order, so the heartbeat's answer proves nothing came
    // for the packet before it.
    const QJsonObject heart = c->request("system", "controller.heart");
    QVERIFY(!heart.isEmpty());
    QCOMPARE(c->packets.size(), 1);
    QCOMPARE(received.size(), 2);
    // Ids of any type come back unchanged.
    c->send(QJsonObject{{"id", 42}, {"module", "system"}, {"command", "controller.heart"}});
    QVERIFY(c->waitFor([](const QJsonObject& p) { return p.value("id") == QJsonValue(42); }) >= 0);
}

void TestRcSimulator::setParamsComeBackFromGetParams_data()
{
    QTest::addColumn<QString>("module");
    QTest::addColumn<QString>("setter");
    QTest::addColumn<QString>("getter");
    QTest::addColumn<QJsonObject>("sent");

    QTest::newRow("drag") << "dynamic"
                          << "drag.set_params"
                          << "drag.get_params"
                          << QJsonObject{{"enable", false}, {"space", 1}, {"type", 2}};
    QTest::newRow("collaboration")
        << "safety"
        << "collaboration.set_params"
        << "collaboration.get_params"
        << QJsonObject{
               {"enable", true}, {"max_speed", 120.5}, {"max_force", 90.0}, {"max_power", 40.0}};
    QTest::newRow("partial rci") << "network"
                                 << "rci.set_params"
                                 << "rci.get_params"
                                 << QJsonObject{{"enable", true}, {"port", 6061}};
    QTest::newRow("other get_/set_ pair")
        << "io"
        << "io_signal.set_input_simu_mode"
        << "io_signal.get_input_simu_mode" << QJsonObject{{"enable", true}};
    QTest::newRow("arrays") << "safety"
                            << "soft_limit.set_params"
                            << "soft_limit.get_params"
                            << QJsonObject{
                                   {"enable", false},
                                   {"upper", QJsonArray{170, 120, 150, 180, 120, 360}},
                                   {"lower", QJsonArray{-170, -120, -150, -180, -120, -360}}};
}

void TestRcSimulator::setParamsComeBackFromGetParams()
{
    QFETCH(QString, module);
    QFETCH(QString, setter);
    QFETCH(QString, getter);
    QFETCH(QJsonObject, sent);
    Client* c = connectClient();
    QVERIFY(c);

    const QString getName = module + "." + getter;
    const QJsonObject before = c->request(module, getter).value("data").toObject();
    QCOMPARE(before, m_sim->catalogue().responseData(getName).toObject());

    const QJsonObject setAnswer = c->request(module, setter, sent);
    QVERIFY(!setAnswer.isEmpty());
    QVERIFY(!setAnswer.contains("error_code"));

    QJsonObject expected = before;
    for (auto it = sent.begin(); it != sent.end(); ++it)
        expected.insert(it.key(), it.value());
    QCOMPARE(c->request(module, getter).value("data").toObject(), expected);
}

void TestRcSimulator::controllerParamsReportTheRobot()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->robot()->setVersion("3.1.4");
    m_sim->robot()->setSerialNumber("SN-4711");
    QJsonObject data = c->request("system", "controller.get_params").value("data").toObject();
    QCOMPARE(data.value("version").toString(), QString("3.1.4"));
    QCOMPARE(data.value("disk_serial_number").toString(), QString("SN-4711"));
    QCOMPARE(data.value("robot_type").toString(), QString("ZR-6"));

    c->request("system", "controller.set_params",
               QJsonObject{{"alias", "cell-7"}, {"auto_load_project", true}});
    data = c->request("system", "controller.get_params").value("data").toObject();
    QCOMPARE(data.value("alias").toString(), QString("cell-7"));
    QCOMPARE(data.value("auto_load_project").toBool(), true);
    QCOMPARE(data.value("version").toString(), QString("3.1.4"));
    QCOMPARE(m_sim->robot()->alias(), QString("cell-7"));
}

void TestRcSimulator::stateSwitches_data()
{
    QTest::addColumn<QString>("estop");   // safety stop before the switch
    QTest::addColumn<QString>("power");   // motor power before the switch
    QTest::addColumn<QString>("state");   // robot state before the switch
    QTest::addColumn<QString>("command"); // system.state.<command>
    QTest::addColumn<int>("code");        // 0: accepted
    QTest::addColumn<QString>("field");   // changed field of the notification
    QTest::addColumn<QString>("value");

    QTest::newRow("motor on") << "NStop"
                              << "off"
                              << "idle"
                              << "switch_motor_on" << 0 << "power"
                              << "on";
    QTest::newRow("motor on in estop") << "EStop"
                                       << "off"
                                       << "idle"
                                       << "switch_motor_on" << -10005 << ""
                                       << "";
    QTest::newRow("motor off") << "NStop"
                               << "on"
                               << "idle"
                               << "switch_motor_off" << 0 << "power"
                               << "off";
    QTest::newRow("motor off while running") << "NStop"
                                             << "on"
                                             << "running"
                                             << "switch_motor_off" << -10004 << ""
                                             << "";
    QTest::newRow("auto") << "NStop"
                          << "off"
                          << "idle"
                          << "switch_auto" << 0 << "operate"
                          << "auto";
    QTest::newRow("auto with motor on") << "NStop"
                                        << "on"
                                        << "idle"
                                        << "switch_auto" << -10002 << ""
                                        << "";
    QTest::newRow("auto while running, motor off") << "NStop"
                                                   << "off"
                                                   << "running"
                                                   << "switch_auto" << -10004 << ""
                                                   << "";
    QTest::newRow("manual when manual") << "NStop"
                                        << "off"
                                        << "idle"
                                        << "switch_manual" << 0 << ""
                                        << "";
}

void TestRcSimulator::stateSwitches()
{
    QFETCH(QString, estop);
    QFETCH(QString, power);
    QFETCH(QString, state);
    QFETCH(QString, command);
    QFETCH(int, code);
    QFETCH(QString, field);
    QFETCH(QString, value);

    SimRobot* robot = m_sim->robot();
    robot->setPower(power);
    robot->setRobotState(state);
    robot->setSafetyStop(estop);
    QCOMPARE(robot->safetyStop(), estop);
    Client* c = connectClient();
    QVERIFY(c);
    const QJsonObject before = robot->stateData();
    QSignalSpy changed(robot, &SimRobot::stateChanged);

    const QString id = c->sendRequest("system", "state." + command);
    const int index = c->waitForId(id);
    QVERIFY(index >= 0);
    const QJsonObject answer = c->packets.at(index);
    if (code == 0) {
        QVERIFY(!answer.contains("error_code"));
    } else {
        QCOMPARE(answer.value("error_code").toInt(), code);
        QCOMPARE(robot->stateData(), before);
    }

    if (field.isEmpty()) {
        QCOMPARE(changed.size(), 0);
        const QJsonObject heart = c->request("system", "controller.heart");
        QVERIFY(!heart.isEmpty());
        QCOMPARE(c->countNotifications("system", "state.change"), 0);
        return;
    }
    // The change follows the answer and carries all four fields.
    const int note = c->waitFor(
        [](const QJsonObject& p) { return Client::isNotification(p, "system", "state.change"); });
    QVERIFY(note > index);
    QJsonObject expected = before;
    expected.insert(field, value);
    QCOMPARE(c->packets.at(note).value("data").toObject(), expected);
    QCOMPARE(changed.size(), 1);

    // The matching get_ answers the new word.
    const QHash<QString, QString> getters{{"power", "state.get_motor"},
                                          {"operate", "state.get_operate"}};
    QCOMPARE(c->request("system", getters.value(field)).value("data").toObject().value(field),
             QJsonValue(value));
}

void TestRcSimulator::dragNeedsManualModeAndPower_data()
{
    QTest::addColumn<QString>("operate");
    QTest::addColumn<QString>("power");
    QTest::addColumn<QString>("state");
    QTest::addColumn<int>("code");
    QTest::newRow("ready") << "manual"
                           << "on"
                           << "idle" << 0;
    QTest::newRow("auto") << "auto"
                          << "on"
                          << "idle" << -10002;
    QTest::newRow("motor off") << "manual"
                               << "off"
                               << "idle" << -10003;
    QTest::newRow("running") << "manual"
                             << "on"
                             << "running" << -10004;
}

void TestRcSimulator::dragNeedsManualModeAndPower()
{
    QFETCH(QString, operate);
    QFETCH(QString, power);
    QFETCH(QString, state);
    QFETCH(int, code);
    m_sim->robot()->setOperate(operate);
    m_sim->robot()->setPower(power);
    m_sim->robot()->setRobotState(state);
    Client* c = connectClient();
    QVERIFY(c);
    const QJsonObject answer = c->request("dynamic", "drag.set_params",
                                          QJsonObject{{"enable", true}, {"space", 0}, {"type", 0}});
    QVERIFY(!answer.isEmpty());
    QCOMPARE(answer.value("error_code").toInt(), code);
    QCOMPARE(answer.contains("error_code"), code != 0);
    if (code != 0) {
        QVERIFY(!m_sim->catalogue()
                     .errorTable("dynamic.drag.set_params")
                     .value(QString::number(-code))
                     .isUndefined());
    }
    // Switching drag off is always allowed.
    QVERIFY(!c->request("dynamic", "drag.set_params", QJsonObject{{"enable", false}})
                 .contains("error_code"));
}

void TestRcSimulator::safetyStopAndStateFromApiNotify()
{
    Client* c = connectClient();
    Client* d = connectClient();
    QVERIFY(c && d);
    SimRobot* robot = m_sim->robot();
    QVERIFY(!c->request("system", "state.switch_motor_on").contains("error_code"));
    robot->setRobotState("running");
    auto running = [](const QJsonObject& p) {
        return Client::isNotification(p, "system", "state.change") &&
               p.value("data").toObject().value("robot_state") == QJsonValue("running");
    };
    QVERIFY(c->waitFor(running) >= 0);

    const int from = c->packets.size();
    robot->setSafetyStop("EStop");
    auto stopped = [](const QJsonObject& p) {
        return Client::isNotification(p, "system", "state.change") &&
               p.value("data").toObject().value("safety_stop") == QJsonValue("EStop");
    };
    for (Client* client : {c, d}) {
        const int note = client->waitFor(stopped);
        QVERIFY(note >= 0);
        // A stop cuts the power and ends running.
        QCOMPARE(client->packets.at(note).value("data").toObject(),
                 (QJsonObject{{"operate", "manual"},
                              {"robot_state", "idle"},
                              {"power", "off"},
                              {"safety_stop", "EStop"}}));
    }
    QCOMPARE(c->countNotifications("system", "state.change", from), 1);
    QCOMPARE(c->request("system", "state.get_safety_stop").value("data").toObject(),
             (QJsonObject{{"safety_stop", "EStop"}}));
    QCOMPARE(c->request("system", "state.switch_motor_on").value("error_code").toInt(), -10005);

    robot->setSafetyStop("NStop");
    QVERIFY(c->waitFor([](const QJsonObject& p) {
        return Client::isNotification(p, "system", "state.change") &&
               p.value("data").toObject().value("safety_stop") == QJsonValue("NStop");
    }) >= 0);
    QVERIFY(!c->request("system", "state.switch_motor_on").contains("error_code"));

    robot->setRobotState("running");
    QCOMPARE(c->request("system", "state.get_robot_state").value("data").toObject(),
             (QJsonObject{{"robot_state", "running"}}));
}

void TestRcSimulator::monitorStreamsAtRoughlyTheRate()
{
    Client* c = connectClient();
    QVERIFY(c);
    QElapsedTimer clock;
    clock.start();
    m_sim->setMonitorRate(100);
    const int wanted = 30;
    QVERIFY(QTest::qWaitFor(
        [&]() { return c->countNotifications("motion", "move.monitor") >= wanted; }, 10000));
    const qint64 elapsed = clock.elapsed();
    const int count = c->countNotifications("motion", "move.monitor");
    // Not a 1 kHz stream: at 100 Hz no more than one frame per 10 ms (plus slack).
    QVERIFY2(count <= elapsed / 10 * 3 / 2 + 10,
             qPrintable(QString("%1 frames in %2 ms").arg(count).arg(elapsed)));

    QList<QJsonObject> frames;
    for (const QJsonObject& p : qAsConst(c->packets))
        if (Client::isNotification(p, "motion", "move.monitor"))
            frames << p.value("data").toObject();
    const QHash<QString, int> sizes{
        {"joint", 6}, {"position", 3}, {"euler", 3}, {"quaternion", 4}, {"torque", 6}};
    for (auto it = sizes.begin(); it != sizes.end(); ++it) {
        const QJsonArray array = frames.first().value(it.key()).toArray();
        QCOMPARE(array.size(), it.value());
        for (const QJsonValue& v : array)
            QVERIFY(v.isDouble());
    }
    QVERIFY(frames.first().value("elb").isDouble());
    // The pose moves, and the quaternion is a unit one.
    QVERIFY(frames.first().value("joint") != frames.last().value("joint"));
    double norm = 0;
    for (const QJsonValue& v : frames.last().value("quaternion").toArray())
        norm += v.toDouble() * v.toDouble();
    QVERIFY(qAbs(norm - 1.0) < 1e-5);
    QVERIFY(c->badLines.isEmpty());
}

void TestRcSimulator::monitorRateZeroIsSilent()
{
    Client* c = connectClient();
    QVERIFY(c);
    QSignalSpy readable(&c->socket, &QTcpSocket::readyRead);
    QVERIFY(!readable.wait(300));
    QCOMPARE(c->packets.size(), 0);

    m_sim->setMonitorRate(50);
    QVERIFY(c->waitFor([](const QJsonObject& p) {
        return Client::isNotification(p, "motion", "move.monitor");
    }) >= 0);
    m_sim->setMonitorRate(0);
    QCOMPARE(m_sim->monitorRate(), 0);
    // Whatever was in flight arrives before this answer; nothing after it.
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
    const int settled = c->packets.size();
    QVERIFY(!readable.wait(300));
    QCOMPARE(c->packets.size(), settled);
}

void TestRcSimulator::monitorBurstSendsExactlyN()
{
    Client* c = connectClient();
    QVERIFY(c);
    QSignalSpy finished(m_sim, &RcSimulator::burstFinished);
    const int n = 20000; // several megabytes: more than one socket buffer
    QCOMPARE(m_sim->sendMonitorBurst(n), 1);
    QVERIFY(QTest::qWaitFor([&]() { return c->countNotifications("motion", "move.monitor") >= n; },
                            30000));
    QVERIFY(finished.size() == 1 || finished.wait(Timeout));
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
    QCOMPARE(c->countNotifications("motion", "move.monitor"), n);
    QVERIFY(c->badLines.isEmpty());
    QCOMPARE(finished.size(), 1);
}

void TestRcSimulator::monitorBurstEndsWhenItsClientGoes()
{
    QCOMPARE(m_sim->sendMonitorBurst(10), 0); // nobody to send to
    QTcpSocket stalled;
    // A client that stops reading: the burst fills the socket and waits.
    stalled.setReadBufferSize(1024);
    stalled.connectToHost(QHostAddress::LocalHost, m_sim->tcpPort());
    QVERIFY(stalled.waitForConnected(Timeout));
    QVERIFY(QTest::qWaitFor([&]() { return m_sim->clientCount() == 1; }, Timeout));
    QSignalSpy finished(m_sim, &RcSimulator::burstFinished);
    QCOMPARE(m_sim->sendMonitorBurst(1000000), 1);
    QVERIFY(!finished.wait(300));
    m_sim->injectFault(Fault::CloseNow);
    QVERIFY(finished.wait(Timeout));
    QVERIFY(QTest::qWaitFor([&]() { return m_sim->clientCount() == 0; }, Timeout));
}

void TestRcSimulator::discoveryAnswersWithRealValues()
{
    m_sim->robot()->setAlias("line-3");
    QUdpSocket udp;
    QVERIFY(udp.bind(QHostAddress::LocalHost, 0));
    const QHostAddress sim(QHostAddress::LocalHost);
    // Something else first: ignored.
    udp.writeDatagram("{\"module\":\"system\",\"command\":\"state.get_motor\"}\n", sim,
                      m_sim->discoveryPort());
    udp.writeDatagram("not json", sim, m_sim->discoveryPort());
    udp.writeDatagram("{\"module\":\"system\",\"command\":\"controller.detect\"}\n", sim,
                      m_sim->discoveryPort());
    QVERIFY(QTest::qWaitFor([&]() { return udp.hasPendingDatagrams(); }, Timeout));
    const QNetworkDatagram datagram = udp.receiveDatagram();
    QCOMPARE(quint16(datagram.senderPort()), m_sim->discoveryPort());
    const QJsonObject answer = QJsonDocument::fromJson(datagram.data()).object();
    QCOMPARE(answer.value("module").toString(), QString("system"));
    QCOMPARE(answer.value("command").toString(), QString("controller.detect"));
    QVERIFY(!answer.contains("id"));
    const QJsonObject data = answer.value("data").toObject();
    QCOMPARE(data.value("addr_list").toArray(), QJsonArray{"127.0.0.1"});
    QCOMPARE(data.value("tcp_port").toString(), QString::number(m_sim->tcpPort()));
    QCOMPARE(data.value("udp_local_port").toString(), QString::number(m_sim->discoveryPort()));
    QCOMPARE(data.value("udp_remote_port").toString(), QString::number(udp.localPort()));
    QCOMPARE(data.value("version").toString(), QString("2.10.0.7"));
    QCOMPARE(data.value("robot_type").toString(), QString("ZR-6"));
    QCOMPARE(data.value("alias").toString(), QString("line-3"));
    // Every field of the template, each a string except the address list.
    const QJsonObject tmpl = m_sim->catalogue().notifyData("system.controller.detect").toObject();
    QCOMPARE(data.keys(), tmpl.keys());
    for (const QString& key : data.keys())
        QCOMPARE(data.value(key).type(), tmpl.value(key).type());
    // Only one answer: the other datagrams were ignored.
    QVERIFY(!QTest::qWaitFor([&]() { return udp.hasPendingDatagrams(); }, 200));
}

void TestRcSimulator::upgradeServerGreetsAndListens()
{
    QUdpSocket udp;
    QVERIFY(udp.bind(QHostAddress::LocalHost, 0));
    const QHostAddress sim(QHostAddress::LocalHost);
    udp.writeDatagram("{\"greet\":\"hi\",\"my_name\":\"HMI\"}", sim, m_sim->upgradeUdpPort());
    udp.writeDatagram("{\"greet\":\"hello\",\"my_name\":\"HMI\"}", sim, m_sim->upgradeUdpPort());
    QVERIFY(QTest::qWaitFor([&]() { return udp.hasPendingDatagrams(); }, Timeout));
    const QNetworkDatagram datagram = udp.receiveDatagram();
    QCOMPARE(QJsonDocument::fromJson(datagram.data()).object(),
             (QJsonObject{{"my_name", "RC"}, {"reply", "welcome"}}));
    QVERIFY(!QTest::qWaitFor([&]() { return udp.hasPendingDatagrams(); }, 200));

    QSignalSpy accepted(m_sim, &RcSimulator::upgradeClientConnected);
    QTcpSocket tcp;
    tcp.connectToHost(QHostAddress::LocalHost, m_sim->upgradeTcpPort());
    QVERIFY(tcp.waitForConnected(Timeout));
    QVERIFY(accepted.wait(Timeout));
    tcp.write("anything at all\n");
    // It idles: no answer, no hang-up.
    QVERIFY(!tcp.waitForReadyRead(200));
    QCOMPARE(tcp.state(), QAbstractSocket::ConnectedState);
}

void TestRcSimulator::faultNoHeartbeat()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::NoHeartbeat);
    QVERIFY(m_sim->hasFault(Fault::NoHeartbeat));
    const QString beat = c->sendRequest("system", "controller.heart");
    // Answers keep their order, so once this one is here the heartbeat's
    // would have been too.
    QVERIFY(!c->request("system", "state.get_motor").isEmpty());
    QCOMPARE(c->countOf(beat), 0);

    m_sim->clearFault(Fault::NoHeartbeat);
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
}

void TestRcSimulator::faultMissHeartbeats()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::MissHeartbeats, 2);
    const QString first = c->sendRequest("system", "controller.heart");
    const QString second = c->sendRequest("system", "controller.heart");
    const QString third = c->sendRequest("system", "controller.heart");
    QVERIFY(!c->request("system", "state.get_motor").isEmpty());
    QCOMPARE(c->countOf(first), 0);
    QCOMPARE(c->countOf(second), 0);
    QCOMPARE(c->countOf(third), 1);
    QVERIFY(!m_sim->hasFault(Fault::MissHeartbeats));
}

void TestRcSimulator::faultDelay()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::Delay, 300);
    QCOMPARE(m_sim->faultParameter(Fault::Delay), 300);
    QElapsedTimer clock;
    clock.start();
    const QString a = c->sendRequest("system", "controller.heart");
    const QString b = c->sendRequest("system", "state.switch_motor_on");
    const QString d = c->sendRequest("system", "state.get_motor");
    const int last = c->waitForId(d);
    QVERIFY(last >= 0);
    QVERIFY2(clock.elapsed() >= 250, qPrintable(QString::number(clock.elapsed())));
    // Order is kept, and the change still follows its answer.
    const int ia = c->waitForId(a), ib = c->waitForId(b);
    QVERIFY(ia >= 0 && ia < ib && ib < last);
    QCOMPARE(c->packets.at(ib + 1).value("command").toString(), QString("state.change"));
    QCOMPARE(c->packets.at(last).value("data").toObject().value("power").toString(), QString("on"));

    m_sim->injectFault(Fault::Delay, 0);
    QVERIFY(!m_sim->hasFault(Fault::Delay));
}

void TestRcSimulator::faultAnswerTwice()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::AnswerTwice);
    const QString id = c->sendRequest("system", "state.get_operate");
    QVERIFY(c->waitFor([&](const QJsonObject&) { return c->countOf(id) == 2; }) >= 0);
    const int first = c->waitForId(id);
    QCOMPARE(c->packets.at(first), c->packets.at(first + 1));
}

void TestRcSimulator::faultCloseNow()
{
    Client* c = connectClient();
    Client* d = connectClient();
    QVERIFY(c && d);
    QSignalSpy gone(m_sim, &RcSimulator::clientDisconnected);
    m_sim->injectFault(Fault::CloseNow);
    QVERIFY(c->waitForDisconnect());
    QVERIFY(d->waitForDisconnect());
    QVERIFY(QTest::qWaitFor([&]() { return gone.size() == 2; }, Timeout));
    QCOMPARE(m_sim->clientCount(), 0);
    QVERIFY(!m_sim->hasFault(Fault::CloseNow));
    // Not kept: the next client is served.
    Client* e = connectClient();
    QVERIFY(e);
    QVERIFY(!e->request("system", "controller.heart").isEmpty());
}

void TestRcSimulator::faultCloseOnRequest()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::CloseOnRequest, 1);
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
    const QString id = c->sendRequest("system", "controller.heart");
    QVERIFY(c->waitForDisconnect());
    QCOMPARE(c->countOf(id), 0);
    QVERIFY(!m_sim->hasFault(Fault::CloseOnRequest));
    Client* d = connectClient();
    QVERIFY(d);
    QVERIFY(!d->request("system", "controller.heart").isEmpty());
}

void TestRcSimulator::faultMalformedAndUnknownNotify()
{
    Client* c = connectClient();
    QVERIFY(c);
    m_sim->injectFault(Fault::Malformed);
    m_sim->injectFault(Fault::UnknownNotify);
    QVERIFY(QTest::qWaitFor(
        [&]() { return c->countNotifications("zarvo_sim", "unknown.command") == 1; }, Timeout));
    QVERIFY(c->badLines.size() >= 4);
    QVERIFY(!m_sim->catalogue().contains("zarvo_sim.unknown.command"));
    QCOMPARE(c->socket.state(), QAbstractSocket::ConnectedState);
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
}

void TestRcSimulator::faultsOnConnect()
{
    m_sim->setConnectFault(Fault::UnknownNotify, true);
    Client* c = connectClient();
    QVERIFY(c);
    QVERIFY(c->waitFor([](const QJsonObject& p) {
        return Client::isNotification(p, "zarvo_sim", "unknown.command");
    }) >= 0);

    m_sim->setConnectFault(Fault::CloseNow, true);
    Client* d = new Client;
    m_clients << d;
    QVERIFY(d->connectTo(m_sim->tcpPort()));
    QVERIFY(d->waitForDisconnect());

    m_sim->clearFaults();
    Client* e = connectClient();
    QVERIFY(e);
    QVERIFY(!e->request("system", "controller.heart").isEmpty());
    QCOMPARE(e->countNotifications("zarvo_sim", "unknown.command"), 0);
}

void TestRcSimulator::faultNames_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("fault");
    QTest::addColumn<int>("parameter");
    QTest::newRow("plain") << "no-heartbeat" << true << int(Fault::NoHeartbeat) << 0;
    QTest::newRow("colon") << "miss-heartbeats:3" << true << int(Fault::MissHeartbeats) << 3;
    QTest::newRow("equals") << "delay=250" << true << int(Fault::Delay) << 250;
    QTest::newRow("case") << "Answer-Twice" << true << int(Fault::AnswerTwice) << 0;
    QTest::newRow("close") << "close-on-request:2" << true << int(Fault::CloseOnRequest) << 2;
    QTest::newRow("unknown") << "explode" << false << 0 << 0;
    QTest::newRow("bad parameter") << "delay:soon" << false << 0 << 0;
    QTest::newRow("negative") << "delay:-5" << false << 0 << 0;
}

void TestRcSimulator::faultNames()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(int, fault);
    QFETCH(int, parameter);
    Fault parsed = Fault::CloseNow;
    int value = -1;
    QCOMPARE(RcSimulator::parseFault(text, &parsed, &value), valid);
    if (valid) {
        QCOMPARE(int(parsed), fault);
        QCOMPARE(value, parameter);
    }
    // Every mode has a distinct name that reads back.
    const QStringList names = RcSimulator::faultNames();
    QCOMPARE(names.size(), 8);
    for (const QString& name : names) {
        Fault f;
        QVERIFY(RcSimulator::faultFromName(name, &f));
        QCOMPARE(RcSimulator::faultName(f), name);
    }
}

void TestRcSimulator::malformedInputIsSkipped_data()
{
    const QByteArray heart =
        "{\"id\":\"h\",\"module\":\"system\",\"command\":\"controller.heart\"}";
    QTest::addColumn<QList<QByteArray>>("chunks"); // written one after another
    QTest::addColumn<int>("answers");              // answers to "h" expected

    QTest::newRow("plain line") << QList<QByteArray>{heart + "\n"} << 1;
    QTest::newRow("crlf") << QList<QByteArray>{heart + "\r\n"} << 1;
    QTest::newRow("back to back") << QList<QByteArray>{heart + heart + "\n"} << 2;
    QTest::newRow("blank lines") << QList<QByteArray>{"\n\r\n  \n" + heart + "\n\n"} << 1;
    QTest::newRow("split in three")
        << QList<QByteArray>{heart.left(10), heart.mid(10, 20), heart.mid(30) + "\n"} << 1;
    QTest::newRow("garbage line") << QList<QByteArray>{"hello there\n" + heart + "\n"} << 1;
    QTest::newRow("garbage glued") << QList<QByteArray>{"xx" + heart + "\n"} << 1;
    QTest::newRow("object cut by newline")
        << QList<QByteArray>{"{\"id\":\"h\",\"module\":\n" + heart + "\n"} << 1;
    QTest::newRow("unparsable object") << QList<QByteArray>{"{\"id\":,}\n" + heart + "\n"} << 1;
    QTest::newRow("array") << QList<QByteArray>{"[1,2,3]\n" + heart + "\n"} << 1;
    QTest::newRow("stray braces") << QList<QByteArray>{"}}]\n" + heart + "\n"} << 1;
    QTest::newRow("braces in strings")
        << QList<QByteArray>{"{\"id\":\"h\",\"module\":\"system\",\"command\":\"controller.heart\","
                             "\"data\":{\"note\":\"}{\\\"\"}}\n"}
        << 1;
    QTest::newRow("binary") << QList<QByteArray>{QByteArray("\x00\xff\xfe{\x01\n", 7), heart + "\n"}
                            << 1;
}

void TestRcSimulator::malformedInputIsSkipped()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(int, answers);
    Client* c = connectClient();
    QVERIFY(c);
    for (const QByteArray& chunk : chunks) {
        c->sendRaw(chunk);
        QVERIFY(c->socket.waitForBytesWritten(Timeout) || c->socket.bytesToWrite() == 0);
        // Give each chunk a chance to arrive on its own; the result must not
        // depend on whether it does.
        QTest::qWait(1);
    }
    QVERIFY(QTest::qWaitFor([&]() { return c->countOf("h") >= answers; }, Timeout));
    // Still alive and in step: a fresh request gets its own answer.
    QVERIFY(!c->request("system", "state.get_motor").isEmpty());
    QCOMPARE(c->countOf("h"), answers);
    QVERIFY(c->badLines.isEmpty());
}

void TestRcSimulator::oversizeInputIsDropped()
{
    Client* c = connectClient();
    QVERIFY(c);
    QSignalSpy malformed(m_sim, &RcSimulator::malformedReceived);
    // An object that never closes, far past any sane packet size.
    QByteArray huge = "{\"id\":\"big\",\"data\":\"";
    huge.append(QByteArray(6 * 1024 * 1024, 'a'));
    c->sendRaw(huge);
    c->sendRaw("\n");
    QVERIFY(!c->request("system", "controller.heart").isEmpty());
    QCOMPARE(c->countOf("big"), 0);
    QVERIFY(malformed.size() >= 1);
}

void TestRcSimulator::twoClients()
{
    Client* c = connectClient();
    Client* d = connectClient();
    QVERIFY(c && d);
    QCOMPARE(m_sim->clientCount(), 2);
    const QString idC = c->sendRequest("system", "state.get_operate");
    const QString idD = d->sendRequest("system", "state.get_motor");
    QVERIFY(c->waitForId(idC) >= 0);
    QVERIFY(d->waitForId(idD) >= 0);
    // Both ids carry the same counter value, so check the content too.
    QVERIFY(c->packets.first().value("data").toObject().contains("operate"));
    QVERIFY(d->packets.first().value("data").toObject().contains("power"));

    QVERIFY(!c->request("system", "state.switch_motor_on").contains("error_code"));
    QVERIFY(d->waitFor([](const QJsonObject& p) {
        return Client::isNotification(p, "system", "state.change");
    }) >= 0);

    c->socket.disconnectFromHost();
    QVERIFY(QTest::qWaitFor([&]() { return m_sim->clientCount() == 1; }, Timeout));
    QVERIFY(!d->request("system", "controller.heart").isEmpty());
}

void TestRcSimulator::simulatorsRunSideBySide()
{
    RcSimulator other;
    other.setAllPorts(0);
    other.setMonitorRate(0);
    QVERIFY(other.start());
    QVERIFY(other.tcpPort() != m_sim->tcpPort());
    QVERIFY(other.discoveryPort() != m_sim->discoveryPort());
    other.robot()->setSafetyStop("EStop");

    Client a;
    Client b;
    QVERIFY(a.connectTo(m_sim->tcpPort()));
    QVERIFY(b.connectTo(other.tcpPort()));
    QCOMPARE(
        a.request("system", "state.get_safety_stop").value("data").toObject().value("safety_stop"),
        QJsonValue("NStop"));
    QCOMPARE(
        b.request("system", "state.get_safety_stop").value("data").toObject().value("safety_stop"),
        QJsonValue("EStop"));
}

void TestRcSimulator::bindFailureLeavesNothingBound()
{
    RcSimulator clash;
    clash.setAllPorts(0);
    clash.setDiscoveryPort(m_sim->discoveryPort()); // taken
    QVERIFY(!clash.start());
    QVERIFY(clash.errorString().contains(QString::number(m_sim->discoveryPort())));
    QVERIFY(!clash.isRunning());
    QCOMPARE(clash.tcpPort(), quint16(0));
    QCOMPARE(clash.discoveryPort(), quint16(0));

    clash.setDiscoveryPort(0);
    QVERIFY(clash.start());
    QVERIFY(clash.isRunning());
}

void TestRcSimulator::stopDisconnectsClients()
{
    Client* c = connectClient();
    QVERIFY(c);
    QSignalSpy gone(m_sim, &RcSimulator::clientDisconnected);
    m_sim->stop();
    QVERIFY(!m_sim->isRunning());
    QCOMPARE(m_sim->tcpPort(), quint16(0));
    QCOMPARE(gone.size(), 1);
    QVERIFY(c->waitForDisconnect());
    // A restart binds afresh.
    QVERIFY(m_sim->start());
    Client* d = connectClient();
    QVERIFY(d);
    QVERIFY(!d->request("system", "controller.heart").isEmpty());
}

QTEST_GUILESS_MAIN(TestRcSimulator)
#include "tst_rcsimulator.moc"
