#include "pagetree.h"

#include "theme/thememanager.h"
#include "widgets/sidetree.h"

#include <pomr/sidebar.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QtTest>

namespace {

velk::ModuleObject* tree(const QString& path)
{
    return velk::m(QStringLiteral("zarvo.sidetree.") + path);
}

QImage iconImage(const QIcon& icon)
{
    return icon.pixmap(16, 16).toImage();
}

} // namespace

// Two roots, "robot" with nested sub-pages and "io" without any:
//   robot: joint, tool (frame, load), world      io
class tst_SideTree : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    zarvo::SideTree* m_tree = nullptr;
    QObject* m_pages = nullptr;

    void select(const QString& key)
    {
        tree(QStringLiteral("cur_") + key.section('.', 0, 0))->set(nullptr, key);
        settleEvents();
    }

    void setRoot(const QString& root)
    {
        tree(QStringLiteral("cur_root"))->set(nullptr, root);
        settleEvents();
    }

    QPushButton* button(const QString& key) { return m_tree->treeButton(key); }
    QWidget* form(const char* name) { return m_tree->wgt()->findChild<QWidget*>(name); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        helper().registRootQrcAlias(QStringLiteral("zarvo"));
        theme()->init();
    }

    void init()
    {
        velk::m("zarvo.sidetree")->clear(nullptr, true, false);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_tree = new zarvo::SideTree;
        m_tree->init();
        pomr::instantiatedSideBar(nullptr)->show();

        m_pages = new QObject;
        installPageTree(m_pages, {{"robot", "Robot"},
                                  {"robot.joint", "Joint"},
                                  {"robot.tool", "Tool"},
                                  {"robot.tool.frame", "Frame"},
                                  {"robot.tool.load", "Load"},
                                  {"robot.world", "World"},
                                  {"io", "IO"}});
        settleEvents();
        m_tree->idle();
    }

    void cleanup()
    {
        delete m_tree;
        delete m_pages;
        pomr::destroyShell();
    }

    // clang-format off
    void installBuildsButtonsAndPages_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("objectName"); // empty: no button
        QTest::newRow("leaf under a root") << "robot.joint" << "Joint" << "btnChild";
        QTest::newRow("parent") << "robot.tool" << "Tool" << "btnParent";
        QTest::newRow("leaf under a parent") << "robot.tool.load" << "Load" << "btnChild";
        QTest::newRow("root") << "robot" << "Robot" << "";
        QTest::newRow("root without sub-pages") << "io" << "IO" << "";
    }
    // clang-format on

    void installBuildsButtonsAndPages()
    {
        QFETCH(QString, key);
        QFETCH(QString, label);
        QFETCH(QString, objectName);
        QVERIFY(centerWidget()->getItemWgt(key));
        QCOMPARE(tree("root." + key)->getString(), label);
        QPushButton* b = button(key);
        QCOMPARE(b != nullptr, !objectName.isEmpty());
        if (b) {
            QCOMPARE(b->objectName(), objectName);
            QCOMPARE(b->text(), label);
            QVERIFY(b->isCheckable());
        }
    }

    void buttonsFollowPageOrder()
    {
        // A page announced at the front lands above the others, never below the stretch.
        auto* arm = new velk::ModuleObject("arm", tree("root.robot"));
        arm->set(nullptr, "Arm");
        tree("root.robot")->insert(nullptr, arm, true, 0);
        QLayout* column = button("robot.joint")->parentWidget()->layout();
        QStringList order;
        for (int i = 0; i < column->count(); ++i) {
            QWidget* w = column->itemAt(i)->widget();
            auto* b = qobject_cast<QPushButton*>(w);
            order << (w ? w->objectName() + ":" + (b ? b->text() : QString()) : "stretch");
        }
        QCOMPARE(order, QStringList({"btnChild:Arm", "btnChild:Joint", "btnParent:Tool",
                                     "wgtChild:", "btnChild:World", "stretch"}));
    }

    void installIgnores_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<bool>("isPage");
        QTest::newRow("missing prefix object") << "nowhere" << true;
        QTest::newRow("module that is not a page") << "" << false;
    }

    void installIgnores()
    {
        QFETCH(QString, prefix);
        QFETCH(bool, isPage);
        const QStringList roots = tree("root")->cmobjNames(true);
        const QStringList pages = centerWidget()->itemKeys();
        pomr::BModule plain;
        plain.setObjectName("plain");
        LabelPage stray("stray", "Stray", nullptr);
        ManagerHelper::installSideTree(isPage ? &stray : static_cast<pomr::BModule*>(&plain),
                                       prefix);
        QCOMPARE(tree("root")->cmobjNames(true), roots);
        QCOMPARE(centerWidget()->itemKeys(), pages);
    }

    void selectPage_data()
    {
        QTest::addColumn<bool>("click");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("click a leaf") << true << "robot.world" << true;
        QTest::newRow("click a leaf under a parent") << true << "robot.tool.frame" << true;
        QTest::newRow("write a key") << false << "robot.world" << true;
        QTest::newRow("write a key no page has") << false << "robot.nothing" << false;
        QTest::newRow("write another root's page") << false << "io" << false;
        QTest::newRow("write a bookkeeping key") << false << "robot._wgt" << false;
    }

    void selectPage()
    {
        QFETCH(bool, click);
        QFETCH(QString, key);
        QFETCH(bool, accepted);
        QCOMPARE(tree("cur_root")->getString(), QString("robot"));
        QCOMPARE(tree("cur_robot")->getString(), QString("robot.joint"));
        QVERIFY(button("robot.joint")->isChecked());
        const int warnings = logCount("select unknown page:");

        if (click) {
            QTest::mouseClick(button(key), Qt::LeftButton);
            settleEvents();
        } else {
            tree("cur_robot")->set(nullptr, key);
            settleEvents();
        }
        QVERIFY(!button("robot.joint")->isChecked());
        QCOMPARE(centerWidget()->currentKey(), accepted ? key : QString("robot.joint"));
        QCOMPARE(m_tree->history(), accepted ? QStringList{key} : QStringList());
        QCOMPARE(logCount("select unknown page:"), warnings + (accepted ? 0 : 1));
        if (accepted) {
            QVERIFY(button(key)->isChecked());
        }
    }

    void historyKeepsLastSelections_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("kept");
        QStringList alternating;
        for (int i = 0; i < 101; ++i) {
            alternating << (i % 2 ? "robot.joint" : "robot.world");
        }
        QTest::newRow("same page twice")
            << QStringList{"robot.world", "robot.world"} << QStringList{"robot.world"};
        QTest::newRow("101 selections") << alternating << QStringList(alternating.mid(1));
    }

    void historyKeepsLastSelections()
    {
        QFETCH(QStringList, keys);
        QFETCH(QStringList, kept);
        for (const QString& key : keys) {
            select(key);
        }
        QCOMPARE(m_tree->history(), kept);
    }

    void back_data()
    {
        // "@root" switches the root, "-key" removes a page, anything else selects it.
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("history");
        QTest::newRow("one entry does nothing") << QStringList{"robot.world"} << "robot"
                                                << "robot.world" << QStringList{"robot.world"};
        QTest::newRow("within a root") << QStringList{"robot.world", "robot.tool.frame"} << "robot"
                                       << "robot.world" << QStringList{"robot.world"};
        QTest::newRow("across roots") << QStringList{"robot.joint", "robot.world", "@io"} << "robot"
                                      << "robot.world" << QStringList{"robot.joint", "robot.world"};
        // The root's current page is gone: its own page brought up by the switch is no step.
        QTest::newRow("across roots over a removed page")
            << QStringList{"robot.world", "robot.joint", "@io", "-robot.joint"} << "robot"
            << "robot.world" << QStringList{"robot.world"};
    }

    void back()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, root);
        QFETCH(QString, shown);
        QFETCH(QStringList, history);
        for (const QString& step : steps) {
            if (step.startsWith('@')) {
                setRoot(step.mid(1));
            } else if (step.startsWith('-')) {
                velk::ModuleObject* item = tree("root." + step.mid(1));
                item->pmobj()->remove(nullptr, item, true);
                settleEvents();
            } else {
                select(step);
            }
        }
        QTest::mouseClick(qobject_cast<QPushButton*>(form("btnBack")), Qt::LeftButton);
        settleEvents();
        QCOMPARE(tree("cur_root")->getString(), root);
        QCOMPARE(centerWidget()->currentKey(), shown);
        QCOMPARE(m_tree->history(), history);
        QVERIFY(button(shown)->isChecked());
    }

    void foldFollowsRoot_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("root");
        QTest::addColumn<bool>("folded");
        QTest::newRow("root without sub-pages") << QString("robot") << QString("io") << true;
        QTest::newRow("root with sub-pages") << QString("io") << QString("robot") << false;
    }

    void foldFollowsRoot()
    {
        QFETCH(QString, from);
        QFETCH(QString, root);
        QFETCH(bool, folded);
        setRoot(from);
        setRoot(root);
        QWidget* backButton = form("btnBack");
        QCOMPARE(m_tree->isFolded(), folded);
        QCOMPARE(form("wgtSpace")->isVisible(), folded);
        QCOMPARE(form("stkWgt")->isVisible(), !folded);
        QCOMPARE(form("lblRoot")->isVisible(), !folded);
        QCOMPARE(form("btnFold")->isVisible(), !folded);
        QCOMPARE(m_tree->wgt()->maximumWidth(),
                 folded ? backButton->width() : theme()->getSize(200));
        QCOMPARE(m_tree->wgt()->minimumWidth(), m_tree->wgt()->maximumWidth());
        // Folded, only the button column is left.
        QVERIFY(!folded || backButton->width() < theme()->getSize(200) / 2);
        QCOMPARE(qobject_cast<QLabel*>(form("lblRoot"))->text(), tree("root." + root)->getString());
        QCOMPARE(centerWidget()->currentKey(), folded ? root : QString("robot.joint"));
    }

    void renderStylesTheColumn()
    {
        m_tree->render();
        for (const char* value : {"$font$default", "$color$topic"}) {
            const QString expanded = theme()->buildStyleFromStr(value);
            QVERIFY2(!expanded.isEmpty() && m_tree->wgt()->styleSheet().contains(expanded), value);
        }
    }

    void rootSwitcher_data()
    {
        // "click:<root>", "install:<root>", "label:<root>=<text>" or "remove:<root>".
        QTest::addColumn<QString>("step");
        QTest::addColumn<QStringList>("buttons"); // texts in order, "*" marks the checked one
        QTest::addColumn<QString>("shown");
        QTest::newRow("at start") << "" << QStringList{"Robot*", "IO"} << "robot.joint";
        // Folded to the button column, the initials stand for the labels.
        QTest::newRow("click another root") << "click:io" << QStringList{"R", "I*"} << "io";
        QTest::newRow("click the root shown")
            << "click:robot" << QStringList{"Robot*", "IO"} << "robot.joint";
        QTest::newRow("root installed late")
            << "install:cell" << QStringList{"Robot*", "IO", "Cell"} << "robot.joint";
        QTest::newRow("label changed")
            << "label:io=E/A" << QStringList{"Robot*", "E/A"} << "robot.joint";
        QTest::newRow("one root left: nothing to switch")
            << "remove:io" << QStringList{"Robot*"} << "robot.joint";
    }

    void rootSwitcher()
    {
        QFETCH(QString, step);
        QFETCH(QStringList, buttons);
        QFETCH(QString, shown);
        const QString root = step.section(':', 1).section('=', 0, 0);
        if (step.startsWith("click:")) {
            QTest::mouseClick(m_tree->rootButton(root), Qt::LeftButton);
        } else if (step.startsWith("install:")) {
            installPageTree(m_pages, {{root, "Cell"}});
        } else if (step.startsWith("label:")) {
            tree("root." + root)->set(nullptr, step.section('=', 1));
        } else if (step.startsWith("remove:")) {
            tree("root")->remove(nullptr, root, true);
        }
        settleEvents();
        QWidget* strip = form("wgtRoots");
        QStringList texts;
        for (int i = 0; i < strip->layout()->count(); ++i) {
            auto* b = qobject_cast<QPushButton*>(strip->layout()->itemAt(i)->widget());
            QVERIFY(b && b->objectName() == "btnRoot" && b->isCheckable());
            texts << b->text() + (b->isChecked() ? "*" : "");
        }
        QCOMPARE(texts, buttons);
        QCOMPARE(strip->isVisible(), buttons.size() > 1);
        QCOMPARE(centerWidget()->currentKey(), shown);
        QCOMPARE(tree("cur_root")->getString(), shown.section('.', 0, 0));
    }

    void parentButtonOpensAndCloses()
    {
        QPushButton* tool = button("robot.tool");
        QWidget* children = button("robot.tool.frame")->parentWidget();
        QCOMPARE(children->objectName(), QString("wgtChild"));
        const QImage open = iconImage(theme()->getIcon("body", "navtree_parent_unfolded"));
        const QImage closed = iconImage(theme()->getIcon("body", "navtree_parent_folded"));
        for (bool shown : {false, true, false}) {
            QTest::mouseClick(tool, Qt::LeftButton);
            settleEvents();
            QCOMPARE(children->isVisible(), shown);
            QCOMPARE(tool->isChecked(), shown);
            QCOMPARE(iconImage(tool->icon()), shown ? open : closed);
        }
        // Selecting a page inside opens the way to it.
        select("robot.tool.load");
        QVERIFY(children->isVisible());
    }

    void lateChangesShowAtOnce()
    {
        installPageTree(m_pages, {{"gripper", "Gripper"}}, "robot.tool");
        QCOMPARE(button("robot.tool.gripper")->text(), QString("Gripper"));
        QVERIFY(button("robot.tool.gripper")->isVisible());

        installPageTree(m_pages, {{"cell", "Cell"}, {"cell.fence", "Fence"}});
        QCOMPARE(button("cell.fence")->objectName(), QString("btnChild"));
        settleEvents();
        QCOMPARE(tree("cur_cell")->getString(), QString("cell.fence"));
        setRoot("cell");
        QCOMPARE(centerWidget()->currentKey(), QString("cell.fence"));
        QVERIFY(button("cell.fence")->isChecked());

        // A label changed at run time (a language switch) renames the button or the heading.
        tree("root.cell.fence")->set(nullptr, "Zaun");
        tree("root.cell")->set(nullptr, "Zelle");
        QCOMPARE(button("cell.fence")->text(), QString("Zaun"));
        QCOMPARE(qobject_cast<QLabel*>(form("lblRoot"))->text(), QString("Zelle"));
    }

    void removedPagesLoseButtons()
    {
        velk::ModuleObject* tool = tree("root.robot.tool");
        tool->remove(nullptr, "frame", true);
        tool->remove(nullptr, "load", true);
        settleEvents();
        QVERIFY(!button("robot.tool.frame") && !button("robot.tool.load"));
        QCOMPARE(button("robot.tool")->objectName(), QString("btnChild"));
        QVERIFY(!m_tree->wgt()->findChild<QWidget*>("wgtChild"));
        QTest::mouseClick(button("robot.tool"), Qt::LeftButton);
        settleEvents();
        QCOMPARE(centerWidget()->currentKey(), QString("robot.tool"));
    }

    void unannouncedItem_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("built");
        QTest::newRow("added") << int(velk::ActivateAdded) << true;
        QTest::newRow("changed") << int(velk::ActivateData) << false;
        QTest::newRow("removed") << int(velk::ActivateRemoved) << false;
    }

    void unannouncedItem()
    {
        QFETCH(int, type);
        QFETCH(bool, built);
        auto* ghost = new velk::ModuleObject("ghost", tree("root.robot"));
        ghost->set(nullptr, "Ghost");
        const int errors = logCount("update tree with wrong operation: ");
        m_tree->updateTreeItem(ghost, type);
        QCOMPARE(button("robot.ghost") != nullptr, built);
        QCOMPARE(logCount("update tree with wrong operation: "), errors + (built ? 0 : 1));
    }

    void unknownRootWarns()
    {
        select("robot.world");
        const int warnings = logCount("switch to wrong root:");
        setRoot("nowhere");
        QCOMPARE(logCount("switch to wrong root:"), warnings + 1);
        QCOMPARE(centerWidget()->currentKey(), QString("robot.world"));
        QCOMPARE(tree("_page")->getString(), QString("nowhere"));
        QCOMPARE(m_tree->history(), QStringList{"robot.world"});
        // Pages of the root no longer shown are selected, not shown.
        select("robot.joint");
        QCOMPARE(centerWidget()->currentKey(), QString("robot.world"));
    }

    void idleForgetsSetupSelections()
    {
        select("robot.world");
        tree("cur_robot")->set(nullptr, "robot.tool.load"); // still queued
        m_tree->idle();
        QVERIFY(m_tree->history().isEmpty());
        QVERIFY(button("robot.tool.load")->isChecked());
    }
};

QTEST_MAIN(tst_SideTree)
#include "tst_sidetree.moc"
