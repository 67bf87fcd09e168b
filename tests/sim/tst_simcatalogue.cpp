#include "simcatalogue.h"
#include "testfiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>

using zarvo::sim::SimCatalogue;

namespace {

// The protocol's commands, group by group.
const QList<QPair<QString, QString>> Groups = {
    {"dynamic", "drag.set_params drag.get_params control.set_dynamics_enable_state "
                "control.get_dynamics_enable_state"},
    {"endtool", "gripper.close gripper.open gripper.set_params gripper.get_params"},
    {"motion",
     "dynamic_identify.start dynamic_identify.stop dynamic_identify.set_params "
     "dynamic_identify.get_params dynamic_identify.result dynamic_identify.value "
     "dynamic_identify.set_times jog.start jog.set_params jog.get_params load_identify.start "
     "load_identify.set_params load_identify.get_params load_identify.result move.stop "
     "move.get_pos move.quick_turn move.monitor move.get_joint_pos block_state"},
    {"network", "rci.set_params rci.get_params socket.set_params socket.get_params "
                "socket.get_state socket.connect"},
    {"fieldbus", "modbus.set_params modbus.get_params modbus.connect modbus.result"},
    {"project", "rl_program.print rl_program.pointer rl_program.get_rob_pos rl_program.alarm "
                "rl_task.check rl_task.pp_to_line rl_task.pp_to_main rl_task.run rl_task.stop "
                "rl_task.forward rl_task.back rl_task.get_run_params rl_task.set_run_params "
                "rl_task.add_task rl_task.del_task rl_task.get_pointer reload get_cur_prj"},
    {"robot", "calibrate.force calibrate.zero calibrate.frame servo.clear_alarm body.get_DH_params "
              "body.set_DH_params frame.get_current frame.set_current frame.get_quaternion "
              "frame.get_rpy frame.get_base_frame frame.set_base_frame"},
    {"system", "state.switch_manual state.switch_auto state.switch_motor_on state.switch_motor_off "
               "state.get_operate state.get_motor state.get_robot_state state.get_safety_stop "
               "state.change controller.detect controller.reboot controller.set_params "
               "controller.get_params controller.set_nic alarm.query alarm.report alarm.statis "
               "user.login user.modify_password user.query"},
    {"safety", "soft_limit.set_params soft_limit.get_params virtual_wall.set_params "
               "virtual_wall.get_params collision.get_params collision.set_params "
               "collision.set_state area.get_params area.set_params collaboration.get_params "
               "collaboration.set_params monitor.get_params monitor.set_params"},
    {"app", "ncp.start ncp.stop demo.set_loop_mode demo.select_demo demo.get_params "
            "demo.get_cur_demo demo.get_FT_data demo.pause demo.start demo.stop demo.reset"},
    {"io", "io_device.query io_signal.get_input_simu_mode io_signal.set_input_simu_mode "
           "io_signal.get_signal_value io_signal.set_signal_value io_signal.get_signal_detail "
           "system_io.query_configuration system_io.update_configuration"},
};

} // namespace

class TestSimCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileIsBomCrlfJson();
    void hasExactlyTheCommandsAndGroups();
    void errorTablesAreExact();
    void everyErrorEntryHasBothTexts();
    void requiredFields_data();
    void requiredFields();
    void getAndSetShareFields();
    void loadFailureKeepsCatalogue();

private:
    SimCatalogue m_catalogue;
};

void TestSimCatalogue::fileIsBomCrlfJson()
{
    const QByteArray bytes = readFile(SimCatalogue::builtinPath());
    QVERIFY(bytes.startsWith("\xEF\xBB\xBF"));
    QVERIFY(bytes.count('\n') > 0 && bytes.count('\n') == bytes.count("\r\n")); // all CR LF
    QJsonParseError error;
    QVERIFY(QJsonDocument::fromJson(bytes.mid(3), &error).isObject());
    QCOMPARE(error.error, QJsonParseError::NoError);
}

void TestSimCatalogue::hasExactlyTheCommandsAndGroups()
{
    QVERIFY2(m_catalogue.isValid(), qPrintable(m_catalogue.errorString()));
    QStringList expected;
    QStringList groups{"global_error_code"};
    for (const auto& group : Groups) {
        groups << group.first;
        for (const QString& name : group.second.split(' '))
            expected << group.first + "." + name;
    }
    QCOMPARE(expected.size(), 120);
    expected.sort();
    QCOMPARE(m_catalogue.commands(), expected);
    groups.sort();
    QCOMPARE(m_catalogue.root().keys(), groups); // sorted too
}

void TestSimCatalogue::errorTablesAreExact()
{
    auto entry = [](const char* en, const QString& cn) {
        return QJsonObject{{"en", en}, {"cn", cn}};
    };
    const QJsonObject expected{
        {"0", entry("-", "-")},
        {"10001", entry("operate mode error", QStringLiteral("操作模式错误"))},
        {"10002", entry("motor power state error", QStringLiteral("电机上电状态错误"))},
        {"10003", entry("motor control state error", QStringLiteral("电机控制模式错误"))},
        {"10004", entry("robot state error", QStringLiteral("机器人状态错误"))},
        {"10005", entry("safety stop error", QStringLiteral("处于急停模式"))},
        {"20000", entry("package parsing error", QStringLiteral("包解析错误"))},
    };
    QCOMPARE(m_catalogue.globalErrorTable(), expected);
    // The drag command's own table comes first; the global one fills in.
    const QString drag = "dynamic.drag.set_params";
    QCOMPARE(m_catalogue.errorText(drag, -10002, "cn"), QStringLiteral("操作模式错误"));
    QCOMPARE(m_catalogue.errorText(drag, -10002, "en"), QString("operate mode error"));
    QCOMPARE(m_catalogue.errorText(drag, -10005, "en"), QString("safety stop error"));
}

// Past the exact global table: a command's own table must serve both languages.
void TestSimCatalogue::everyErrorEntryHasBothTexts()
{
    const QRegularExpression han(QStringLiteral("\\p{Han}"));
    int tables = 0;
    for (const QString& name : m_catalogue.commands()) {
        if (!m_catalogue.command(name).value("response").toObject().contains("error_code"))
            continue;
        const QJsonObject table = m_catalogue.errorTable(name);
        QVERIFY2(!table.isEmpty(), qPrintable(name));
        ++tables;
        for (auto it = table.begin(); it != table.end(); ++it) {
            const QString en = it.value()["en"].toString(), cn = it.value()["cn"].toString();
            // A copied English text would pass as "cn" otherwise.
            QVERIFY2(!en.isEmpty() && !cn.isEmpty() && (en == "-" || han.match(cn).hasMatch()),
                     qPrintable(name + "." + it.key()));
        }
    }
    QVERIFY(tables > 4);
}

void TestSimCatalogue::requiredFields_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("section");
    // "name:s" string, ":n" number, ":b" bool, ":a" array, ":6" six numbers; "name=" a JSON value.
    QTest::addColumn<QString>("fields");
    auto row = [](const char* command, const char* section, const char* fields) {
        QTest::newRow(command) << QString(command) << QString(section) << QString(fields);
    };
    row("system.state.get_operate", "response", "operate=\"manual\"");
    row("system.state.get_motor", "response", "power=\"off\"");
    row("system.state.get_robot_state", "response", "robot_state=\"idle\"");
    row("system.state.get_safety_stop", "response", "safety_stop=\"idle\"");
    row("system.state.change", "notify", "operate:s robot_state:s power:s safety_stop:s");
    row("motion.move.monitor", "notify", "joint:6 position:3 euler:3 quaternion:4 elb:n torque:6");
    row("motion.block_state", "notify", "block_state=false");
    row("system.controller.get_params", "response", "disk_serial_number:s version=\"0.0.0\"");
    row("dynamic.drag.set_params", "request", "enable=false space=0 type=0");
}

void TestSimCatalogue::requiredFields()
{
    QFETCH(QString, command);
    QFETCH(QString, section);
    QFETCH(QString, fields);
    const QJsonObject data = m_catalogue.command(command).value(section)["data"].toObject();
    const QHash<QString, QJsonValue::Type> types{
        {"s", QJsonValue::String}, {"n", QJsonValue::Double}, {"b", QJsonValue::Bool}};
    for (const QString& field : fields.split(' ')) {
        const int mark = field.indexOf(QRegularExpression("[:=]"));
        const QJsonValue actual = data.value(field.left(mark));
        const QString kind = field.mid(mark + 1);
        if (field.at(mark) == '=')
            QCOMPARE(actual, QJsonDocument::fromJson("[" + kind.toUtf8() + "]").array().first());
        else
            QVERIFY2(actual.type() == types.value(kind, QJsonValue::Array), qPrintable(field));
        if (kind.toInt() > 0) {
            QCOMPARE(actual.toArray().size(), kind.toInt());
            for (const QJsonValue& element : actual.toArray())
                QVERIFY2(element.isDouble(), qPrintable(field));
        }
    }
}

void TestSimCatalogue::getAndSetShareFields()
{
    int pairs = 0;
    for (const QString& setter : m_catalogue.commands()) {
        const QString getter = QString(setter).replace(".set_", ".get_");
        if (getter == setter || !m_catalogue.contains(getter))
            continue;
        ++pairs;
        const QJsonObject sent = m_catalogue.requestData(setter).toObject();
        QJsonObject answered = m_catalogue.responseData(getter).toObject();
        for (auto it = sent.begin(); it != sent.end(); ++it)
            QVERIFY2(answered.take(it.key()).type() == it.value().type(),
                     qPrintable(getter + "." + it.key()));
        // Only the controller reports read-only facts beside its settings.
        if (setter == "system.controller.set_params")
            QCOMPARE(answered.keys(), (QStringList{"disk_serial_number", "robot_type", "version"}));
        else if (setter.endsWith(".set_params"))
            QVERIFY2(answered.isEmpty(), qPrintable(getter + " answers more than is set"));
    }
    QVERIFY(pairs >= 15);
}

void TestSimCatalogue::loadFailureKeepsCatalogue()
{
    SimCatalogue catalogue;
    QVERIFY(!catalogue.load(QStringLiteral(":/no/such/rc.json")));
    QVERIFY(!catalogue.errorString().isEmpty());
    QCOMPARE(catalogue.commands().size(), 120);
}

QTEST_GUILESS_MAIN(TestSimCatalogue)
#include "tst_simcatalogue.moc"
