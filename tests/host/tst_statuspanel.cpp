// What the status bar tells the operator for a given robot state and link:
// a safety stop is shown as such, and nothing stale passes for current.

#include "host/statuspanel.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QLabel>
#include <QtTest>

using hmi::LinkSupervisor;
using hmi::StatusPanel;

class TestStatusPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fields_data();
    void fields();
    void latestWarningOrError_data();
    void latestWarningOrError();
    // Last: it puts the state queries into the tree, which the rows above lack.
    void currentOnlyOnceTheQueriesAreAnswered();
};

void TestStatusPanel::fields_data()
{
    QTest::addColumn<QString>("power");
    QTest::addColumn<int>("link");
    QTest::addColumn<bool>("safetyStop");
    QTest::addColumn<QString>("summary");

    const int up = LinkSupervisor::Connected;
    const int down = LinkSupervisor::Disconnected;
    QTest::newRow("motor on") << "on" << up << false
                              << "link: connected to 1.2.3.4:5; Motor: on; Mode: auto; State: idle";
    QTest::newRow("safety stop replaces the power word")
        << "estop" << up << true
        << "link: connected to 1.2.3.4:5; SAFETY STOP: estop; Mode: auto; State: idle";
    QTest::newRow("link down: every robot value last known")
        << "on" << down << false
        << "link: disconnected; Motor: on (last known); Mode: auto (last known); State: idle "
           "(last known)";
    QTest::newRow("a stop seen before the loss stays, marked")
        << "estop" << down << true
        << "link: disconnected; SAFETY STOP: estop (last known); Mode: auto (last known); State: "
           "idle (last known)";
    QTest::newRow("retry countdown is not in the summary")
        << "off" << int(LinkSupervisor::Reconnecting) << false
        << "link: reconnecting; Motor: off (last known); Mode: auto (last known); State: idle "
           "(last known)";
}

void TestStatusPanel::fields()
{
    QFETCH(QString, power);
    QFETCH(int, link);
    QFETCH(bool, safetyStop);
    QFETCH(QString, summary);

    velk::ModuleObject runtime(QStringLiteral("r"));
    for (const char* child : {"power", "mode", "state"}) {
        runtime.insert(nullptr, QString::fromLatin1(child), false);
    }
    runtime.cmobj("mode")->set(nullptr, QStringLiteral("auto"));
    runtime.cmobj("state")->set(nullptr, QStringLiteral("idle"));

    StatusPanel panel;
    panel.attach(&runtime);
    const auto state = LinkSupervisor::State(link);
    panel.setLink(state,
                  state == LinkSupervisor::Connected      ? QStringLiteral("connected to 1.2.3.4:5")
                  : state == LinkSupervisor::Reconnecting ? QStringLiteral("reconnecting in 3 s")
                                                          : QStringLiteral("disconnected"));
    // The value arrives after the panel is up, as a notification would.
    runtime.cmobj("power")->set(nullptr, power);

    QCOMPARE(panel.isSafetyStopShown(), safetyStop);
    QCOMPARE(panel.summary(), summary);
}

void TestStatusPanel::latestWarningOrError_data()
{
    QTest::addColumn<QStringList>("levels");
    QTest::addColumn<QString>("shown");

    QTest::newRow("a warning") << QStringList{"warning"} << "text 0";
    QTest::newRow("info after an error keeps the error")
        << QStringList{"error", "info"} << "text 0";
    QTest::newRow("the latest of two") << QStringList{"warning", "error"} << "text 1";
    QTest::newRow("debug only") << QStringList{"debug"} << "";
}

void TestStatusPanel::latestWarningOrError()
{
    QFETCH(QStringList, levels);
    QFETCH(QString, shown);

    StatusPanel panel;
    QObject sender;
    for (int i = 0; i < levels.size(); ++i) {
        velk::resource().set(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"),
                             QJsonObject{{"level", levels.at(i)},
                                         {"title", QStringLiteral("text %1").arg(i)},
                                         {"date_time", "2026-01-01/00:00:00"},
                                         {"rcid", ""}},
                             true);
    }
    QCOMPARE(panel.findChild<QLabel*>(QStringLiteral("lblLatestLog"))->text(), shown);
}

void TestStatusPanel::currentOnlyOnceTheQueriesAreAnswered()
{
    const QStringList queries{"get_operate", "get_motor", "get_robot_state", "get_safety_stop"};
    for (const QString& query : queries) {
        velk::m().ensure(QStringLiteral("rc.system.state.") + query);
    }
    velk::ModuleObject runtime(QStringLiteral("r"));
    runtime.insert(nullptr, QStringLiteral("mode"), false)->set(nullptr, QStringLiteral("auto"));
    StatusPanel panel;
    panel.attach(&runtime);
    panel.setLink(LinkSupervisor::Connected, QStringLiteral("connected to 1.2.3.4:5"));

    for (const QString& query : queries) {
        // Whatever was shown before the reconnect is still what is shown.
        QVERIFY2(panel.summary().contains(QStringLiteral("Mode: auto (last known)")),
                 qPrintable(query));
        velk::ModuleObject* command = velk::m(QStringLiteral("rc.system.state.") + query);
        command->activate(nullptr, command, velk::ActivateData);
    }
    QVERIFY2(!panel.summary().contains(QStringLiteral("last known")), qPrintable(panel.summary()));
}

QTEST_MAIN(TestStatusPanel)
#include "tst_statuspanel.moc"
