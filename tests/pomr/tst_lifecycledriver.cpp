#include <pomr/bmodule.h>
#include <pomr/lifecycledriver.h>

#include <QtTest>
#include <functional>

using pomr::BModule;

namespace {

// Journals every hook as "<name>.<hook>".
class Recorder : public BModule
{
public:
    Recorder(const char* name, QStringList* journal, BModule* parent = nullptr)
        : BModule(parent)
        , m_journal(journal)
    {
        setObjectName(name);
        if (parent) {
            parent->addSubmodule(this);
        }
    }
    std::function<void()> onSetup = [] {};
    std::function<void()> onDetach = [] {};

    void setup() override
    {
        log("setup");
        onSetup();
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
        onDetach();
    }

private:
    void log(const char* hook) { m_journal->append(name() + '.' + hook); }
    QStringList* m_journal;
};

} // namespace

class tst_LifecycleDriver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startupRunsEachPhaseOverTheTree()
    {
        QStringList journal;
        Recorder root("root", &journal);
        auto* a = new Recorder("a", &journal, &root);
        new Recorder("a1", &journal, a);
        new Recorder("b", &journal, &root);
        delete new Recorder("gone", &journal, &root);
        // Added during setup: takes part from that phase on.
        root.onSetup = [&] { new Recorder("late", &journal, &root); };

        pomr::LifecycleDriver().startup(&root);
        QStringList expected;
        for (const char* hook : {"setup", "afterSetup", "init", "afterInit", "render",
                                 "afterRender", "idle", "afterIdle"}) {
            for (const char* name : {"root", "a", "a1", "b", "late"}) {
                expected.append(QString(name) + '.' + hook);
            }
        }
        QCOMPARE(journal, expected);
    }

    void detachVisitsChildrenFirst()
    {
        QStringList journal;
        Recorder root("root", &journal);
        auto* a = new Recorder("a", &journal, &root);
        new Recorder("a1", &journal, a);
        auto* b = new Recorder("b", &journal, &root);
        // A parent dropping its submodules in detach does not hide them.
        root.onDetach = [&] {
            root.removeSubmodule(a);
            root.removeSubmodule(b);
        };
        pomr::LifecycleDriver().shutdown(&root);
        QCOMPARE(journal, QStringList({"root.beforeDetach", "a.beforeDetach", "a1.beforeDetach",
                                       "b.beforeDetach", "a1.detach", "a.detach", "b.detach",
                                       "root.detach"}));
    }

    void startRenderCoversTheSubtree()
    {
        QStringList journal;
        Recorder root("root", &journal);
        new Recorder("b", &journal, new Recorder("a", &journal, &root));
        root.submodules().at(0)->startRender();
        QCOMPARE(journal, QStringList({"a.render", "b.render", "a.afterRender", "b.afterRender"}));
    }
};

QTEST_GUILESS_MAIN(tst_LifecycleDriver)
#include "tst_lifecycledriver.moc"
