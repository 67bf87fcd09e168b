#include "module/managerhelper.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"

#include <velk/commandmanager.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QtTest>

class tst_ThemeCommand : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_root.path()));
        helper().registRootQrcAlias("zarvo");
        // The texts compared below are the untranslated ones.
        velk::translator().clear();
    }

    void init()
    {
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir::setCurrent(m_dir->path()));
        setting()->set("language", "en");
        theme()->init();
    }

    void commands_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("output");
        QTest::addColumn<QStringList>("errors");
        QTest::addColumn<QString>("current");
        QTest::addColumn<double>("sizeZoom");

        QTest::newRow("style zooms after theme.zoom")
            << QStringList{"theme.style 22px", "theme.zoom 1.5", "theme.style 22px"}
            << QStringList{"22px", "size zoom 1.5, font zoom 1", "33px"} << QStringList()
            << "zvtheme_default" << 1.5;
        QTest::newRow("bad factors change nothing")
            << QStringList{"theme.zoom 0",    "theme.zoom 10.5",  "theme.zoom abc",
                           "theme.zoom 2 -1", "theme.zoom 1 2 3", "theme.zoom"}
            << QStringList{"size zoom 1, font zoom 1"}
            << QStringList{"a zoom factor is a number above 0 and at most 10: 0",
                           "a zoom factor is a number above 0 and at most 10: 10.5",
                           "a zoom factor is a number above 0 and at most 10: abc",
                           "a zoom factor is a number above 0 and at most 10: 2 -1",
                           "a zoom factor is a number above 0 and at most 10: 1 2 3"}
            << "zvtheme_default" << 1.0;
        QTest::newRow("switch changes a colour")
            << QStringList{"theme.style $color$center_bkg", "theme.set zvtheme_dark",
                           "theme.style $color$center_bkg", "theme.list"}
            << QStringList{"#ffffff", "current theme: zvtheme_dark", "#1e1f22",
                           "  zvtheme_default Default PC", "* zvtheme_dark Dark"}
            << QStringList() << "zvtheme_dark" << 1.0;
        QTest::newRow("unknown theme")
            << QStringList{"theme.set zvtheme_nope", "theme.set"} << QStringList()
            << QStringList{"no such theme: zvtheme_nope", "usage: theme.set <name>"}
            << "zvtheme_default" << 1.0;
        QTest::newRow("sheet") << QStringList{"theme.sheet body sidetree", "theme.sheet body nope",
                                              "theme.sheet body"}
                               << QStringList{"QWidget{background-color:#efefef;color:#000000;font:"
                                              "9pt \"Microsoft YaHei UI\";}"}
                               << QStringList{"no render description body/nope",
                                              "usage: theme.sheet <group> <name>"}
                               << "zvtheme_default" << 1.0;
        QTest::newRow("index objects are the same knob")
            << QStringList{"mobj.set zvtheme.size_zoom 1.5", "theme.style 1px solid #e3e6e8"}
            << QStringList{"zvtheme.size_zoom = 1.5", "2px solid #e3e6e8"} << QStringList()
            << "zvtheme_default" << 1.5;
    }
    void commands()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, output);
        QFETCH(QStringList, errors);
        QFETCH(QString, current);
        QFETCH(double, sizeZoom);
        QStringList out, err;
        auto& console = velk::command();
        auto a = connect(&console, &velk::CommandManager::output, this,
                         [&](const QString& t) { out << t; });
        auto b = connect(&console, &velk::CommandManager::error, this,
                         [&](const QString& t) { err << t; });
        for (const QString& line : qAsConst(lines)) {
            console.execute(line);
        }
        disconnect(a);
        disconnect(b);
        QCOMPARE(out, output);
        QCOMPARE(err, errors);
        QCOMPARE(theme()->curThemeName(), current);
        QCOMPARE(theme()->sizeZoom(), sizeZoom);
    }
};

QTEST_MAIN(tst_ThemeCommand)

#include "tst_themecommand.moc"
