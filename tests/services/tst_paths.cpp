#include "module/managerhelper.h"
#include "services/paths.h"
#include "testfiles.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QtTest>

class tst_Paths : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> m_dir;

private Q_SLOTS:
    void init()
    {
        // The helper's settings manager reads ./config when created: never the build tree.
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir::setCurrent(m_dir->path()));
        QVERIFY(writeFile("config/setting.json", R"({"language":"en"})"));
        helper().registRootQrcAlias("zarvo");
    }

    void prepareModule_data()
    {
        QTest::addColumn<QByteArray>("templ");
        QTest::addColumn<QByteArray>("cache");
        QTest::addColumn<bool>("withCache");
        QTest::addColumn<bool>("merge");
        QTest::addColumn<QJsonObject>("doc"); // empty: prepareModule fails
        const QByteArray t = R"({"a":1,"b":2})", c = R"({"b":3,"c":4})";
        const QJsonObject fromT{{"a", 1}, {"b", 2}}, fromC{{"b", 3}, {"c", 4}};
        QTest::newRow("template only") << t << c << false << true << fromT;
        QTest::newRow("cache merged")
            << t << c << true << true << QJsonObject{{"a", 1}, {"b", 3}, {"c", 4}};
        QTest::newRow("cache replaces") << t << c << true << false << fromC;
        QTest::newRow("no cache file") << t << QByteArray() << true << true << fromT;
        QTest::newRow("cache alone") << QByteArray() << c << true << true << fromC;
        QTest::newRow("cache not asked for") << QByteArray() << c << false << true << QJsonObject();
    }

    void prepareModule()
    {
        QFETCH(QByteArray, templ);
        QFETCH(QByteArray, cache);
        QFETCH(bool, withCache);
        QFETCH(bool, merge);
        QFETCH(QJsonObject, doc);
        QVERIFY(templ.isEmpty() || writeFile("zarvo/template/page.json", templ));
        QVERIFY(cache.isEmpty() || writeFile("cache/pages/page.json", cache));
        QObject module;
        QCOMPARE(::prepareModule(&module, "page", withCache, merge, "pages"), !doc.isEmpty());
        QCOMPARE(velk::resource().get(&module, "page", QString()).toObject(), doc);
    }
};

QTEST_GUILESS_MAIN(tst_Paths)

#include "tst_paths.moc"
