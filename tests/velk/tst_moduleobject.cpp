#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QtTest>

#include <memory>

using velk::ModuleObject;

namespace {

QJsonValue json(const QString& text)
{
    // Wrapped so that scalars parse too.
    return QJsonDocument::fromJson("[" + text.toUtf8() + "]").array().first();
}

// Records the signals of several nodes in one list, so that their order shows.
class Recorder : public QObject
{
public:
    QStringList events;

    void listen(ModuleObject* node)
    {
        const QString n = node->name();
        connect(node, &ModuleObject::changed, this,
                [this, n](const QVariant& value) { events << n + ":changed:" + value.toString(); });
        connect(node, &ModuleObject::added, this,
                [this, n](const QString& child) { events << n + ":added:" + child; });
        connect(node, &ModuleObject::activated, this, [this, n](ModuleObject* target, int type) {
            events << QStringLiteral("%1:activated:%2:%3").arg(n, target->name()).arg(type);
        });
    }
};

} // namespace

class TestModuleObject : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModuleObject> m_tree;
    ModuleObject* tree() { return m_tree.get(); }

private Q_SLOTS:
    void init() { m_tree = std::make_unique<ModuleObject>(QStringLiteral("t")); }
    void cleanup()
    {
        m_tree.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void emptyNode()
    {
        tree()->set(nullptr, "a.b", 1, true);
        ModuleObject* b = tree()->rmobj("a.b");
        ModuleObject* empty = velk::ModuleManager::emptyMobj();
        // Lookups never give null. An empty full name must not give the invisible
        // root: a set or insert there would land among the modules' own nodes.
        for (ModuleObject* found : {tree()->cmobj("zz"), tree()->rmobj("a.zz"), tree()->rmobj("a."),
                                    b->pmobj(3), b->pmobj(-1), velk::m("no.such"), velk::m("")}) {
            QCOMPARE(found, empty);
        }
        // Its mutators do nothing and it never emits.
        Recorder rec;
        rec.listen(empty);
        QVERIFY(!empty->set(this, 5) && !empty->set(this, "x", 5, true));
        QVERIFY(empty->insert(this, "x", true) == empty && empty->cmobj("x", true) == empty);
        QVERIFY(!empty->importFromJson(this, json(R"({"a":1})"), true, true, true));
        empty->watch(true, true);
        empty->activate(this, empty, velk::ActivateData);
        QVERIFY(empty->isEmptyMobj() && empty->cmobjCount() == 0 && !empty->get().isValid());
        QCOMPARE(rec.events, QStringList());
    }

    void childrenKeepInsertionOrder()
    {
        for (const char* name : {"c", "a", "b"}) {
            tree()->insert(this, name, true);
        }
        QCOMPARE(tree()->cmobjNames(), QStringList({"c", "a", "b"}));
        // An index moves an attached child and places a new one.
        tree()->insert(this, tree()->cmobj("a"), false, 0);
        tree()->insert(this, new ModuleObject(QStringLiteral("d")), false, 1);
        QCOMPARE(tree()->cmobjNames(), QStringList({"a", "d", "c", "b"}));
        delete tree()->cmobj("c"); // leaves its parent's index
        QCOMPARE(tree()->cmobjNames(), QStringList({"a", "d", "b"}));
    }

    void setEmitsOnEveryCall()
    {
        ModuleObject* node = tree()->cmobj("n", true);
        QSignalSpy spy(node, &ModuleObject::changed);
        for (const QVariant& value : {QVariant(1), QVariant(1), QVariant(), QVariant()}) {
            QVERIFY(node->set(this, value));
        }
        QCOMPARE(spy.count(), 4); // equal values too
        QCOMPARE(spy.at(1), QVariantList({1, 1, QVariant::fromValue<QObject*>(this)}));
        // A quiet node takes every write and says nothing.
        node->quiet(true);
        QVERIFY(node->set(this, 2));
        node->importFromJson(this, json(R"({"y":1})"), true, true, true);
        QCOMPARE(spy.count(), 4);
        QCOMPARE(node->get(), QVariant(2));
        QCOMPARE(node->cmobjNames(), QStringList{"y"});
    }

    // clang-format off
    void activation_data()
    {
        // Chain t.a.b.c with c.x; flags per node t a b c: W watched, Q quiet.
        QTest::addColumn<QString>("flags");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("type");
        QTest::addColumn<QStringList>("emitters");
        QTest::newRow("nothing watched") << "- - - -" << "activate" << "c" << 0 << QStringList{"c"};
        QTest::newRow("chain watched") << "W W W -" << "activate" << "c" << 0 << QStringList{"c", "b", "a", "t"};
        QTest::newRow("stops at unwatched") << "W - W -" << "activate" << "c" << 0 << QStringList{"c", "b"};
        QTest::newRow("quiet source") << "W W W Q" << "activate" << "c" << 0 << QStringList{};
        QTest::newRow("quiet ancestor") << "W W WQ -" << "activate" << "c" << 0 << QStringList{"c"};
        QTest::newRow("set on watched node") << "- - W W" << "set" << "c" << 0 << QStringList{"c", "b"};
        QTest::newRow("set on unwatched node") << "W W W -" << "set" << "c" << 0 << QStringList{};
        QTest::newRow("insert into quiet node") << "- - W Q" << "insert" << "y" << 1 << QStringList{};
        QTest::newRow("insert") << "- W W -" << "insert" << "y" << 1 << QStringList{"c", "b", "a"};
        QTest::newRow("remove") << "W - W -" << "remove" << "x" << 2 << QStringList{"c", "b"};
    }
    // clang-format on

    void activation()
    {
        QFETCH(QString, flags);
        QFETCH(QString, action);
        QFETCH(QString, target);
        QFETCH(int, type);
        QFETCH(QStringList, emitters);
        tree()->set(nullptr, "a.b.c.x", 0, true);
        const QList<ModuleObject*> chain{tree(), tree()->rmobj("a"), tree()->rmobj("a.b"),
                                         tree()->rmobj("a.b.c")};
        const QStringList flag = flags.split(' ');
        QStringList heard;
        for (int i = 0; i < chain.size(); ++i) {
            chain[i]->watch(flag[i].contains('W'));
            chain[i]->quiet(flag[i].contains('Q'));
            connect(chain[i], &ModuleObject::activated, this,
                    [&, i](ModuleObject* t, int ty, QObject* sender) {
                        QCOMPARE(t->name(), target);
                        QCOMPARE(ty, type);
                        QCOMPARE(sender, this);
                        QVERIFY(!t->pmobj()->isEmptyMobj()); // announced while attached
                        heard << chain[i]->name();
                    });
        }
        ModuleObject* c = chain.last();
        if (action == "activate") {
            c->activate(this, c, velk::ActivateData);
        } else if (action == "set") {
            c->set(this, 1);
        } else if (action == "insert") {
            c->insert(this, "y", true);
        } else {
            c->remove(this, "x", true);
        }
        QCOMPARE(heard, emitters);
    }

    void recursiveFlagsReachLaterChildren()
    {
        tree()->set(nullptr, "w.old", 1, true);
        tree()->set(nullptr, "q.old", 1, true);
        ModuleObject* w = tree()->cmobj("w");
        ModuleObject* q = tree()->cmobj("q");
        w->watch(true, true);
        q->quiet(true, true);
        tree()->watch(true); // not recursive
        // Children made through every path that makes them.
        for (ModuleObject* n : {w, q, tree()}) {
            n->cmobj("n1", true);
            new ModuleObject(QStringLiteral("n2"), n);
            n->importFromJson(this, json(R"({"n3":{"deep":1}})"), true, false, false);
            n->insert(this, new ModuleObject(QStringLiteral("n4")), false);
        }
        for (const char* path : {"old", "n1", "n2", "n3", "n3.deep", "n4"}) {
            QVERIFY2(w->rmobj(path)->isWatched() && q->rmobj(path)->isQuiet(), path);
        }
        QVERIFY(!tree()->cmobj("n1")->isWatched() && !tree()->cmobj("w")->isQuiet());
        // Switching off recursively clears the subtree and the inheritance.
        w->watch(false, true);
        QVERIFY(!w->rmobj("n3.deep")->isWatched() && !w->cmobj("n5", true)->isWatched());
    }

    void insertAnnounces()
    {
        // How a page adds itself: create with a parent, label, watch, insert.
        ModuleObject* root = tree()->cmobj("root", true);
        root->watch(true);
        Recorder rec;
        rec.listen(root);
        auto* page = new ModuleObject(QStringLiteral("page"), root);
        page->set(this, "label");
        page->watch(true);
        QCOMPARE(root->insert(this, page, true), page);
        page->set(this, "new label");
        // By name an existing child comes back silently; a name taken is refused.
        QCOMPARE(root->insert(this, "page", true), page);
        ModuleObject twin(QStringLiteral("page"));
        QVERIFY(root->insert(this, &twin, true)->isEmptyMobj());
        QCOMPARE(rec.events, QStringList({"root:added:page", "root:activated:page:1",
                                          "root:activated:page:0"}));
        QVERIFY(page->insert(this, tree(), true)->isEmptyMobj()); // never below itself
    }

    // clang-format off
    void importFromJson_data()
    {
        // Imported into "d"; the recorder hears d and the children it had before.
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("data");
        QTest::addColumn<bool>("create");
        QTest::addColumn<bool>("notify");
        QTest::addColumn<bool>("activate");
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<QString>("after");
        QTest::newRow("children then target") << R"({"x":0,"y":0})" << R"({"x":1,"y":2})" << true << true << false << QStringList{"x:changed:1", "y:changed:2", "d:changed:"} << R"({"x":1,"y":2})";
        QTest::newRow("equal data is news") << R"({"x":1})" << R"({"x":1})" << true << true << false << QStringList{"x:changed:1", "d:changed:"} << R"({"x":1})";
        QTest::newRow("silent") << R"({"x":0})" << R"({"x":5})" << true << false << false << QStringList{} << R"({"x":5})";
        QTest::newRow("new child announced") << "{}" << R"({"z":3})" << true << true << false << QStringList{"d:added:z", "d:activated:z:1", "d:changed:"} << R"({"z":3})";
        QTest::newRow("activated per direct child") << "{}" << R"({"j":[1,2],"p":{"x":1}})" << true << false << true << QStringList{"d:activated:j:0", "d:activated:p:0"} << R"({"j":[1,2],"p":{"x":1}})";
        QTest::newRow("change before activations") << R"({"j":[0]})" << R"({"j":[4]})" << true << true << true << QStringList{"j:changed:", "d:changed:", "d:activated:j:0"} << R"({"j":[4]})";
        QTest::newRow("round trip {}") << "{}" << "{}" << true << false << false << QStringList{} << "{}";
        QTest::newRow("round trip, twice") << R"({"a":{},"s":"中文","f":1.5,"t":true,"n":null,"l":[1,[null],{"k":"v"}]})" << R"({"a":{},"s":"中文","f":1.5,"t":true,"n":null,"l":[1,[null],{"k":"v"}]})" << true << false << false << QStringList{} << R"({"a":{},"s":"中文","f":1.5,"t":true,"n":null,"l":[1,[null],{"k":"v"}]})";
        QTest::newRow("top-level scalar") << R"("text")" << R"("text")" << true << false << false << QStringList{} << R"("text")";
        QTest::newRow("without create") << R"({"a":1,"b":{"c":2}})" << R"({"a":10,"b":{"c":20,"n":1},"z":3})" << false << true << false << QStringList{"a:changed:10", "b:changed:", "d:changed:"} << R"({"a":10,"b":{"c":20}})";
    }
    // clang-format on

    void importFromJson()
    {
        QFETCH(QString, before);
        QFETCH(QString, data);
        QFETCH(bool, create);
        QFETCH(bool, notify);
        QFETCH(bool, activate);
        QFETCH(QStringList, events);
        QFETCH(QString, after);
        ModuleObject* d = tree()->cmobj("d", true);
        d->importFromJson(this, json(before), true, false, false);
        Recorder rec;
        rec.listen(d);
        for (ModuleObject* child : d->cmobjs()) {
            rec.listen(child);
        }
        QSignalSpy changed(d, &ModuleObject::changed);
        QVERIFY(d->importFromJson(this, json(data), create, notify, activate));
        QCOMPARE(rec.events, events);
        QCOMPARE(d->exportToJson(), json(after));
        QCOMPARE(changed.value(0).value(2).value<QObject*>(), notify ? this : nullptr);
    }

    void exportSkipsPrivate()
    {
        tree()->importFromJson(this, json(R"({"_get":1,"a":2,"[ts]":3,"b_":{"_p":4}})"), true,
                               false, false);
        QCOMPARE(tree()->cmobjNames(true), QStringList({"a", "b_"}));
        QCOMPARE(tree()->exportToJson(true), json(R"({"a":2,"b_":{}})"));
    }

    // clang-format off
    void xmlRoundTrip_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("string") << QVariant(QStringLiteral("  a <b> & \"c\" 中 "));
        QTest::newRow("double") << QVariant(0.1);
        QTest::newRow("null") << QVariant();
        QTest::newRow("list") << QVariant(QVariantList{1.5, "x", false, QVariantList{QVariant(), 2.0}});
        QTest::newRow("map") << QVariant(QVariantMap{{"k", 1.0}, {"l", QVariantList{"v"}}});
    }
    // clang-format on

    void xmlRoundTrip()
    {
        QFETCH(QVariant, value);
        tree()->importFromJson(this, json(R"({"obj":{"x":"y"},"empty":{}})"), true, false, false);
        tree()->set(this, "v", value, true);
        QString text;
        QXmlStreamWriter writer(&text);
        QVERIFY(tree()->exportToXml(writer, false, true));
        ModuleObject copy(QStringLiteral("copy"));
        QXmlStreamReader reader(text);
        QVERIFY2(copy.importFromXml(this, reader, true, false, false), qPrintable(text));
        const QVariant back = copy.cmobj("v")->get();
        QCOMPARE(back.userType(), value.userType());
        QCOMPARE(back, value);
        QCOMPARE(copy.exportToJson(), tree()->exportToJson());
    }

    void copyFrom()
    {
        ModuleObject* source = tree()->cmobj("src", true);
        source->importFromJson(this, json(R"({"a":1,"b":{"c":"x","d":[1,2]},"e":{}})"), true, false,
                               false);
        ModuleObject* target = tree()->cmobj("dst", true);
        target->importFromJson(this, json(R"({"a":0,"b":{"c":""}})"), true, false, false);
        QVERIFY(target->copyFrom(this, source, false, true));
        QCOMPARE(target->exportToJson(), json(R"({"a":1,"b":{"c":"x"}})")); // without create
        QVERIFY(target->copyFrom(this, source, true, false));
        QCOMPARE(target->exportToJson(), source->exportToJson());
        QVERIFY(!target->copyFrom(this, nullptr, true, true));
        QVERIFY(!source->rmobj("b")->copyFrom(this, source, true, false)); // never into itself
    }
};

QTEST_GUILESS_MAIN(TestModuleObject)
#include "tst_moduleobject.moc"
