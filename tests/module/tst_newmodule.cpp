// The plug-in as the host sees it: a library file with one C entry point.

#include "testfiles.h"
#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/velk.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using Factory = pomr::BModule* (*)(QObject*);

} // namespace

class tst_NewModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void factoryResolvesByCName();
    void factoryCreatesTheModule();

private:
    QString m_startDir;
    QTemporaryDir m_dir;
    QLibrary m_plugin;
};

void tst_NewModule::initTestCase()
{
    // The module writes its settings, caches and log below the working directory.
    QVERIFY(m_dir.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir.path()));
    m_plugin.setFileName(QStringLiteral(ZARVO_PLUGIN_FILE));
    QVERIFY2(m_plugin.load(), qPrintable(m_plugin.errorString()));
}

void tst_NewModule::cleanupTestCase()
{
    // The library stays loaded: its singletons live until the process ends,
    // as they do in the host.
    QDir::setCurrent(m_startDir);
}

void tst_NewModule::factoryResolvesByCName()
{
    QVERIFY(m_plugin.resolve("newModule"));
}

void tst_NewModule::factoryCreatesTheModule()
{
    auto factory = reinterpret_cast<Factory>(m_plugin.resolve("newModule"));
    QVERIFY(factory);

    QObject host;
    QPointer<pomr::BModule> module = factory(&host);
    QVERIFY(module);
    QCOMPARE(module->parent(), &host);
    QCOMPARE(QByteArray(module->metaObject()->className()), QByteArray("Zarvo"));
    QCOMPARE(module->name(), QStringLiteral("zarvo"));
    QCOMPARE(velk::m().module(QStringLiteral("zarvo")), static_cast<QObject*>(module.data()));

    // Constructed as at a first start: banner logged, settings created.
    QVERIFY(readFile(QStringLiteral("log/zarvo.log")).contains("------ zarvo ------"));
    QVERIFY(QFileInfo(QStringLiteral("config/setting.json")).isFile());
    QVERIFY(QFileInfo(QStringLiteral("cache/zarvo")).isDir());

    // The host owns the result.
    delete module;
    QVERIFY(!velk::m().module(QStringLiteral("zarvo")));
}

QTEST_GUILESS_MAIN(tst_NewModule)

#include "tst_newmodule.moc"
