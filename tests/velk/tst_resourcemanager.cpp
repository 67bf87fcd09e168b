#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <unistd.h>

using velk::resource;
using velk::ResourceWatcher;

namespace {

const QString kName = QStringLiteral("doc");

QJsonObject json(const char* text)
{
    return QJsonDocument::fromJson(text).object();
}

// a: 1, b: {c: "x", d: {e: true}}, ab: 2
QJsonObject sample()
{
    return json(R"({"a":1,"ab":2,"b":{"c":"x","d":{"e":true}}})");
}

} // namespace

class tst_ResourceManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Diagnostics are checked on standard error, whatever the environment says.
    void initTestCase() { velk::QLog::setConsoleEnabled(true); }
    void init();
    void cleanup();

    void get_data();
    void get();
    void set_data();
    void set();
    void setCreatesUnregisteredResource();
    void registAndCancel();
    void nullOwner();
    void watchers_data();
    void watchers();
    void onlyWhenDifferent_data();
    void onlyWhenDifferent();
    void disabledWatcherAndQuietWrite();
    void getWatcherIsSharedPerKey();
    void load_data();
    void load();
    void loadFailureKeepsDocument_data();
    void loadFailureKeepsDocument();
    void saveWritesBomAndCrlf();
    void saveReplacesAtomically();
    void saveFailures();
    void watcherSavesOnEveryChange();
    void getModulePtr_data();
    void getModulePtr();
    void ownerDestroyedDropsResources();
    void ownerDestroyedFromWatcherSlot();

private:
    std::unique_ptr<QObject> m_owner;
};

void tst_ResourceManager::init()
{
    m_owner = std::make_unique<QObject>();
}

void tst_ResourceManager::cleanup()
{
    m_owner.reset();
}

void tst_ResourceManager::get_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QJsonValue>("value");

    QTest::newRow("whole document") << QString() << true << QJsonValue(sample());
    QTest::newRow("top") << "a" << true << QJsonValue(1);
    QTest::newRow("nested object") << "b/d" << true << QJsonValue(json(R"({"e":true})"));
    QTest::newRow("deeply nested") << "b/d/e" << true << QJsonValue(true);
    QTest::newRow("stray separators") << "/b//c/" << true << QJsonValue("x");
    QTest::newRow("missing top") << "z" << false << QJsonValue();
    QTest::newRow("missing nested") << "b/q" << false << QJsonValue();
    QTest::newRow("through a scalar") << "a/x" << false << QJsonValue();
}

void tst_ResourceManager::get()
{
    QFETCH(QString, key);
    QFETCH(bool, found);
    QFETCH(QJsonValue, value);

    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    bool ok = !found;
    QCOMPARE(resource().get(m_owner.get(), kName, key, &ok), value);
    QCOMPARE(ok, found);
}

void tst_ResourceManager::set_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("written");
    QTest::addColumn<QJsonObject>("expected");

    QJsonObject doc = sample();
    doc.insert("n", 5);
    QTest::newRow("new top") << "n" << QJsonValue(5) << true << doc;

    doc = sample();
    doc.insert("x", json(R"({"y":{"z":"v"}})"));
    QTest::newRow("missing levels created") << "x/y/z" << QJsonValue("v") << true << doc;

    doc = sample();
    doc.insert("b", 3);
    QTest::newRow("object replaced by scalar") << "b" << QJsonValue(3) << true << doc;

    doc = sample();
    doc.insert("b", json(R"({"c":"x","d":{"e":false}})"));
    QTest::newRow("nested overwrite") << "b/d/e" << QJsonValue(false) << true << doc;

    doc = sample();
    doc.insert("b", json(R"({"d":{"e":true}})"));
    QTest::newRow("undefined removes") << "b/c" << QJsonValue(QJsonValue::Undefined) << true << doc;

    QTest::newRow("scalar in the way kept") << "a/deeper" << QJsonValue(1) << false << sample();

    QTest::newRow("whole document replaced")
        << QString() << QJsonValue(json(R"({"k":1})")) << true << json(R"({"k":1})");
    QTest::newRow("whole document must be an object")
        << QString() << QJsonValue(3) << false << sample();
}

void tst_ResourceManager::set()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(bool, written);
    QFETCH(QJsonObject, expected);

    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    QCOMPARE(resource().set(m_owner.get(), kName, key, value, false), written);
    QCOMPARE(resource().get(m_owner.get(), kName, QString()).toObject(), expected);
}

void tst_ResourceManager::setCreatesUnregisteredResource()
{
    QVERIFY(!resource().has(m_owner.get(), kName));
    bool ok = true;
    QVERIFY(resource().get(m_owner.get(), kName, QString(), &ok).isNull());
    QVERIFY(!ok);

    QVERIFY(resource().set(m_owner.get(), kName, "a/b", 7, true));
    QVERIFY(resource().has(m_owner.get(), kName));
    QCOMPARE(resource().get(m_owner.get(), kName, "a/b", &ok), QJsonValue(7));
    QVERIFY(ok);

    // A refused write creates nothing.
    QVERIFY(!resource().set(m_owner.get(), "other", QString(), QJsonValue("x"), true));
    QVERIFY(!resource().has(m_owner.get(), "other"));
}

void tst_ResourceManager::registAndCancel()
{
    QVERIFY(resource().regist(m_owner.get(), kName, false));
    QVERIFY(resource().has(m_owner.get(), kName));
    QCOMPARE(resource().get(m_owner.get(), kName, QString()), QJsonValue(QJsonObject()));

    QVERIFY(resource().set(m_owner.get(), kName, "a", 1, false));
    QVERIFY(!resource().regist(m_owner.get(), kName, false)); // kept as it is
    QCOMPARE(resource().get(m_owner.get(), kName, "a"), QJsonValue(1));

    QVERIFY(resource().cancel(m_owner.get(), kName));
    QVERIFY(!resource().has(m_owner.get(), kName));
    QVERIFY(!resource().cancel(m_owner.get(), kName));
}

void tst_ResourceManager::nullOwner()
{
    const QString name = QStringLiteral("null-owner-log");
    ResourceWatcher* watcher = resource().getWatcher(nullptr, name, "cur");
    QVERIFY(watcher);
    QCOMPARE(watcher->owner(), nullptr);
    QSignalSpy spy(watcher, &ResourceWatcher::valueChanged);

    QVERIFY(resource().set(nullptr, name, "cur", "record", true));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QJsonValue>(), QJsonValue("record"));
    QCOMPARE(spy.at(0).at(2).value<QObject*>(), nullptr);
    QCOMPARE(resource().get(nullptr, name, "cur"), QJsonValue("record"));
    QVERIFY(!resource().has(m_owner.get(), name));

    QVERIFY(resource().cancel(nullptr, name));
}

void tst_ResourceManager::watchers_data()
{
    QTest::addColumn<QString>("watched");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("reported");
    QTest::addColumn<QJsonValue>("expected");

    QJsonObject doc = sample();
    doc.insert("a", 9);
    QTest::newRow("key, its own write") << "a"
                                        << "a" << QJsonValue(9) << true << QJsonValue(9);
    QTest::newRow("document, a key write")
        << QString() << "a" << QJsonValue(9) << true << QJsonValue(doc);
    QTest::newRow("key, another key") << "a"
                                      << "b/c" << QJsonValue("y") << false << QJsonValue();
    QTest::newRow("key, document write")
        << "b/c" << QString() << QJsonValue(json(R"({"b":{"c":"new"}})")) << true
        << QJsonValue("new");
    QTest::newRow("key, document write without it")
        << "a" << QString() << QJsonValue(json(R"({"z":1})")) << true << QJsonValue();
    QTest::newRow("document, document write")
        << QString() << QString() << QJsonValue(json(R"({"z":1})")) << true
        << QJsonValue(json(R"({"z":1})"));
    QTest::newRow("parent, nested write")
        << "b"
        << "b/c" << QJsonValue("y") << true << QJsonValue(json(R"({"c":"y","d":{"e":true}})"));
    QTest::newRow("nested, parent write")
        << "b/d/e"
        << "b" << QJsonValue(json(R"({"d":{"e":false}})")) << true << QJsonValue(false);
    QTest::newRow("sibling branch") << "b/c"
                                    << "b/d/e" << QJsonValue(false) << false << QJsonValue();
    QTest::newRow("name prefix is no parent") << "ab"
                                              << "a" << QJsonValue(5) << false << QJsonValue();
    QTest::newRow("name prefix is no child") << "a"
                                             << "ab" << QJsonValue(5) << false << QJsonValue();
    QTest::newRow("watched with stray separators")
        << "/b/c/"
        << "b/c" << QJsonValue("y") << true << QJsonValue("y");
}

void tst_ResourceManager::watchers()
{
    QFETCH(QString, watched);
    QFETCH(QString, written);
    QFETCH(QJsonValue, value);
    QFETCH(bool, reported);
    QFETCH(QJsonValue, expected);

    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    QSignalSpy spy(resource().getWatcher(m_owner.get(), kName, watched),
                   &ResourceWatcher::valueChanged);
    QVERIFY(resource().set(m_owner.get(), kName, written, value, true));

    QCOMPARE(spy.count(), reported ? 1 : 0);
    if (reported) {
        QCOMPARE(spy.at(0).at(0).value<QJsonValue>(), expected);
        QCOMPARE(spy.at(0).at(1).toString(), written);
        QCOMPARE(spy.at(0).at(2).value<QObject*>(), m_owner.get());
    }
}

void tst_ResourceManager::onlyWhenDifferent_data()
{
    QTest::addColumn<bool>("onlyWhenDifferent");
    QTest::addColumn<QString>("watched");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("reported");

    QTest::newRow("same value, flag") << true << "a"
                                      << "a" << QJsonValue(1) << false;
    QTest::newRow("same value, no flag") << false << "a"
                                         << "a" << QJsonValue(1) << true;
    QTest::newRow("new value, flag") << true << "a"
                                     << "a" << QJsonValue(2) << true;
    QTest::newRow("document, same key value")
        << true << QString() << "b/c" << QJsonValue("x") << false;
    QTest::newRow("document, new key value")
        << true << QString() << "b/c" << QJsonValue("y") << true;
    QTest::newRow("key unchanged by document write")
        << true << "a" << QString() << QJsonValue(json(R"({"a":1})")) << false;
}

void tst_ResourceManager::onlyWhenDifferent()
{
    QFETCH(bool, onlyWhenDifferent);
    QFETCH(QString, watched);
    QFETCH(QString, written);
    QFETCH(QJsonValue, value);
    QFETCH(bool, reported);

    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    resource().enableWatcher(m_owner.get(), kName, watched, onlyWhenDifferent, true);
    ResourceWatcher* watcher = resource().getWatcher(m_owner.get(), kName, watched);
    QCOMPARE(watcher->onlyWhenDifferent(), onlyWhenDifferent);
    QSignalSpy spy(watcher, &ResourceWatcher::valueChanged);

    QVERIFY(resource().set(m_owner.get(), kName, written, value, true));
    QCOMPARE(spy.count(), reported ? 1 : 0);
}

void tst_ResourceManager::disabledWatcherAndQuietWrite()
{
    resource().enableWatcher(m_owner.get(), kName, "a", false, false);
    ResourceWatcher* watcher = resource().getWatcher(m_owner.get(), kName, "a");
    QVERIFY(!watcher->isEnabled());
    QSignalSpy spy(watcher, &ResourceWatcher::valueChanged);

    QVERIFY(resource().set(m_owner.get(), kName, "a", 1, true));
    QCOMPARE(spy.count(), 0);

    resource().enableWatcher(m_owner.get(), kName, "a", false, true);
    QCOMPARE(resource().getWatcher(m_owner.get(), kName, "a"), watcher);
    QVERIFY(resource().set(m_owner.get(), kName, "a", 2, false));
    QCOMPARE(spy.count(), 0);
    QVERIFY(resource().set(m_owner.get(), kName, "a", 3, true));
    QCOMPARE(spy.count(), 1);
}

void tst_ResourceManager::getWatcherIsSharedPerKey()
{
    ResourceWatcher* whole = resource().getWatcher(m_owner.get(), kName, QString());
    ResourceWatcher* key = resource().getWatcher(m_owner.get(), kName, "b/c");
    QVERIFY(whole && key && whole != key);
    QVERIFY(whole->isEnabled());
    QCOMPARE(resource().getWatcher(m_owner.get(), kName, "/b/c"), key);
    QCOMPARE(key->owner(), m_owner.get());
    QCOMPARE(key->name(), kName);
    QCOMPARE(key->key(), QStringLiteral("b/c"));
    QVERIFY(resource().getWatcher(m_owner.get(), "other", "b/c") != key);
    QObject another;
    QVERIFY(resource().getWatcher(&another, kName, "b/c") != key);
}

void tst_ResourceManager::load_data()
{
    QTest::addColumn<bool>("merge");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QJsonObject>("expected");

    const QByteArray plain = R"({"b":{"y":2},"c":3})";
    QByteArray bomCrlf = "\xEF\xBB\xBF{\r\n    \"b\": {\"y\": 2},\r\n    \"c\": 3\r\n}\r\n";
    QTest::newRow("merge") << true << plain << json(R"({"a":1,"ab":2,"b":{"y":2},"c":3})");
    QTest::newRow("replace") << false << plain << json(R"({"b":{"y":2},"c":3})");
    QTest::newRow("BOM and CRLF") << false << bomCrlf << json(R"({"b":{"y":2},"c":3})");
}

void tst_ResourceManager::load()
{
    QFETCH(bool, merge);
    QFETCH(QByteArray, file);
    QFETCH(QJsonObject, expected);

    QTemporaryDir dir;
    const QString path = dir.filePath("doc.json");
    QVERIFY(writeFile(path, file));
    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    QSignalSpy spy(resource().getWatcher(m_owner.get(), kName, QString()),
                   &ResourceWatcher::valueChanged);

    QVERIFY(resource().load(m_owner.get(), kName, path, merge));
    QCOMPARE(resource().get(m_owner.get(), kName, QString()).toObject(), expected);
    QCOMPARE(spy.count(), 0);

    // An unregistered resource is registered by a load.
    QVERIFY(resource().load(m_owner.get(), "fresh", path, merge));
    QCOMPARE(resource().get(m_owner.get(), "fresh", "c"), QJsonValue(3));
}

void tst_ResourceManager::loadFailureKeepsDocument_data()
{
    QTest::addColumn<QByteArray>("file"); // empty: no file at all
    QTest::addColumn<bool>("logged");

    QTest::newRow("missing") << QByteArray() << false;
    QTest::newRow("parse error") << QByteArray("{\"a\": 1,, }") << true;
    QTest::newRow("truncated") << QByteArray("\xEF\xBB\xBF{\"a\": {") << true;
    QTest::newRow("array") << QByteArray("[1, 2]") << true;
    QTest::newRow("empty file") << QByteArray(" ") << true;
}

void tst_ResourceManager::loadFailureKeepsDocument()
{
    QFETCH(QByteArray, file);
    QFETCH(bool, logged);

    QTemporaryDir dir;
    const QString path = dir.filePath("broken.json");
    if (!file.isEmpty()) {
        QVERIFY(writeFile(path, file));
    }
    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));

    StderrCapture capture;
    QVERIFY(!resource().load(m_owner.get(), kName, path, false));
    QVERIFY(!resource().load(m_owner.get(), kName, path, true));
    QVERIFY(!resource().load(m_owner.get(), "never", path, true));
    const QString err = QString::fromUtf8(capture.take());

    QCOMPARE(resource().get(m_owner.get(), kName, QString()).toObject(), sample());
    QVERIFY(!resource().has(m_owner.get(), "never"));
    QCOMPARE(err.contains(path), logged);
    if (logged && file.startsWith('{')) {
        QVERIFY2(err.contains("offset"), qPrintable(err));
    }
}

void tst_ResourceManager::saveWritesBomAndCrlf()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("sub/folder/doc.json");
    QJsonObject doc = sample();
    doc.insert("text", QStringLiteral("中文"));
    QVERIFY(resource().set(m_owner.get(), kName, QString(), doc, false));
    QVERIFY(resource().save(m_owner.get(), kName, path));

    const QByteArray data = readFile(path);
    QVERIFY(data.startsWith("\xEF\xBB\xBF{\r\n"));
    QCOMPARE(data.count('\n'), data.count("\r\n"));
    QVERIFY(data.contains(QStringLiteral("中文").toUtf8()));

    QVERIFY(resource().load(m_owner.get(), "copy", path, false));
    QCOMPARE(resource().get(m_owner.get(), "copy", QString()).toObject(), doc);
}

void tst_ResourceManager::saveReplacesAtomically()
{
    // A reader holding the old file (here: a hard link to it) keeps a whole
    // old document: the new one is written aside and renamed over it, never
    // rewritten in place where a crash would leave half a file.
    QTemporaryDir dir;
    const QString path = dir.filePath("doc.json");
    const QString link = dir.filePath("old.json");
    const QByteArray old = "{\"old\": true}";
    QVERIFY(writeFile(path, old));
    QCOMPARE(::link(QFile::encodeName(path).constData(), QFile::encodeName(link).constData()), 0);

    QVERIFY(resource().set(m_owner.get(), kName, QString(), sample(), false));
    QVERIFY(resource().save(m_owner.get(), kName, path));

    QCOMPARE(readFile(link), old);
    QVERIFY(resource().load(m_owner.get(), "copy", path, false));
    QCOMPARE(resource().get(m_owner.get(), "copy", QString()).toObject(), sample());
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}

void tst_ResourceManager::saveFailures()
{
    QTemporaryDir dir;
    const QString blocker = dir.filePath("file");
    QVERIFY(writeFile(blocker, "x"));

    StderrCapture capture;
    QVERIFY(!resource().save(m_owner.get(), kName, dir.filePath("unregistered.json")));
    QVERIFY(!QFile::exists(dir.filePath("unregistered.json")));
    QVERIFY(resource().set(m_owner.get(), kName, "a", 1, false));
    QVERIFY(!resource().save(m_owner.get(), kName, blocker + "/below/doc.json"));
    QVERIFY(!resource().save(m_owner.get(), kName, dir.path())); // a folder
    QVERIFY(!capture.take().isEmpty());
    QCOMPARE(readFile(blocker), QByteArray("x"));
}

void tst_ResourceManager::watcherSavesOnEveryChange()
{
    // How a settings owner mirrors its document to disk.
    QTemporaryDir dir;
    const QString path = dir.filePath("config/setting.json");
    QVERIFY(resource().regist(m_owner.get(), "setting", true));
    QVERIFY(!resource().load(m_owner.get(), "setting", path, false));
    resource().enableWatcher(m_owner.get(), "setting", QString(), false, true);
    QObject* owner = m_owner.get();
    connect(resource().getWatcher(owner, "setting", QString()), &ResourceWatcher::valueChanged,
            owner, [owner, path] { resource().save(owner, "setting", path); });

    QVERIFY(resource().set(owner, "setting", "language", "en", true));
    QVERIFY(resource().set(owner, "setting", "server/port", 5050, true));

    QObject reader;
    QVERIFY(resource().load(&reader, "setting", path, false));
    QCOMPARE(resource().get(&reader, "setting", QString()).toObject(),
             json(R"({"language":"en","server":{"port":5050}})"));
}

void tst_ResourceManager::getModulePtr_data()
{
    QTest::addColumn<QList<bool>>("published"); // one owner each, registered in order
    QTest::addColumn<int>("cancelled");         // index of an owner whose resource goes; -1 none
    QTest::addColumn<int>("found");             // index of the owner found; -1 none

    QTest::newRow("published") << QList<bool>{true} << -1 << 0;
    QTest::newRow("unpublished") << QList<bool>{false} << -1 << -1;
    QTest::newRow("first published wins") << QList<bool>{false, true, true} << -1 << 1;
    QTest::newRow("cancelled passes on") << QList<bool>{true, true} << 0 << 1;
    QTest::newRow("nothing left") << QList<bool>{true} << 0 << -1;
}

void tst_ResourceManager::getModulePtr()
{
    QFETCH(QList<bool>, published);
    QFETCH(int, cancelled);
    QFETCH(int, found);

    const QString name = QStringLiteral("published-%1").arg(QTest::currentDataTag());
    std::vector<std::unique_ptr<QObject>> owners;
    for (bool publish : published) {
        owners.push_back(std::make_unique<QObject>());
        QVERIFY(resource().regist(owners.back().get(), name, publish));
    }
    if (cancelled >= 0) {
        QVERIFY(resource().cancel(owners.at(size_t(cancelled)).get(), name));
    }

    bool ok = found < 0;
    QObject* module = resource().getModulePtr(m_owner.get(), name, &ok);
    QCOMPARE(ok, found >= 0);
    QCOMPARE(module, found >= 0 ? owners.at(size_t(found)).get() : nullptr);
}

void tst_ResourceManager::ownerDestroyedDropsResources()
{
    const QString name = QStringLiteral("velk-test-module");
    auto* owner = new QObject;
    QVERIFY(resource().regist(owner, name, true));
    QVERIFY(resource().set(owner, name, "a", 1, false));
    QPointer<ResourceWatcher> watcher = resource().getWatcher(owner, name, "a");
    QCOMPARE(resource().getModulePtr(nullptr, name), owner);

    delete owner;
    QVERIFY(watcher.isNull());
    QCOMPARE(resource().getModulePtr(nullptr, name), nullptr);

    // The allocator tends to hand the same address to the next object: it
    // must not inherit anything.
    std::vector<std::unique_ptr<QObject>> successors;
    for (int i = 0; i < 8; ++i) {
        successors.push_back(std::make_unique<QObject>());
        QObject* next = successors.back().get();
        QVERIFY(!resource().has(next, name));
        QVERIFY(resource().get(next, name, "a").isNull());
        ResourceWatcher* fresh = resource().getWatcher(next, name, "a");
        QCOMPARE(fresh->owner(), next);
    }
    // ...and a successor at a reused address is itself tracked.
    QObject* first = successors.front().get();
    QVERIFY(resource().set(first, name, "b", 2, false));
    successors.front().reset();
    bool ok = true;
    QVERIFY(resource().get(first, name, "b", &ok).isNull());
    QVERIFY(!ok);
}

void tst_ResourceManager::ownerDestroyedFromWatcherSlot()
{
    auto* owner = new QObject;
    QPointer<QObject> guard(owner);
    ResourceWatcher* first = resource().getWatcher(owner, kName, "a");
    ResourceWatcher* second = resource().getWatcher(owner, kName, QString());
    int calls = 0;
    for (ResourceWatcher* w : {first, second}) {
        connect(w, &ResourceWatcher::valueChanged, this, [&calls, &guard] {
            ++calls;
            delete guard.data();
        });
    }

    QVERIFY(resource().set(owner, kName, "a", 1, true));
    QVERIFY(guard.isNull());
    QCOMPARE(calls, 1); // the other watcher went with its owner before it was told
}

QTEST_GUILESS_MAIN(tst_ResourceManager)
#include "tst_resourcemanager.moc"
