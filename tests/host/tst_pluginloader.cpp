#include "host/pluginloader.h"

#include <pomr/bmodule.h>

#include <QtTest>

using hmi::PluginLoader;

class TestPluginLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void load_data();
    void load();
    void createWithoutLoadFails();

private:
    QTemporaryDir m_dir;
    QString m_startDir;
};

void TestPluginLoader::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // The fake module records its lifecycle in the working directory.
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir.path()));

    QFile text(m_dir.filePath(QStringLiteral("libtext.so")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("this is not a shared library\n");
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder.so")));
}

void TestPluginLoader::cleanupTestCase()
{
    QDir::setCurrent(m_startDir);
}

void TestPluginLoader::load_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("loads");
    QTest::addColumn<bool>("creates");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("errorParts");

    QTest::newRow("good") << QStringLiteral(FAKE_GOOD_PLUGIN) << true << true
                          << int(PluginLoader::Loaded) << QStringList{};
    QTest::newRow("missing file") << m_dir.filePath(QStringLiteral("nothing.so")) << false << false
                                  << int(PluginLoader::NotLoadable)
                                  << QStringList{"nothing.so", "no such file"};
    QTest::newRow("not a library")
        << m_dir.filePath(QStringLiteral("libtext.so")) << false << false
        << int(PluginLoader::NotLoadable) << QStringList{"cannot load plug-in", "libtext.so"};
    QTest::newRow("directory") << m_dir.filePath(QStringLiteral("folder.so")) << false << false
                               << int(PluginLoader::NotLoadable)
                               << QStringList{"folder.so", "not a file"};
    QTest::newRow("no symbol") << QStringLiteral(FAKE_NOSYMBOL_PLUGIN) << false << false
                               << int(PluginLoader::SymbolMissing)
                               << QStringList{"fake_nosymbol_plugin", "newModule"};
    QTest::newRow("null factory") << QStringLiteral(FAKE_NULLFACTORY_PLUGIN) << true << false
                                  << int(PluginLoader::FactoryFailed)
                                  << QStringList{"fake_nullfactory_plugin", "returned no module"};
}

void TestPluginLoader::load()
{
    QFETCH(QString, file);
    QFETCH(bool, loads);
    QFETCH(bool, creates);
    QFETCH(int, status);
    QFETCH(QStringList, errorParts);

    PluginLoader loader(file);
    QCOMPARE(loader.status(), PluginLoader::NotLoaded);
    QCOMPARE(loader.load(), loads);
    if (loads) {
        QObject parent;
        pomr::BModule* module = loader.createModule(&parent);
        QCOMPARE(module != nullptr, creates);
        if (module) {
            QCOMPARE(module->parent(), &parent);
            QCOMPARE(module->name(), QStringLiteral("fake"));
            // Owned by the parent, deleted with it.
        }
    }
    QCOMPARE(int(loader.status()), status);
    if (errorParts.isEmpty()) {
        QVERIFY2(loader.errorString().isEmpty(), qPrintable(loader.errorString()));
    }
    for (const QString& part : qAsConst(errorParts)) {
        QVERIFY2(loader.errorString().contains(part), qPrintable(loader.errorString()));
    }
    // One line, so that it reads well on a terminal and in a log.
    QVERIFY(!loader.errorString().contains(QLatin1Char('\n')));
}

void TestPluginLoader::createWithoutLoadFails()
{
    PluginLoader loader(QStringLiteral(FAKE_GOOD_PLUGIN));
    QObject parent;
    QVERIFY(!loader.createModule(&parent));
    QCOMPARE(loader.status(), PluginLoader::NotLoadable);
    QVERIFY(!loader.errorString().isEmpty());
}

QTEST_MAIN(TestPluginLoader)
#include "tst_pluginloader.moc"
