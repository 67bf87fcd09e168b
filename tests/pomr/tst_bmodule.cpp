#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QTest>

using pomr::BModule;

class tst_BModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unboundModuleHasTheEmptyNode();
    void bindMobjCreatesTheMissingPath();
    void mobjOfARemovedNodeIsTheEmptyNode();
    void submodulesKeepOrderAndRefuseDuplicates();
};

void tst_BModule::unboundModuleHasTheEmptyNode()
{
    BModule module;
    QVERIFY(module.mobj());
    QVERIFY(module.mobj()->isEmptyMobj());
    QCOMPARE(module.mobj(), velk::ModuleManager::emptyMobj());
    QVERIFY(!module.wgt());
}

void tst_BModule::bindMobjCreatesTheMissingPath()
{
    BModule module;
    QVERIFY(velk::m(QStringLiteral("tbm.x.y"))->isEmptyMobj());
    velk::ModuleObject* node = module.bindMobj(QStringLiteral("tbm.x.y"));
    QVERIFY(!node->isEmptyMobj());
    QCOMPARE(module.mobj(), node);
    QCOMPARE(velk::m(QStringLiteral("tbm.x.y")), node);
    QCOMPARE(node->fullName(), QStringLiteral("tbm.x.y"));

    // Binding again to an existing path reuses the node.
    BModule other;
    QCOMPARE(other.bindMobj(QStringLiteral("tbm.x.y")), node);
}

void tst_BModule::mobjOfARemovedNodeIsTheEmptyNode()
{
    QObject owner;
    QVERIFY(velk::m().regist(&owner, QStringLiteral("tbmgone")));
    BModule module;
    module.bindMobj(QStringLiteral("tbmgone.child"));
    QVERIFY(!module.mobj()->isEmptyMobj());
    QVERIFY(velk::m().cancel(&owner, QStringLiteral("tbmgone")));
    QTRY_VERIFY(module.mobj()->isEmptyMobj());
}

void tst_BModule::submodulesKeepOrderAndRefuseDuplicates()
{
    BModule root;
    auto* a = new BModule(&root);
    auto* b = new BModule(&root);
    QVERIFY(root.addSubmodule(b));
    QVERIFY(root.addSubmodule(a));
    QVERIFY(!root.addSubmodule(a));
    QVERIFY(!root.addSubmodule(&root));
    QVERIFY(!root.addSubmodule(nullptr));
    QCOMPARE(root.submodules(), QList<BModule*>({b, a}));
    QVERIFY(root.removeSubmodule(b));
    QVERIFY(!root.removeSubmodule(b));
    QCOMPARE(root.submodules(), QList<BModule*>({a}));
    // Removing does not delete: ownership stays with the Qt parent.
    QCOMPARE(b->parent(), &root);
}

QTEST_GUILESS_MAIN(tst_BModule)
#include "tst_bmodule.moc"
