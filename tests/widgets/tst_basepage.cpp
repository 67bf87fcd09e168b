// A page that locks itself from the robot's runtime state: the rule, and
// which changes make it look again.

#include "widgets/basepage.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QtTest>

namespace {

class Page : public zarvo::BasePage
{
public:
    Page()
        : zarvo::BasePage(QStringLiteral("motion"), QStringLiteral("Motion"))
    {
    }
    QWidget* wgt() override { return widget; }
    using zarvo::BasePage::autoUpdate;
    void evaluate() { updateAvailability(); }

    QWidget* widget = nullptr;
};

struct Flags
{
    bool level, mode, state, power;
};

void setRuntime(int level, const QString& mode, const QString& state, const QString& power)
{
    velk::m().ensure(QStringLiteral("zarvo.r.level"))->set(nullptr, level);
    velk::m().ensure(QStringLiteral("zarvo.r.mode"))->set(nullptr, mode);
    velk::m().ensure(QStringLiteral("zarvo.r.state"))->set(nullptr, state);
    velk::m().ensure(QStringLiteral("zarvo.r.power"))->set(nullptr, power);
}

} // namespace

Q_DECLARE_METATYPE(Flags)

class tst_BasePage : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase() { QVERIFY(QDir::setCurrent(m_dir.path())); }

    void rule_data()
    {
        QTest::addColumn<Flags>("flags");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("power");
        QTest::addColumn<bool>("enabled");

        const Flags all{true, true, true, true};
        const Flags level{true, false, false, false};
        const Flags mode{false, true, false, false};
        const Flags state{false, false, true, false};
        const Flags power{false, false, false, true};
        const Flags none{false, false, false, false};
        QTest::newRow("level 0 unlocks everything") << all << 0 << "auto"
                                                    << "running"
                                                    << "on" << true;
        QTest::newRow("operator level 1") << level << 1 << "manual"
                                          << "idle"
                                          << "off" << false;
        QTest::newRow("level 2") << level << 2 << "auto"
                                 << "running"
                                 << "on" << true;
        QTest::newRow("no upper bound") << level << 9 << "manual"
                                        << "idle"
                                        << "off" << true;
        QTest::newRow("negative level") << level << -1 << "manual"
                                        << "idle"
                                        << "off" << false;
        QTest::newRow("auto mode") << mode << 3 << "auto"
                                   << "idle"
                                   << "off" << false;
        QTest::newRow("mode is case-sensitive") << mode << 3 << "Manual"
                                                << "idle"
                                                << "off" << false;
        QTest::newRow("manual mode") << mode << 3 << "manual"
                                     << "running"
                                     << "on" << true;
        QTest::newRow("running") << state << 3 << "manual"
                                 << "running"
                                 << "off" << false;
        QTest::newRow("idle") << state << 3 << "auto"
                              << "idle"
                              << "on" << true;
        QTest::newRow("motor on") << power << 3 << "manual"
                                  << "idle"
                                  << "on" << false;
        QTest::newRow("motor off") << power << 3 << "auto"
                                   << "running"
                                   << "off" << true;
        QTest::newRow("mode fails although power is off")
            << Flags{false, true, false, true} << 3 << "auto"
            << "idle"
            << "off" << false;
        QTest::newRow("nothing chosen") << none << 1 << "auto"
                                        << "running"
                                        << "on" << true;
        QTest::newRow("all hold") << all << 2 << "manual"
                                  << "idle"
                                  << "off" << true;
    }

    void rule()
    {
        QFETCH(Flags, flags);
        QFETCH(int, level);
        QFETCH(QString, mode);
        QFETCH(QString, state);
        QFETCH(QString, power);
        QFETCH(bool, enabled);

        Page page;
        QWidget widget;
        QWidget child(&widget);
        page.widget = &widget;
        widget.setEnabled(!enabled);
        page.autoUpdate(flags.level, flags.mode, flags.state, flags.power);
        setRuntime(level, mode, state, power);
        page.evaluate();
        QCOMPARE(widget.isEnabled(), enabled);
        QCOMPARE(child.isEnabled(), enabled);
    }

    void onlyWatchedObjectsReevaluate()
    {
        setRuntime(3, "manual", "idle", "off");
        Page page;
        QWidget widget;
        page.widget = &widget;
        page.autoUpdate(false, false, false, true);

        // A second call logs and changes nothing: level and state stay unwatched.
        page.autoUpdate(true, true, true, true);
        QFile log("log/zarvo.log");
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("is already auto update"));

        velk::m("zarvo.r.state")->set(nullptr, QString("running"));
        velk::m("zarvo.r.level")->set(nullptr, 1);
        QVERIFY(widget.isEnabled());
        velk::m("zarvo.r.level")->set(nullptr, 3);

        velk::m("zarvo.r.power")->set(nullptr, QString("on"));
        QVERIFY(!widget.isEnabled());
        // Re-evaluated with the state test skipped although the robot runs.
        velk::m("zarvo.r.power")->set(nullptr, QString("off"));
        QVERIFY(widget.isEnabled());
    }

    void pageWithoutWidget()
    {
        setRuntime(1, "auto", "running", "on");
        Page page;
        page.autoUpdate(true, true, true, true);
        // Before the page has a widget, a change must be harmless.
        velk::m("zarvo.r.power")->set(nullptr, QString("estop"));
        page.evaluate();
        QCOMPARE(page.name(), QString("motion"));
        QCOMPARE(page.label(), QString("Motion"));
    }
};

QTEST_MAIN(tst_BasePage)
#include "tst_basepage.moc"
