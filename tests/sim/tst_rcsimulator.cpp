#include "rcsimulator.h"
#include "simcatalogue.h"
#include "simrobot.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

using zarvo::sim::RcSimulator;
using zarvo::sim::SimRobot;
using Fault = RcSimulator::Fault;
using Match = std::function<bool(const QJsonObject&)>;

namespace {

constexpr int Timeout = 5000;

Match idIs(const QJsonValue& id)
{
    return [id](const QJsonObject& p) { return p.value("id") == id; };
}

Match noteOf(const QString& module, const QString& command)
{
    return [=](const QJsonObject& p) {
        return !p.contains("id") && p.value("module") == module && p.value("command") == command;
    };
}

// A bare protocol client; every line it gets must be one compact JSON object.
class Client : public QObject
{
public:
    explicit Client(quint16 port)
    {
        connect(&socket, &QTcpSocket::readyRead, this, [this]() {
            buffer.append(socket.readAll());
            for (int nl; (nl = buffer.indexOf('\n')) >= 0; buffer.remove(0, nl + 1)) {
                const QJsonDocument doc = QJsonDocument::fromJson(buffer.left(nl));
                if (doc.isObject() && doc.toJson(QJsonDocument::Compact) == buffer.left(nl))
                    packets.append(doc.object());
                else
                    ++badLines;
            }
        });
        socket.connectToHost(QHostAddress::LocalHost, port);
    }

    QString send(const QString& fullName, const QJsonValue& data = QJsonValue::Undefined)
    {
        const QString id = QStringLiteral("req-%1").arg(++counter);
        QJsonObject packet{{"id", id}, {"module", fullName.section('.', 0, 0)}, {"data", data}};
        packet.insert("command", fullName.section('.', 1));
        socket.write(QJsonDocument(packet).toJson(QJsonDocument::Compact) + '\n');
        return id;
    }

    // Index of the first packet that matches; -1 on time-out.
    int waitFor(const Match& match)
    {
        auto find = [&]() {
            return int(std::find_if(packets.begin(), packets.end(), match) - packets.begin());
        };
        return QTest::qWaitFor([&]() { return find() < packets.size(); }, Timeout) ? find() : -1;
    }

    // The answer to a fresh request; empty on time-out. Answers keep the order
    // of their requests, so anything due before it has come once it is here.
    QJsonObject request(const QString& fullName, const QJsonValue& data = QJsonValue::Undefined)
    {
        const int index = waitFor(idIs(send(fullName, data)));
        return index < 0 ? QJsonObject() : packets.at(index);
    }

    bool alive() { return !request("system.controller.heart").isEmpty(); }
    int count(const Match& m) const { return std::count_if(packets.begin(), packets.end(), m); }

    QTcpSocket socket;
    QList<QJsonObject> packets;
    int badLines = 0;

private:
    QByteArray buffer;
    int counter = 0;
};

} // namespace

class TestRcSimulator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_sim.reset(); }

    void answersEveryCommand();
    void badInputIsSurvived_data();
    void badInputIsSurvived();
    void stateChanges_data();
    void stateChanges();
    void jogMovesOneJoint_data();
    void jogMovesOneJoint();
    void monitorStreamsAtTheRateAndStops();
    void monitorBurstEndsWhenItsClientGoes();
    void faults_data();
    void faults();

private:
    std::unique_ptr<RcSimulator> m_sim;
};

void TestRcSimulator::init()
{
    m_sim = std::make_unique<RcSimulator>();
    m_sim->setAllPorts(0);
    m_sim->setMonitorRate(0);
    QVERIFY2(m_sim->start(), qPrintable(m_sim->errorString()));
}

void TestRcSimulator::answersEveryCommand()
{
    // Every command gets its template's fields with their types; the heartbeat's answer is
    // pinned by the garbage case.
    Client c(m_sim->tcpPort());
    const auto& catalogue = m_sim->catalogue();
    QHash<QString, QString> ids;
    // A jog needs the motor on, which is tried on its own.
    for (const QString& name : catalogue.commands())
        if (name != "motion.jog.start")
            ids.insert(c.send(name, catalogue.requestData(name)), name);
    for (auto it = ids.begin(); it != ids.end(); ++it) {
        const int i = c.waitFor(idIs(it.key()));
        QVERIFY2(i >= 0 && !c.packets.at(i).contains("error_code"), qPrintable(it.value()));
        const QJsonValue tmpl = catalogue.responseData(it.value());
        const QJsonObject data = c.packets.at(i).value("data").toObject();
        QCOMPARE(data.keys(), tmpl.toObject().keys());
        for (const QString& key : data.keys())
            QCOMPARE(data.value(key).type(), tmpl.toObject().value(key).type());
    }
    QCOMPARE(c.badLines, 0);

    // A set is kept over the template, also when partial, and its get answers it.
    const QJsonObject drag{{"enable", false}, {"space", 1}, {"type", 2}};
    const QJsonObject port{{"port", 6061}};
    QJsonObject rci = catalogue.responseData("network.rci.get_params").toObject();
    rci.insert("port", 6061);
    QVERIFY(!c.request("dynamic.drag.set_params", drag).contains("error_code"));
    QVERIFY(!c.request("network.rci.set_params", port).contains("error_code"));
    QCOMPARE(c.request("dynamic.drag.get_params").value("data"), QJsonValue(drag));
    QCOMPARE(c.request("network.rci.get_params").value("data"), QJsonValue(rci));
}

void TestRcSimulator::badInputIsSurvived_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QJsonObject>("answer"); // to id "x"; empty: none
    const QByteArray heart =
        "{\"id\":\"x\",\"module\":\"system\",\"command\":\"controller.heart\"}";
    const QJsonObject refused{{"id", "x"}, {"error_code", -20000}};
    QTest::newRow("garbage of every kind")
        << "hello\n}}]\n[1,2]\n{\"id\":,}\n{\"id\":\"x\",\"module\":\n" +
               QByteArray("\x00\xff{\x01\n", 5) + "xx" + heart + "\r\n"
        << QJsonObject{{"id", "x"}, {"data", QJsonObject{{"name", "Zarvo"}}}};
    QTest::newRow("oversize") << "{\"id\":\"x\",\"data\":\"" + QByteArray(6 << 20, 'a') + "\n"
                              << QJsonObject();
    QTest::newRow("unknown command")
        << QByteArray("{\"id\":\"x\",\"module\":\"system\",\"command\":\"no_such.thing\"}\n")
        << refused;
    QTest::newRow("field of wrong type")
        << QByteArray("{\"id\":\"x\",\"module\":\"dynamic\",\"command\":\"drag.set_params\","
                      "\"data\":{\"enable\":\"yes\"}}\n")
        << refused;
}

void TestRcSimulator::badInputIsSurvived()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QJsonObject, answer);
    Client c(m_sim->tcpPort());
    c.socket.write(bytes);
    QVERIFY(c.alive()); // still in step: a fresh request gets its own answer
    QCOMPARE(c.count(idIs("x")), answer.isEmpty() ? 0 : 1);
    if (!answer.isEmpty())
        QCOMPARE(c.packets.at(c.waitFor(idIs("x"))), answer);
    QVERIFY(m_sim->storedData("dynamic.drag.set_params").isEmpty()); // refused sets store nothing
    QCOMPARE(c.badLines, 0);
}

void TestRcSimulator::stateChanges_data()
{
    QTest::addColumn<QString>("before"); // operate, power, robot state, safety stop
    QTest::addColumn<QString>("action"); // a request, or a safety stop raised at the cell
    QTest::addColumn<int>("code");       // of the answer
    QTest::addColumn<QString>("after");
    auto row = [](const char* before, const char* action, int code, const char* after = nullptr) {
        QTest::newRow(qPrintable(QString(action) + ", " + before))
            << QString(before) << QString(action) << code << QString(after ? after : before);
    };
    row("manual off idle NStop", "system.state.switch_motor_on", 0, "manual on idle NStop");
    row("manual off idle EStop", "system.state.switch_motor_on", -10005);
    row("manual on idle NStop", "system.state.switch_motor_off", 0, "manual off idle NStop");
    row("manual on running NStop", "system.state.switch_motor_off", -10004);
    row("manual off idle NStop", "system.state.switch_auto", 0, "auto off idle NStop");
    row("manual on idle NStop", "system.state.switch_auto", -10002);
    row("manual off idle NStop", "system.state.switch_manual", 0);
    row("auto on idle NStop", "dynamic.drag.set_params", -10002);
    row("manual off idle EStop", "robot.servo.clear_alarm", 0, "manual off idle NStop");
    row("manual off idle NStop", "robot.servo.clear_alarm", 0);
    // A stop cuts the power and ends running, in one notification.
    row("manual on running NStop", "EStop", 0, "manual off idle EStop");
}

void TestRcSimulator::stateChanges()
{
    QFETCH(QString, before);
    QFETCH(QString, action);
    QFETCH(int, code);
    QFETCH(QString, after);
    const QStringList fields{"operate", "power", "robot_state", "safety_stop"};
    auto state = [&](const QString& words) {
        QJsonObject object;
        for (int i = 0; i < fields.size(); ++i)
            object.insert(fields.at(i), words.section(' ', i, i));
        return object;
    };
    SimRobot* robot = m_sim->robot();
    robot->setOperate(before.section(' ', 0, 0));
    robot->setPower(before.section(' ', 1, 1));
    robot->setRobotState(before.section(' ', 2, 2));
    robot->setSafetyStop(before.section(' ', 3, 3));
    Client c(m_sim->tcpPort()), other(m_sim->tcpPort());
    QVERIFY(c.alive() && other.alive());
    int answer = -1;
    if (action.contains('.')) {
        const QJsonObject drag{{"enable", true}, {"space", 0}, {"type", 0}};
        const QJsonObject reply = c.request(action, action.contains("drag") ? drag : QJsonObject());
        QCOMPARE(reply.value("error_code").toInt(), code);
        QCOMPARE(reply.contains("error_code"), code != 0);
        answer = c.packets.indexOf(reply);
    } else {
        robot->setSafetyStop(action);
    }
    QVERIFY(c.alive()); // a change would be announced before this answer
    QCOMPARE(robot->stateData(), state(after));
    const Match change = noteOf("system", "state.change");
    QCOMPARE(c.count(change), before == after ? 0 : 1);
    if (before == after)
        return;
    // Every client hears of it, after the answer, with all four fields.
    for (Client* client : {&c, &other}) {
        const int note = client->waitFor(change);
        QVERIFY(note >= 0 && (client != &c || note > answer));
        QCOMPARE(client->packets.at(note).value("data").toObject(), state(after));
    }
}

void TestRcSimulator::jogMovesOneJoint_data()
{
    QTest::addColumn<QString>("state"); // operate, power, robot state, safety stop
    QTest::addColumn<int>("axis");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("end"); // a request, "EStop" raised at the cell, or "" (time-out)
    auto row = [](const char* name, const char* state, int axis, int direction, int code,
                  const char* end = "") {
        QTest::newRow(name) << QString(state) << axis << direction << code << QString(end);
    };
    row("until stopped", "manual on idle NStop", 1, 1, 0, "motion.move.stop");
    row("until the key is let go", "manual on idle NStop", 5, -1, 0);
    row("until a safety stop", "manual on idle NStop", 0, 1, 0, "EStop");
    row("motor off", "manual off idle NStop", 0, 1, -10002);
    row("auto mode", "auto on idle NStop", 0, 1, -10001);
    row("running", "manual on running NStop", 0, 1, -10004);
    row("safety stop", "manual off idle EStop", 0, 1, -10005);
    row("no such axis", "manual on idle NStop", 6, 1, -20000);
}

void TestRcSimulator::jogMovesOneJoint()
{
    QFETCH(QString, state);
    QFETCH(int, axis);
    QFETCH(int, direction);
    QFETCH(int, code);
    QFETCH(QString, end);
    SimRobot* robot = m_sim->robot();
    robot->setOperate(state.section(' ', 0, 0));
    robot->setPower(state.section(' ', 1, 1));
    robot->setRobotState(state.section(' ', 2, 2));
    robot->setSafetyStop(state.section(' ', 3, 3));
    m_sim->setMonitorRate(50);
    Client c(m_sim->tcpPort());
    QVERIFY(c.alive());
    const QVector<double> rest = robot->joints();
    auto jointsOf = [](const QJsonObject& frame) {
        QVector<double> out;
        for (const QJsonValue& v : frame.value("data")["joint"].toArray())
            out.append(v.toDouble());
        return out;
    };
    // The stream reports what the encoders resolve, a thousandth of a degree.
    auto same = [](const QVector<double>& a, const QVector<double>& b) {
        for (int i = 0; i < a.size() && a.size() == b.size(); ++i)
            if (qAbs(a[i] - b[i]) > 0.002)
                return false;
        return a.size() == b.size();
    };
    const Match monitor = noteOf("motion", "move.monitor");
    auto lastFrame = [&]() {
        QJsonObject last;
        for (const QJsonObject& p : qAsConst(c.packets))
            if (monitor(p))
                last = p;
        return jointsOf(last);
    };

    const QJsonObject reply = c.request(
        "motion.jog.start", QJsonObject{{"space", 0}, {"axis", axis}, {"direction", direction}});
    QCOMPARE(reply.value("error_code").toInt(), code);
    if (code != 0) {
        QVERIFY(!robot->isJogging());
        QTest::qWait(100);
        QCOMPARE(robot->joints(), rest);
        QVERIFY(c.waitFor(monitor) >= 0);
        QVERIFY(same(lastFrame(), rest));
        return;
    }
    // The stream shows the one joint moving its way, the others still.
    QVERIFY(c.waitFor([&](const QJsonObject& p) {
        const QVector<double> j = jointsOf(p);
        return monitor(p) && j.size() == 6 && (j[axis] - rest[axis]) * direction > 0.01;
    }) >= 0);
    QVector<double> moved = lastFrame();
    moved[axis] = rest[axis];
    QVERIFY(same(moved, rest));

    if (end == "EStop")
        robot->setSafetyStop(end);
    else if (!end.isEmpty())
        QVERIFY(!c.request(end).contains("error_code"));
    QVERIFY(QTest::qWaitFor([&]() { return !robot->isJogging(); }, Timeout));
    const QVector<double> stopped = robot->joints();
    QTest::qWait(150);
    QVERIFY(c.alive());
    QVERIFY(same(lastFrame(), stopped));
    QCOMPARE(robot->joints(), stopped);
}

void TestRcSimulator::monitorStreamsAtTheRateAndStops()
{
    Client c(m_sim->tcpPort());
    QVERIFY(c.alive());
    QSignalSpy readable(&c.socket, &QTcpSocket::readyRead);
    QVERIFY(!readable.wait(300)); // rate 0: silent
    m_sim->setMonitorRate(100);
    QTestEventLoop().enterLoopMSecs(1000); // not qWait: its naps would cap the rate at 100 Hz
    const Match monitor = noteOf("motion", "move.monitor");
    QVERIFY2(c.count(monitor) >= 40 && c.count(monitor) <= 150,
             qPrintable(QString::number(c.count(monitor))));
    m_sim->setMonitorRate(0);
    QVERIFY(c.alive()); // what was in flight came before this answer
    const int settled = c.packets.size();
    QVERIFY(!readable.wait(300));
    QCOMPARE(c.packets.size(), settled);

    const QJsonObject last = c.packets.at(settled - 2).value("data").toObject();
    const QJsonObject tmpl = m_sim->catalogue().notifyData("motion.move.monitor").toObject();
    QCOMPARE(last.keys(), tmpl.keys());
    for (const QString& key : tmpl.keys()) // the catalogue's shape
        QCOMPARE(last.value(key).toArray().size(), tmpl.value(key).toArray().size());

    // A burst of exactly n frames, several megabytes: more than one socket buffer.
    QSignalSpy finished(m_sim.get(), &RcSimulator::burstFinished);
    const int n = 20000, streamed = c.count(monitor);
    QCOMPARE(m_sim->sendMonitorBurst(n), 1);
    QVERIFY(finished.size() == 1 || finished.wait(30000));
    QVERIFY(c.alive());
    QCOMPARE(c.count(monitor), streamed + n);
    QCOMPARE(finished.size(), 1);
}

void TestRcSimulator::monitorBurstEndsWhenItsClientGoes()
{
    QTcpSocket stalled; // stops reading: the burst fills the socket
    stalled.setReadBufferSize(1024);
    stalled.connectToHost(QHostAddress::LocalHost, m_sim->tcpPort());
    QVERIFY(QTest::qWaitFor([&]() { return m_sim->clientCount() == 1; }, Timeout));
    QSignalSpy finished(m_sim.get(), &RcSimulator::burstFinished);
    QCOMPARE(m_sim->sendMonitorBurst(1000000), 1);
    QVERIFY(!finished.wait(300));
    m_sim->injectFault(Fault::CloseNow);
    QVERIFY(finished.wait(Timeout));
}

void TestRcSimulator::faults_data()
{
    QTest::addColumn<QString>("text"); // as on the command line
    QTest::addColumn<int>("answers");  // to three heartbeats
    for (auto row : QList<QPair<const char*, int>>{{"no-heartbeat", 0},
                                                   {"miss-heartbeats:2", 1},
                                                   {"delay=300", 3},
                                                   {"Answer-Twice", 6},
                                                   {"close-on-request:1", 1},
                                                   {"close-now", 0},
                                                   {"malformed", 3},
                                                   {"unknown-notify", 3}})
        QTest::newRow(row.first) << QString(row.first) << row.second;
}

void TestRcSimulator::faults()
{
    QFETCH(QString, text);
    QFETCH(int, answers);
    Fault fault;
    int parameter = -1;
    QVERIFY(RcSimulator::parseFault(text, &fault, &parameter));
    Client c(m_sim->tcpPort());
    QVERIFY(c.alive());
    QElapsedTimer clock;
    clock.start();
    m_sim->injectFault(fault, parameter);
    for (int i = 0; i < 3; ++i)
        c.send("system.controller.heart");
    if (fault == Fault::CloseNow || fault == Fault::CloseOnRequest)
        QVERIFY(QTest::qWaitFor(
            [&]() { return c.socket.state() == QAbstractSocket::UnconnectedState; }, Timeout));
    else
        QVERIFY(!c.request("system.state.get_motor").isEmpty());
    QVERIFY(clock.elapsed() >= (fault == Fault::Delay ? parameter - 50 : 0));
    QCOMPARE(c.count([](const QJsonObject& p) { return p.value("data")["name"] == "Zarvo"; }),
             answers + 1);
    QCOMPARE(c.badLines >= 4, fault == Fault::Malformed);
    const Match unknown = noteOf("zarvo_sim", "unknown.command");
    QCOMPARE(c.count(unknown), fault == Fault::UnknownNotify ? 1 : 0);

    // Cleared, nothing of it is left for the next client.
    m_sim->clearFaults();
    Client next(m_sim->tcpPort());
    QVERIFY(next.alive());
    QCOMPARE(next.count(unknown) + next.badLines, 0);
}

QTEST_GUILESS_MAIN(TestRcSimulator)
#include "tst_rcsimulator.moc"
