#include "module/managerhelper.h"
#include "services/paths.h"
#include "testfiles.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

using PathFunction = std::function<QString(const QString&, const QString&)>;
Q_DECLARE_METATYPE(PathFunction)

class tst_Paths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void configPath_data();
    void configPath();
    void cachePath_data();
    void cachePath();
    void resolvedPaths_data();
    void resolvedPaths();
    void hasFileOnDiskAndInResources_data();
    void hasFileOnDiskAndInResources();
    void prepareModule_data();
    void prepareModule();

private:
    QString m_startDir;
    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;
};

void tst_Paths::initTestCase()
{
    // The helper's settings manager reads ./config at its creation: it must
    // find the temporary folder, never the build tree.
    QVERIFY(m_root.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_root.path()));
    QVERIFY(writeFile(QStringLiteral("config/setting.json"), R"({"language":"en"})"));
    helper().registRootQrcAlias(QStringLiteral("zarvo"));
    QCOMPARE(helper().aliases(), QStringList{QStringLiteral("zarvo")});
}

void tst_Paths::cleanupTestCase()
{
    QDir::setCurrent(m_startDir);
}

void tst_Paths::init()
{
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir::setCurrent(m_dir->path()));
}

void tst_Paths::cleanup()
{
    QDir::setCurrent(m_root.path());
    m_dir.reset();
}

void tst_Paths::configPath_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("setting") << "setting"
                             << "./config/setting.json";
    QTest::newRow("theme index") << "zvtheme"
                                 << "./config/zvtheme.json";
    QTest::newRow("empty") << ""
                           << "./config/.json";
}

void tst_Paths::configPath()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(getConfigPath(name), expected);
}

void tst_Paths::cachePath_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("sub");
    QTest::addColumn<QString>("expected");
    QTest::newRow("with sub") << "c"
                              << "zarvo"
                              << "./cache/zarvo/c.json";
    QTest::newRow("empty sub kept as a level") << "robot"
                                               << ""
                                               << "./cache//robot.json";
    QTest::newRow("nested sub") << "page"
                                << "a/b"
                                << "./cache/a/b/page.json";
}

void tst_Paths::cachePath()
{
    QFETCH(QString, name);
    QFETCH(QString, sub);
    QFETCH(QString, expected);
    QCOMPARE(getCachePath(name, sub), expected);
    if (sub.isEmpty()) {
        QCOMPARE(getCachePath(name), expected);
    }
}

void tst_Paths::resolvedPaths_data()
{
    QTest::addColumn<PathFunction>("function");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("sub");
    QTest::addColumn<QString>("onDisk");
    QTest::addColumn<QString>("expected");

    const PathFunction templ = [](const QString& n, const QString&) { return getTemplatePath(n); };
    const PathFunction command = [](const QString& n, const QString&) { return getCommandPath(n); };
    const PathFunction render = [](const QString& n, const QString& s) {
        return getRenderPath(n, s);
    };
    const PathFunction image = [](const QString& n, const QString& s) {
        return getImagePath(n, s);
    };

    QTest::newRow("template compiled in") << templ << "setting"
                                          << ""
                                          << ""
                                          << ":/zarvo/template/setting.json";
    QTest::newRow("template on disk wins") << templ << "setting"
                                           << ""
                                           << "zarvo/template/setting.json"
                                           << "zarvo/template/setting.json";
    QTest::newRow("template missing falls back unchecked") << templ << "nothing"
                                                           << ""
                                                           << ""
                                                           << ":/zarvo/template/nothing.json";
    QTest::newRow("command on disk") << command << "robot"
                                     << ""
                                     << "zarvo/command/robot.json"
                                     << "zarvo/command/robot.json";
    QTest::newRow("command missing") << command << "robot"
                                     << ""
                                     << ""
                                     << ":/zarvo/command/robot.json";
    QTest::newRow("render with sub") << render << "body"
                                     << "navtree"
                                     << "zarvo/render/body/navtree.json"
                                     << "zarvo/render/body/navtree.json";
    QTest::newRow("render without sub") << render << "zvtheme"
                                        << ""
                                        << "zarvo/render/zvtheme.json"
                                        << "zarvo/render/zvtheme.json";
    QTest::newRow("image without sub adds no level") << image << "logo"
                                                     << ""
                                                     << "zarvo/images/logo.png"
                                                     << "zarvo/images/logo.png";
    QTest::newRow("image with sub adds a level") << image << "widget"
                                                 << "arrow"
                                                 << "zarvo/images/widget/arrow.png"
                                                 << "zarvo/images/widget/arrow.png";
    QTest::newRow("image sub missing") << image << "widget"
                                       << "arrow"
                                       << "zarvo/images/widget.png"
                                       << ":/zarvo/images/widget/arrow.png";
}

void tst_Paths::resolvedPaths()
{
    QFETCH(PathFunction, function);
    QFETCH(QString, name);
    QFETCH(QString, sub);
    QFETCH(QString, onDisk);
    QFETCH(QString, expected);

    if (!onDisk.isEmpty()) {
        QVERIFY(writeFile(onDisk, "{}"));
    }
    QCOMPARE(function(name, sub), expected);
}

void tst_Paths::hasFileOnDiskAndInResources_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("expected");
    QTest::newRow("disk file") << "here/file.json" << true;
    QTest::newRow("disk folder") << "here" << true;
    QTest::newRow("missing disk file") << "here/missing.json" << false;
    QTest::newRow("compiled-in file") << ":/zarvo/template/setting.json" << true;
    QTest::newRow("compiled-in translation") << ":/zarvo/language/zarvo_cn.qm" << true;
    QTest::newRow("missing compiled-in file") << ":/zarvo/template/missing.json" << false;
    QTest::newRow("empty") << "" << false;
}

void tst_Paths::hasFileOnDiskAndInResources()
{
    QFETCH(QString, path);
    QFETCH(bool, expected);
    QVERIFY(writeFile(QStringLiteral("here/file.json"), "{}"));
    QCOMPARE(hasFile(path), expected);
}

void tst_Paths::prepareModule_data()
{
    QTest::addColumn<QByteArray>("templateData");
    QTest::addColumn<QByteArray>("cacheData");
    QTest::addColumn<bool>("withCache");
    QTest::addColumn<bool>("merge");
    QTest::addColumn<bool>("expectedResult");
    QTest::addColumn<QJsonObject>("expectedDoc");

    const QByteArray templ = R"({"a":1,"b":2})";
    const QByteArray cache = R"({"b":3,"c":4})";
    QTest::newRow("template only")
        << templ << cache << false << true << true << QJsonObject{{"a", 1}, {"b", 2}};
    QTest::newRow("cache merged over template")
        << templ << cache << true << true << true << QJsonObject{{"a", 1}, {"b", 3}, {"c", 4}};
    QTest::newRow("cache replaces template")
        << templ << cache << true << false << true << QJsonObject{{"b", 3}, {"c", 4}};
    QTest::newRow("no cache file")
        << templ << QByteArray() << true << true << true << QJsonObject{{"a", 1}, {"b", 2}};
    QTest::newRow("cache without template")
        << QByteArray() << cache << true << true << true << QJsonObject{{"b", 3}, {"c", 4}};
    QTest::newRow("cache not asked for")
        << QByteArray() << cache << false << true << false << QJsonObject();
    QTest::newRow("neither") << QByteArray() << QByteArray() << true << true << false
                             << QJsonObject();
}

void tst_Paths::prepareModule()
{
    QFETCH(QByteArray, templateData);
    QFETCH(QByteArray, cacheData);
    QFETCH(bool, withCache);
    QFETCH(bool, merge);
    QFETCH(bool, expectedResult);
    QFETCH(QJsonObject, expectedDoc);

    const QString name = QStringLiteral("page");
    if (!templateData.isEmpty()) {
        QVERIFY(writeFile(QStringLiteral("zarvo/template/page.json"), templateData));
    }
    if (!cacheData.isEmpty()) {
        QVERIFY(writeFile(QStringLiteral("cache/pages/page.json"), cacheData));
    }
    QObject module;
    QCOMPARE(::prepareModule(&module, name, withCache, merge, QStringLiteral("pages")),
             expectedResult);
    QCOMPARE(velk::resource().get(&module, name, QString()).toObject(), expectedDoc);
}

QTEST_GUILESS_MAIN(tst_Paths)

#include "tst_paths.moc"
