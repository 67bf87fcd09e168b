#include "pagetree.h"

#include "theme/thememanager.h"
#include "widgets/basesettingpage.h"
#include "widgets/navtree.h"

#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QPushButton>
#include <QtTest>

namespace {

// What a setting category publishes for its pages, in its order.
void publish(pomr::BModule* category, const QStringList& pages)
{
    QJsonArray list;
    for (const QString& page : pages) {
        list.append(QJsonObject{{"name", page}, {"label", page.toUpper()}});
    }
    velk::resource().set(category, "navtree", category->name(), list, true);
}

} // namespace

class tst_NavTree : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    zarvo::NavTree* m_nav = nullptr;
    pomr::BModule* m_category = nullptr;

    QStringList buttonTexts() const
    {
        QStringList texts;
        const QList<QPushButton*> buttons = m_nav->wgt()->findChildren<QPushButton*>();
        for (QPushButton* b : buttons) {
            texts << b->text() + (b->isChecked() ? "*" : "");
        }
        return texts;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        helper().registRootQrcAlias(QStringLiteral("zarvo"));
        theme()->init();
    }

    void init()
    {
        velk::m("zarvo.navtree")->clear(nullptr, true, false);
        m_category = new pomr::BModule;
        m_category->setObjectName("robot_setting");
        for (const char* page : {"motion", "io", "safety"}) {
            centerWidget()->addPage(m_category, QString("robot_setting.") + page, new QLabel(page));
        }
        centerWidget()->switchTo(nullptr, "robot_setting.io");
        m_nav = new zarvo::NavTree;
        m_nav->wgt()->show();
    }

    void cleanup()
    {
        delete m_nav;
        delete m_category;
        pomr::destroyShell();
    }

    void listsPagesInCategoryOrder_data()
    {
        QTest::addColumn<bool>("publishFirst");
        QTest::addColumn<QString>("root");
        QTest::addColumn<QStringList>("texts");
        const QStringList all{"SAFETY", "MOTION", "IO*"};
        QTest::newRow("published before the category is added") << true << "" << all;
        QTest::newRow("published after") << false << "" << all;
        QTest::newRow("unknown category written") << true << "nowhere" << QStringList();
    }

    void listsPagesInCategoryOrder()
    {
        QFETCH(bool, publishFirst);
        QFETCH(QString, root);
        QFETCH(QStringList, texts);
        // Real setting pages, listed by the category installer.
        for (const QString& page : QStringList{"safety", "motion", "io"}) {
            m_category->addSubmodule(
                new zarvo::BaseSettingPage(page, page.toUpper(), nullptr, m_category));
        }
        if (publishFirst) {
            ManagerHelper::installBaseSettingCategoryModule(m_category);
        }
        m_nav->addCategory(m_category);
        if (!publishFirst) {
            ManagerHelper::installBaseSettingCategoryModule(m_category);
        }
        QCOMPARE(velk::m("zarvo.navtree.cur_root")->getString(), QString("robot_setting"));
        const int warnings = logCount("navigate to unknown category:");
        if (!root.isEmpty()) {
            velk::m("zarvo.navtree.cur_root")->set(nullptr, root);
        }
        QCOMPARE(buttonTexts(), texts);
        QCOMPARE(logCount("navigate to unknown category:"), warnings + (root.isEmpty() ? 0 : 1));
    }

    void checkFollowsShownPage_data()
    {
        QTest::addColumn<bool>("click");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("click") << true << "motion"
                               << "robot_setting.motion"
                               << QStringList{"MOTION*", "IO", "SAFETY", "GONE"};
        QTest::newRow("click the page shown")
            << true << "io"
            << "robot_setting.io" << QStringList{"MOTION", "IO*", "SAFETY", "GONE"};
        QTest::newRow("click a page that is not there")
            << true << "gone"
            << "robot_setting.io" << QStringList{"MOTION", "IO*", "SAFETY", "GONE"};
        QTest::newRow("shown from elsewhere")
            << false << "safety"
            << "robot_setting.safety" << QStringList{"MOTION", "IO", "SAFETY*", "GONE"};
    }

    void checkFollowsShownPage()
    {
        QFETCH(bool, click);
        QFETCH(QString, page);
        QFETCH(QString, shown);
        QFETCH(QStringList, texts);
        publish(m_category, {"motion", "io", "safety", "gone"});
        m_nav->addCategory(m_category);
        const int warnings = logCount("no page to show for:");
        if (click) {
            QTest::mouseClick(m_nav->pageButton(page), Qt::LeftButton);
        } else {
            centerWidget()->switchTo(nullptr, "robot_setting." + page);
        }
        QCOMPARE(centerWidget()->currentKey(), shown);
        QCOMPARE(buttonTexts(), texts);
        QCOMPARE(logCount("no page to show for:"), warnings + (page == "gone" ? 1 : 0));
    }
};

QTEST_MAIN(tst_NavTree)
#include "tst_navtree.moc"
