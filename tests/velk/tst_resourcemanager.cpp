#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/jsonfile.h>
#include <velk/qlog.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QtTest>

#include <memory>

using velk::resource;
using velk::ResourceWatcher;

namespace {

const QString kName = QStringLiteral("doc");

QJsonValue json(const char* text)
{
    return QJsonDocument::fromJson(QByteArray("[") + text + "]").array().first();
}

const QJsonObject kSample = json(R"({"a":1,"ab":2,"b":{"c":"x","d":{"e":true}}})").toObject();

} // namespace

class tst_ResourceManager : public QObject
{
    Q_OBJECT

    std::unique_ptr<QObject> m_owner;
    QObject* owner() { return m_owner.get(); }

private Q_SLOTS:
    // Diagnostics are checked on standard error, whatever the environment says.
    void initTestCase() { velk::QLog::setConsoleEnabled(true); }
    void init()
    {
        m_owner = std::make_unique<QObject>();
        QVERIFY(resource().set(owner(), kName, QString(), kSample, false));
    }
    void cleanup() { m_owner.reset(); }

    // clang-format off
    void keys_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("write");
        QTest::addColumn<QJsonValue>("value");    // written
        QTest::addColumn<QJsonValue>("expected"); // read, or the document after a write; undefined: not found, refused
        const QJsonValue none(QJsonValue::Undefined);
        QTest::newRow("whole document") << QString() << false << QJsonValue() << QJsonValue(kSample);
        QTest::newRow("top") << "a" << false << QJsonValue() << QJsonValue(1);
        QTest::newRow("nested object") << "b/d" << false << QJsonValue() << json(R"({"e":true})");
        QTest::newRow("stray separators") << "/b//d/e/" << false << QJsonValue() << QJsonValue(true);
        QTest::newRow("missing nested") << "b/q" << false << QJsonValue() << none;
        QTest::newRow("through a scalar") << "a/x" << false << QJsonValue() << none;
        QTest::newRow("write creates levels") << "b/x/y" << true << QJsonValue("v") << json(R"({"a":1,"ab":2,"b":{"c":"x","d":{"e":true},"x":{"y":"v"}}})");
        QTest::newRow("write replaces an object") << "b" << true << QJsonValue(3) << json(R"({"a":1,"ab":2,"b":3})");
        QTest::newRow("undefined removes") << "b/c" << true << none << json(R"({"a":1,"ab":2,"b":{"d":{"e":true}}})");
        QTest::newRow("scalar in the way") << "a/deeper" << true << QJsonValue(1) << none;
        QTest::newRow("write whole document") << QString() << true << json(R"({"k":1})") << json(R"({"k":1})");
        QTest::newRow("document not an object") << QString() << true << QJsonValue(3) << none;
    }
    // clang-format on

    void keys()
    {
        QFETCH(QString, key);
        QFETCH(bool, write);
        QFETCH(QJsonValue, value);
        QFETCH(QJsonValue, expected);
        bool ok = write && resource().set(owner(), kName, key, value, false);
        const QJsonValue got =
            resource().get(owner(), kName, write ? QString() : key, write ? nullptr : &ok);
        QCOMPARE(ok, !expected.isUndefined());
        QCOMPARE(got, !expected.isUndefined() ? expected
                      : write                 ? QJsonValue(kSample)
                                              : QJsonValue());
    }

    void registration()
    {
        // A write registers a resource; a refused one does not.
        QVERIFY(resource().set(owner(), "new", "a/b", 7, true) && resource().has(owner(), "new"));
        QVERIFY(!resource().set(owner(), "other", QString(), 3, true));
        QVERIFY(!resource().has(owner(), "other"));
        QVERIFY(!resource().regist(owner(), kName, false)); // kept as it is
        QVERIFY(resource().cancel(owner(), kName) && !resource().has(owner(), kName));

        // No owner: a document of its own, watched like any other.
        QSignalSpy spy(resource().getWatcher(nullptr, "log", "cur"),
                       &ResourceWatcher::valueChanged);
        QVERIFY(resource().set(nullptr, "log", "cur", "record", true) && spy.count() == 1);
        QVERIFY(!resource().has(owner(), "log") && resource().cancel(nullptr, "log"));
    }

    // clang-format off
    void watchers_data()
    {
        QTest::addColumn<QString>("watched");
        QTest::addColumn<bool>("onlyWhenDifferent");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QJsonValue>("reported"); // undefined: nothing
        const QJsonValue none(QJsonValue::Undefined);
        QTest::newRow("key, its own write") << "a" << false << "a" << QJsonValue(9) << QJsonValue(9);
        QTest::newRow("document, a key write") << QString() << false << "ab" << QJsonValue(9) << json(R"({"a":1,"ab":9,"b":{"c":"x","d":{"e":true}}})");
        QTest::newRow("key, another key") << "a" << false << "b/c" << QJsonValue("y") << none;
        QTest::newRow("key, document write") << "b/c" << false << QString() << json(R"({"b":{"c":"new"}})") << QJsonValue("new");
        QTest::newRow("parent, nested write") << "b" << false << "b/d" << QJsonValue(1) << json(R"({"c":"x","d":1})");
        QTest::newRow("nested, parent write") << "/b/d/e/" << false << "b" << json(R"({"d":{"e":false}})") << QJsonValue(false);
        QTest::newRow("name prefix is no parent") << "ab" << false << "a" << QJsonValue(5) << none;
        QTest::newRow("same value") << "a" << false << "a" << QJsonValue(1) << QJsonValue(1);
        QTest::newRow("same value, only when different") << "a" << true << "a" << QJsonValue(1) << none;
        QTest::newRow("new value, only when different") << "a" << true << "a" << QJsonValue(2) << QJsonValue(2);
        QTest::newRow("key unchanged by a document write") << "a" << true << QString() << json(R"({"a":1})") << none;
    }
    // clang-format on

    void watchers()
    {
        QFETCH(QString, watched);
        QFETCH(bool, onlyWhenDifferent);
        QFETCH(QString, written);
        QFETCH(QJsonValue, value);
        QFETCH(QJsonValue, reported);
        resource().enableWatcher(owner(), kName, watched, onlyWhenDifferent, true);
        QSignalSpy spy(resource().getWatcher(owner(), kName, watched),
                       &ResourceWatcher::valueChanged);
        QVERIFY(resource().set(owner(), kName, written, value, true));
        QCOMPARE(spy.count(), reported.isUndefined() ? 0 : 1);
        if (!reported.isUndefined()) {
            QCOMPARE(spy.at(0), QVariantList({QVariant::fromValue(reported), written,
                                              QVariant::fromValue(owner())}));
        }
        // A write without notify and a disabled watcher stay silent.
        QVERIFY(resource().set(owner(), kName, written, json(R"({"q":1})"), false));
        resource().enableWatcher(owner(), kName, watched, false, false);
        QVERIFY(resource().set(owner(), kName, written, json(R"({"q":2})"), true));
        QCOMPARE(spy.count(), reported.isUndefined() ? 0 : 1);
    }

    // clang-format off
    void loadAndSave_data()
    {
        QTest::addColumn<bool>("merge");
        QTest::addColumn<QByteArray>("file"); // null: no file at all
        QTest::addColumn<QJsonValue>("expected"); // the document after; undefined: a failure
        const QByteArray plain = R"({"b":{"y":2},"c":3})";
        const QJsonValue failed(QJsonValue::Undefined);
        QTest::newRow("merge") << true << plain << json(R"({"a":1,"ab":2,"b":{"y":2},"c":3})");
        QTest::newRow("replace") << false << plain << json(plain);
        QTest::newRow("BOM and CRLF") << false << QByteArray("\xEF\xBB\xBF{\r\n \"b\": {\"y\": 2},\r\n \"c\": 3\r\n}\r\n") << json(plain);
        QTest::newRow("missing") << true << QByteArray() << failed;
        QTest::newRow("parse error") << false << QByteArray("{\"a\": 1,, }") << failed;
    }
    // clang-format on

    void loadAndSave()
    {
        QFETCH(bool, merge);
        QFETCH(QByteArray, file);
        QFETCH(QJsonValue, expected);
        QTemporaryDir dir;
        const QString path = dir.filePath("doc.json");
        QVERIFY(file.isNull() || writeFile(path, file));
        QSignalSpy spy(resource().getWatcher(owner(), kName, QString()),
                       &ResourceWatcher::valueChanged);
        StderrCapture capture;
        QCOMPARE(resource().load(owner(), kName, path, merge), !expected.isUndefined());
        // A load registers a resource, unless it fails.
        QCOMPARE(resource().load(owner(), "fresh", path, merge), !expected.isUndefined());
        // A file that is there but unusable is reported; a missing one is ordinary.
        QCOMPARE(QString::fromUtf8(capture.take()).contains(path),
                 !file.isNull() && expected.isUndefined());
        QCOMPARE(resource().get(owner(), kName, QString()),
                 expected.isUndefined() ? QJsonValue(kSample) : expected);
        QCOMPARE(resource().has(owner(), "fresh"), !expected.isUndefined());
        QCOMPARE(spy.count(), 0);
        // Saved back with BOM and CRLF, whatever came in, into the folders it needs.
        QVERIFY(resource().save(owner(), kName, dir.filePath("out/doc.json")));
        const QByteArray saved = readFile(dir.filePath("out/doc.json"));
        QVERIFY(saved.startsWith("\xEF\xBB\xBF{\r\n") && saved.endsWith("}\r\n"));
        QCOMPARE(saved.count('\n'), saved.count("\r\n"));
        QCOMPARE(velk::JsonFile::read(dir.filePath("out/doc.json")),
                 resource().get(owner(), kName, QString()));
    }

    void getModulePtrAndOwnerLifetime()
    {
        auto hidden = std::make_unique<QObject>();
        auto first = std::make_unique<QObject>();
        auto* second = new QObject;
        QVERIFY(resource().regist(hidden.get(), "module", false));
        QVERIFY(resource().regist(first.get(), "module", true));
        QVERIFY(resource().regist(second, "module", true));
        QCOMPARE(resource().getModulePtr(owner(), "module"), first.get()); // first published
        QVERIFY(resource().cancel(first.get(), "module"));
        QCOMPARE(resource().getModulePtr(owner(), "module"), second);
        // A destroyed owner takes its resources and watchers along.
        QPointer<ResourceWatcher> watcher = resource().getWatcher(second, "module", "a");
        delete second;
        QVERIFY(watcher.isNull());
        bool ok = true;
        QVERIFY(!resource().getModulePtr(owner(), "module", &ok) && !ok);
        // The allocator tends to hand the same address to the next object: it
        // must not inherit anything.
        std::vector<std::unique_ptr<QObject>> successors;
        for (int i = 0; i < 8; ++i) {
            successors.push_back(std::make_unique<QObject>());
            QVERIFY(!resource().has(successors.back().get(), "module"));
        }
    }

    void ownerDestroyedFromWatcherSlot()
    {
        QPointer<QObject> gone = new QObject;
        int calls = 0;
        for (const QString& key : {QStringLiteral("a"), QString()}) {
            connect(resource().getWatcher(gone, kName, key), &ResourceWatcher::valueChanged, this,
                    [&] { ++calls, delete gone.data(); });
        }
        QVERIFY(resource().set(gone, kName, "a", 1, true));
        QVERIFY(gone.isNull());
        QCOMPARE(calls, 1); // the other watcher went with its owner before it was told
    }
};

QTEST_GUILESS_MAIN(tst_ResourceManager)
#include "tst_resourcemanager.moc"
