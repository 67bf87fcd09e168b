#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QtTest>

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
        QTest::newRow("empty segment") << "tst_mm_f..a" << "" << "";
    }
    // clang-format on

    void find()
    {
        QFETCH(QString, name);
        QFETCH(QString, base);
        QFETCH(QString, expected);
        QSignalSpy added(velk::m().root(), &ModuleObject::added);
        velk::m().ensure("tst_mm_f.a.b");
        QCOMPARE(added.count(), 1); // the top of the new path only
        ModuleObject* found = velk::m().find(name, base.isEmpty() ? nullptr : velk::m(base));
        QCOMPARE(found->fullName(), expected);
        QCOMPARE(found->isEmptyMobj(), expected.isEmpty());
        if (base.isEmpty()) { // ensure() gives what exists, makes what not, never a bad name
            QCOMPARE(velk::m().ensure(name)->isEmptyMobj(), name.contains(".."));
        }
    }

    void registAndCancel()
    {
        const QString name = QStringLiteral("tst_mm_r");
        QSignalSpy added(velk::m().root(), &ModuleObject::added);
        QVERIFY(velk::m().regist(&m_module, name) && velk::m().module(name) == &m_module);
        QCOMPARE(added.at(0).at(1).value<QObject*>(), &m_module);
        // The holder may register again; nobody else may take or cancel the name.
        QVERIFY(velk::m().regist(&m_module, name));
        m_module.setObjectName(QStringLiteral("first"));
        m_other.setObjectName(QStringLiteral("second"));
        {
            StderrCapture capture;
            QVERIFY(!velk::m().regist(&m_other, name) && !velk::m().cancel(&m_other, name));
            const QString said = QString::fromUtf8(capture.take());
            // Whoever reads the log learns which two modules collided.
            QVERIFY2(said.contains("\"first\"") && said.contains("\"second\""), qPrintable(said));
        }
        QCOMPARE(velk::m().module(name), &m_module);
        QVERIFY(!velk::m().regist(nullptr, "tst_mm_x") &&
                !velk::m().regist(&m_other, "tst_mm_x.y"));

        velk::m(name)->set(this, "a.b", 1, true);
        QSignalSpy activated(velk::m().root(), &ModuleObject::activated);
        QVERIFY(velk::m().cancel(&m_module, name) && velk::m(name)->isEmptyMobj());
        QCOMPARE(activated.value(0).value(1).toInt(), int(velk::ActivateRemoved));
        // A destroyed module frees its name.
        auto* module = new QObject;
        QVERIFY(velk::m().regist(module, name));
        delete module;
        QVERIFY(velk::m().regist(&m_other, name));
    }

    // clang-format off
    void readFromJson_data()
    {
        QTest::addColumn<QByteArray>("data"); // null: no file at all
        QTest::addColumn<QString>("error");   // in the log besides the path; null: it parses
        QTest::newRow("BOM and CRLF") << kBom + "{\"sys\":{\"power\":\"off\"},\r\n\"n\":1}\r\n" << QString();
        QTest::newRow("missing file") << QByteArray() << "";
        QTest::newRow("parse error") << QByteArray(R"({"a": 1 "b": 2})") << "offset 9";
        // The offset counts the bytes of the file, the byte-order mark included.
        QTest::newRow("parse error after BOM, CRLF") << kBom + "{\r\n\"a\":1,}" << "offset 13";
    }
    // clang-format on

    void readFromJson()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, error);
        const QString file = m_dir.filePath("input.json");
        QFile::remove(file);
        QVERIFY(data.isNull() || writeFile(file, data));
        StderrCapture capture;
        const QJsonValue value = velk::ModuleManager::readFromJson(file);
        const QString log = QString::fromUtf8(capture.take());
        QCOMPARE(value,
                 error.isNull() ? QJsonDocument::fromJson(data.mid(3)).object() : QJsonValue());
        QVERIFY2(error.isNull() ? log.isEmpty() : log.contains(file) && log.contains(error),
                 qPrintable(log));
    }
};

QTEST_GUILESS_MAIN(TestModuleManager)
#include "tst_modulemanager.moc"
