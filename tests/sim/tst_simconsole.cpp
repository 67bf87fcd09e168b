#include "rcsimulator.h"
#include "simconsole.h"
#include "simrobot.h"

#include <QJsonDocument>
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
    void commandsChangeTheSimulator_data();
    void commandsChangeTheSimulator();
    void badCommandsAreRefused_data();
    void badCommandsAreRefused();
    void quitIsSignalled();
    void executableServesAndQuits();
    void executableRefusesBadOptions_data();
    void executableRefusesBadOptions();

private:
    static QString program();
};

void TestSimConsole::commandsChangeTheSimulator_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("check"); // what to look at afterwards
    QTest::addColumn<QString>("value");
    QTest::newRow("estop") << "estop EStop"
                           << "safety_stop"
                           << "EStop";
    QTest::newRow("estop ends") << "estop NStop"
                                << "safety_stop"
                                << "NStop";
    QTest::newRow("state") << "state running"
                           << "robot_state"
                           << "running";
    QTest::newRow("operate") << "  operate   auto "
                             << "operate"
                             << "auto";
    QTest::newRow("power") << "power on"
                           << "power"
                           << "on";
    QTest::newRow("fault with parameter") << "fault delay 250"
                                          << "delay"
                                          << "250";
    QTest::newRow("fault colon") << "fault miss-heartbeats:4"
                                 << "miss-heartbeats"
                                 << "4";
    QTest::newRow("monitor") << "monitor 25"
                             << "monitor"
                             << "25";
    QTest::newRow("status") << "status"
                            << "reply"
                            << "safety stop NStop";
    QTest::newRow("help") << "help"
                          << "reply"
                          << "estop WORD";
    QTest::newRow("empty line") << ""
                                << "reply"
                                << "";
}

void TestSimConsole::commandsChangeTheSimulator()
{
    QFETCH(QString, line);
    QFETCH(QString, check);
    QFETCH(QString, value);
    RcSimulator sim;
    SimConsole console(&sim);
    QString reply;
    QVERIFY2(console.execute(line, &reply), qPrintable(reply));

    const QJsonObject state = sim.robot()->stateData();
    if (state.contains(check)) {
        QCOMPARE(state.value(check).toString(), value);
    } else if (check == "monitor") {
        QCOMPARE(QString::number(sim.monitorRate()), value);
    } else if (check == "reply") {
        QVERIFY2(reply.contains(value), qPrintable(reply));
    } else {
        Fault fault;
        QVERIFY(RcSimulator::faultFromName(check, &fault));
        QVERIFY(sim.hasFault(fault));
        QCOMPARE(QString::number(sim.faultParameter(fault)), value);
        QVERIFY(console.execute("clear " + check, &reply));
        QVERIFY(!sim.hasFault(fault));
    }
}

void TestSimConsole::badCommandsAreRefused_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("unknown") << "launch rockets";
    QTest::newRow("estop without word") << "estop";
    QTest::newRow("bad mode") << "operate sideways";
    QTest::newRow("bad power") << "power maybe";
    QTest::newRow("unknown fault") << "fault explode";
    QTest::newRow("bad fault parameter") << "fault delay soon";
    QTest::newRow("negative rate") << "monitor -3";
    QTest::newRow("burst without count") << "burst";
    QTest::newRow("notify bad json") << "notify system state.change {oops";
    QTest::newRow("clear unknown") << "clear everything";
}

void TestSimConsole::badCommandsAreRefused()
{
    QFETCH(QString, line);
    RcSimulator sim;
    SimConsole console(&sim);
    const QJsonObject before = sim.robot()->stateData();
    QString reply;
    QVERIFY(!console.execute(line, &reply));
    QVERIFY(!reply.isEmpty());
    QCOMPARE(sim.robot()->stateData(), before);
    for (const QString& name : RcSimulator::faultNames()) {
        Fault fault;
        RcSimulator::faultFromName(name, &fault);
        QVERIFY(!sim.hasFault(fault));
    }
}

void TestSimConsole::quitIsSignalled()
{
    RcSimulator sim;
    SimConsole console(&sim);
    QSignalSpy quit(&console, &SimConsole::quitRequested);
    QVERIFY(console.execute("quit", nullptr));
    QCOMPARE(quit.size(), 1);
}

QString TestSimConsole::program()
{
    return QCoreApplication::applicationDirPath() + "/zarvo-rcsim";
}

void TestSimConsole::executableServesAndQuits()
{
    if (!QFileInfo::exists(program()))
        QSKIP("zarvo-rcsim is not built next to the tests");
    QProcess process;
    process.start(program(), {"--tcp-port", "0", "--discovery-port", "0", "--upgrade-port", "0",
                              "--monitor-rate", "0", "--quiet", "-v", "--robot-version", "9.8.7"});
    QVERIFY(process.waitForStarted(5000));

    QByteArray out;
    const QRegularExpression listening(QStringLiteral("listening tcp=(\\d+) discovery=(\\d+) "
                                                      "upgrade_udp=(\\d+) upgrade_tcp=(\\d+)"));
    QRegularExpressionMatch match;
    QVERIFY(QTest::qWaitFor(
        [&]() {
            out += process.readAllStandardOutput();
            match = listening.match(QString::fromUtf8(out));
            return match.hasMatch();
        },
        10000));
    const quint16 port = quint16(match.captured(1).toUInt());
    QVERIFY(port != 0);

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(socket.waitForConnected(5000));
    socket.write("{\"id\":\"p\",\"module\":\"system\",\"command\":\"controller.get_params\"}\n");
    QVERIFY(socket.waitForReadyRead(5000));
    QByteArray line = socket.readLine();
    for (int i = 0; i < 50 && !line.endsWith('\n') && socket.waitForReadyRead(100); ++i)
        line += socket.readLine();
    const QJsonObject answer = QJsonDocument::fromJson(line).object();
    QCOMPARE(answer.value("id").toString(), QString("p"));
    QCOMPARE(answer.value("data").toObject().value("version").toString(), QString("9.8.7"));

    // The console on stdin drives the robot; the change reaches the client.
    process.write("estop EStop\n");
    QVERIFY(process.waitForBytesWritten(5000));
    QByteArray notified;
    for (int i = 0; i < 50 && !notified.contains("\"safety_stop\":\"EStop\""); ++i) {
        if (socket.waitForReadyRead(100))
            notified += socket.readAll();
    }
    QVERIFY(notified.contains("\"safety_stop\":\"EStop\""));

    // -v traced both directions.
    QVERIFY(QTest::qWaitFor(
        [&]() {
            out += process.readAllStandardOutput();
            return out.contains("<- tcp") && out.contains("-> tcp");
        },
        5000));

    process.write("quit\n");
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

void TestSimConsole::executableRefusesBadOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("port out of range") << QStringList{"--tcp-port", "70000"};
    QTest::newRow("bad address") << QStringList{"--bind", "not-an-address"};
    QTest::newRow("unknown fault") << QStringList{"--fault", "explode"};
    QTest::newRow("negative delay") << QStringList{"--delay", "-1"};
    QTest::newRow("missing catalogue") << QStringList{"--catalogue", "/nonexistent/rc.json"};
}

void TestSimConsole::executableRefusesBadOptions()
{
    QFETCH(QStringList, arguments);
    if (!QFileInfo::exists(program()))
        QSKIP("zarvo-rcsim is not built next to the tests");
    QProcess process;
    // The parser takes the last value of an option, so the row's own
    // arguments come after the ephemeral defaults.
    process.start(program(), QStringList{"--tcp-port", "0", "--discovery-port", "0",
                                         "--upgrade-port", "0", "--monitor-rate", "0"} +
                                 arguments);
    QVERIFY(process.waitForFinished(10000));
    QVERIFY(process.exitCode() != 0);
    QVERIFY(!process.readAllStandardError().isEmpty());
}

QTEST_GUILESS_MAIN(TestSimConsole)
#include "tst_simconsole.moc"
