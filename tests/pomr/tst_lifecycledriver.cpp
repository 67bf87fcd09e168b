#include <pomr/bmodule.h>
#include <pomr/lifecycledriver.h>

#include <QSignalSpy>

#include <QTest>
#include <functional>

using pomr::BModule;
using pomr::LifecycleDriver;

namespace {

// Records every hook into a shared journal as "<name>.<hook>".
class Recorder : public BModule
{
public:
    Recorder(const QString& name, QStringList* journal, QObject* parent = nullptr)
        : BModule(parent)
        , m_journal(journal)
    {
        setObjectName(name);
    }

    std::function<void()> onSetup;
    std::function<void()> onDetach;

    void setup() override
    {
        log("setup");
        if (onSetup) {
            onSetup();
        }
    }
    void afterSetup() override { log("afterSetup"); }
    void init() override { log("init"); }
    void afterInit() override { log("afterInit"); }
    void render() override { log("render"); }
    void afterRender() override { log("afterRender"); }
    void idle() override { log("idle"); }
    void afterIdle() override { log("afterIdle"); }
    void beforeDetach() override { log("beforeDetach"); }
    void detach() override
    {
        log("detach");
        if (onDetach) {
            onDetach();
        }
    }

private:
    void log(const char* hook)
    {
        m_journal->append(name() + QLatin1Char('.') + QLatin1String(hook));
    }
    QStringList* m_journal;
};

QStringList only(const QStringList& journal, const QString& hook)
{
    QStringList out;
    for (const QString& entry : journal) {
        if (entry.endsWith(QLatin1Char('.') + hook)) {
            out.append(entry.section(QLatin1Char('.'), 0, 0));
        }
    }
    return out;
}

} // namespace

class tst_LifecycleDriver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void phasesRunOverTheWholeTreeInOrder();
    void submoduleAddedDuringSetupTakesPart();
    void detachVisitsChildrenFirstEvenWhenParentDropsThem();
    void startRenderRunsRenderThenAfterRenderOverSubtree();
    void deletedSubmoduleIsSkipped();
};

void tst_LifecycleDriver::phasesRunOverTheWholeTreeInOrder()
{
    QStringList journal;
    Recorder root(QStringLiteral("root"), &journal);
    auto* a = new Recorder(QStringLiteral("a"), &journal, &root);
    auto* b = new Recorder(QStringLiteral("b"), &journal, &root);
    auto* a1 = new Recorder(QStringLiteral("a1"), &journal, a);
    root.addSubmodule(a);
    root.addSubmodule(b);
    a->addSubmodule(a1);

    LifecycleDriver driver;
    QSignalSpy phases(&driver, &LifecycleDriver::phaseStarted);
    driver.startup(&root);

    // Every phase finishes over the tree before the next one starts.
    const QStringList hooks{QStringLiteral("setup"),  QStringLiteral("afterSetup"),
                            QStringLiteral("init"),   QStringLiteral("afterInit"),
                            QStringLiteral("render"), QStringLiteral("afterRender"),
                            QStringLiteral("idle"),   QStringLiteral("afterIdle")};
    QStringList expected;
    for (const QString& hook : hooks) {
        for (const char* name : {"root", "a", "a1", "b"}) {
            expected.append(QLatin1String(name) + QLatin1Char('.') + hook);
        }
    }
    QCOMPARE(journal, expected);
    QCOMPARE(phases.count(), 8);
}

void tst_LifecycleDriver::submoduleAddedDuringSetupTakesPart()
{
    QStringList journal;
    Recorder root(QStringLiteral("root"), &journal);
    Recorder* late = nullptr;
    root.onSetup = [&] {
        late = new Recorder(QStringLiteral("late"), &journal, &root);
        root.addSubmodule(late);
    };

    LifecycleDriver driver;
    driver.startup(&root);
    QVERIFY(late);
    QCOMPARE(only(journal, QStringLiteral("setup")), QStringList({"root", "late"}));
    QCOMPARE(only(journal, QStringLiteral("idle")), QStringList({"root", "late"}));
}

void tst_LifecycleDriver::detachVisitsChildrenFirstEvenWhenParentDropsThem()
{
    QStringList journal;
    Recorder root(QStringLiteral("root"), &journal);
    auto* a = new Recorder(QStringLiteral("a"), &journal, &root);
    auto* a1 = new Recorder(QStringLiteral("a1"), &journal, a);
    auto* b = new Recorder(QStringLiteral("b"), &journal, &root);
    root.addSubmodule(a);
    root.addSubmodule(b);
    a->addSubmodule(a1);
    root.onDetach = [&] {
        root.removeSubmodule(a);
        root.removeSubmodule(b);
    };

    LifecycleDriver driver;
    driver.shutdown(&root);
    QCOMPARE(only(journal, QStringLiteral("beforeDetach")), QStringList({"root", "a", "a1", "b"}));
    QCOMPARE(only(journal, QStringLiteral("detach")), QStringList({"a1", "a", "b", "root"}));
    QVERIFY(journal.indexOf(QStringLiteral("b.beforeDetach")) <
            journal.indexOf(QStringLiteral("a1.detach")));
}

void tst_LifecycleDriver::startRenderRunsRenderThenAfterRenderOverSubtree()
{
    QStringList journal;
    Recorder root(QStringLiteral("root"), &journal);
    auto* a = new Recorder(QStringLiteral("a"), &journal, &root);
    auto* b = new Recorder(QStringLiteral("b"), &journal, a);
    root.addSubmodule(a);
    a->addSubmodule(b);

    a->startRender();
    QCOMPARE(journal, QStringList({"a.render", "b.render", "a.afterRender", "b.afterRender"}));
}

void tst_LifecycleDriver::deletedSubmoduleIsSkipped()
{
    QStringList journal;
    Recorder root(QStringLiteral("root"), &journal);
    auto* a = new Recorder(QStringLiteral("a"), &journal, &root);
    auto* b = new Recorder(QStringLiteral("b"), &journal, &root);
    root.addSubmodule(a);
    root.addSubmodule(b);
    delete a;

    LifecycleDriver driver;
    driver.runPhase(&root, LifecycleDriver::Init);
    QCOMPARE(journal, QStringList({"root.init", "b.init"}));
    QCOMPARE(root.submodules().size(), 1);
}

QTEST_GUILESS_MAIN(tst_LifecycleDriver)
#include "tst_lifecycledriver.moc"
