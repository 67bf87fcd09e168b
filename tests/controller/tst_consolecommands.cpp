// The console commands rc.connect, rc.disconnect and rc.request, typed into
// the framework's console engine against the simulated controller.

#include "linkprobes.h"

#include <velk/commandmanager.h>

#include <QJsonArray>

using namespace linkprobes;

namespace {

// Everything the console showed while it lived.
class Console
{
public:
    Console()
        : output(&velk::command(), &velk::CommandManager::output)
        , error(&velk::command(), &velk::CommandManager::error)
        , input(&velk::command(), &velk::CommandManager::input)
    {
    }

    static QStringList texts(const QSignalSpy& spy)
    {
        QStringList out;
        for (const QList<QVariant>& args : spy) {
            out << args.at(0).toString();
        }
        return out;
    }

    QStringList outputs() const { return texts(output); }
    QStringList errors() const { return texts(error); }
    QStringList inputs() const { return texts(input); }

    QSignalSpy output;
    QSignalSpy error;
    QSignalSpy input;
};

QList<QJsonObject> packetsOf(const QSignalSpy& received, const QString& command)
{
    QList<QJsonObject> out;
    for (const QList<QVariant>& args : received) {
        const QJsonObject packet = args.at(0).toJsonObject();
        if (packet.value("command").toString() == command) {
            out << packet;
        }
    }
    return out;
}

} // namespace

class tst_ConsoleCommands : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RcSimulator& sim() { return fixture.sim; }

    // The simulator has taken everything sent before this returns.
    void flushLink()
    {
        if (rc()->isConnected()) {
            QVERIFY(rc()->execRequest("system", "state.get_operate", QJsonValue(), false)
                        ->get()
                        .toBool());
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        keepBroadcastsLocal();
        QVERIFY(fixture.start());
    }

    void init()
    {
        sim().clearFaults();
        QVERIFY(backToSimulator(fixture));
    }

    void cleanup() { QVERIFY(restoreLink(fixture)); }

    void cleanupTestCase() { fixture.stop(); }

    void connectRefusesArguments_data()
    {
        QTest::addColumn<QString>("args");
        QTest::newRow("ip without port") << "-ip=10.0.0.2";
        QTest::newRow("port without ip") << "-port=%1";
        QTest::newRow("port before ip") << "-port=%1 -ip=127.0.0.1";
        QTest::newRow("port not a number") << "-ip=127.0.0.1 -port=fifty";
        QTest::newRow("port zero") << "-ip=127.0.0.1 -port=0";
    }

    // "-port=" takes the rest of the line, so it has to come last.
    void connectRefusesArguments()
    {
        QFETCH(QString, args);
        const QJsonObject server = setting()->getObj("server");
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        Console console;

        QVERIFY(velk::command().execute(
            "rc.connect " + QString(args).replace("%1", QString::number(sim().tcpPort()))));
        QCOMPARE(console.errors(), QStringList{"invalid ip or port specified"});
        QCOMPARE(setting()->getObj("server"), server);
        QVERIFY(rc()->isConnected());
        QCOMPARE(disconnected.count(), 0);
    }

    void connectReplacesTheServerSetting()
    {
        pointServerAt(1);
        QJsonObject stale = setting()->getObj("server");
        stale.insert("note", "from an older panel");
        setting()->set("server", stale);
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        Console console;

        QVERIFY(velk::command().execute(
            QStringLiteral("rc.connect -ip=127.0.0.1 -port=%1").arg(sim().tcpPort())));
        QVERIFY(connected.wait(Slack));
        QCOMPARE(console.errors(), QStringList());
        QCOMPARE(setting()->getObj("server"),
                 (QJsonObject{{"ip", "127.0.0.1"}, {"port", int(sim().tcpPort())}}));
    }

    void connectWithSavedSettings()
    {
        QVERIFY(dropLink());
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        Console console;
        QVERIFY(velk::command().execute("rc.connect"));
        QVERIFY(connected.wait(Slack));
        QCOMPARE(console.errors(), QStringList());
    }

    void disconnect()
    {
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        Console console;
        QVERIFY(velk::command().execute("rc.disconnect"));
        QVERIFY(!disconnected.isEmpty() || disconnected.wait(Slack));
        QCOMPARE(console.errors(), QStringList());

        QVERIFY(velk::command().execute("rc.disconnect"));
        QCOMPARE(console.errors(), QStringList{"controller is not connected"});
    }

    void requestRefused_data()
    {
        QTest::addColumn<bool>("connected");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("error");

        QTest::newRow("not connected") << false << "rc.request system.state.get_motor"
                                       << "controller is disconnected";
        QTest::newRow("unknown command") << true << "rc.request system.state.get_nothing"
                                         << "no such request command";
        QTest::newRow("no command") << true << "rc.request"
                                    << "no such request command";
        // Sending {} for a typo would act on the controller's defaults.
        QTest::newRow("invalid json") << true << "rc.request dynamic.drag.set_params -data={oops"
                                      << "invalid data json";
        QTest::newRow("switch after the data")
            << true << "rc.request dynamic.drag.set_params -data={} -s"
            << "invalid data json";
    }

    void requestRefused()
    {
        QFETCH(bool, connected);
        QFETCH(QString, line);
        QFETCH(QString, error);
        if (!connected) {
            QVERIFY(dropLink());
        }
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        Console console;

        QVERIFY(velk::command().execute(line));
        QCOMPARE(console.errors().size(), 1);
        QVERIFY2(console.errors().first().startsWith(error), qPrintable(console.errors().first()));
        QCOMPARE(console.outputs(), QStringList());
        flushLink();
        QCOMPARE(packetsOf(received, "state.get_motor").size(), 0);
        QCOMPARE(packetsOf(received, "drag.set_params").size(), 0);
    }

    void requestSends_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<bool>("sync");
        QTest::addColumn<QJsonValue>("data"); // undefined: no "data" key

        const QJsonValue none(QJsonValue::Undefined);
        QTest::newRow("no data") << "system.state.get_motor" << false << none;
        QTest::newRow("--sync is not the switch")
            << "system.state.get_motor --sync" << false << none;
        QTest::newRow("-s is") << "system.state.get_motor -s" << true << none;
        QTest::newRow("array") << "io.io_signal.set_signal_value -data=[1,2]" << false
                               << QJsonValue(QJsonArray{1, 2});
        QTest::newRow("empty object")
            << "dynamic.drag.set_params -data={}" << false << QJsonValue(QJsonObject());
        QTest::newRow("object") << "dynamic.drag.set_params -data={\"type\":1,\"space\":2}" << false
                                << QJsonValue(QJsonObject{{"type", 1}, {"space", 2}});
        QTest::newRow("sync with data") << "dynamic.drag.get_params -s -data={\"space\":1}" << true
                                        << QJsonValue(QJsonObject{{"space", 1}});
    }

    void requestSends()
    {
        QFETCH(QString, args);
        QFETCH(bool, sync);
        QFETCH(QJsonValue, data);
        QSignalSpy received(&sim(), &RcSimulator::requestReceived);
        Console console;

        const QString name = args.section(' ', 0, 0);
        const QString module = name.section('.', 0, 0);
        const QString command = name.section('.', 1);
        QVERIFY(velk::command().execute("rc.request " + args));
        flushLink();
        const QList<QJsonObject> packets = packetsOf(received, command);
        QCOMPARE(packets.size(), 1);
        const QJsonObject packet = packets.first();
        QCOMPARE(packet.value("module").toString(), module);
        QCOMPARE(packet.contains("data"), !data.isUndefined());
        QCOMPARE(packet.value("data"), data);
        const QString id = packet.value("id").toString();
        if (sync) {
            QCOMPARE(id.section('#', -1), name);
            QCOMPARE(console.outputs().size(), 1);
        } else {
            QCOMPARE(id, md5Id(module, command));
            // The answer shows up in the catalogue objects only.
            QVERIFY(settled());
            QCOMPARE(console.outputs(), QStringList());
        }
        QCOMPARE(console.errors(), QStringList());
    }

    void syncPrintsOneLineOfJson()
    {
        sim().robot()->setPower("on");
        Console console;
        QVERIFY(velk::command().execute("rc.request system.state.get_motor -s"));
        QCOMPARE(console.outputs(), QStringList{"{\"power\":\"on\"}"});

        QVERIFY(velk::command().execute("rc.request system.controller.get_params -s"));
        QCOMPARE(console.outputs().size(), 2);
        const QString line = console.outputs().last();
        QVERIFY(!line.contains('\n'));
        const QJsonObject params = QJsonDocument::fromJson(line.toUtf8()).object();
        QCOMPARE(params.value("alias").toString(), sim().robot()->alias());
        QCOMPARE(params.value("disk_serial_number").toString(), sim().robot()->serialNumber());
        sim().robot()->setPower("off");
    }

    void syncTimeoutPrintsEmptyExport()
    {
        LogTail log;
        Console console;
        delayNext(sim(), "state.get_motor", ControllerManager::ExecTimeout + 800);
        QVERIFY(velk::command().execute("rc.request system.state.get_motor -s"));
        QCOMPARE(console.outputs(), QStringList{"{}"});
        QCOMPARE(console.errors(), QStringList());
        QVERIFY(log.waitFor("is not looped", 800 + Slack));
    }

    void completion_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("input"); // empty: nothing completed

        QTest::newRow("group") << "rc.request sys"
                               << "tem";
        QTest::newRow("sub-group") << "rc.request system.st"
                                   << "ate";
        QTest::newRow("command") << "rc.request system.state.get_mo"
                                 << "tor";
        QTest::newRow("leading blanks") << "  rc.request dynamic.drag.s"
                                        << "et_params";
        QTest::newRow("more text follows") << "rc.request system.st -s"
                                           << "";
        QTest::newRow("name exists") << "rc.request system.state"
                                     << "";
        QTest::newRow("nothing matches") << "rc.request system.nothing"
                                         << "";
    }

    void completion()
    {
        QFETCH(QString, line);
        QFETCH(QString, input);
        Console console;
        velk::command().complete(line);
        QCOMPARE(console.inputs(), input.isEmpty() ? QStringList() : QStringList{input});
        QCOMPARE(console.errors(), QStringList());
    }

    // Of several candidates the first in the catalogue's own order wins.
    void completionTakesTheFirstCandidate()
    {
        QString first;
        for (const QString& name : velk::m("rc.system.state")->cmobjNames()) {
            if (name.startsWith("get_")) {
                first = name;
                break;
            }
        }
        QVERIFY(first.size() > 4);
        Console console;
        velk::command().complete("rc.request system.state.get_");
        QCOMPARE(console.inputs(), QStringList{first.mid(4)});
    }

    void hint_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("names"); // empty: nothing printed

        QTest::newRow("sub-group")
            << "rc.request system.state"
            << QStringList{"switch_manual",    "switch_auto",     "switch_motor_on",
                           "switch_motor_off", "get_operate",     "get_motor",
                           "get_robot_state",  "get_safety_stop", "change"};
        QTest::newRow("group") << "rc.request dynamic" << QStringList{"drag", "control"};
        QTest::newRow("command") << "rc.request dynamic.drag.set_params"
                                 << QStringList{"request", "response"};
        QTest::newRow("no such object") << "rc.request system.nothing" << QStringList();
    }

    // One line of the children's names, in the catalogue's order.
    void hint()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, names);
        Console console;
        velk::command().hint(line);
        QCOMPARE(console.errors(), QStringList());
        if (names.isEmpty()) {
            QCOMPARE(console.outputs(), QStringList());
            return;
        }
        QCOMPARE(console.outputs().size(), 1);
        const QString text = console.outputs().first();
        QVERIFY(text.endsWith('\n'));
        const QStringList shown = text.chopped(1).split("\t ");
        QCOMPARE(shown, velk::m("rc." + line.section(' ', 1, 1))->cmobjNames());
        QCOMPARE(QSet<QString>(shown.begin(), shown.end()),
                 QSet<QString>(names.begin(), names.end()));
    }
};

QTEST_MAIN(tst_ConsoleCommands)
#include "tst_consolecommands.moc"
