// The plug-in as the host sees it: a library file with one C entry point.

#include "testfiles.h"
#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/velk.h>

#include <QtTest>

class tst_NewModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void factoryCreatesTheModule()
    {
        QTemporaryDir dir;
        QVERIFY(QDir::setCurrent(dir.path()));
        // Stays loaded: its singletons live until the process ends, as in the host.
        QLibrary plugin(ZARVO_PLUGIN_FILE);
        QVERIFY2(plugin.load(), qPrintable(plugin.errorString()));
        auto factory = reinterpret_cast<pomr::BModule* (*)(QObject*)>(plugin.resolve("newModule"));
        QVERIFY(factory);
        QObject host;
        QPointer<pomr::BModule> module = factory(&host);
        QVERIFY(module);
        QCOMPARE(module->parent(), &host);
        QCOMPARE(module->metaObject()->className(), "Zarvo");
        QCOMPARE(velk::m().module("zarvo"), static_cast<QObject*>(module.data()));
        QVERIFY(QFileInfo("config/setting.json").isFile());
        delete module;
        QVERIFY(!velk::m().module("zarvo"));
    }
};

QTEST_GUILESS_MAIN(tst_NewModule)

#include "tst_newmodule.moc"
