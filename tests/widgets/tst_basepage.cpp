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

void setRuntime(int level, const QString& mode, const QString& state, const QString& power)
{
    velk::m().ensure(QStringLiteral("zarvo.r.level"))->set(nullptr, level);
    velk::m().ensure(QStringLiteral("zarvo.r.mode"))->set(nullptr, mode);
    velk::m().ensure(QStringLiteral("zarvo.r.state"))->set(nullptr, state);
    velk::m().ensure(QStringLiteral("zarvo.r.power"))->set(nullptr, power);
}

} // namespace

class tst_BasePage : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase() { QVERIFY(QDir::setCurrent(m_dir.path())); }

    // First, while "zarvo.r" does not exist yet: pages are built before the
    // runtime model fills it.
    void watchesRuntimeCreatedLater()
    {
        QVERIFY(velk::m("zarvo.r.power")->isEmptyMobj());
        Page page;
        QWidget widget;
        page.widget = &widget;
        page.autoUpdate(false, false, false, true);
        setRuntime(3, "manual", "idle", "on");
        QVERIFY(!widget.isEnabled());
    }

    void rule_data()
    {
        QTest::addColumn<QString>("flags"); // of level, mode, state, power: "lmsp"
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("runtime"); // mode, state, power
        QTest::addColumn<bool>("enabled");

        QTest::newRow("level 0 unlocks all") << "lmsp" << 0 << "auto running on" << true;
        QTest::newRow("operator level 1") << "l" << 1 << "manual idle off" << false;
        QTest::newRow("level 2") << "l" << 2 << "auto running on" << true;
        QTest::newRow("no upper bound") << "l" << 9 << "manual idle off" << true;
        QTest::newRow("negative level") << "l" << -1 << "manual idle off" << false;
        QTest::newRow("auto mode") << "m" << 3 << "auto idle off" << false;
        QTest::newRow("mode is case-sensitive") << "m" << 3 << "Manual idle off" << false;
        QTest::newRow("running") << "s" << 3 << "manual running off" << false;
        QTest::newRow("idle") << "s" << 3 << "auto idle on" << true;
        QTest::newRow("motor on") << "p" << 3 << "manual idle on" << false;
        QTest::newRow("motor off") << "p" << 3 << "auto running off" << true;
        QTest::newRow("mode fails, power holds") << "mp" << 3 << "auto idle off" << false;
        QTest::newRow("nothing chosen") << "" << 1 << "auto running on" << true;
    }

    void rule()
    {
        QFETCH(QString, flags);
        QFETCH(int, level);
        QFETCH(QString, runtime);
        QFETCH(bool, enabled);

        Page page;
        QWidget widget;
        QWidget child(&widget);
        page.widget = &widget;
        widget.setEnabled(!enabled);
        page.autoUpdate(flags.contains('l'), flags.contains('m'), flags.contains('s'),
                        flags.contains('p'));
        const QStringList words = runtime.split(' ');
        setRuntime(level, words.at(0), words.at(1), words.at(2));
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
};

QTEST_MAIN(tst_BasePage)
#include "tst_basepage.moc"
