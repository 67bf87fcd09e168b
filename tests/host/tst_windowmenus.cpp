// The window's theme, zoom and language menus against the index objects and
// the settings resource they act on.

#include "host/windowmenus.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QMainWindow>
#include <QMenuBar>
#include <QtTest>

using hmi::WindowMenus;

namespace {

class RecordingCommand : public velk::BaseCommand
{
public:
    RecordingCommand()
        : velk::BaseCommand(QStringLiteral("theme.set"), true)
    {
    }
    void execute(const QString& args) override { lines.append(args); }
    QStringList lines;
};

} // namespace

class TestWindowMenus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void zoomActions_data();
    void zoomActions();
    void themeMenu();
    void language();

private:
    QAction* action(const QString& name) const;

    QObject m_settingOwner;
    RecordingCommand m_themeSet;
    QMainWindow m_window;
    WindowMenus m_menus;
};

void TestWindowMenus::initTestCase()
{
    QVERIFY(velk::resource().regist(&m_settingOwner, QStringLiteral("setting"), true));
    velk::resource().set(&m_settingOwner, QStringLiteral("setting"), QStringLiteral("language"),
                         QStringLiteral("en"), true);
    velk::m().ensure(QStringLiteral("zvtheme.current"))->set(nullptr, QStringLiteral("dark"));
    for (const char* name : {"light", "dark"}) {
        const QString base = QStringLiteral("zvtheme.themes.%1.").arg(QLatin1String(name));
        velk::m().ensure(base + "label_en")->set(nullptr, QStringLiteral("%1 EN").arg(name));
        velk::m().ensure(base + "label_cn")->set(nullptr, QStringLiteral("%1 CN").arg(name));
    }
    velk::m().ensure(QStringLiteral("zvtheme.size_zoom"))->set(nullptr, 1.0);
    velk::m().ensure(QStringLiteral("zvtheme.font_zoom"))->set(nullptr, 1.0);
    QVERIFY(velk::command().regist(&m_themeSet));
    m_menus.install(m_window.menuBar());
}

QAction* TestWindowMenus::action(const QString& name) const
{
    return m_window.menuBar()->findChild<QAction*>(name);
}

void TestWindowMenus::zoomActions_data()
{
    QTest::addColumn<QString>("actionName");
    QTest::addColumn<QString>("node");
    QTest::addColumn<double>("before");
    QTest::addColumn<double>("after");

    QTest::newRow("larger") << "actZoomIn"
                            << "size_zoom" << 1.0 << 1.25;
    QTest::newRow("smaller") << "actZoomOut"
                             << "size_zoom" << 1.5 << 1.25;
    QTest::newRow("normal") << "actZoomReset"
                            << "size_zoom" << 1.75 << 1.0;
    QTest::newRow("larger text leaves sizes") << "actFontIn"
                                              << "font_zoom" << 1.0 << 1.25;
    QTest::newRow("normal text") << "actFontReset"
                                 << "font_zoom" << 2.0 << 1.0;
    QTest::newRow("larger from between steps") << "actZoomIn"
                                               << "size_zoom" << 1.1 << 1.25;
    QTest::newRow("smaller from between steps") << "actZoomOut"
                                                << "size_zoom" << 1.1 << 1.0;
    QTest::newRow("largest stays") << "actZoomIn"
                                   << "size_zoom" << 2.0 << 2.0;
    QTest::newRow("smallest stays") << "actFontOut"
                                    << "font_zoom" << 0.75 << 0.75;
    QTest::newRow("smaller from beyond the largest") << "actZoomOut"
                                                     << "size_zoom" << 3.0 << 2.0;
}

void TestWindowMenus::zoomActions()
{
    QFETCH(QString, actionName);
    QFETCH(QString, node);
    QFETCH(double, before);
    QFETCH(double, after);

    velk::ModuleObject* zoom = velk::m(QStringLiteral("zvtheme.") + node);
    velk::ModuleObject* other =
        velk::m(node == QLatin1String("size_zoom") ? QStringLiteral("zvtheme.font_zoom")
                                                   : QStringLiteral("zvtheme.size_zoom"));
    zoom->set(nullptr, before);
    other->set(nullptr, 1.0);
    QVERIFY(action(actionName));
    action(actionName)->trigger();
    QCOMPARE(zoom->getDouble(), after);
    QCOMPARE(other->getDouble(), 1.0);
}

void TestWindowMenus::themeMenu()
{
    QMenu* menu = m_window.menuBar()->findChild<QMenu*>(QStringLiteral("menuTheme"));
    QVERIFY(menu);
    QStringList shown;
    QString checked;
    for (QAction* entry : menu->actions()) {
        shown.append(entry->text());
        if (entry->isChecked()) {
            checked = entry->text();
        }
    }
    QCOMPARE(shown, QStringList({"light EN", "dark EN"}));
    QCOMPARE(checked, QStringLiteral("dark EN"));

    action(QStringLiteral("actTheme_light"))->trigger();
    QCOMPARE(m_themeSet.lines, QStringList{"light"});
}

void TestWindowMenus::language()
{
    QVERIFY(action(QStringLiteral("actLanguage_en"))->isChecked());
    action(QStringLiteral("actLanguage_cn"))->trigger();
    QCOMPARE(velk::resource()
                 .get(&m_settingOwner, QStringLiteral("setting"), QStringLiteral("language"))
                 .toString(),
             QStringLiteral("cn"));
}

QTEST_MAIN(TestWindowMenus)
#include "tst_windowmenus.moc"
