#include "testfiles.h"
#include <velk/jsonfile.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

using velk::ModuleManager;
using velk::ModuleObject;

namespace {

const QByteArray kBom("\xEF\xBB\xBF");

// Collects what the framework logs to standard error while it lives.
class StderrCapture
{
public:
    explicit StderrCapture(const QString& path)
        : m_path(path)
    {
        velk::QLog::setConsoleEnabled(true);
        std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        const int fd =
            ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(fd, STDERR_FILENO);
        ::close(fd);
    }
    ~StderrCapture() { finish(); }

    QString finish()
    {
        if (m_saved >= 0) {
            std::fflush(stderr);
            ::dup2(m_saved, STDERR_FILENO);
            ::close(m_saved);
            m_saved = -1;
        }
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private:
    QString m_path;
    int m_saved = -1;
};

} // namespace

class TestModuleManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void globalsReachOneManager();
    void findByFullName_data();
    void findByFullName();
    void ensureCreatesAndAnnounces();
    void registAndCancel();
    void destroyedModuleReleasesItsName();
    void invalidRegistrations_data();
    void invalidRegistrations();
    void mNameJoins_data();
    void mNameJoins();
    void importFromJsonFile();
    void importFromJsonFileFailures();
    void exportToJsonFile();
    void exportToJsonFileFailures();
    void readFromJsonLogsErrors_data();
    void readFromJsonLogsErrors();

private:
    QTemporaryDir* m_dir = nullptr;
    QObject m_module;
    QObject m_other;
    // Every top-level name a test uses starts with this, so cleanup finds them.
    const QString m_prefix = QStringLiteral("tst_mm_");
};

void TestModuleManager::init()
{
    m_dir = new QTemporaryDir;
}

void TestModuleManager::cleanup()
{
    ModuleObject* root = velk::m().root();
    const QStringList names = root->cmobjNames();
    for (const QString& name : names) {
        if (name.startsWith(m_prefix)) {
            velk::m().cancel(velk::m().module(name), name);
            root->remove(this, name, false);
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete m_dir;
    m_dir = nullptr;
}

void TestModuleManager::globalsReachOneManager()
{
    QCOMPARE(&velk::m(), &ModuleManager::instance());
    QCOMPARE(ModuleManager::separator(), QStringLiteral("."));
    ModuleObject* empty = ModuleManager::emptyMobj();
    QVERIFY(empty->isEmptyMobj());
    QCOMPARE(velk::m(QStringLiteral("tst_mm_none.x")), empty);
    QVERIFY(!velk::m().root()->isEmptyMobj());
    QCOMPARE(velk::m(QString()), empty);
}

// clang-format off
void TestModuleManager::findByFullName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("base");
    QTest::addColumn<QString>("expected"); // full name, empty for the empty node
    QTest::newRow("top level") << "tst_mm_f" << "" << "tst_mm_f";
    QTest::newRow("deep") << "tst_mm_f.a.b" << "" << "tst_mm_f.a.b";
    QTest::newRow("relative") << "a.b" << "tst_mm_f" << "tst_mm_f.a.b";
    QTest::newRow("relative missing") << "tst_mm_f.a" << "tst_mm_f" << "";
    QTest::newRow("missing") << "tst_mm_f.zz" << "" << "";
    QTest::newRow("empty base") << "a" << "tst_mm_none" << "";
    QTest::newRow("base itself") << "" << "tst_mm_f.a" << "tst_mm_f.a";
}
// clang-format on

void TestModuleManager::findByFullName()
{
    QFETCH(QString, name);
    QFETCH(QString, base);
    QFETCH(QString, expected);
    velk::m().ensure(QStringLiteral("tst_mm_f.a.b"));
    ModuleObject* baseNode = base.isEmpty() ? nullptr : velk::m(base);
    ModuleObject* found = velk::m().find(name, baseNode);
    QCOMPARE(velk::m(name, baseNode), found);
    if (expected.isEmpty()) {
        QCOMPARE(found, ModuleManager::emptyMobj());
    } else {
        QCOMPARE(found->fullName(), expected);
    }
}

void TestModuleManager::ensureCreatesAndAnnounces()
{
    ModuleObject* root = velk::m().root();
    QSignalSpy added(root, &ModuleObject::added);
    ModuleObject* node = velk::m().ensure(QStringLiteral("tst_mm_e.a.b"));
    QCOMPARE(node->fullName(), QStringLiteral("tst_mm_e.a.b"));
    QCOMPARE(added.count(), 1);
    QCOMPARE(added.at(0).at(0).toString(), QStringLiteral("tst_mm_e"));

    QSignalSpy addedBelow(velk::m(QStringLiteral("tst_mm_e")), &ModuleObject::added);
    QCOMPARE(velk::m().ensure(QStringLiteral("tst_mm_e.a.b")), node);
    velk::m().ensure(QStringLiteral("tst_mm_e.c"));
    QCOMPARE(added.count(), 1);
    QCOMPARE(addedBelow.count(), 1);

    QVERIFY(velk::m().ensure(QStringLiteral("tst_mm_e..x"))->isEmptyMobj());
    QVERIFY(velk::m().ensure(QString())->isEmptyMobj());
}

void TestModuleManager::registAndCancel()
{
    const QString name = QStringLiteral("tst_mm_r");
    QSignalSpy added(velk::m().root(), &ModuleObject::added);
    QVERIFY(velk::m().regist(&m_module, name));
    QCOMPARE(velk::m().module(name), &m_module);
    QVERIFY(!velk::m(name)->isEmptyMobj());
    QCOMPARE(added.count(), 1);
    QCOMPARE(added.at(0).at(1).value<QObject*>(), &m_module);

    // The holder may register again; nobody else may take the name.
    QVERIFY(velk::m().regist(&m_module, name));
    QVERIFY(!velk::m().regist(&m_other, name));
    QCOMPARE(velk::m().module(name), &m_module);
    QVERIFY(!velk::m().cancel(&m_other, name));
    QVERIFY(!velk::m().cancel(&m_module, QStringLiteral("tst_mm_unknown")));

    velk::m(name)->set(this, QStringLiteral("a.b"), 1, true);
    QSignalSpy activated(velk::m().root(), &ModuleObject::activated);
    QVERIFY(velk::m().cancel(&m_module, name));
    QCOMPARE(activated.count(), 1);
    QCOMPARE(activated.at(0).at(1).toInt(), int(velk::ActivateRemoved));
    QVERIFY(velk::m(name)->isEmptyMobj());
    QVERIFY(!velk::m().module(name));
    QVERIFY(!velk::m().cancel(&m_module, name));

    // Free again.
    QVERIFY(velk::m().regist(&m_other, name));
    QVERIFY(velk::m().cancel(&m_other, name));
}

void TestModuleManager::destroyedModuleReleasesItsName()
{
    const QString name = QStringLiteral("tst_mm_d");
    auto* module = new QObject;
    QVERIFY(velk::m().regist(module, name));
    delete module;
    QVERIFY(!velk::m().module(name));
    QVERIFY(velk::m().regist(&m_module, name));
}

// clang-format off
void TestModuleManager::invalidRegistrations_data()
{
    QTest::addColumn<bool>("withModule");
    QTest::addColumn<QString>("name");
    QTest::newRow("no module") << false << "tst_mm_x";
    QTest::newRow("empty name") << true << "";
    QTest::newRow("dotted name") << true << "tst_mm_x.y";
}
// clang-format on

void TestModuleManager::invalidRegistrations()
{
    QFETCH(bool, withModule);
    QFETCH(QString, name);
    QVERIFY(!velk::m().regist(withModule ? &m_module : nullptr, name));
    QVERIFY(!velk::m().module(name));
}

// clang-format off
void TestModuleManager::mNameJoins_data()
{
    QTest::addColumn<QStringList>("parts");
    QTest::addColumn<QString>("expected");
    QTest::newRow("two") << QStringList{"zarvo", "r"} << "zarvo.r";
    QTest::newRow("three") << QStringList{"rc", "system", "state"} << "rc.system.state";
    QTest::newRow("four") << QStringList{"a", "b", "c", "d"} << "a.b.c.d";
    QTest::newRow("five") << QStringList{"a", "b", "c", "d", "e"} << "a.b.c.d.e";
    QTest::newRow("six") << QStringList{"a", "b", "c", "d", "e", "f"} << "a.b.c.d.e.f";
    QTest::newRow("empty parts kept") << QStringList{"", "b", ""} << ".b.";
    QTest::newRow("dotted parts") << QStringList{"rc", "system.state.get_motor"}
                                  << "rc.system.state.get_motor";
}
// clang-format on

void TestModuleManager::mNameJoins()
{
    QFETCH(QStringList, parts);
    QFETCH(QString, expected);
    QString joined;
    switch (parts.size()) {
    case 2:
        joined = velk::mName(parts[0], parts[1]);
        break;
    case 3:
        joined = velk::mName(parts[0], parts[1], parts[2]);
        break;
    case 4:
        joined = velk::mName(parts[0], parts[1], parts[2], parts[3]);
        break;
    case 5:
        joined = velk::mName(parts[0], parts[1], parts[2], parts[3], parts[4]);
        break;
    default:
        joined = velk::mName(parts[0], parts[1], parts[2], parts[3], parts[4], parts[5]);
        break;
    }
    QCOMPARE(joined, expected);
}

void TestModuleManager::importFromJsonFile()
{
    const QString file = m_dir->filePath(QStringLiteral("rc.json"));
    QByteArray text = R"({"system":{"state":{"get_motor":{"response":{"data":{"power":"off"}}}}},)"
                      "\n"
                      R"("global_error_code":{"0":{"en":"-","cn":"-"}}})";
    text.replace("\n", "\r\n");
    QVERIFY(writeFile(file, kBom + text));

    const QString name = QStringLiteral("tst_mm_rc");
    QSignalSpy added(velk::m().root(), &ModuleObject::added);
    QVERIFY(velk::m().importFromJson(&m_module, file, name, true, true));
    QCOMPARE(added.count(), 1);
    ModuleObject* power =
        velk::m(velk::mName(name, QStringLiteral("system.state.get_motor.response.data.power")));
    QCOMPARE(power->getString(), QStringLiteral("off"));
    QCOMPARE(velk::m(name + ".global_error_code.0.en")->getString(), QStringLiteral("-"));

    // Notify: the sender is the module; without create nothing new appears.
    QSignalSpy changed(power, &ModuleObject::changed);
    QVERIFY(writeFile(file, R"({"system":{"state":{"get_motor":{"response":{"data":)"
                            R"({"power":"on","extra":1}}}}}})"));
    QVERIFY(velk::m().importFromJson(&m_module, file, name, false, true));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(2).value<QObject*>(), &m_module);
    QCOMPARE(power->getString(), QStringLiteral("on"));
    QVERIFY(!power->pmobj()->hasCmobj(QStringLiteral("extra")));
}

void TestModuleManager::importFromJsonFileFailures()
{
    const QString name = QStringLiteral("tst_mm_bad");
    StderrCapture capture(m_dir->filePath(QStringLiteral("stderr.txt")));
    QVERIFY(!velk::m().importFromJson(&m_module, m_dir->filePath(QStringLiteral("none.json")), name,
                                      true, true));
    const QString broken = m_dir->filePath(QStringLiteral("broken.json"));
    QVERIFY(writeFile(broken, "{\"a\":"));
    QVERIFY(!velk::m().importFromJson(&m_module, broken, name, true, true));
    capture.finish();
    // A failed read leaves the tree alone.
    QVERIFY(velk::m(name)->isEmptyMobj());
}

void TestModuleManager::exportToJsonFile()
{
    const QString name = QStringLiteral("tst_mm_x");
    velk::m().ensure(name)->importFromJson(
        this,
        QJsonObject{{"server", QJsonObject{{"ip", "10.0.0.2"}, {"port", 5050}}},
                    {"e", QJsonObject()}},
        true, false, false);
    const QString file = m_dir->filePath(QStringLiteral("config/setting.json"));
    QVERIFY(velk::m().exportToJson(&m_module, name, file));

    QFile written(file);
    QVERIFY(written.open(QIODevice::ReadOnly));
    const QByteArray data = written.readAll();
    QVERIFY(data.startsWith(kBom));
    QVERIFY(data.contains("\r\n"));
    QCOMPARE(data.count('\n'), data.count("\r\n"));
    QCOMPARE(ModuleManager::readFromJson(file), velk::m(name)->exportToJson());

    // Reading the file back into another node gives the same tree.
    QVERIFY(velk::m().importFromJson(&m_module, file, QStringLiteral("tst_mm_copy"), true, false));
    QCOMPARE(velk::m(QStringLiteral("tst_mm_copy"))->exportToJson(), velk::m(name)->exportToJson());
}

void TestModuleManager::exportToJsonFileFailures()
{
    StderrCapture capture(m_dir->filePath(QStringLiteral("stderr.txt")));
    const QString file = m_dir->filePath(QStringLiteral("out.json"));
    QVERIFY(!velk::m().exportToJson(&m_module, QStringLiteral("tst_mm_missing"), file));
    // A lone value cannot be a JSON document.
    velk::m().ensure(QStringLiteral("tst_mm_leaf"))->set(this, 5);
    QVERIFY(!velk::m().exportToJson(&m_module, QStringLiteral("tst_mm_leaf"), file));
    QVERIFY(!QFile::exists(file));
    const QString log = capture.finish();
    QVERIFY2(log.contains(QLatin1String("tst_mm_missing")), qPrintable(log));
}

// clang-format off
void TestModuleManager::readFromJsonLogsErrors_data()
{
    QTest::addColumn<QByteArray>("data"); // null: no file at all
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing file") << QByteArray() << "";
    QTest::newRow("parse error") << QByteArray(R"({"a": 1 "b": 2})") << "offset 9";
    QTest::newRow("parse error after bom") << kBom + QByteArray(R"({"a":1,})") << "offset 11";
}
// clang-format on

void TestModuleManager::readFromJsonLogsErrors()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, expected);
    const QString file = m_dir->filePath(QStringLiteral("input.json"));
    if (!data.isNull()) {
        QVERIFY(writeFile(file, data));
    }
    StderrCapture capture(m_dir->filePath(QStringLiteral("stderr.txt")));
    const QJsonValue value = ModuleManager::readFromJson(file);
    const QString log = capture.finish();
    QVERIFY(value.isNull());
    QVERIFY2(log.contains(file), qPrintable(log));
    QVERIFY2(log.contains(expected), qPrintable(log));
}

QTEST_GUILESS_MAIN(TestModuleManager)
#include "tst_modulemanager.moc"
