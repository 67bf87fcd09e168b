// The robot pages as an operator uses them, against the simulated controller:
// the status page's switches follow what the controller would accept, a
// click reaches the robot and its state comes back, and a setting page saves
// to the controller after its interval and reloads when the controller refuses.

#include "linkfixture.h"

#include "dragsettingpage.h"
#include "robotpagesmodule.h"
#include "simrobot.h"
#include "statuspage.h"

#include <pomr/enablebutton.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QComboBox>
#include <QLabel>
#include <QPushButton>

namespace {

// A drag page that saves soon after an edit, so the test never waits 10 s.
class QuickDragPage : public robotpages::DragSettingPage
{
public:
    int autoSaveInterval() const override { return 150; }
};

QString power()
{
    return velk::m(QStringLiteral("zarvo.r.power"))->getString();
}

// The controller's own view of the drag parameters.
QJsonObject storedDrag()
{
    velk::ModuleObject* exec = rc()->execRequest(
        QStringLiteral("dynamic"), QStringLiteral("drag.get_params"), QJsonValue(), false);
    return exec->exportToJson().toObject();
}

} // namespace

class tst_RobotPages : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

    void setRobot(const QString& operate, const QString& motor, const QString& state,
                  const QString& stop)
    {
        zarvo::sim::SimRobot* robot = fixture.sim.robot();
        robot->setSafetyStop(stop);
        robot->setOperate(operate);
        robot->setPower(motor);
        robot->setRobotState(state);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(fixture.start()); }
    void cleanupTestCase() { fixture.stop(); }

    void statusSwitches_data()
    {
        QTest::addColumn<QStringList>("robot"); // operate, motor, state, safety stop
        QTest::addColumn<QString>("power");     // "zarvo.r.power" once it followed
        QTest::addColumn<QStringList>("enabled");

        // clang-format off
        QTest::newRow("manual, motor off, idle") << QStringList{"manual", "off", "idle", "NStop"} << "off" << QStringList{"btnMotorOn", "btnAuto"};
        QTest::newRow("manual, motor on") << QStringList{"manual", "on", "idle", "NStop"} << "on" << QStringList{"btnMotorOff"};
        QTest::newRow("auto, motor on, running: nothing may stop it from here") << QStringList{"auto", "on", "running", "NStop"} << "on" << QStringList{};
        QTest::newRow("safety stop: only the reset, and a mode change") << QStringList{"auto", "off", "idle", "EStop"} << "estop" << QStringList{"btnManual", "btnReset"};
        // clang-format on
    }

    void statusSwitches()
    {
        QFETCH(QStringList, robot);
        QFETCH(QString, power);
        QFETCH(QStringList, enabled);

        robotpages::StatusPage page;
        page.init();
        setRobot(robot.at(0), robot.at(1), robot.at(2), robot.at(3));
        QTRY_COMPARE(::power(), power);
        QTRY_COMPARE(velk::m("zarvo.r.state")->getString(), robot.at(2));
        for (const char* name : {"btnMotorOn", "btnMotorOff", "btnManual", "btnAuto", "btnReset"}) {
            auto* button = page.wgt()->findChild<QPushButton*>(QLatin1String(name));
            QVERIFY(button);
            QCOMPARE(button->isEnabled(), enabled.contains(QLatin1String(name)));
        }
        if (robot.at(3) != QLatin1String("NStop")) {
            QCOMPARE(page.wgt()->findChild<QLabel*>("lblStop")->text(), QString("ESTOP"));
        }
        setRobot("manual", "off", "idle", "NStop");
        QTRY_COMPARE(::power(), QString("off"));
    }

    void disconnectedLocksEverySwitch()
    {
        robotpages::StatusPage page;
        page.init();
        QVERIFY(fixture.disconnectLink());
        const QList<QPushButton*> buttons = page.wgt()->findChildren<QPushButton*>();
        QVERIFY(!buttons.isEmpty());
        for (QPushButton* button : buttons) {
            QVERIFY2(!button->isEnabled(), qPrintable(button->objectName()));
        }
        QVERIFY(fixture.connectLink());
        QTRY_VERIFY(page.wgt()->findChild<QPushButton*>("btnMotorOn")->isEnabled());
    }

    void motorOnReachesTheRobotAndComesBack()
    {
        robotpages::StatusPage page;
        page.init();
        page.wgt()->show();
        QTRY_VERIFY(page.wgt()->findChild<QPushButton*>("btnMotorOn")->isEnabled());
        QTest::mouseClick(page.wgt()->findChild<QPushButton*>("btnMotorOn"), Qt::LeftButton);
        QTRY_COMPARE(fixture.sim.robot()->power(), QString("on"));
        QTRY_COMPARE(::power(), QString("on"));
        QTRY_VERIFY(page.wgt()->findChild<QPushButton*>("btnMotorOff")->isEnabled());
        QVERIFY(!page.wgt()->findChild<QPushButton*>("btnMotorOn")->isEnabled());
        setRobot("manual", "off", "idle", "NStop");
        QTRY_COMPARE(::power(), QString("off"));
    }

    void settingPageSavesAfterItsIntervalAndReloadsOnRefusal()
    {
        QuickDragPage page;
        page.init();
        page.wgt()->show();
        auto* enable = page.wgt()->findChild<pomr::EnableButton*>("btnEnable");
        auto* space = page.wgt()->findChild<QComboBox*>("cmbSpace");
        QVERIFY(enable && space);

        // The page first shows the controller's values, stamped.
        auto* stamp = page.wgt()->findChild<QLabel*>("lblDateTime");
        const QRegularExpression stamped(R"(\d{4}/\d{2}/\d{2} \d{2}:\d{2}:\d{2})");
        QTRY_VERIFY(stamp->text().contains(stamped));

        // An edit reaches the controller once the interval has passed.
        space->setCurrentIndex(1);
        QTRY_COMPARE(storedDrag().value("space").toInt(), 1);

        // Drag teaching needs the motor on: with it off the controller refuses,
        // and the page shows the controller's value again.
        QTest::mouseClick(enable, Qt::LeftButton);
        QVERIFY(enable->isOn());
        QTRY_VERIFY(!enable->isOn());
        QCOMPARE(storedDrag().value("enable").toBool(), false);

        // With the motor on it is accepted.
        setRobot("manual", "on", "idle", "NStop");
        QTRY_COMPARE(::power(), QString("on"));
        QTest::mouseClick(enable, Qt::LeftButton);
        QTRY_COMPARE(storedDrag().value("enable").toBool(), true);
        QVERIFY(enable->isOn());
        setRobot("manual", "off", "idle", "NStop");
        QTRY_COMPARE(::power(), QString("off"));
    }
};

QTEST_MAIN(tst_RobotPages)
#include "tst_robotpages.moc"
