#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using velk::BaseCommand;
using velk::CommandManager;
using velk::ModuleObject;

namespace {

class RecordingCommand : public BaseCommand
{
public:
    explicit RecordingCommand(const QString& name, bool listed = true)
        : BaseCommand(name, listed)
    {
    }
    QStringList executed, completed, hinted;

    QString description() const override { return QStringLiteral("records what it gets"); }
    void complete(ModuleObject*, const QString& text) override { completed << text; }
    void hint(ModuleObject*, const QString& text) override { hinted << text; }
    void execute(const QString& args) override { executed << args; }
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

    CommandManager& manager() { return velk::command(); }
    std::unique_ptr<RecordingCommand> m_alpha, m_alpine, m_secret;
    std::unique_ptr<QSignalSpy> m_output, m_error, m_input;

    // The console text of `spy`, or a null string when nothing came.
    static QString only(const QSignalSpy& spy)
    {
        return spy.count() == 1 ? spy.at(0).at(0).toString() : QString();
    }

private Q_SLOTS:
    void init()
    {
        m_alpha = std::make_unique<RecordingCommand>("zz.alpha");
        m_alpine = std::make_unique<RecordingCommand>("zz.alpine");
        m_secret = std::make_unique<RecordingCommand>("zz.secret", false);
        for (auto* c : {m_alpha.get(), m_alpine.get(), m_secret.get()}) {
            QVERIFY(manager().regist(c));
        }
        m_output = std::make_unique<QSignalSpy>(&manager(), &CommandManager::output);
        m_error = std::make_unique<QSignalSpy>(&manager(), &CommandManager::error);
        m_input = std::make_unique<QSignalSpy>(&manager(), &CommandManager::input);
        const QJsonObject data{{"mode", "manual"},
                               {"joint", QJsonArray{1, 2}},
                               {"server", QJsonObject{{"port", 5050}}},
                               {"sibling", 1}};
        velk::m().ensure("tst_cmd")->importFromJson(this, data, true, false, false);
    }

    void cleanup()
    {
        m_alpha.reset();
        m_alpine.reset();
        m_secret.reset();
        velk::m().root()->remove(this, "tst_cmd", false);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void registry()
    {
        const QStringList names = manager().names();
        for (const char* name : {"help", "mobj.get", "mobj.set"}) {
            QVERIFY2(names.contains(name) && manager().find(name), name);
        }
        QVERIFY(std::is_sorted(names.cbegin(), names.cend()));
        QVERIFY(!names.contains("zz.secret") && manager().names(false).contains("zz.secret"));

        RecordingCommand twin("zz.alpha"), spaced("zz bad"), unnamed{QString()};
        for (auto* bad : {&twin, &spaced, &unnamed, static_cast<RecordingCommand*>(nullptr)}) {
            QVERIFY(!manager().regist(bad));
        }
        QCOMPARE(manager().find("zz.alpha"), m_alpha.get());
        QVERIFY(!manager().cancel(&twin));
        QVERIFY(manager().cancel(m_alpha.get()));
        // A cancelled command must not be forgotten again when destroyed: the
        // new holder of the name would lose its entry.
        QVERIFY(manager().regist(&twin));
        m_alpha.reset();
        QCOMPARE(manager().find("zz.alpha"), &twin);
        QVERIFY(manager().cancel(&twin));
        m_alpine.reset(); // a destroyed command is forgotten
        QVERIFY(!manager().execute("zz.alpine"));
    }

    // clang-format off
    void execute_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("args"); // what zz.alpha got; null: not run
        QTest::addColumn<bool>("ok");
        QTest::newRow("no arguments") << "zz.alpha" << "" << true;
        QTest::newRow("outer blanks ignored") << "  zz.alpha x y  " << "x y" << true;
        QTest::newRow("one blank taken") << "zz.alpha   x" << "  x" << true;
        QTest::newRow("tab separates") << "zz.alpha\tx" << "x" << true;
        QTest::newRow("json argument") << R"(zz.alpha -data={"a": [1, 2]})" << R"(-data={"a": [1, 2]})" << true;
        QTest::newRow("unknown command") << "zz.alp x" << QString() << false;
        QTest::newRow("empty line") << "   \t " << QString() << true;
    }
    // clang-format on

    void execute()
    {
        QFETCH(QString, line);
        QFETCH(QString, args);
        QFETCH(bool, ok);
        QCOMPARE(manager().execute(line), ok);
        QCOMPARE(m_alpha->executed, args.isNull() ? QStringList() : QStringList{args});
        QCOMPARE(m_output->count(), 0);
        QCOMPARE(m_error->count(), ok ? 0 : 1);
        QVERIFY(ok || only(*m_error).contains("zz.alp"));
        // Unlisted commands run by their full name.
        QVERIFY(manager().execute("zz.secret now"));
        QCOMPARE(m_secret->executed, QStringList{"now"});
    }

    // clang-format off
    void completeAndHint_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("input"); // typed on completion; null: nothing
        QTest::addColumn<QString>("hint");  // shown; "!": an error; "=": zz.alpha's own; null: not asked
        QTest::newRow("common prefix") << "zz.al" << "p" << "zz.alpha\t zz.alpine";
        QTest::newRow("unique name") << "zz.alph" << "a " << QString();
        QTest::newRow("complete name") << "zz.alpha" << " " << "=";
        QTest::newRow("ambiguous at prefix") << "zz.alp" << QString() << QString();
        QTest::newRow("unknown") << "zz.q" << QString() << "!";
        QTest::newRow("unlisted not offered") << "zz.sec" << QString() << QString();
        QTest::newRow("leading blanks") << "  mobj.g" << "et " << QString();
        QTest::newRow("arguments go to the command") << "zz.alpha sys" << QString() << "=";
        QTest::newRow("path, top level") << "mobj.get tst_c" << "md." << QString();
        QTest::newRow("path, object child") << "mobj.get tst_cmd.se" << "rver." << QString();
        QTest::newRow("path, leaf child") << "mobj.set tst_cmd.mo" << "de" << QString();
        QTest::newRow("path, ambiguous stem") << "mobj.get tst_cmd.s" << QString() << QString();
        QTest::newRow("path, value typed") << "mobj.set tst_cmd.mo x" << QString() << QString();
    }
    // clang-format on

    void completeAndHint()
    {
        QFETCH(QString, line);
        QFETCH(QString, input);
        QFETCH(QString, hint);
        manager().complete(line);
        QCOMPARE(only(*m_input), input);
        QCOMPARE(m_alpha->completed,
                 line.startsWith("zz.alpha ") ? QStringList{line} : QStringList());
        QCOMPARE(m_error->count(), 0);
        if (!hint.isNull()) {
            manager().hint(line);
            QCOMPARE(m_alpha->hinted, hint == "=" ? QStringList{line} : QStringList());
            QCOMPARE(m_error->count(), hint == "!" ? 1 : 0);
            QCOMPARE(only(*m_output), hint == "=" || hint == "!" ? QString() : hint);
        }
    }

    void help()
    {
        QVERIFY(manager().execute("help"));
        const QStringList lines = only(*m_output).split('\n');
        // One line per listed command, in name order, with usage and description.
        const QStringList listed = manager().names();
        QCOMPARE(lines.size(), listed.size());
        for (int i = 0; i < listed.size(); ++i) {
            const BaseCommand* command = manager().find(listed[i]);
            QVERIFY2(lines[i].startsWith(command->usage()), qPrintable(lines[i]));
            QVERIFY2(lines[i].contains(command->description()), qPrintable(lines[i]));
        }
        m_output->clear();
        QVERIFY(manager().execute("help zz.secret"));
        QVERIFY(only(*m_output).contains("records what it gets"));
        QVERIFY(manager().execute("help zz.none"));
        QCOMPARE(m_error->count(), 1);
    }

    // clang-format off
    void mobjGet_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("node"); // whose export the output must be; null: an error
        QTest::newRow("subtree") << "tst_cmd" << "tst_cmd";
        QTest::newRow("string leaf") << "tst_cmd.mode" << "tst_cmd.mode";
        QTest::newRow("list leaf") << "tst_cmd.joint" << "tst_cmd.joint";
        QTest::newRow("blanks around path") << "  tst_cmd.server.port " << "tst_cmd.server.port";
        QTest::newRow("unknown path") << "tst_cmd.nothing" << QString();
    }
    // clang-format on

    void mobjGet()
    {
        QFETCH(QString, path);
        QFETCH(QString, node);
        QVERIFY(manager().execute("mobj.get " + path));
        if (node.isNull()) {
            QCOMPARE(m_output->count(), 0);
            QVERIFY(only(*m_error).contains(path));
            return;
        }
        QCOMPARE(m_error->count(), 0);
        QCOMPARE(parseJson(only(*m_output)), velk::m(node)->exportToJson());
        QVERIFY(velk::m(node)->cmobjCount() == 0 || only(*m_output).contains("\n    \""));

        m_output->clear(); // without a path: the whole tree
        QVERIFY(manager().execute("mobj.get"));
        QCOMPARE(parseJson(only(*m_output)).toObject().value("tst_cmd"),
                 velk::m("tst_cmd")->exportToJson());
    }

    // clang-format off
    void mobjSet_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("expected"); // JSON of the new node; null: refused
        QTest::newRow("number") << "42" << "42";
        QTest::newRow("bare words") << "two words" << R"("two words")";
        QTest::newRow("array") << "[1, \"x\", false]" << R"([1,"x",false])";
        QTest::newRow("object") << R"({"ip":"1.2.3.4","port":1})" << R"({"ip":"1.2.3.4","port":1})";
        QTest::newRow("broken json is text") << "{\"a\":" << "\"{\\\"a\\\":\"";
        QTest::newRow("no value") << "tst_cmd.mode" << QString();
        QTest::newRow("bad path") << "tst_cmd..x 1" << QString();
    }
    // clang-format on

    void mobjSet()
    {
        QFETCH(QString, args);
        QFETCH(QString, expected);
        const QString path = QStringLiteral("tst_cmd.new.leaf");
        ModuleObject* top = velk::m("tst_cmd");
        const QJsonValue before = top->exportToJson();
        QSignalSpy added(top, &ModuleObject::added);
        QVERIFY(manager().execute("mobj.set " + (expected.isNull() ? args : path + ' ' + args)));
        if (expected.isNull()) {
            QCOMPARE(m_error->count(), 1);
            QCOMPARE(top->exportToJson(), before);
            return;
        }
        QCOMPARE(m_error->count(), 0);
        QCOMPARE(added.count(), 1); // the created path is announced
        ModuleObject* node = velk::m(path);
        QCOMPARE(node->exportToJson(), parseJson(expected));

        // Setting again emits a change whose sender is the command.
        QSignalSpy changed(node, &ModuleObject::changed);
        QVERIFY(manager().execute("mobj.set " + path + " 7"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(2).value<QObject*>(), manager().find("mobj.set"));
    }
};

QTEST_GUILESS_MAIN(TestCommandManager)
#include "tst_commandmanager.moc"
