#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>

using velk::BaseCommand;
using velk::CommandManager;
using velk::ModuleObject;

namespace {

class RecordingCommand : public BaseCommand
{
public:
    RecordingCommand(const QString& name, bool listed = true)
        : BaseCommand(name, listed)
    {
    }

    QStringList executed;
    QStringList completed;
    QStringList hinted;
    ModuleObject* root = nullptr;

    QString description() const override { return QStringLiteral("records what it gets"); }
    void complete(ModuleObject* r, const QString& text) override
    {
        root = r;
        completed << text;
    }
    void hint(ModuleObject* r, const QString& text) override
    {
        root = r;
        hinted << text;
    }
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

private Q_SLOTS:
    void init();
    void cleanup();

    void builtInsAreRegistered();
    void registRules();
    void destroyedCommandIsForgotten();
    void executePassesArguments_data();
    void executePassesArguments();
    void unknownCommandIsAnError();
    void emptyLineDoesNothing();
    void commandTextReachesConsoleSignals();
    void completeName_data();
    void completeName();
    void completeArgumentsGoToCommand();
    void hintLine_data();
    void hintLine();
    void helpListsCommands();
    void helpOnOneCommand();
    void mobjGetPrintsJson_data();
    void mobjGetPrintsJson();
    void mobjGetUnknownPath();
    void mobjSetParsesValue_data();
    void mobjSetParsesValue();
    void mobjSetErrors_data();
    void mobjSetErrors();
    void mobjPathCompletion_data();
    void mobjPathCompletion();

private:
    CommandManager& manager() { return CommandManager::instance(); }
    RecordingCommand* m_alpha = nullptr;
    RecordingCommand* m_alpine = nullptr;
    RecordingCommand* m_secret = nullptr;
    QSignalSpy* m_output = nullptr;
    QSignalSpy* m_error = nullptr;
    QSignalSpy* m_input = nullptr;
};

void TestCommandManager::init()
{
    m_alpha = new RecordingCommand(QStringLiteral("zz.alpha"));
    m_alpine = new RecordingCommand(QStringLiteral("zz.alpine"));
    m_secret = new RecordingCommand(QStringLiteral("zz.secret"), false);
    QVERIFY(manager().regist(m_alpha));
    QVERIFY(manager().regist(m_alpine));
    QVERIFY(manager().regist(m_secret));
    m_output = new QSignalSpy(&manager(), &CommandManager::output);
    m_error = new QSignalSpy(&manager(), &CommandManager::error);
    m_input = new QSignalSpy(&manager(), &CommandManager::input);

    velk::m()
        .ensure(QStringLiteral("tst_cmd"))
        ->importFromJson(this,
                         QJsonObject{{"mode", "manual"},
                                     {"joint", QJsonArray{1, 2}},
                                     {"server", QJsonObject{{"ip", "10.0.0.2"}, {"port", 5050}}},
                                     {"sibling", 1}},
                         true, false, false);
}

void TestCommandManager::cleanup()
{
    delete m_alpha;
    delete m_alpine;
    delete m_secret;
    delete m_output;
    delete m_error;
    delete m_input;
    velk::m().root()->remove(this, QStringLiteral("tst_cmd"), false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestCommandManager::builtInsAreRegistered()
{
    const QStringList names = manager().names();
    for (const char* name : {"help", "mobj.get", "mobj.set"}) {
        QVERIFY2(names.contains(QLatin1String(name)), name);
        QVERIFY(manager().find(QLatin1String(name)));
    }
    QVERIFY(std::is_sorted(names.cbegin(), names.cend()));
    QVERIFY(!names.contains(QStringLiteral("zz.secret")));
    QVERIFY(manager().names(false).contains(QStringLiteral("zz.secret")));
    QCOMPARE(&velk::command(), &manager());
}

void TestCommandManager::registRules()
{
    QVERIFY(!manager().regist(nullptr));
    RecordingCommand twin(QStringLiteral("zz.alpha"));
    QVERIFY(!manager().regist(&twin));
    QCOMPARE(manager().find(QStringLiteral("zz.alpha")), m_alpha);
    QVERIFY(manager().regist(m_alpha)); // already held by itself
    RecordingCommand spaced(QStringLiteral("zz bad"));
    QVERIFY(!manager().regist(&spaced));
    RecordingCommand unnamed{QString()};
    QVERIFY(!manager().regist(&unnamed));

    QVERIFY(!manager().cancel(&twin));
    QVERIFY(manager().cancel(m_alpha));
    QVERIFY(!manager().find(QStringLiteral("zz.alpha")));
    QVERIFY(!manager().cancel(m_alpha));
    QVERIFY(manager().regist(&twin));
    QVERIFY(manager().cancel(&twin));
}

void TestCommandManager::destroyedCommandIsForgotten()
{
    auto* temporary = new RecordingCommand(QStringLiteral("zz.temporary"));
    QVERIFY(manager().regist(temporary));
    // A cancelled command must not be forgotten again by a later destroy:
    // a new holder of the name would lose its entry.
    QVERIFY(manager().cancel(temporary));
    RecordingCommand successor(QStringLiteral("zz.temporary"));
    QVERIFY(manager().regist(&successor));
    delete temporary;
    QCOMPARE(manager().find(QStringLiteral("zz.temporary")), &successor);

    delete m_alpine;
    m_alpine = nullptr;
    QVERIFY(!manager().find(QStringLiteral("zz.alpine")));
    QVERIFY(!manager().names(false).contains(QStringLiteral("zz.alpine")));
    QVERIFY(!manager().execute(QStringLiteral("zz.alpine")));
}

// clang-format off
void TestCommandManager::executePassesArguments_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("args");
    QTest::newRow("no arguments") << "zz.alpha" << "";
    QTest::newRow("arguments") << "zz.alpha -ip=10.0.0.2 -port=5050" << "-ip=10.0.0.2 -port=5050";
    QTest::newRow("outer blanks ignored") << "  zz.alpha x y  " << "x y";
    QTest::newRow("one blank taken") << "zz.alpha   x" << "  x";
    QTest::newRow("tab separates") << "zz.alpha\tx" << "x";
    QTest::newRow("json argument") << R"(zz.alpha -data={"a": [1, 2]})" << R"(-data={"a": [1, 2]})";
}
// clang-format on

void TestCommandManager::executePassesArguments()
{
    QFETCH(QString, line);
    QFETCH(QString, args);
    QVERIFY(manager().execute(line));
    QCOMPARE(m_alpha->executed, QStringList{args});
    QCOMPARE(m_error->count(), 0);
}

void TestCommandManager::unknownCommandIsAnError()
{
    QVERIFY(!manager().execute(QStringLiteral("zz.alp x")));
    QCOMPARE(m_error->count(), 1);
    QVERIFY(m_error->at(0).at(0).toString().contains(QLatin1String("zz.alp")));
    QVERIFY(m_alpha->executed.isEmpty());
    QVERIFY(m_alpine->executed.isEmpty());

    // Unlisted commands run by their full name.
    QVERIFY(manager().execute(QStringLiteral("zz.secret now")));
    QCOMPARE(m_secret->executed, QStringList{"now"});
}

void TestCommandManager::emptyLineDoesNothing()
{
    QVERIFY(manager().execute(QString()));
    QVERIFY(manager().execute(QStringLiteral("   \t ")));
    QCOMPARE(m_error->count() + m_output->count(), 0);
}

void TestCommandManager::commandTextReachesConsoleSignals()
{
    m_alpha->output(QStringLiteral("result"));
    m_alpha->error(QStringLiteral("failure"));
    m_alpha->input(QStringLiteral("tail"));
    QCOMPARE(m_output->count(), 1);
    QCOMPARE(m_output->at(0).at(0).toString(), QStringLiteral("result"));
    QCOMPARE(m_error->at(0).at(0).toString(), QStringLiteral("failure"));
    QCOMPARE(m_input->at(0).at(0).toString(), QStringLiteral("tail"));
    QCOMPARE(m_alpha->usage(), QStringLiteral("zz.alpha"));
}

// clang-format off
void TestCommandManager::completeName_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("input"); // null: no input at all
    QTest::newRow("common prefix") << "zz.al" << "p";
    QTest::newRow("unique name") << "zz.alph" << "a ";
    QTest::newRow("complete name") << "zz.alpha" << " ";
    QTest::newRow("ambiguous at prefix") << "zz.alp" << QString();
    QTest::newRow("no candidate") << "zz.q" << QString();
    QTest::newRow("unlisted not offered") << "zz.sec" << QString();
    QTest::newRow("leading blanks") << "  mobj.g" << "et ";
}
// clang-format on

void TestCommandManager::completeName()
{
    QFETCH(QString, line);
    QFETCH(QString, input);
    manager().complete(line);
    if (input.isNull()) {
        QCOMPARE(m_input->count(), 0);
    } else {
        QCOMPARE(m_input->count(), 1);
        QCOMPARE(m_input->at(0).at(0).toString(), input);
    }
    QVERIFY(m_alpha->completed.isEmpty());
}

void TestCommandManager::completeArgumentsGoToCommand()
{
    manager().complete(QStringLiteral("zz.alpha sys"));
    manager().complete(QStringLiteral(" zz.alpha "));
    QCOMPARE(m_alpha->completed, QStringList({"zz.alpha sys", "zz.alpha "}));
    QCOMPARE(m_alpha->root, velk::m().root());
    manager().complete(QStringLiteral("zz.unknown x"));
    QCOMPARE(m_input->count() + m_error->count(), 0);
}

// clang-format off
void TestCommandManager::hintLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("toCommand");
    QTest::addColumn<bool>("isError");
    QTest::newRow("candidates") << "zz.al" << "zz.alpha\t zz.alpine" << false << false;
    QTest::newRow("exact name") << "zz.alpha" << QString() << true << false;
    QTest::newRow("with arguments") << "zz.alpha x" << QString() << true << false;
    QTest::newRow("unknown") << "zz.q" << QString() << false << true;
    QTest::newRow("unknown with arguments") << "zz.alpx y" << QString() << false << true;
}
// clang-format on

void TestCommandManager::hintLine()
{
    QFETCH(QString, line);
    QFETCH(QString, output);
    QFETCH(bool, toCommand);
    QFETCH(bool, isError);
    manager().hint(line);
    QCOMPARE(m_alpha->hinted, toCommand ? QStringList{line} : QStringList());
    QCOMPARE(m_error->count(), isError ? 1 : 0);
    if (!output.isNull()) {
        QCOMPARE(m_output->count(), 1);
        QCOMPARE(m_output->at(0).at(0).toString(), output);
    }
}

void TestCommandManager::helpListsCommands()
{
    QVERIFY(manager().execute(QStringLiteral("help")));
    QCOMPARE(m_output->count(), 1);
    const QString text = m_output->at(0).at(0).toString();
    const QStringList listed = manager().names();
    for (const QString& name : listed) {
        const BaseCommand* command = manager().find(name);
        QVERIFY2(text.contains(command->usage()), qPrintable(name));
        QVERIFY2(text.contains(command->description()), qPrintable(name));
    }
    QVERIFY(text.contains(QLatin1String("mobj.set <path> <json-value>")));
    QVERIFY(!text.contains(QLatin1String("zz.secret")));
    // One line per listed command, in name order.
    const QStringList lines = text.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), listed.size());
    QVERIFY(lines.at(listed.indexOf(QStringLiteral("zz.alpha"))).startsWith("zz.alpha "));
}

void TestCommandManager::helpOnOneCommand()
{
    QVERIFY(manager().execute(QStringLiteral("help zz.secret")));
    QCOMPARE(m_output->count(), 1);
    QVERIFY(m_output->at(0).at(0).toString().contains(QLatin1String("records what it gets")));
    QVERIFY(manager().execute(QStringLiteral("help zz.none")));
    QCOMPARE(m_error->count(), 1);
}

// clang-format off
void TestCommandManager::mobjGetPrintsJson_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("node"); // what the output must equal the export of
    QTest::newRow("subtree") << "tst_cmd" << "tst_cmd";
    QTest::newRow("inner object") << "tst_cmd.server" << "tst_cmd.server";
    QTest::newRow("string leaf") << "tst_cmd.mode" << "tst_cmd.mode";
    QTest::newRow("list leaf") << "tst_cmd.joint" << "tst_cmd.joint";
    QTest::newRow("blanks around path") << "  tst_cmd.server.port " << "tst_cmd.server.port";
}
// clang-format on

void TestCommandManager::mobjGetPrintsJson()
{
    QFETCH(QString, path);
    QFETCH(QString, node);
    QVERIFY(manager().execute(QStringLiteral("mobj.get ") + path));
    QCOMPARE(m_error->count(), 0);
    QCOMPARE(m_output->count(), 1);
    const QString text = m_output->at(0).at(0).toString();
    QCOMPARE(parseJson(text), velk::m(node)->exportToJson());
    if (velk::m(node)->cmobjCount() > 0) {
        QVERIFY2(text.contains(QLatin1String("\n    \"")), "not indented");
    }
}

void TestCommandManager::mobjGetUnknownPath()
{
    QVERIFY(manager().execute(QStringLiteral("mobj.get tst_cmd.nothing")));
    QCOMPARE(m_output->count(), 0);
    QCOMPARE(m_error->count(), 1);
    QVERIFY(m_error->at(0).at(0).toString().contains(QLatin1String("tst_cmd.nothing")));

    // Without a path: the whole tree, ours included.
    QVERIFY(manager().execute(QStringLiteral("mobj.get")));
    QCOMPARE(m_output->count(), 1);
    const QJsonValue all = parseJson(m_output->at(0).at(0).toString());
    QCOMPARE(all.toObject().value(QStringLiteral("tst_cmd")), velk::m("tst_cmd")->exportToJson());
}

// clang-format off
void TestCommandManager::mobjSetParsesValue_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected"); // JSON of the node's export
    QTest::newRow("number") << "42" << "42";
    QTest::newRow("negative double") << "-1.5" << "-1.5";
    QTest::newRow("quoted string") << R"("auto")" << R"("auto")";
    QTest::newRow("bare word") << "auto" << R"("auto")";
    QTest::newRow("words") << "two words" << R"("two words")";
    QTest::newRow("boolean") << "true" << "true";
    QTest::newRow("null") << "null" << "null";
    QTest::newRow("array") << "[1, \"x\", false]" << R"([1,"x",false])";
    QTest::newRow("object") << R"({"ip":"1.2.3.4","port":1})" << R"({"ip":"1.2.3.4","port":1})";
    QTest::newRow("broken json") << "{\"a\":" << R"("{\"a\":")";
}
// clang-format on

void TestCommandManager::mobjSetParsesValue()
{
    QFETCH(QString, value);
    QFETCH(QString, expected);
    const QString path = QStringLiteral("tst_cmd.new.leaf");
    ModuleObject* top = velk::m(QStringLiteral("tst_cmd"));
    QSignalSpy added(top, &ModuleObject::added);
    QVERIFY(manager().execute(QStringLiteral("mobj.set %1 %2").arg(path, value)));
    QCOMPARE(m_error->count(), 0);
    QCOMPARE(m_output->count(), 1);
    ModuleObject* node = velk::m(path);
    QVERIFY(!node->isEmptyMobj());
    QCOMPARE(added.count(), 1); // the created path is announced
    QCOMPARE(node->exportToJson(), parseJson(expected));

    // Setting again emits a change whose sender is the command.
    QSignalSpy changed(node, &ModuleObject::changed);
    QVERIFY(manager().execute(QStringLiteral("mobj.set %1 7").arg(path)));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(2).value<QObject*>(), manager().find(QStringLiteral("mobj.set")));
    QCOMPARE(node->getInt(), 7);
}

// clang-format off
void TestCommandManager::mobjSetErrors_data()
{
    QTest::addColumn<QString>("args");
    QTest::newRow("nothing") << "";
    QTest::newRow("path only") << "tst_cmd.mode";
    QTest::newRow("bad path") << "tst_cmd..x 1";
}
// clang-format on

void TestCommandManager::mobjSetErrors()
{
    QFETCH(QString, args);
    const QJsonValue before = velk::m("tst_cmd")->exportToJson();
    QVERIFY(manager().execute(QStringLiteral("mobj.set ") + args));
    QCOMPARE(m_error->count(), 1);
    QCOMPARE(m_output->count(), 0);
    QCOMPARE(velk::m("tst_cmd")->exportToJson(), before);
}

// clang-format off
void TestCommandManager::mobjPathCompletion_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("input");
    QTest::newRow("top-level name") << "mobj.get tst_c" << "md.";
    QTest::newRow("object child") << "mobj.get tst_cmd.se" << "rver.";
    QTest::newRow("leaf child") << "mobj.set tst_cmd.mo" << "de";
    QTest::newRow("ambiguous stem") << "mobj.get tst_cmd.s" << QString();
    QTest::newRow("value typed") << "mobj.set tst_cmd.mo x" << QString();
    QTest::newRow("unknown group") << "mobj.get tst_cmd.zz.a" << QString();
}
// clang-format on

void TestCommandManager::mobjPathCompletion()
{
    QFETCH(QString, line);
    QFETCH(QString, input);
    manager().complete(line);
    if (input.isNull()) {
        QCOMPARE(m_input->count(), 0);
    } else {
        QCOMPARE(m_input->count(), 1);
        QCOMPARE(m_input->at(0).at(0).toString(), input);
    }
}

QTEST_GUILESS_MAIN(TestCommandManager)
#include "tst_commandmanager.moc"
