#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QtTest>

using velk::ModuleManager;
using velk::ModuleObject;

namespace {
const QByteArray kBom("\xEF\xBB\xBF");
} // namespace

class TestModuleManager : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QObject m_module;
    QObject m_other;

private Q_SLOTS:
    // Diagnostics are checked on standard error, whatever the environment says.
    void initTestCase() { velk::QLog::setConsoleEnabled(true); }

    void cleanup()
    {
        // Every top-level name a test uses starts with "tst_mm_".
        for (const QString& name : velk::m().root()->cmobjNames()) {
            if (name.startsWith("tst_mm_")) {
                velk::m().cancel(velk::m().module(name), name);
                velk::m().root()->remove(this, name, false);
            }
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // clang-format off
    void find_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("expected"); // full name; empty: the empty node
        QTest::newRow("deep") << "tst_mm_f.a.b" << "" << "tst_mm_f.a.b";
        QTest::newRow("relative") << "a.b" << "tst_mm_f" << "tst_mm_f.a.b";
        QTest::newRow("missing") << "tst_mm_f.zz" << "" << "";
        QTest::newRow("below the empty node") << "a" << "tst_mm_none" << "";
        QTest::newRow("base itself") << "" << "tst_mm_f.a" << "tst_mm_f.a";
    }
    // clang-format on

    void find()
    {
        QFETCH(QString, name);
        QFETCH(QString, base);
        QFETCH(QString, expected);
        velk::m().ensure("tst_mm_f.a.b");
        ModuleObject* found = velk::m().find(name, base.isEmpty() ? nullptr : velk::m(base));
        QCOMPARE(found->fullName(), expected);
        QCOMPARE(found->isEmptyMobj(), expected.isEmpty());
    }

    void ensureCreatesAndAnnounces()
    {
        QSignalSpy added(velk::m().root(), &ModuleObject::added);
        ModuleObject* node = velk::m().ensure("tst_mm_e.a.b");
        QCOMPARE(node->fullName(), QStringLiteral("tst_mm_e.a.b"));
        QCOMPARE(added.count(), 1); // the top of the new path only
        QCOMPARE(added.at(0).at(0).toString(), QStringLiteral("tst_mm_e"));
        QCOMPARE(velk::m().ensure("tst_mm_e.a.b"), node);
        QCOMPARE(added.count(), 1);
        QVERIFY(velk::m().ensure("tst_mm_e..x")->isEmptyMobj());
        QVERIFY(velk::m().ensure(QString())->isEmptyMobj());
    }

    void registAndCancel()
    {
        const QString name = QStringLiteral("tst_mm_r");
        QSignalSpy added(velk::m().root(), &ModuleObject::added);
        QVERIFY(velk::m().regist(&m_module, name));
        QCOMPARE(velk::m().module(name), &m_module);
        QCOMPARE(added.at(0).at(1).value<QObject*>(), &m_module);
        // The holder may register again; nobody else may take or cancel the name.
        QVERIFY(velk::m().regist(&m_module, name));
        QVERIFY(!velk::m().regist(&m_other, name));
        QVERIFY(!velk::m().cancel(&m_other, name));
        QVERIFY(!velk::m().regist(nullptr, "tst_mm_x") && !velk::m().regist(&m_other, QString()));
        QVERIFY(!velk::m().regist(&m_other, "tst_mm_x.y"));

        velk::m(name)->set(this, "a.b", 1, true);
        QSignalSpy activated(velk::m().root(), &ModuleObject::activated);
        QVERIFY(velk::m().cancel(&m_module, name));
        QCOMPARE(activated.count(), 1);
        QCOMPARE(activated.at(0).at(1).toInt(), int(velk::ActivateRemoved));
        QVERIFY(velk::m(name)->isEmptyMobj());
        QVERIFY(!velk::m().cancel(&m_module, name));

        // A destroyed module frees its name.
        auto* module = new QObject;
        QVERIFY(velk::m().regist(module, name));
        delete module;
        QVERIFY(!velk::m().module(name));
        QVERIFY(velk::m().regist(&m_other, name));
    }

    void jsonFiles()
    {
        const QString file = m_dir.filePath("rc.json");
        QVERIFY(
            writeFile(file, kBom + "{\"sys\":{\"power\":\"off\"},\r\n\"code\":{\"0\":\"-\"}}\r\n"));
        QVERIFY(velk::m().importFromJson(&m_module, file, "tst_mm_rc", true, true));
        ModuleObject* power = velk::m("tst_mm_rc.sys.power");
        QCOMPARE(power->getString(), QStringLiteral("off"));

        // Notify: the sender is the module; without create nothing new appears.
        QSignalSpy changed(power, &ModuleObject::changed);
        QVERIFY(writeFile(file, R"({"sys":{"power":"on","extra":1}})"));
        QVERIFY(velk::m().importFromJson(&m_module, file, "tst_mm_rc", false, true));
        QCOMPARE(changed.at(0).at(2).value<QObject*>(), &m_module);
        QCOMPARE(power->getString(), QStringLiteral("on"));
        QVERIFY(velk::m("tst_mm_rc.sys.extra")->isEmptyMobj());

        // Written back with BOM and CRLF, read back the same.
        const QString out = m_dir.filePath("config/rc.json");
        QVERIFY(velk::m().exportToJson(&m_module, "tst_mm_rc", out));
        QVERIFY(readFile(out).startsWith(kBom + "{\r\n"));
        QCOMPARE(ModuleManager::readFromJson(out), velk::m("tst_mm_rc")->exportToJson());

        // A failed read leaves the tree alone; a missing node writes nothing.
        StderrCapture capture;
        QVERIFY(writeFile(file, "{\"a\":"));
        QVERIFY(!velk::m().importFromJson(&m_module, file, "tst_mm_bad", true, true));
        QVERIFY(velk::m("tst_mm_bad")->isEmptyMobj());
        QVERIFY(!velk::m().exportToJson(&m_module, "tst_mm_missing", m_dir.filePath("none.json")));
        QVERIFY(!QFile::exists(m_dir.filePath("none.json")));
        QVERIFY(capture.take().contains("tst_mm_missing"));
    }

    // clang-format off
    void readFromJsonLogsErrors_data()
    {
        QTest::addColumn<QByteArray>("data"); // null: no file at all
        QTest::addColumn<QString>("expected");
        QTest::newRow("missing file") << QByteArray() << "";
        QTest::newRow("parse error") << QByteArray(R"({"a": 1 "b": 2})") << "offset 9";
        QTest::newRow("parse error after bom, crlf") << kBom + "{\r\n\"a\":1,}" << "offset 13";
    }
    // clang-format on

    void readFromJsonLogsErrors()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, expected);
        const QString file = m_dir.filePath("input.json");
        QFile::remove(file);
        QVERIFY(data.isNull() || writeFile(file, data));
        StderrCapture capture;
        QVERIFY(ModuleManager::readFromJson(file).isNull());
        const QString log = QString::fromUtf8(capture.take());
        QVERIFY2(log.contains(file) && log.contains(expected), qPrintable(log));
    }
};

QTEST_GUILESS_MAIN(TestModuleManager)
#include "tst_modulemanager.moc"
