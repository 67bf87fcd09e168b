// The console commands rc.connect and rc.request, typed into the console
// engine against the simulated controller.

#include "linkprobes.h"

#include <velk/commandmanager.h>

#include <QJsonArray>

using namespace linkprobes;

namespace {

// What the console showed while it lived.
struct Console
{
    QSignalSpy output{&velk::command(), &velk::CommandManager::output};
    QSignalSpy error{&velk::command(), &velk::CommandManager::error};
    QSignalSpy input{&velk::command(), &velk::CommandManager::input};
};

QStringList texts(const QSignalSpy& spy)
{
    QStringList out;
    for (const QList<QVariant>& args : spy) {
        out << args.at(0).toString();
    }
    return out;
}

} // namespace

class tst_ConsoleCommands : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

private Q_SLOTS:
    void initTestCase() { QVERIFY(startLinked(fixture)); }
    void init() { QVERIFY(restoreLink(fixture)); }
    void cleanupTestCase() { fixture.stop(); }

    void connect_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<bool>("valid");
        QTest::newRow("ip, then port") << "-ip=127.0.0.1 -port=%1" << true;
        QTest::newRow("port first") << "-port=%1 -ip=127.0.0.1" << false;
        QTest::newRow("ip out of range") << "-ip=999.1.1.1 -port=%1" << false;
        QTest::newRow("ip in short form") << "-ip=127.1 -port=%1" << false;
        QTest::newRow("host name") << "-ip=localhost -port=%1" << false;
        QTest::newRow("port out of range") << "-ip=127.0.0.1 -port=99999" << false;
        QTest::newRow("port negative") << "-ip=127.0.0.1 -port=-5" << false;
    }

    // "-port=" takes the rest of the line; refused, nothing changes.
    void connect()
    {
        QFETCH(QString, args);
        QFETCH(bool, valid);
        QVERIFY(fixture.disconnectLink());
        pointServerAt(1);
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        Console console;
        args.replace("%1", QString::number(fixture.sim.tcpPort()));
        QVERIFY(velk::command().execute("rc.connect " + args));
        QCOMPARE(connected.wait(valid ? Slack : ControllerManager::AnnounceDelay + 500), valid);
        QCOMPARE(setting()->getObj("server")["port"].toInt(), valid ? fixture.sim.tcpPort() : 1);
        QVERIFY(velk::command().execute("rc.request system.state.get_motor"));
        const QStringList refused{"invalid ip or port specified", "controller is disconnected"};
        QCOMPARE(texts(console.error), valid ? QStringList() : refused);
    }

    // clang-format off
    void request_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<int>("delay");
        QTest::addColumn<QJsonValue>("data"); // undefined: no "data" key
        QTest::addColumn<QStringList>("outputs");
        QTest::addColumn<QString>("error"); // set: nothing is sent
        const QJsonValue none(QJsonValue::Undefined);
        QTest::newRow("--sync is not the switch") << "system.state.get_motor --sync" << 0 << none << QStringList() << "";
        QTest::newRow("-s prints one line of JSON") << "system.state.get_motor -s" << 0 << none << QStringList{"{\"power\":\"off\"}"} << "";
        QTest::newRow("-s after a time-out prints {}") << "system.state.get_motor -s" << ControllerManager::ExecTimeout + 800 << none << QStringList{"{}"} << "";
        QTest::newRow("array") << "io.io_signal.set_signal_value -data=[1,2]" << 0 << QJsonValue(QJsonArray{1, 2}) << QStringList() << "";
        QTest::newRow("object") << "dynamic.drag.set_params -data={\"type\":1}" << 0 << QJsonValue(QJsonObject{{"type", 1}}) << QStringList() << "";
        // Sending {} for a typo would act on the controller's defaults.
        QTest::newRow("invalid json") << "dynamic.drag.set_params -data={oops" << 0 << none << QStringList() << "invalid data json";
        QTest::newRow("unknown command") << "system.state.get_nothing" << 0 << none << QStringList() << "no such request command";
    }
    // clang-format on

    void request()
    {
        QFETCH(QString, args);
        QFETCH(int, delay);
        QFETCH(QJsonValue, data);
        QFETCH(QStringList, outputs);
        QFETCH(QString, error);
        QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
        if (delay > 0) {
            delayNext(fixture.sim, "state.get_motor", delay);
        }
        Console console;
        QVERIFY(velk::command().execute("rc.request " + args));
        // Whatever went out is with the simulator when this is answered.
        QVERIFY(rc()->execRequest("system", "state.get_operate", {}, false)->get().toBool());
        const QList<QJsonObject> sent =
            packetsOf(received, args.section(' ', 0, 0).section('.', 1));
        QCOMPARE(sent.size(), error.isEmpty() ? 1 : 0);
        QCOMPARE(sent.value(0).value("data"), data);
        QCOMPARE(sent.value(0).value("id").toString().startsWith('#'), args.contains(" -s"));
        QCOMPARE(texts(console.output), outputs);
        QCOMPARE(texts(console.error).join("").section(':', 0, 0), error);
    }

    // clang-format off
    void completion_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("hint");
        QTest::addColumn<QStringList>("shown"); // completed text or hint lines
        QTest::newRow("group") << "rc.request sys" << false << QStringList{"tem"};
        QTest::newRow("command") << "  rc.request system.state.get_mo" << false << QStringList{"tor"};
        QTest::newRow("more text follows") << "rc.request system.st -s" << false << QStringList();
        QTest::newRow("nothing matches") << "rc.request system.nothing" << false << QStringList();
        // One line of the children's names, in the catalogue's order.
        QTest::newRow("hint, group") << "rc.request dynamic" << true << QStringList{"control\t drag\n"};
        QTest::newRow("hint, command") << "rc.request dynamic.drag.set_params" << true << QStringList{"request\t response\n"};
        QTest::newRow("hint, nothing") << "rc.request system.nothing" << true << QStringList();
    }
    // clang-format on

    void completion()
    {
        QFETCH(QString, line);
        QFETCH(bool, hint);
        QFETCH(QStringList, shown);
        Console console;
        hint ? velk::command().hint(line) : velk::command().complete(line);
        QCOMPARE(texts(hint ? console.output : console.input), shown);
        QCOMPARE(texts(console.error), QStringList());
    }
};

QTEST_MAIN(tst_ConsoleCommands)
#include "tst_consolecommands.moc"
