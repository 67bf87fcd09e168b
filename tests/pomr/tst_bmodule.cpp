#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QtTest>

using pomr::BModule;

class tst_BModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mobjFollowsBinding()
    {
        BModule module;
        QCOMPARE(module.mobj(), velk::ModuleManager::emptyMobj());
        QObject owner;
        QVERIFY(velk::m().regist(&owner, "tbm"));
        velk::ModuleObject* node = module.bindMobj("tbm.x.y");
        QVERIFY(!node->isEmptyMobj());
        QCOMPARE(module.mobj(), node);
        QCOMPARE(velk::m("tbm.x.y"), node);
        QCOMPARE(BModule().bindMobj("tbm.x.y"), node);
        // A node removed from the tree is not kept alive by the binding.
        QVERIFY(velk::m().cancel(&owner, "tbm"));
        QTRY_VERIFY(module.mobj()->isEmptyMobj());
    }

    void submodulesKeepOrderAndRefuseDuplicates()
    {
        BModule root;
        auto* a = new BModule(&root);
        auto* b = new BModule(&root);
        QVERIFY(root.addSubmodule(b) && root.addSubmodule(a));
        QVERIFY(!root.addSubmodule(a) && !root.addSubmodule(&root) && !root.addSubmodule(nullptr));
        QCOMPARE(root.submodules(), QList<BModule*>({b, a}));
        QVERIFY(root.removeSubmodule(b) && !root.removeSubmodule(b));
        QCOMPARE(root.submodules(), QList<BModule*>({a}));
        QCOMPARE(b->parent(), &root); // the list never owned it
    }
};

QTEST_GUILESS_MAIN(tst_BModule)
#include "tst_bmodule.moc"
