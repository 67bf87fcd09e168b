#include "testfiles.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"
#include "runtime/constant.h"
#include "runtime/runtime.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"
#include "widgets/sidetree.h"

#include <pomr/lifecycledriver.h>
#include <velk/modulemanager.h>
#include <velk/velk.h>

#include <QtTest>

// One module through its whole life, in this order.
class tst_Zarvo : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QPointer<Zarvo> m_zarvo;
    pomr::LifecycleDriver m_driver;

private Q_SLOTS:
    void firstStartInEmptyDirectory()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        m_zarvo = new Zarvo(this);
        QCOMPARE(m_zarvo->name(), QString("zarvo"));
        QCOMPARE(velk::m().module("zarvo"), static_cast<QObject*>(m_zarvo.data()));
        QCOMPARE(helper().aliases(), QStringList{"zarvo"});
        QCOMPARE(readFile("config/setting.json"), readFile(":/zarvo/template/setting.json"));
        QVERIFY(QFileInfo("config/setting.json").isWritable());
        QVERIFY(QFileInfo("cache/zarvo").isDir());
    }

    void setupAddsManagersThenModules()
    {
        m_driver.runPhase(m_zarvo, pomr::LifecycleDriver::Setup);
        const QList<pomr::BModule*> subs = m_zarvo->submodules();
        QCOMPARE(subs.size(), 6);
        QVERIFY(subs.at(0) == setting() && subs.at(1) == rc() && subs.at(2) == theme());
        QVERIFY(qobject_cast<zarvo::Runtime*>(subs.at(3)));
        QVERIFY(qobject_cast<zarvo::Constant*>(subs.at(4)));
        QVERIFY(qobject_cast<zarvo::SideTree*>(subs.at(5)));
        // The module owns its own submodules, never the managers.
        QCOMPARE(subs.at(3)->parent(), m_zarvo.data());
        QVERIFY(!setting()->parent() && !rc()->parent() && !theme()->parent());
    }

    void detachKeepsManagersAlive()
    {
        QPointer<SettingManager> settings = setting();
        QPointer<ControllerManager> controller = rc();
        QPointer<ThemeManager> themes = theme();
        m_driver.shutdown(m_zarvo);
        QCOMPARE(m_zarvo->submodules().size(), 3);
        QVERIFY(settings && controller && themes);
        QVERIFY(setting() == settings && rc() == controller && theme() == themes);
        delete m_zarvo;
        QVERIFY(!velk::m().module("zarvo"));
        QVERIFY(helper().aliases().isEmpty());
    }
};

QTEST_MAIN(tst_Zarvo)

#include "tst_zarvo.moc"
