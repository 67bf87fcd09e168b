#include "host/pluginloader.h"
#include "testfiles.h"

#include <pomr/bmodule.h>

#include <QtTest>

using hmi::PluginLoader;

class TestPluginLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { QDir::setCurrent(m_startDir); }
    void load_data();
    void load();

private:
    QTemporaryDir m_dir;
    QString m_startDir = QDir::currentPath();
};

void TestPluginLoader::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // The fake module records its lifecycle in the working directory.
    QVERIFY(QDir::setCurrent(m_dir.path()));
    QVERIFY(writeFile(m_dir.filePath(QStringLiteral("libtext.so")), "not a shared library\n"));
}

void TestPluginLoader::load_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("loads");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("errorParts");

    QTest::newRow("good") << QStringLiteral(FAKE_GOOD_PLUGIN) << true << int(PluginLoader::Loaded)
                          << QStringList{};
    QTest::newRow("not a library")
        << m_dir.filePath(QStringLiteral("libtext.so")) << false << int(PluginLoader::NotLoadable)
        << QStringList{"cannot load plug-in", "libtext.so"};
    QTest::newRow("no symbol") << QStringLiteral(FAKE_NOSYMBOL_PLUGIN) << false
                               << int(PluginLoader::SymbolMissing)
                               << QStringList{"fake_nosymbol_plugin", "newModule"};
    QTest::newRow("null factory") << QStringLiteral(FAKE_NULLFACTORY_PLUGIN) << true
                                  << int(PluginLoader::FactoryFailed)
                                  << QStringList{"fake_nullfactory_plugin", "returned no module"};
}

void TestPluginLoader::load()
{
    QFETCH(QString, file);
    QFETCH(bool, loads);
    QFETCH(int, status);
    QFETCH(QStringList, errorParts);

    PluginLoader loader(file);
    QCOMPARE(loader.load(), loads);
    if (loads) {
        QObject parent;
        pomr::BModule* module = loader.createModule(&parent);
        QCOMPARE(module != nullptr, status == PluginLoader::Loaded);
        if (module) {
            QCOMPARE(module->parent(), &parent);
            QCOMPARE(module->name(), QStringLiteral("fake"));
        }
    }
    QCOMPARE(int(loader.status()), status);
    QCOMPARE(loader.errorString().isEmpty(), errorParts.isEmpty());
    for (const QString& part : qAsConst(errorParts)) {
        QVERIFY2(loader.errorString().contains(part), qPrintable(loader.errorString()));
    }
    // One line, so that it reads well on a terminal and in a log.
    QVERIFY(!loader.errorString().contains(QLatin1Char('\n')));
}

QTEST_MAIN(TestPluginLoader)
#include "tst_pluginloader.moc"
