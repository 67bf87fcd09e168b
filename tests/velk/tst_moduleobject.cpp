#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <QtTest>

#include <memory>

using velk::ModuleObject;

namespace {

QJsonValue json(const char* text)
{
    // Wrapped so that scalars parse too.
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray("[") + text + "]");
    return doc.array().first();
}

void flushDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// Records the signals of several nodes in one list, so that their order can
// be checked across nodes.
class Recorder : public QObject
{
public:
    QStringList events;

    void listen(ModuleObject* node)
    {
        const QString name = node->name();
        connect(node, &ModuleObject::changed, this,
                [this, name](const QVariant& value, const QVariant&, QObject*) {
                    events << QStringLiteral("%1:changed:%2").arg(name, value.toString());
                });
        connect(node, &ModuleObject::added, this, [this, name](const QString& child, QObject*) {
            events << QStringLiteral("%1:added:%2").arg(name, child);
        });
        connect(
            node, &ModuleObject::activated, this,
            [this, name](ModuleObject* target, int type, QObject*) {
                events << QStringLiteral("%1:activated:%2:%3").arg(name, target->name()).arg(type);
            });
    }
};

} // namespace

class TestModuleObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void missingLookupsReturnTheSharedEmptyNode_data();
    void missingLookupsReturnTheSharedEmptyNode();
    void emptyNodeIgnoresEveryMutator();
    void childrenKeepInsertionOrder();
    void pathLookup_data();
    void pathLookup();
    void fullNameLeavesOutRootAndBase();
    void setEmitsOnEveryCall_data();
    void setEmitsOnEveryCall();
    void setByKeyCreatesPath();
    void watchedNodeActivatesItselfOnSet();
    void activationPropagation_data();
    void activationPropagation();
    void quietNodeEmitsNothing();
    void recursiveFlagsReachLaterChildren_data();
    void recursiveFlagsReachLaterChildren();
    void insertByNameAnnounces_data();
    void insertByNameAnnounces();
    void constructedChildIsAnnouncedOnlyOnInsert();
    void insertExistingChildRules();
    void removeAnnouncesWhileAttached();
    void removeFromOwnSignalHandler();
    void deletingNodesKeepsIndexConsistent();
    void clearValuesOrChildren();
    void getters_data();
    void getters();
    void cmobjNamesSkipPrivate();
    void importNotifiesChildrenThenTarget();
    void importActivatesDirectChildren();
    void importWithoutCreateSkipsMissing();
    void jsonRoundTrip_data();
    void jsonRoundTrip();
    void xmlRoundTrip_data();
    void xmlRoundTrip();
    void xmlWithoutSelfWritesChildrenOnly();
    void copyFromCopiesSubtree();
    void copyFromRefusesOwnSubtree();

private:
    std::unique_ptr<ModuleObject> m_tree;
    ModuleObject* tree()
    {
        if (!m_tree) {
            m_tree.reset(new ModuleObject(QStringLiteral("t")));
        }
        return m_tree.get();
    }
};

void TestModuleObject::cleanup()
{
    m_tree.reset();
    flushDeletes();
}

// clang-format off
void TestModuleObject::missingLookupsReturnTheSharedEmptyNode_data()
{
    QTest::addColumn<QString>("lookup");
    QTest::newRow("missing child") << "cmobj:zz";
    QTest::newRow("missing path") << "rmobj:a.zz";
    QTest::newRow("empty segment") << "rmobj:a..b";
    QTest::newRow("trailing separator") << "rmobj:a.";
    QTest::newRow("leading separator") << "rmobj:.a";
    QTest::newRow("parent of free node") << "pmobj:1";
    QTest::newRow("past the top") << "pmobj:3";
    QTest::newRow("negative level") << "pmobj:-1";
    QTest::newRow("global missing") << "m:no.such.node";
}
// clang-format on

void TestModuleObject::missingLookupsReturnTheSharedEmptyNode()
{
    QFETCH(QString, lookup);
    tree()->set(nullptr, QStringLiteral("a.b"), 1, true);
    const QString kind = lookup.section(QLatin1Char(':'), 0, 0);
    const QString arg = lookup.section(QLatin1Char(':'), 1);
    ModuleObject* found = nullptr;
    if (kind == QLatin1String("cmobj")) {
        found = tree()->cmobj(arg);
    } else if (kind == QLatin1String("rmobj")) {
        found = tree()->rmobj(arg);
    } else if (kind == QLatin1String("pmobj")) {
        found = tree()->pmobj(arg.toInt());
    } else {
        found = velk::m(arg);
    }
    QVERIFY(found);
    QVERIFY(found->isEmptyMobj());
    QCOMPARE(found, velk::ModuleManager::emptyMobj());
    QCOMPARE(found, tree()->cmobj(QStringLiteral("other")));
}

void TestModuleObject::emptyNodeIgnoresEveryMutator()
{
    ModuleObject* empty = velk::ModuleManager::emptyMobj();
    QSignalSpy changed(empty, &ModuleObject::changed);
    QSignalSpy added(empty, &ModuleObject::added);
    QSignalSpy activated(empty, &ModuleObject::activated);

    QVERIFY(!empty->set(this, 5));
    QVERIFY(!empty->set(this, QStringLiteral("a.b"), 5, true));
    QVERIFY(empty->cmobj(QStringLiteral("x"), true)->isEmptyMobj());
    QVERIFY(empty->insert(this, QStringLiteral("x"), true)->isEmptyMobj());
    ModuleObject free(QStringLiteral("free"));
    QVERIFY(empty->insert(this, &free, true)->isEmptyMobj());
    QVERIFY(!empty->importFromJson(this, json(R"({"a":1})"), true, true, true));
    QVERIFY(!empty->copyFrom(this, &free, true, true));
    QXmlStreamReader xml(QStringLiteral(R"(<mobj name="a" type="double">1</mobj>)"));
    QVERIFY(!empty->importFromXml(this, xml, true, true, true));
    empty->clear(this, true, true);
    empty->watch(true, true);
    empty->quiet(false, true);
    empty->activate(this, empty, velk::ActivateData);
    QVERIFY(!empty->remove(this, QStringLiteral("x"), true));

    // A node built with the empty node as parent stays free-standing.
    ModuleObject orphan(QStringLiteral("orphan"), empty);
    QVERIFY(orphan.pmobj()->isEmptyMobj());

    QCOMPARE(empty->cmobjCount(), 0);
    QVERIFY(!empty->get().isValid());
    QVERIFY(!empty->isWatched());
    QVERIFY(empty->exportToJson().isNull());
    QCOMPARE(changed.count(), 0);
    QCOMPARE(added.count(), 0);
    QCOMPARE(activated.count(), 0);
}

void TestModuleObject::childrenKeepInsertionOrder()
{
    for (const char* name : {"c", "a", "b"}) {
        tree()->insert(this, QString::fromLatin1(name), true);
    }
    QCOMPARE(tree()->cmobjNames(), QStringList({"c", "a", "b"}));
    QCOMPARE(tree()->cmobjCount(), 3);
    ModuleObject* a = tree()->cmobj(QStringLiteral("a"));
    QCOMPARE(tree()->cmobjs().at(1), a);
    QCOMPARE(tree()->indexOf(a), 1);

    // Re-inserting an attached child with an index moves it.
    QCOMPARE(tree()->insert(this, a, false, 0), a);
    QCOMPARE(tree()->cmobjNames(), QStringList({"a", "c", "b"}));

    // A new child at an index.
    auto* d = new ModuleObject(QStringLiteral("d"));
    tree()->insert(this, d, false, 1);
    QCOMPARE(tree()->cmobjNames(), QStringList({"a", "d", "c", "b"}));
    QCOMPARE(tree()->indexOf(velk::ModuleManager::emptyMobj()), -1);
}

// clang-format off
void TestModuleObject::pathLookup_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("self") << "" << "t";
    QTest::newRow("child") << "a" << "t.a";
    QTest::newRow("grandchild") << "a.b" << "t.a.b";
    QTest::newRow("three levels") << "a.b.c" << "t.a.b.c";
    QTest::newRow("sibling branch") << "x.y" << "t.x.y";
}
// clang-format on

void TestModuleObject::pathLookup()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    tree()->set(nullptr, QStringLiteral("a.b.c"), 1, true);
    tree()->set(nullptr, QStringLiteral("x.y"), 2, true);
    ModuleObject* node = tree()->rmobj(path);
    QVERIFY(!node->isEmptyMobj());
    QCOMPARE(node->fullName(), expected);
    QVERIFY(path.isEmpty() || tree()->hasCmobj(path, true));
    QCOMPARE(tree()->hasCmobj(path, false), !path.isEmpty() && !path.contains('.'));
}

void TestModuleObject::fullNameLeavesOutRootAndBase()
{
    const QString top = QStringLiteral("tst_mobj_fullname");
    ModuleObject* leaf = velk::m().ensure(velk::mName(top, "a", "b"));
    QCOMPARE(leaf->fullName(), top + ".a.b");
    QCOMPARE(leaf->fullName(velk::m(top)), QStringLiteral("a.b"));
    QCOMPARE(leaf->fullName(leaf), QString());
    QCOMPARE(leaf->pmobj(2), velk::m(top));
    QCOMPARE(leaf->pmobj(0), leaf);
    QCOMPARE(velk::m().root()->fullName(), QString());
    velk::m().root()->remove(this, top, false);
}

// clang-format off
void TestModuleObject::setEmitsOnEveryCall_data()
{
    QTest::addColumn<QVariant>("first");
    QTest::addColumn<QVariant>("second");
    QTest::addColumn<bool>("quiet");
    QTest::addColumn<int>("expected");
    QTest::newRow("different values") << QVariant(1) << QVariant(2) << false << 2;
    QTest::newRow("equal values") << QVariant("on") << QVariant("on") << false << 2;
    QTest::newRow("invalid values") << QVariant() << QVariant() << false << 2;
    QTest::newRow("quiet") << QVariant(1) << QVariant(2) << true << 0;
}
// clang-format on

void TestModuleObject::setEmitsOnEveryCall()
{
    QFETCH(QVariant, first);
    QFETCH(QVariant, second);
    QFETCH(bool, quiet);
    QFETCH(int, expected);
    ModuleObject* node = tree()->cmobj(QStringLiteral("n"), true);
    node->quiet(quiet);
    QSignalSpy spy(node, &ModuleObject::changed);
    QVERIFY(node->set(this, first));
    QVERIFY(node->set(this, second));
    QCOMPARE(spy.count(), expected);
    QCOMPARE(node->get(), second);
    if (expected) {
        QCOMPARE(spy.at(1).at(0), second);
        QCOMPARE(spy.at(1).at(1), first);
        QCOMPARE(spy.at(1).at(2).value<QObject*>(), this);
    }
}

void TestModuleObject::setByKeyCreatesPath()
{
    QSignalSpy added(tree(), &ModuleObject::added);
    QVERIFY(!tree()->set(this, QStringLiteral("a.b"), 1, false));
    QCOMPARE(tree()->cmobjCount(), 0);
    QVERIFY(tree()->set(this, QStringLiteral("a.b"), 1, true));
    QCOMPARE(tree()->rmobj(QStringLiteral("a.b"))->getInt(), 1);
    QCOMPARE(added.count(), 1);
    QCOMPARE(added.at(0).at(1).value<QObject*>(), this);
    QVERIFY(!tree()->set(this, QStringLiteral("a..b"), 1, true));
    QVERIFY(tree()->set(this, QString(), 7, false));
    QCOMPARE(tree()->getInt(), 7);
}

void TestModuleObject::watchedNodeActivatesItselfOnSet()
{
    ModuleObject* node = tree()->cmobj(QStringLiteral("n"), true);
    Recorder rec;
    rec.listen(node);
    node->set(this, 1);
    QCOMPARE(rec.events, QStringList({"n:changed:1"}));
    rec.events.clear();
    node->watch(true);
    QVERIFY(node->isWatched());
    node->set(this, 2);
    QCOMPARE(rec.events, QStringList({"n:changed:2", "n:activated:n:0"}));
}

// clang-format off
void TestModuleObject::activationPropagation_data()
{
    // Chain t.a.b.c; activate() on c. Flags per node: W watched, Q quiet.
    QTest::addColumn<QString>("flags"); // for t, a, b, c
    QTest::addColumn<QStringList>("emitters");
    QTest::newRow("nothing watched") << "- - - -" << QStringList{"c"};
    QTest::newRow("parent watched") << "- - W -" << QStringList{"c", "b"};
    QTest::newRow("chain watched") << "W W W -" << QStringList{"c", "b", "a", "t"};
    QTest::newRow("stops at unwatched") << "W - W -" << QStringList{"c", "b"};
    QTest::newRow("grandparent alone") << "- W - -" << QStringList{"c"};
    QTest::newRow("quiet source") << "W W W Q" << QStringList{};
    QTest::newRow("quiet ancestor") << "W W WQ -" << QStringList{"c"};
}
// clang-format on

void TestModuleObject::activationPropagation()
{
    QFETCH(QString, flags);
    QFETCH(QStringList, emitters);
    tree()->set(nullptr, QStringLiteral("a.b.c"), 0, true);
    const QList<ModuleObject*> chain{tree(), tree()->rmobj("a"), tree()->rmobj("a.b"),
                                     tree()->rmobj("a.b.c")};
    const QStringList flag = flags.split(' ');
    QStringList heard;
    for (int i = 0; i < chain.size(); ++i) {
        chain[i]->watch(flag[i].contains('W'));
        chain[i]->quiet(flag[i].contains('Q'));
        connect(chain[i], &ModuleObject::activated, this,
                [&heard, i, &chain](ModuleObject* target, int type, QObject*) {
                    QCOMPARE(target, chain.last());
                    QCOMPARE(type, int(velk::ActivateData));
                    heard << chain[i]->name();
                });
    }
    chain.last()->activate(this, chain.last(), velk::ActivateData);
    QCOMPARE(heard, emitters);
}

void TestModuleObject::quietNodeEmitsNothing()
{
    ModuleObject* node = tree()->cmobj(QStringLiteral("n"), true);
    node->set(this, QStringLiteral("c.d"), 1, true);
    node->watch(true);
    node->quiet(true);
    QVERIFY(node->isQuiet());
    Recorder rec;
    rec.listen(node);
    node->set(this, 1);
    node->insert(this, QStringLiteral("x"), true);
    node->activate(this, node, velk::ActivateData);
    node->importFromJson(this, json(R"({"y":1})"), true, true, true);
    node->remove(this, QStringLiteral("x"), true);
    node->clear(this, false, true);
    QCOMPARE(rec.events, QStringList());
    // The writes happened all the same.
    QVERIFY(node->hasCmobj(QStringLiteral("y")));
    QVERIFY(!node->hasCmobj(QStringLiteral("x")));
    node->quiet(false);
    QVERIFY(!node->isQuiet());
    node->set(this, 2);
    QCOMPARE(rec.events, QStringList({"n:changed:2", "n:activated:n:0"}));
}

// clang-format off
void TestModuleObject::recursiveFlagsReachLaterChildren_data()
{
    QTest::addColumn<bool>("watchFlag"); // otherwise quiet
    QTest::addColumn<bool>("recursive");
    QTest::newRow("watch recursive") << true << true;
    QTest::newRow("watch node only") << true << false;
    QTest::newRow("quiet recursive") << false << true;
    QTest::newRow("quiet node only") << false << false;
}
// clang-format on

void TestModuleObject::recursiveFlagsReachLaterChildren()
{
    QFETCH(bool, watchFlag);
    QFETCH(bool, recursive);
    const auto flagOf = [watchFlag](ModuleObject* n) {
        return watchFlag ? n->isWatched() : n->isQuiet();
    };
    const auto setFlag = [watchFlag](ModuleObject* n, bool on, bool rec) {
        watchFlag ? n->watch(on, rec) : n->quiet(on, rec);
    };
    tree()->set(nullptr, QStringLiteral("a.old"), 1, true);
    ModuleObject* a = tree()->cmobj(QStringLiteral("a"));
    setFlag(a, true, recursive);
    QVERIFY(flagOf(a));
    QCOMPARE(flagOf(a->cmobj(QStringLiteral("old"))), recursive);

    // Created through every path that makes children.
    ModuleObject* byCmobj = a->cmobj(QStringLiteral("n1"), true);
    auto* byParent = new ModuleObject(QStringLiteral("n2"), a);
    a->importFromJson(this, json(R"({"n3":{"deep":1}})"), true, false, false);
    auto* moved = new ModuleObject(QStringLiteral("n4"));
    a->insert(this, moved, false);
    for (ModuleObject* n : {byCmobj, byParent, a->cmobj(QStringLiteral("n3")),
                            a->rmobj(QStringLiteral("n3.deep")), moved}) {
        QVERIFY2(flagOf(n) == recursive, qPrintable(n->fullName()));
    }

    // Switching off recursively clears the subtree and the inheritance.
    setFlag(a, false, true);
    QVERIFY(!flagOf(a->rmobj(QStringLiteral("n3.deep"))));
    QVERIFY(!flagOf(a->cmobj(QStringLiteral("n5"), true)));
}

// clang-format off
void TestModuleObject::insertByNameAnnounces_data()
{
    QTest::addColumn<bool>("notify");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("notify") << true << QStringList{"t:added:x", "t:activated:x:1"};
    QTest::newRow("silent") << false << QStringList{};
}
// clang-format on

void TestModuleObject::insertByNameAnnounces()
{
    QFETCH(bool, notify);
    QFETCH(QStringList, events);
    Recorder rec;
    rec.listen(tree());
    QSignalSpy activated(tree(), &ModuleObject::activated);
    ModuleObject* x = tree()->insert(this, QStringLiteral("x"), notify);
    QCOMPARE(x->pmobj(), tree());
    QCOMPARE(rec.events, events);
    if (notify) {
        QCOMPARE(activated.at(0).at(2).value<QObject*>(), this);
    }
    // An existing name returns the child and announces nothing.
    rec.events.clear();
    QCOMPARE(tree()->insert(this, QStringLiteral("x"), true), x);
    QCOMPARE(rec.events, QStringList());
    QVERIFY(tree()->insert(this, QString(), true)->isEmptyMobj());
}

void TestModuleObject::constructedChildIsAnnouncedOnlyOnInsert()
{
    // How a page adds itself: create with a parent, label, watch, insert.
    ModuleObject* root = tree()->cmobj(QStringLiteral("root"), true);
    root->watch(true);
    QList<QPair<ModuleObject*, int>> heard;
    connect(root, &ModuleObject::activated, this,
            [&heard](ModuleObject* target, int type, QObject*) {
                heard.append({target, type});
            });
    QSignalSpy added(root, &ModuleObject::added);

    auto* page = new ModuleObject(QStringLiteral("page"), root);
    QVERIFY(root->hasCmobj(QStringLiteral("page")));
    QCOMPARE(page->pmobj(), root);
    QCOMPARE(page->parent(), root);
    page->set(this, QStringLiteral("Page label"));
    page->watch(true);
    QVERIFY(heard.isEmpty());
    QCOMPARE(added.count(), 0);

    QCOMPARE(root->insert(this, page, true), page);
    QCOMPARE(heard.size(), 1);
    QCOMPARE(heard.first().first, page);
    QCOMPARE(heard.first().second, int(velk::ActivateAdded));
    QCOMPARE(added.count(), 1);
    QCOMPARE(root->cmobjNames(), QStringList{"page"});

    // Later label changes arrive as data activations.
    page->set(this, QStringLiteral("New label"));
    QCOMPARE(heard.size(), 2);
    QCOMPARE(heard.last().second, int(velk::ActivateData));

    // A second node of the same name is owned but not reachable.
    auto* twin = new ModuleObject(QStringLiteral("page"), root);
    QCOMPARE(root->cmobj(QStringLiteral("page")), page);
    QVERIFY(twin->pmobj()->isEmptyMobj());
    QVERIFY(root->insert(this, twin, true)->isEmptyMobj());
}

void TestModuleObject::insertExistingChildRules()
{
    ModuleObject* from = tree()->cmobj(QStringLiteral("from"), true);
    ModuleObject* to = tree()->cmobj(QStringLiteral("to"), true);
    ModuleObject* child = from->cmobj(QStringLiteral("c"), true);
    child->set(this, 5);
    Recorder rec;
    rec.listen(from);
    rec.listen(to);

    // Attached elsewhere: detached silently from the old parent.
    QCOMPARE(to->insert(this, child, true), child);
    QCOMPARE(rec.events, QStringList({"to:added:c", "to:activated:c:1"}));
    QVERIFY(!from->hasCmobj(QStringLiteral("c")));
    QCOMPARE(child->fullName(), QStringLiteral("t.to.c"));
    QCOMPARE(child->getInt(), 5);

    // Already attached here: only announced.
    rec.events.clear();
    QCOMPARE(to->insert(this, child, true), child);
    QCOMPARE(rec.events, QStringList({"to:added:c", "to:activated:c:1"}));
    QCOMPARE(to->cmobjCount(), 1);

    // Another child of that name exists.
    ModuleObject* other = from->cmobj(QStringLiteral("c"), true);
    QVERIFY(to->insert(this, other, true)->isEmptyMobj());
    QCOMPARE(other->pmobj(), from);

    // Never below itself.
    QVERIFY(child->insert(this, tree(), true)->isEmptyMobj());
    QVERIFY(to->insert(this, to, true)->isEmptyMobj());
    QVERIFY(to->insert(this, nullptr, true)->isEmptyMobj());
}

void TestModuleObject::removeAnnouncesWhileAttached()
{
    ModuleObject* parent = tree()->cmobj(QStringLiteral("p"), true);
    QPointer<ModuleObject> child = parent->cmobj(QStringLiteral("c"), true);
    bool attachedDuringSignal = false;
    int type = -1;
    connect(parent, &ModuleObject::activated, this, [&](ModuleObject* target, int t, QObject*) {
        type = t;
        attachedDuringSignal = target == child && target->pmobj() == parent &&
                               parent->cmobj(QStringLiteral("c")) == target;
    });
    QVERIFY(parent->remove(this, QStringLiteral("c"), true));
    QCOMPARE(type, int(velk::ActivateRemoved));
    QVERIFY(attachedDuringSignal);
    // Detached at once, deleted later.
    QVERIFY(!parent->hasCmobj(QStringLiteral("c")));
    QVERIFY(parent->cmobj(QStringLiteral("c"))->isEmptyMobj());
    QVERIFY(child);
    QVERIFY(child->pmobj()->isEmptyMobj());
    flushDeletes();
    QVERIFY(!child);

    // Silent removal, and removal of a stranger.
    parent->cmobj(QStringLiteral("d"), true);
    type = -1;
    QVERIFY(parent->remove(this, QStringLiteral("d"), false));
    QCOMPARE(type, -1);
    QVERIFY(!parent->remove(this, QStringLiteral("d"), true));
    ModuleObject stranger(QStringLiteral("s"));
    QVERIFY(!parent->remove(this, &stranger, true));
}

void TestModuleObject::removeFromOwnSignalHandler()
{
    ModuleObject* parent = tree()->cmobj(QStringLiteral("p"), true);
    QPointer<ModuleObject> child = parent->cmobj(QStringLiteral("c"), true);
    int calls = 0;
    connect(child, &ModuleObject::changed, this, [&](const QVariant&, const QVariant&, QObject*) {
        ++calls;
        parent->remove(this, child, true);
    });
    // A second receiver still runs on the live node after the removal.
    connect(child, &ModuleObject::changed, this,
            [&](const QVariant& value, const QVariant&, QObject*) {
                ++calls;
                QCOMPARE(child->get(), value);
            });
    child->set(this, 1);
    QCOMPARE(calls, 2);
    QVERIFY(!parent->hasCmobj(QStringLiteral("c")));
    flushDeletes();
    QVERIFY(!child);
}

void TestModuleObject::deletingNodesKeepsIndexConsistent()
{
    tree()->set(nullptr, QStringLiteral("a.b.c"), 1, true);
    QPointer<ModuleObject> c = tree()->rmobj(QStringLiteral("a.b.c"));
    delete tree()->rmobj(QStringLiteral("a.b"));
    QVERIFY(!c);
    QVERIFY(!tree()->hasCmobj(QStringLiteral("a.b"), true));
    QCOMPARE(tree()->cmobj(QStringLiteral("a"))->cmobjCount(), 0);
    tree()->set(nullptr, QStringLiteral("a.b"), 2, true);
    QCOMPARE(tree()->rmobj(QStringLiteral("a.b"))->getInt(), 2);
}

void TestModuleObject::clearValuesOrChildren()
{
    tree()->importFromJson(this, json(R"({"a":1,"b":{"c":"x","d":{}}})"), true, false, false);
    tree()->set(this, 9);
    QStringList changed;
    for (ModuleObject* n : {tree(), tree()->rmobj("a"), tree()->rmobj("b"), tree()->rmobj("b.c"),
                            tree()->rmobj("b.d")}) {
        connect(n, &ModuleObject::changed, this,
                [&changed, n](const QVariant& now, const QVariant&, QObject*) {
                    QVERIFY(!now.isValid());
                    changed << n->name();
                });
    }
    // Values only: every node that held a value reports it.
    tree()->clear(this, false, true);
    QCOMPARE(changed, QStringList({"a", "c", "t"}));
    QCOMPARE(tree()->cmobjNames(), QStringList({"a", "b"}));
    QVERIFY(!tree()->rmobj(QStringLiteral("b.c"))->get().isValid());
    QVERIFY(!tree()->get().isValid());

    // Children too: announced as removals.
    QSignalSpy activated(tree(), &ModuleObject::activated);
    tree()->clear(this, true, true);
    QCOMPARE(tree()->cmobjCount(), 0);
    QCOMPARE(activated.count(), 2);
    QCOMPARE(activated.at(0).at(1).toInt(), int(velk::ActivateRemoved));
    QVERIFY(tree()->exportToJson().isNull());
}

// clang-format off
void TestModuleObject::getters_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("string");
    QTest::addColumn<int>("integer");
    QTest::addColumn<double>("number");
    QTest::addColumn<bool>("boolean");
    QTest::addColumn<int>("listSize");
    // Defaults: "def", -1, -1.5, true
    QTest::newRow("never set") << QVariant() << "def" << -1 << -1.5 << true << 0;
    QTest::newRow("integer") << QVariant(42) << "42" << 42 << 42.0 << true << 0;
    QTest::newRow("json number") << QVariant(3.0) << "3" << 3 << 3.0 << true << 0;
    QTest::newRow("zero") << QVariant(0.0) << "0" << 0 << 0.0 << false << 0;
    QTest::newRow("numeric text") << QVariant("12") << "12" << 12 << 12.0 << true << 0;
    QTest::newRow("word") << QVariant("abc") << "abc" << -1 << -1.5 << true << 0;
    QTest::newRow("false text") << QVariant("false") << "false" << -1 << -1.5 << false << 0;
    QTest::newRow("bool") << QVariant(false) << "false" << 0 << 0.0 << false << 0;
    QTest::newRow("list") << QVariant(QVariantList{1, "x"}) << "def" << -1 << -1.5 << true << 2;
    QTest::newRow("string list") << QVariant(QStringList{"a", "b", "c"})
                                 << "def" << -1 << -1.5 << true << 3;
}
// clang-format on

void TestModuleObject::getters()
{
    QFETCH(QVariant, value);
    QFETCH(QString, string);
    QFETCH(int, integer);
    QFETCH(double, number);
    QFETCH(bool, boolean);
    QFETCH(int, listSize);
    ModuleObject* n = tree()->cmobj(QStringLiteral("n"), true);
    n->set(this, value);
    QCOMPARE(n->getString(QStringLiteral("def")), string);
    QCOMPARE(n->getInt(-1), integer);
    QCOMPARE(n->getDouble(-1.5), number);
    QCOMPARE(n->getBool(true), boolean);
    QCOMPARE(n->getList().size(), listSize);
    QCOMPARE(n->get(QStringLiteral("fallback")),
             value.isValid() ? value : QVariant(QStringLiteral("fallback")));
}

void TestModuleObject::cmobjNamesSkipPrivate()
{
    for (const char* name : {"_get", "a", "[timestamp]", "b_"}) {
        tree()->insert(this, QString::fromLatin1(name), false);
    }
    QCOMPARE(tree()->cmobjNames(true), QStringList({"a", "b_"}));
    QCOMPARE(tree()->cmobjNames(false).size(), 4);
    QCOMPARE(tree()->exportToJson(true).toObject().keys(), QStringList({"a", "b_"}));
}

void TestModuleObject::importNotifiesChildrenThenTarget()
{
    ModuleObject* data = tree()->cmobj(QStringLiteral("data"), true);
    data->importFromJson(this, json(R"({"x":0,"y":0})"), true, false, false);
    Recorder rec;
    rec.listen(data);
    rec.listen(data->cmobj(QStringLiteral("x")));
    rec.listen(data->cmobj(QStringLiteral("y")));
    QSignalSpy dataChanged(data, &ModuleObject::changed);

    data->importFromJson(this, json(R"({"x":1,"y":2})"), true, true, false);
    QCOMPARE(rec.events, QStringList({"x:changed:1", "y:changed:2", "data:changed:"}));
    QCOMPARE(dataChanged.at(0).at(2).value<QObject*>(), this);

    // Equal data is still news; without notify nothing is heard.
    rec.events.clear();
    data->importFromJson(this, json(R"({"x":1,"y":2})"), true, true, false);
    QCOMPARE(rec.events.size(), 3);
    rec.events.clear();
    data->importFromJson(this, json(R"({"x":5})"), true, false, false);
    QCOMPARE(rec.events, QStringList());
    QCOMPARE(data->cmobj(QStringLiteral("x"))->getInt(), 5);

    // New children are announced before their first value.
    data->importFromJson(this, json(R"({"z":3})"), true, true, false);
    QCOMPARE(rec.events, QStringList({"data:added:z", "data:activated:z:1", "data:changed:"}));
}

void TestModuleObject::importActivatesDirectChildren()
{
    ModuleObject* notify = tree()->cmobj(QStringLiteral("notify"), true);
    Recorder rec;
    rec.listen(notify);
    notify->importFromJson(this, json(R"({"joint":[1,2,3],"pose":{"x":1}})"), true, false, true);
    QCOMPARE(rec.events, QStringList({"notify:activated:joint:0", "notify:activated:pose:0"}));
    QCOMPARE(notify->cmobj(QStringLiteral("joint"))->getList(), QVariantList({1.0, 2.0, 3.0}));

    // Both: the target's one change comes before the activations.
    rec.events.clear();
    notify->importFromJson(this, json(R"({"joint":[4]})"), true, true, true);
    QCOMPARE(rec.events, QStringList({"notify:changed:", "notify:activated:joint:0"}));
}

void TestModuleObject::importWithoutCreateSkipsMissing()
{
    tree()->importFromJson(this, json(R"({"a":1,"b":{"c":2}})"), true, false, false);
    QSignalSpy added(tree(), &ModuleObject::added);
    QVERIFY(tree()->importFromJson(this, json(R"({"a":10,"b":{"c":20,"new":1},"z":3})"), false,
                                   true, false));
    QCOMPARE(tree()->cmobj(QStringLiteral("a"))->getInt(), 10);
    QCOMPARE(tree()->rmobj(QStringLiteral("b.c"))->getInt(), 20);
    QVERIFY(!tree()->hasCmobj(QStringLiteral("z")));
    QVERIFY(!tree()->hasCmobj(QStringLiteral("b.new"), true));
    QCOMPARE(added.count(), 0);
}

// clang-format off
void TestModuleObject::jsonRoundTrip_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty object") << "{}";
    QTest::newRow("nested empty object") << R"({"a":{},"b":{"c":{}}})";
    QTest::newRow("scalars") << R"({"s":"text","d":1.5,"i":3,"t":true,"f":false,"n":null})";
    QTest::newRow("arrays") << R"({"e":[],"l":[1,"x",[true,null],{"k":"v"}]})";
    QTest::newRow("deep") << R"({"a":{"b":{"c":{"d":"leaf"}}},"z":"中文"})";
    QTest::newRow("top-level scalar") << R"("just text")";
    QTest::newRow("top-level array") << R"([1,2])";
}
// clang-format on

void TestModuleObject::jsonRoundTrip()
{
    QFETCH(QString, text);
    const QJsonValue in = json(text.toUtf8().constData());
    QVERIFY(tree()->importFromJson(this, in, true, false, false));
    QCOMPARE(tree()->exportToJson(), in);

    // A second import of the same data into the grown tree changes nothing.
    QVERIFY(tree()->importFromJson(this, in, true, true, true));
    QCOMPARE(tree()->exportToJson(), in);
}

// clang-format off
void TestModuleObject::xmlRoundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("string") << QVariant(QStringLiteral("a <b> & \"c\" 中"));
    QTest::newRow("empty string") << QVariant(QString(""));
    QTest::newRow("spaces kept") << QVariant(QStringLiteral("  padded  "));
    QTest::newRow("double") << QVariant(0.1);
    QTest::newRow("large double") << QVariant(1.0e300);
    QTest::newRow("integer") << QVariant(-7);
    QTest::newRow("bool") << QVariant(true);
    QTest::newRow("null") << QVariant();
    QTest::newRow("list") << QVariant(
        QVariantList{1.5, QStringLiteral("x"), false, QVariantList{QVariant(), 2.0}});
    QTest::newRow("map") << QVariant(QVariantMap{{"k", 1.0}, {"l", QVariantList{"v"}}});
}
// clang-format on

void TestModuleObject::xmlRoundTrip()
{
    QFETCH(QVariant, value);
    tree()->importFromJson(this, json(R"({"obj":{"x":"y"},"empty":{}})"), true, false, false);
    tree()->set(this, QStringLiteral("v"), value, true);

    QString text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    QVERIFY(tree()->exportToXml(writer, false, true));

    ModuleObject copy(QStringLiteral("copy"));
    QXmlStreamReader reader(text);
    QVERIFY2(copy.importFromXml(this, reader, true, false, false), qPrintable(text));
    QCOMPARE(copy.cmobjNames(), tree()->cmobjNames());
    const QVariant back = copy.cmobj(QStringLiteral("v"))->get();
    QCOMPARE(back.userType(), value.userType());
    QCOMPARE(back, value);
    QCOMPARE(copy.exportToJson(), tree()->exportToJson());
    QCOMPARE(copy.cmobj(QStringLiteral("empty"))->exportToJson(), QJsonValue(QJsonObject()));
}

void TestModuleObject::xmlWithoutSelfWritesChildrenOnly()
{
    tree()->importFromJson(this, json(R"({"a":1,"_p":2,"b":{"c":"x"}})"), true, false, false);
    QString text;
    QXmlStreamWriter writer(&text);
    writer.writeStartElement(QStringLiteral("settings"));
    QVERIFY(tree()->exportToXml(writer, true, false));
    writer.writeEndElement();
    QVERIFY(!text.contains(QLatin1String("name=\"t\"")));
    QVERIFY(!text.contains(QLatin1String("_p")));

    ModuleObject copy(QStringLiteral("copy"));
    copy.insert(this, QStringLiteral("b"), false);
    QSignalSpy activated(&copy, &ModuleObject::activated);
    QXmlStreamReader reader(text);
    QVERIFY(copy.importFromXml(this, reader, true, false, true));
    QCOMPARE(copy.exportToJson(), json(R"({"b":{"c":"x"},"a":1})"));
    QCOMPARE(activated.count(), 2);

    // Broken XML is refused.
    ModuleObject other(QStringLiteral("other"));
    QXmlStreamReader broken(QStringLiteral(R"(<x><mobj name="a" type="list"><item>)"));
    QVERIFY(!other.importFromXml(this, broken, true, false, false));
}

void TestModuleObject::copyFromCopiesSubtree()
{
    ModuleObject* source = tree()->cmobj(QStringLiteral("src"), true);
    source->importFromJson(this, json(R"({"a":1,"b":{"c":"x","d":[1,2]},"e":{}})"), true, false,
                           false);
    ModuleObject* target = tree()->cmobj(QStringLiteral("dst"), true);
    target->importFromJson(this, json(R"({"a":0,"b":{"c":""}})"), true, false, false);

    Recorder rec;
    rec.listen(target);
    rec.listen(target->cmobj(QStringLiteral("a")));
    QVERIFY(target->copyFrom(this, source, false, true));
    QCOMPARE(target->exportToJson(), json(R"({"a":1,"b":{"c":"x"}})"));
    QCOMPARE(rec.events, QStringList({"a:changed:1", "dst:changed:"}));

    QVERIFY(target->copyFrom(this, source, true, false));
    QCOMPARE(target->exportToJson(), source->exportToJson());

    // A leaf copies its value into the node itself.
    ModuleObject* joint = tree()->cmobj(QStringLiteral("joint"), true);
    QSignalSpy changed(joint, &ModuleObject::changed);
    QVERIFY(joint->copyFrom(this, source->rmobj(QStringLiteral("b.d")), false, true));
    QCOMPARE(joint->getList(), QVariantList({1.0, 2.0}));
    QCOMPARE(changed.count(), 1);
    QVERIFY(!joint->copyFrom(this, nullptr, true, true));
    QVERIFY(!joint->copyFrom(this, velk::ModuleManager::emptyMobj(), true, true));
}

void TestModuleObject::copyFromRefusesOwnSubtree()
{
    tree()->importFromJson(this, json(R"({"a":{"b":{"c":1}}})"), true, false, false);
    ModuleObject* a = tree()->cmobj(QStringLiteral("a"));
    QVERIFY(!a->rmobj(QStringLiteral("b"))->copyFrom(this, a, true, false));
    QVERIFY(!a->copyFrom(this, a, true, false));
    // Copying a descendant into an ancestor is fine and ends.
    QVERIFY(a->copyFrom(this, a->rmobj(QStringLiteral("b")), true, false));
    QCOMPARE(a->rmobj(QStringLiteral("c"))->getInt(), 1);
}

QTEST_GUILESS_MAIN(TestModuleObject)
#include "tst_moduleobject.moc"
