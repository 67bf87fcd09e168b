#include "simcatalogue.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

using zarvo::sim::SimCatalogue;

namespace {

// The command list of the protocol, group by group.
const QStringList ExpectedCommands = {
    "dynamic.drag.set_params",
    "dynamic.drag.get_params",
    "dynamic.control.set_dynamics_enable_state",
    "dynamic.control.get_dynamics_enable_state",

    "endtool.gripper.close",
    "endtool.gripper.open",
    "endtool.gripper.set_params",
    "endtool.gripper.get_params",

    "motion.dynamic_identify.start",
    "motion.dynamic_identify.stop",
    "motion.dynamic_identify.set_params",
    "motion.dynamic_identify.get_params",
    "motion.dynamic_identify.result",
    "motion.dynamic_identify.value",
    "motion.dynamic_identify.set_times",
    "motion.jog.start",
    "motion.jog.set_params",
    "motion.jog.get_params",
    "motion.load_identify.start",
    "motion.load_identify.set_params",
    "motion.load_identify.get_params",
    "motion.load_identify.result",
    "motion.move.stop",
    "motion.move.get_pos",
    "motion.move.quick_turn",
    "motion.move.monitor",
    "motion.move.get_joint_pos",
    "motion.block_state",

    "network.rci.set_params",
    "network.rci.get_params",
    "network.socket.set_params",
    "network.socket.get_params",
    "network.socket.get_state",
    "network.socket.connect",

    "fieldbus.modbus.set_params",
    "fieldbus.modbus.get_params",
    "fieldbus.modbus.connect",
    "fieldbus.modbus.result",

    "project.rl_program.print",
    "project.rl_program.pointer",
    "project.rl_program.get_rob_pos",
    "project.rl_program.alarm",
    "project.rl_task.check",
    "project.rl_task.pp_to_line",
    "project.rl_task.pp_to_main",
    "project.rl_task.run",
    "project.rl_task.stop",
    "project.rl_task.forward",
    "project.rl_task.back",
    "project.rl_task.get_run_params",
    "project.rl_task.set_run_params",
    "project.rl_task.add_task",
    "project.rl_task.del_task",
    "project.rl_task.get_pointer",
    "project.reload",
    "project.get_cur_prj",

    "robot.calibrate.force",
    "robot.calibrate.zero",
    "robot.calibrate.frame",
    "robot.servo.clear_alarm",
    "robot.body.get_DH_params",
    "robot.body.set_DH_params",
    "robot.frame.get_current",
    "robot.frame.set_current",
    "robot.frame.get_quaternion",
    "robot.frame.get_rpy",
    "robot.frame.get_base_frame",
    "robot.frame.set_base_frame",

    "system.state.switch_manual",
    "system.state.switch_auto",
    "system.state.switch_motor_on",
    "system.state.switch_motor_off",
    "system.state.get_operate",
    "system.state.get_motor",
    "system.state.get_robot_state",
    "system.state.get_safety_stop",
    "system.state.change",
    "system.controller.detect",
    "system.controller.reboot",
    "system.controller.set_params",
    "system.controller.get_params",
    "system.controller.set_nic",
    "system.alarm.query",
    "system.alarm.report",
    "system.alarm.statis",
    "system.user.login",
    "system.user.modify_password",
    "system.user.query",

    "safety.soft_limit.set_params",
    "safety.soft_limit.get_params",
    "safety.virtual_wall.set_params",
    "safety.virtual_wall.get_params",
    "safety.collision.get_params",
    "safety.collision.set_params",
    "safety.collision.set_state",
    "safety.area.get_params",
    "safety.area.set_params",
    "safety.collaboration.get_params",
    "safety.collaboration.set_params",
    "safety.monitor.get_params",
    "safety.monitor.set_params",

    "app.ncp.start",
    "app.ncp.stop",
    "app.demo.set_loop_mode",
    "app.demo.select_demo",
    "app.demo.get_params",
    "app.demo.get_cur_demo",
    "app.demo.get_FT_data",
    "app.demo.pause",
    "app.demo.start",
    "app.demo.stop",
    "app.demo.reset",

    "io.io_device.query",
    "io.io_signal.get_input_simu_mode",
    "io.io_signal.set_input_simu_mode",
    "io.io_signal.get_signal_value",
    "io.io_signal.set_signal_value",
    "io.io_signal.get_signal_detail",
    "io.system_io.query_configuration",
    "io.system_io.update_configuration",
};

const QStringList ExpectedGroups = {"dynamic",  "endtool", "motion", "network",
                                    "fieldbus", "project", "robot",  "system",
                                    "safety",   "app",     "io"};

QString lastPart(const QString& name)
{
    return name.mid(name.lastIndexOf(QLatin1Char('.')) + 1);
}

QJsonValue::Type typeOf(const QString& word)
{
    if (word == "string")
        return QJsonValue::String;
    if (word == "bool")
        return QJsonValue::Bool;
    if (word == "number")
        return QJsonValue::Double;
    if (word == "array")
        return QJsonValue::Array;
    return QJsonValue::Object;
}

// Every "error_code" table below `value`, with a path for messages.
void collectErrorTables(const QJsonValue& value, const QString& path,
                        QList<QPair<QString, QJsonObject>>* out)
{
    if (!value.isObject())
        return;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString child = path.isEmpty() ? it.key() : path + "." + it.key();
        if (it.key() == QLatin1String("error_code") ||
            it.key() == QLatin1String("global_error_code"))
            out->append({child, it.value().toObject()});
        else
            collectErrorTables(it.value(), child, out);
    }
}

} // namespace

class TestSimCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileIsBomCrlfIndentedJson();
    void loadsAllCommands();
    void groupsAreExactlyTheEleven();
    void listedCommandExists_data();
    void listedCommandExists();
    void globalErrorTableIsExact();
    void everyErrorEntryHasBothTexts();
    void requiredFields_data();
    void requiredFields();
    void templatesFollowCommandNames();
    void getAndSetParamsShareFields();
    void dragHasItsOwnErrorTable();
    void heartbeatIsNotACommand();
    void errorTextPrefersCommandTable_data();
    void errorTextPrefersCommandTable();
    void loadFailureKeepsCatalogue_data();
    void loadFailureKeepsCatalogue();

private:
    SimCatalogue m_catalogue;
};

void TestSimCatalogue::fileIsBomCrlfIndentedJson()
{
    QFile file(SimCatalogue::builtinPath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QVERIFY(bytes.startsWith("\xEF\xBB\xBF"));
    QVERIFY(bytes.contains("\r\n"));
    // No bare line feed anywhere.
    QCOMPARE(bytes.count('\n'), bytes.count("\r\n"));
    QVERIFY2(bytes.contains("\r\n    \"global_error_code\""), "not indented");

    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes.mid(3), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QVERIFY(doc.isObject());
    // Chinese texts survive as UTF-8, not as escapes.
    QVERIFY(QString::fromUtf8(bytes).contains(QStringLiteral("操作模式错误")));
}

void TestSimCatalogue::loadsAllCommands()
{
    QVERIFY2(m_catalogue.isValid(), qPrintable(m_catalogue.errorString()));
    QCOMPARE(ExpectedCommands.size(), 120);
    QCOMPARE(QSet<QString>(ExpectedCommands.begin(), ExpectedCommands.end()).size(), 120);
    QStringList expected = ExpectedCommands;
    expected.sort();
    QCOMPARE(m_catalogue.commands(), expected);
}

void TestSimCatalogue::groupsAreExactlyTheEleven()
{
    QStringList keys = m_catalogue.root().keys();
    QStringList expected = ExpectedGroups;
    expected << "global_error_code";
    keys.sort();
    expected.sort();
    QCOMPARE(keys, expected);
}

void TestSimCatalogue::listedCommandExists_data()
{
    QTest::addColumn<QString>("name");
    for (const QString& name : ExpectedCommands)
        QTest::newRow(qPrintable(name)) << name;
}

void TestSimCatalogue::listedCommandExists()
{
    QFETCH(QString, name);
    QVERIFY(m_catalogue.contains(name));
    // The group/sub-group path leads to the command object.
    QJsonValue node = m_catalogue.root();
    for (const QString& part : name.split('.'))
        node = node.toObject().value(part);
    QVERIFY(node.isObject());
    QVERIFY(SimCatalogue::isCommandObject(node.toObject()));
}

void TestSimCatalogue::globalErrorTableIsExact()
{
    const QJsonObject expected{
        {"0", QJsonObject{{"en", "-"}, {"cn", "-"}}},
        {"10001", QJsonObject{{"en", "operate mode error"}, {"cn", "操作模式错误"}}},
        {"10002", QJsonObject{{"en", "motor power state error"}, {"cn", "电机上电状态错误"}}},
        {"10003", QJsonObject{{"en", "motor control state error"}, {"cn", "电机控制模式错误"}}},
        {"10004", QJsonObject{{"en", "robot state error"}, {"cn", "机器人状态错误"}}},
        {"10005", QJsonObject{{"en", "safety stop error"}, {"cn", "处于急停模式"}}},
        {"20000", QJsonObject{{"en", "package parsing error"}, {"cn", "包解析错误"}}},
    };
    QCOMPARE(m_catalogue.globalErrorTable(), expected);
}

void TestSimCatalogue::everyErrorEntryHasBothTexts()
{
    QList<QPair<QString, QJsonObject>> tables;
    collectErrorTables(m_catalogue.root(), QString(), &tables);
    QVERIFY(tables.size() > 5);
    const QRegularExpression number(QStringLiteral("^(0|[1-9][0-9]*)$"));
    const QRegularExpression han(QStringLiteral("\\p{Han}"));
    for (const auto& table : qAsConst(tables)) {
        QVERIFY2(!table.second.isEmpty(), qPrintable(table.first));
        for (auto it = table.second.begin(); it != table.second.end(); ++it) {
            const QString where = table.first + "." + it.key();
            QVERIFY2(number.match(it.key()).hasMatch(), qPrintable(where));
            const QJsonObject entry = it.value().toObject();
            const QString en = entry.value("en").toString();
            const QString cn = entry.value("cn").toString();
            QVERIFY2(!en.isEmpty() && !cn.isEmpty(), qPrintable(where));
            if (en != QLatin1String("-"))
                QVERIFY2(han.match(cn).hasMatch(), qPrintable(where + " has no Chinese text"));
        }
    }
}

void TestSimCatalogue::requiredFields_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("section"); // request, response, notify
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QJsonValue>("value"); // undefined: any value
    QTest::addColumn<int>("length");       // arrays only

    const QJsonValue any(QJsonValue::Undefined);
    auto row = [](const char* tag) -> QTestData& { return QTest::newRow(tag); };
    row("operate") << "system.state.get_operate"
                   << "response"
                   << "operate"
                   << "string" << QJsonValue("manual") << 0;
    row("power") << "system.state.get_motor"
                 << "response"
                 << "power"
                 << "string" << QJsonValue("off") << 0;
    row("robot_state") << "system.state.get_robot_state"
                       << "response"
                       << "robot_state"
                       << "string" << QJsonValue("idle") << 0;
    row("safety_stop") << "system.state.get_safety_stop"
                       << "response"
                       << "safety_stop"
                       << "string" << QJsonValue("idle") << 0;
    for (const char* field : {"operate", "robot_state", "power", "safety_stop"})
        row(qPrintable(QStringLiteral("change ") + field))
            << "system.state.change"
            << "notify" << field << "string" << any << 0;
    const QList<QPair<const char*, int>> arrays{
        {"joint", 6}, {"position", 3}, {"euler", 3}, {"quaternion", 4}, {"torque", 6}};
    for (const auto& array : arrays)
        row(qPrintable(QStringLiteral("monitor ") + array.first))
            << "motion.move.monitor"
            << "notify" << array.first << "array" << any << array.second;
    row("monitor elb") << "motion.move.monitor"
                       << "notify"
                       << "elb"
                       << "number" << any << 0;
    row("block_state") << "motion.block_state"
                       << "notify"
                       << "block_state"
                       << "bool" << QJsonValue(false) << 0;
    row("disk_serial_number") << "system.controller.get_params"
                              << "response"
                              << "disk_serial_number"
                              << "string" << any << 0;
    row("version") << "system.controller.get_params"
                   << "response"
                   << "version"
                   << "string" << QJsonValue("0.0.0") << 0;
    row("detect addr_list") << "system.controller.detect"
                            << "notify"
                            << "addr_list"
                            << "array" << any << -1;
    for (const char* field : {"mac_addr", "tcp_port", "ssl_port", "udp_local_port",
                              "udp_remote_port", "version", "robot_type", "alias"})
        row(qPrintable(QStringLiteral("detect ") + field))
            << "system.controller.detect"
            << "notify" << field << "string" << any << 0;
    row("drag enable") << "dynamic.drag.set_params"
                       << "request"
                       << "enable"
                       << "bool" << QJsonValue(false) << 0;
    row("drag space") << "dynamic.drag.set_params"
                      << "request"
                      << "space"
                      << "number" << QJsonValue(0) << 0;
    row("drag type") << "dynamic.drag.set_params"
                     << "request"
                     << "type"
                     << "number" << QJsonValue(0) << 0;
}

void TestSimCatalogue::requiredFields()
{
    QFETCH(QString, command);
    QFETCH(QString, section);
    QFETCH(QString, field);
    QFETCH(QString, type);
    QFETCH(QJsonValue, value);
    QFETCH(int, length);

    const QJsonValue data = section == "request"    ? m_catalogue.requestData(command)
                            : section == "response" ? m_catalogue.responseData(command)
                                                    : m_catalogue.notifyData(command);
    QVERIFY2(data.isObject(), qPrintable(command + " has no " + section + " data"));
    const QJsonValue actual = data.toObject().value(field);
    QCOMPARE(actual.type(), typeOf(type));
    if (!value.isUndefined())
        QCOMPARE(actual, value);
    if (type == "array") {
        const QJsonArray array = actual.toArray();
        if (length >= 0)
            QCOMPARE(array.size(), length);
        if (field != "addr_list") {
            for (const QJsonValue& element : array)
                QVERIFY(element.isDouble());
        }
    }
}

void TestSimCatalogue::templatesFollowCommandNames()
{
    for (const QString& name : m_catalogue.commands()) {
        const QString last = lastPart(name);
        const QJsonObject command = m_catalogue.command(name);
        for (auto it = command.begin(); it != command.end(); ++it)
            QVERIFY2(it.value().isObject(), qPrintable(name + "." + it.key()));
        if (last.startsWith("get_")) {
            QVERIFY2(m_catalogue.responseData(name).isObject(), qPrintable(name));
        } else if (last.startsWith("set_")) {
            QVERIFY2(m_catalogue.requestData(name).isObject(), qPrintable(name));
            QVERIFY2(command.value("response").isObject(), qPrintable(name));
        }
        // A response holds data and/or an error table, nothing else.
        const QJsonObject response = command.value("response").toObject();
        for (const QString& key : response.keys())
            QVERIFY2(key == "data" || key == "error_code", qPrintable(name + " " + key));
        for (const char* part : {"request", "notify"}) {
            const QJsonObject section = command.value(part).toObject();
            if (!section.isEmpty())
                QVERIFY2(section.keys() == QStringList{"data"}, qPrintable(name));
        }
    }
    for (const char* name : {"system.state.change", "motion.move.monitor", "motion.block_state",
                             "system.controller.detect"})
        QVERIFY2(m_catalogue.notifyData(name).isObject(), name);
}

void TestSimCatalogue::getAndSetParamsShareFields()
{
    int pairs = 0;
    for (const QString& setter : m_catalogue.commands()) {
        const QString last = lastPart(setter);
        if (!last.startsWith("set_"))
            continue;
        const QString getter = setter.left(setter.size() - last.size()) + "get_" + last.mid(4);
        if (!m_catalogue.contains(getter))
            continue;
        ++pairs;
        const QJsonObject sent = m_catalogue.requestData(setter).toObject();
        const QJsonObject answered = m_catalogue.responseData(getter).toObject();
        QVERIFY2(!sent.isEmpty(), qPrintable(setter));
        for (auto it = sent.begin(); it != sent.end(); ++it) {
            QVERIFY2(answered.contains(it.key()), qPrintable(getter + " lacks " + it.key()));
            QVERIFY2(answered.value(it.key()).type() == it.value().type(),
                     qPrintable(getter + "." + it.key() + " has another type"));
        }
        QSet<QString> extra;
        for (const QString& key : answered.keys())
            if (!sent.contains(key))
                extra.insert(key);
        // Only the controller reports read-only facts beside its settings.
        if (setter == "system.controller.set_params")
            QCOMPARE(extra, (QSet<QString>{"disk_serial_number", "version", "robot_type"}));
        else if (last == "set_params")
            QVERIFY2(extra.isEmpty(), qPrintable(getter + " answers more than is set"));
    }
    QVERIFY(pairs >= 15);
}

void TestSimCatalogue::dragHasItsOwnErrorTable()
{
    const QJsonObject table = m_catalogue.errorTable("dynamic.drag.set_params");
    QCOMPARE(table.keys(), (QStringList{"10001", "10002", "10003", "10004"}));
    QCOMPARE(table.value("10002").toObject(),
             (QJsonObject{{"en", "operate mode error"}, {"cn", "操作模式错误"}}));
}

void TestSimCatalogue::heartbeatIsNotACommand()
{
    QVERIFY(!m_catalogue.contains("system.controller.heart"));
    QVERIFY(m_catalogue.command("system.controller.heart").isEmpty());
}

void TestSimCatalogue::errorTextPrefersCommandTable_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("text");
    QTest::newRow("own table") << "dynamic.drag.set_params" << -10002 << "en"
                               << "operate mode error";
    QTest::newRow("global table") << "system.state.switch_auto" << -10002 << "en"
                                  << "motor power state error";
    QTest::newRow("global cn") << "system.state.switch_motor_on" << -10005 << "cn"
                               << QStringLiteral("处于急停模式");
    QTest::newRow("zero") << "system.state.get_motor" << 0 << "en"
                          << "-";
    QTest::newRow("unknown") << "system.state.get_motor" << -4242 << "en"
                             << "";
    QTest::newRow("unknown command") << "no.such" << -20000 << "en"
                                     << "package parsing error";
}

void TestSimCatalogue::errorTextPrefersCommandTable()
{
    QFETCH(QString, command);
    QFETCH(int, code);
    QFETCH(QString, language);
    QFETCH(QString, text);
    QCOMPARE(m_catalogue.errorText(command, code, language), text);
}

void TestSimCatalogue::loadFailureKeepsCatalogue_data()
{
    QTest::addColumn<QByteArray>("content"); // empty: no file at all
    QTest::newRow("missing file") << QByteArray();
    QTest::newRow("not json") << QByteArray("{ this is not json");
    QTest::newRow("array") << QByteArray("[1, 2]");
    QTest::newRow("no commands") << QByteArray("{\"global_error_code\": {}}");
}

void TestSimCatalogue::loadFailureKeepsCatalogue()
{
    QFETCH(QByteArray, content);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("rc.json");
    if (!content.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    SimCatalogue catalogue;
    QVERIFY(!catalogue.load(path));
    QVERIFY(!catalogue.errorString().isEmpty());
    QVERIFY(catalogue.isValid());
    QCOMPARE(catalogue.commands().size(), 120);
}

QTEST_GUILESS_MAIN(TestSimCatalogue)
#include "tst_simcatalogue.moc"
