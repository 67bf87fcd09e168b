#include "rcsimulator.h"
#include "simconsole.h"
#include "simrobot.h"

#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QtTest>

using zarvo::sim::RcSimulator;
using zarvo::sim::SimConsole;
using Fault = RcSimulator::Fault;

class TestSimConsole : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commands_data();
    void commands();
    void executableServesAndQuits();
};

void TestSimConsole::commands_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("check"); // a state field, a fault, "monitor", "reply", "quit"
    QTest::addColumn<QString>("value"); // "!": refused, nothing changes
    auto row = [](const char* line, const char* check = "", const char* value = "!") {
        QTest::newRow(line) << QString(line) << QString(check) << QString(value);
    };
    row("estop EStop", "safety_stop", "EStop");
    row("state running", "robot_state", "running");
    row("  operate   auto ", "operate", "auto");
    row("power on", "power", "on");
    row("fault delay 250", "delay", "250");
    row("monitor 25", "monitor", "25");
    row("status", "reply", "safety stop NStop");
    row("help", "reply", "estop WORD");
    row("", "reply", "");
    row("quit", "quit", "");
    for (const char* bad : {"launch rockets", "estop", "operate sideways", "power maybe",
                            "fault explode", "fault delay soon", "monitor -3", "burst",
                            "notify system state.change {oops", "clear everything"})
        row(bad);
}

void TestSimConsole::commands()
{
    QFETCH(QString, line);
    QFETCH(QString, check);
    QFETCH(QString, value);
    RcSimulator sim;
    SimConsole console(&sim);
    QSignalSpy quit(&console, &SimConsole::quitRequested);
    const QJsonObject before = sim.robot()->stateData();
    QString reply;
    QCOMPARE(console.execute(line, &reply), value != "!");
    QCOMPARE(quit.size(), check == "quit" ? 1 : 0);

    const QJsonObject state = sim.robot()->stateData();
    Fault fault;
    if (value == "!") {
        QVERIFY(!reply.isEmpty());
        QCOMPARE(state, before);
        for (const QString& name : RcSimulator::faultNames())
            QVERIFY(RcSimulator::faultFromName(name, &fault) && !sim.hasFault(fault));
    } else if (state.contains(check)) {
        QCOMPARE(state.value(check).toString(), value);
    } else if (check == "monitor") {
        QCOMPARE(QString::number(sim.monitorRate()), value);
    } else if (check == "reply") {
        QVERIFY2(reply.contains(value), qPrintable(reply));
    } else if (RcSimulator::faultFromName(check, &fault)) {
        QCOMPARE(QString::number(sim.faultParameter(fault)), value);
        QVERIFY(console.execute("clear " + check, &reply));
        QVERIFY(!sim.hasFault(fault));
    }
}

void TestSimConsole::executableServesAndQuits()
{
    QProcess process;
    process.start(QCoreApplication::applicationDirPath() + "/zarvo-rcsim",
                  {"--tcp-port", "0", "--discovery-port", "0", "--upgrade-port", "0",
                   "--monitor-rate", "0", "--quiet", "--robot-version", "9.8.7"});
    QTcpSocket socket;
    QByteArray out, in;
    auto printed = [&](QIODevice* device, QByteArray* buffer, const QRegularExpression& pattern) {
        return QTest::qWaitFor(
            [&]() { return pattern.match(*buffer += device->readAll()).hasMatch(); }, 10000);
    };
    const QRegularExpression listening(
        "listening tcp=(\\d+) discovery=\\d+ upgrade_udp=\\d+ upgrade_tcp=\\d+\n");
    QVERIFY(printed(&process, &out, listening));
    socket.connectToHost(QHostAddress::LocalHost,
                         quint16(listening.match(out).captured(1).toUInt()));
    socket.write("{\"id\":\"p\",\"module\":\"system\",\"command\":\"controller.get_params\"}\n");
    QVERIFY(printed(&socket, &in, QRegularExpression("\"version\":\"9.8.7\"")));
    // The console on stdin drives the robot; the change reaches the client.
    process.write("estop EStop\n");
    QVERIFY(printed(&socket, &in, QRegularExpression("\"safety_stop\":\"EStop\"")));
    process.write("quit\n");
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestSimConsole)
#include "tst_simconsole.moc"
