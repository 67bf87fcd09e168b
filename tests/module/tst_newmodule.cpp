// The plug-in as the host sees it: a library file with one C entry point.

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
        pomr::BModule* module = factory(&host);
        QVERIFY(module);
        QCOMPARE(module->parent(), &host);
        QCOMPARE(module->metaObject()->className(), "Zarvo");
        // One module registry shared with the host, not a copy inside the plug-in.
        QCOMPARE(velk::m().module("zarvo"), static_cast<QObject*>(module));
    }
};

QTEST_GUILESS_MAIN(tst_NewModule)

#include "tst_newmodule.moc"
