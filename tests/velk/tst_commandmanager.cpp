#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QtTest>

#include <memory>

using velk::command;
using velk::CommandManager;
using velk::ModuleObject;

namespace {

// Every call to a recording command, as "<name> <call>:<text>".
QStringList calls;

class RecordingCommand : public velk::BaseCommand
{
public:
    explicit RecordingCommand(const QString& name, bool listed = true)
        : BaseCommand(name, listed)
    {
    }
    QString description() const override { return QStringLiteral("records what it gets"); }
    void complete(ModuleObject*, const QString& t) override { calls << name() + " complete:" + t; }
    void hint(ModuleObject*, const QString& t) override { calls << name() + " hint:" + t; }
    void execute(const QString& args) override { calls << name() + " execute:" + args; }
};

QJsonValue parseJson(const QString& text)
{
    const QJsonDocument doc = QJsonDocument::fromJson("[" + text.toUtf8() + "]");
    return doc.isNull() ? QJsonValue(QJsonValue::Undefined) : doc.array().first();
}

} // namespace

class TestCommandManager : public QObject
{
    Q_OBJECT

    RecordingCommand m_alpha{"zz.alpha"}, m_alpine{"zz.alpine"}, m_secret{"zz.secret", false};
    QSignalSpy m_output{&command(), &CommandManager::output};
    QSignalSpy m_error{&command(), &CommandManager::error};
    QSignalSpy m_input{&command(), &CommandManager::input};

    // The console text of `spy`, or a null string unless exactly one came.
    static QString only(const QSignalSpy& spy)
    {
        return spy.count() == 1 ? spy.at(0).at(0).toString() : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (RecordingCommand* c : {&m_alpha, &m_alpine, &m_secret}) {
            QVERIFY(command().regist(c));
        }
    }

    void init()
    {
        const QByteArray data =
            R"({"mode":"manual","joint":[1,2],"server":{"port":5050},"sibling":1,"new":{"leaf":0}})";
        velk::m().ensure("tst_cmd")->importFromJson(this, parseJson(data), true, false, false);
        calls.clear();
        m_output.clear();
        m_error.clear();
        m_input.clear();
    }

    void cleanup()
    {
        velk::m().root()->remove(this, "tst_cmd", false);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void registry()
    {
        const QStringList names = command().names();
        QVERIFY(names.contains("help") && names.contains("mobj.get") && names.contains("mobj.set"));
        QVERIFY(std::is_sorted(names.cbegin(), names.cend()));
        QVERIFY(!names.contains("zz.secret") && command().names(false).contains("zz.secret"));
        RecordingCommand twin("zz.alpha"), spaced("zz bad");
        QVERIFY(!command().regist(&twin) && !command().regist(&spaced) && !command().cancel(&twin));

        // A cancelled command must not be forgotten again when destroyed: the
        // new holder of the name would lose its entry.
        auto first = std::make_unique<RecordingCommand>("zz.temp");
        QVERIFY(command().regist(first.get()) && command().cancel(first.get()));
        RecordingCommand successor("zz.temp");
        QVERIFY(command().regist(&successor));
        first.reset();
        QCOMPARE(command().find("zz.temp"), &successor);
    }

    // clang-format off
    void execute_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("expected"); // calls
        QTest::addColumn<bool>("ok");
        QTest::newRow("no arguments") << "zz.alpha" << QStringList{"zz.alpha execute:"} << true;
        QTest::newRow("outer blanks ignored") << "  zz.alpha x y  " << QStringList{"zz.alpha execute:x y"} << true;
        QTest::newRow("one blank taken") << "zz.alpha   x" << QStringList{"zz.alpha execute:  x"} << true;
        QTest::newRow("json argument") << "zz.alpha -data={\"a\": [1, 2]}" << QStringList{"zz.alpha execute:-data={\"a\": [1, 2]}"} << true;
        QTest::newRow("unlisted, by full name") << "zz.secret now" << QStringList{"zz.secret execute:now"} << true;
        QTest::newRow("unknown command") << "zz.alp x" << QStringList{} << false;
        QTest::newRow("empty line") << "   \t " << QStringList{} << true;
    }
    // clang-format on

    void execute()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, expected);
        QFETCH(bool, ok);
        QCOMPARE(command().execute(line), ok);
        QCOMPARE(calls, expected);
        QCOMPARE(m_error.count(), ok ? 0 : 1);
        QVERIFY(ok || only(m_error).contains("zz.alp"));
    }

    // clang-format off
    void completeAndHint_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("input");        // typed on completion; null: nothing
        QTest::addColumn<QString>("hint");         // shown on hint; "!": an error; null: not asked
        QTest::addColumn<QStringList>("expected"); // calls
        QTest::newRow("common prefix") << "zz.al" << "p" << "zz.alpha\t zz.alpine" << QStringList{};
        QTest::newRow("unique name") << "zz.alph" << "a " << QString() << QStringList{};
        QTest::newRow("complete name") << "zz.alpha" << " " << "" << QStringList{"zz.alpha hint:zz.alpha"};
        QTest::newRow("ambiguous at prefix") << "zz.alp" << QString() << QString() << QStringList{};
        QTest::newRow("unknown") << "zz.q" << QString() << "!" << QStringList{};
        QTest::newRow("unlisted not offered") << "zz.sec" << QString() << QString() << QStringList{};
        QTest::newRow("arguments go to the command") << "zz.alpha sys" << QString() << "" << QStringList{"zz.alpha complete:zz.alpha sys", "zz.alpha hint:zz.alpha sys"};
        QTest::newRow("path, top level") << "mobj.get tst_c" << "md." << QString() << QStringList{};
        QTest::newRow("path, object child") << "mobj.get tst_cmd.se" << "rver." << QString() << QStringList{};
        QTest::newRow("path, leaf child") << "mobj.set tst_cmd.mo" << "de" << QString() << QStringList{};
        QTest::newRow("path, value typed") << "mobj.set tst_cmd.mo x" << QString() << QString() << QStringList{};
    }
    // clang-format on

    void completeAndHint()
    {
        QFETCH(QString, line);
        QFETCH(QString, input);
        QFETCH(QString, hint);
        QFETCH(QStringList, expected);
        command().complete(line);
        QCOMPARE(only(m_input), input);
        if (!hint.isNull()) {
            command().hint(line);
            QCOMPARE(only(m_output), hint == "!" || hint.isEmpty() ? QString() : hint);
        }
        QCOMPARE(m_error.count(), hint == "!" ? 1 : 0);
        QCOMPARE(calls, expected);
    }

    void help()
    {
        QVERIFY(command().execute("help"));
        // One line per listed command, in name order, with usage and description.
        const QStringList lines = only(m_output).split('\n');
        QCOMPARE(lines.size(), command().names().size());
        const int alpha = command().names().indexOf("zz.alpha");
        QVERIFY(lines.value(alpha).startsWith("zz.alpha") && lines[alpha].endsWith("what it gets"));
        m_output.clear();
        QVERIFY(command().execute("help zz.secret"));
        QVERIFY(only(m_output).contains("records what it gets"));
        QVERIFY(command().execute("help zz.none"));
        QCOMPARE(m_error.count(), 1);
    }

    void helpAlignsByDisplayWidth()
    {
        // Fifteen wide characters: 33 columns on a terminal, the widest usage here.
        RecordingCommand wide(QStringLiteral("zz.") + QString(15, QChar(0x5BBD)));
        QVERIFY(command().regist(&wide));
        m_output.clear();
        QVERIFY(command().execute("help"));
        const QStringList lines = only(m_output).split('\n');
        const QString wideLine = lines.value(command().names().indexOf(wide.name()));
        const QString alphaLine = lines.value(command().names().indexOf("zz.alpha"));
        QCOMPARE(wideLine.indexOf("records"), 3 + 15 + 2);
        QCOMPARE(alphaLine.indexOf("records"), 3 + 30 + 2);
        m_output.clear();
    }

    // clang-format off
    void mobjGet_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("shown"); // JSON; null: an error
        QTest::newRow("whole tree") << "" << R"({"mode":"manual","joint":[1,2],"server":{"":"main","port":5050},"sibling":1,"new":{"leaf":0}})";
        QTest::newRow("list leaf") << "tst_cmd.joint" << "[1,2]";
        QTest::newRow("value beside children") << "tst_cmd.server" << R"({"":"main","port":5050})";
        QTest::newRow("blanks around path") << "  tst_cmd.server.port " << "5050";
        QTest::newRow("unknown path") << "tst_cmd.nothing" << QString();
    }
    // clang-format on

    void mobjGet()
    {
        QFETCH(QString, path);
        QFETCH(QString, shown);
        velk::m("tst_cmd.server")->set(this, "main");
        QVERIFY(command().execute("mobj.get " + path));
        QCOMPARE(m_error.count(), shown.isNull() ? 1 : 0);
        QVERIFY(!shown.isNull() || only(m_error).contains(path));
        const QJsonValue printed = parseJson(only(m_output));
        QCOMPARE(path.isEmpty() ? printed["tst_cmd"] : printed,
                 shown.isNull() ? QJsonValue(QJsonValue::Undefined) : parseJson(shown));
        // What is sent and saved stays the children alone.
        QCOMPARE(velk::m("tst_cmd.server")->exportToJson(), parseJson(R"({"port":5050})"));
    }

    // clang-format off
    void mobjSet_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("expected"); // JSON of tst_cmd.new.leaf; null: refused
        QTest::newRow("number") << "tst_cmd.new.leaf 42" << "42";
        QTest::newRow("bare words") << "tst_cmd.new.leaf two words" << "\"two words\"";
        QTest::newRow("object") << "tst_cmd.new.leaf {\"ip\":\"1.2.3.4\"}" << "{\"ip\":\"1.2.3.4\"}";
        QTest::newRow("broken json is text") << "tst_cmd.new.leaf {\"a\":" << "\"{\\\"a\\\":\"";
        QTest::newRow("no value") << "tst_cmd.mode" << QString();
        QTest::newRow("bad path") << "tst_cmd..x 1" << QString();
    }
    // clang-format on

    void mobjSet()
    {
        QFETCH(QString, args);
        QFETCH(QString, expected);
        ModuleObject* top = velk::m("tst_cmd");
        const QJsonValue before = top->exportToJson();
        QSignalSpy changed(velk::m("tst_cmd.new.leaf"), &ModuleObject::changed);
        QVERIFY(command().execute("mobj.set " + args));
        QCOMPARE(m_error.count(), expected.isNull() ? 1 : 0);
        if (expected.isNull()) {
            QCOMPARE(top->exportToJson(), before);
        } else {
            QCOMPARE(velk::m("tst_cmd.new.leaf")->exportToJson(), parseJson(expected));
            QCOMPARE(changed.value(0).value(2).value<QObject*>(), command().find("mobj.set"));
        }
    }
};

QTEST_GUILESS_MAIN(TestCommandManager)
#include "tst_commandmanager.moc"
