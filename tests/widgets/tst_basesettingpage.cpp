// Setting pages used as an operator uses them, against the simulated
// controller: edits arm one delayed save, loads never look like edits, the
// controller's answer stamps the page or brings its values back.

#include "linkfixture.h"

#include "services/binding.h"
#include "simrobot.h"
#include "theme/thememanager.h"
#include "widgets/basesettingpage.h"
#include "widgets/touchableslider.h"

#include <pomr/centerwidget.h>
#include <pomr/enablebutton.h>
#include <pomr/shell.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <functional>
#include <stdexcept>

namespace {

const QString kSetParams = QStringLiteral("system.controller.set_params");
const QString kDrag = QStringLiteral("dynamic.drag.set_params");
enum Reaction { None, Delayed, Now };
const QRegularExpression kStamp(R"(^\d{4}/\d{2}/\d{2} \d{2}:\d{2}:\d{2}$)");

// A settings page as another module would write one, with every kind of
// input the page watches and a few it must not.
class TestPage : public zarvo::BaseSettingPage
{
public:
    explicit TestPage(const QString& name, int interval = 60000)
        : zarvo::BaseSettingPage(name, name.toUpper())
        , interval(interval)
    {
        auto* layout = new QVBoxLayout(contentWgt());
        auto add = [layout](QWidget* widget, const char* objectName) {
            widget->setObjectName(QLatin1String(objectName));
            layout->addWidget(widget);
        };
        add(alias = new QLineEdit, "alias");
        add(new QSpinBox, "spin");
        add(new QDoubleSpinBox, "dspin");
        auto* combo = new QComboBox;
        combo->addItems({"a", "b", "c"});
        add(combo, "combo");
        add(new QSlider(Qt::Horizontal), "slider");
        add(enable = new pomr::EnableButton, "enable");
        add(new TouchableSlider, "touch");
        add(new QRadioButton("r"), "radio");
        auto* readOnly = new QListWidget;
        readOnly->addItem("fixed");
        readOnly->setEditTriggers(QAbstractItemView::NoEditTriggers);
        add(readOnly, "readOnlyList");
        auto* list = new QListWidget;
        list->addItem("free");
        add(list, "list");
        auto* table = new QTableWidget(1, 1);
        table->setItem(0, 0, new QTableWidgetItem("cell"));
        add(table, "table");
        // Inputs found through containers' own layouts.
        auto* group = new QGroupBox("group");
        group->setObjectName("group");
        auto* inner = new QHBoxLayout(group);
        auto* nested = new QVBoxLayout;
        inner->addLayout(nested);
        auto* check = new QCheckBox("c");
        check->setObjectName("check");
        nested->addWidget(check);
        layout->addWidget(group);
        auto* area = new QScrollArea;
        auto* areaEdit = new QLineEdit;
        areaEdit->setObjectName("areaEdit");
        area->setWidget(areaEdit);
        layout->addWidget(area);
        // A child placed by hand, outside every layout.
        auto* stray = new QLineEdit(contentWgt());
        stray->setObjectName("stray");
    }

    using zarvo::BaseSettingPage::addRenderExceptionWgt;
    using zarvo::BaseSettingPage::autoBind;
    using zarvo::BaseSettingPage::autoUpdate;
    using zarvo::BaseSettingPage::enableAutoSave;
    using zarvo::BaseSettingPage::titleLbl;
    using zarvo::BaseSettingPage::updateAvailability;

    template <typename T>
    T* find(const QString& name) const
    {
        return const_cast<TestPage*>(this)->wgt()->findChild<T*>(name);
    }
    QTimer* timer() const { return findChild<QTimer*>(); }
    bool armed() const { return timer()->isActive(); }
    bool saveShown() const { return !find<QToolButton>("tbtnSave")->isHidden(); }
    QString stampText() const { return find<QLabel>("lblDateTime")->text(); }

    int interval;
    QLineEdit* alias = nullptr;
    pomr::EnableButton* enable = nullptr;
    int saves = 0, loads = 0, rcLoads = 0, rcSaves = 0;
    enum { Write, Fail, Throw } saveMode = Write;
    std::function<void()> duringLoadFromRC;

private:
    int autoSaveInterval() const override { return interval; }
    bool saveToMobj() override
    {
        ++saves;
        if (saveMode == Throw) {
            throw std::runtime_error("broken page");
        }
        if (saveMode == Fail) {
            return false;
        }
        mobj()->cmobj("alias")->set(this, alias->text());
        mobj()->cmobj("enable")->set(this, enable->isOn());
        return true;
    }
    bool loadFromMobj() override
    {
        ++loads;
        alias->setText(mobj()->cmobj("alias")->getString());
        return true;
    }
    void loadFromRC() override
    {
        ++rcLoads;
        if (duringLoadFromRC) {
            duringLoadFromRC();
        }
    }
    void saveToRC() override { ++rcSaves; }
};

} // namespace

class tst_BaseSettingPage : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    QObject m_editor; // the origin that autoBindSet does not send
    int m_nodes = 0;

    // A fresh settings object, declared to be sent as `request`.
    QString node(const QString& request, const QJsonObject& values)
    {
        const QString path = QStringLiteral("zarvo.test.page%1").arg(++m_nodes);
        QJsonObject json = values;
        json.insert("_set", QJsonObject{{"request", request}});
        velk::m().ensure(path)->importFromJson(nullptr, json, true, false, false);
        return path;
    }

    static bool show(TestPage& page)
    {
        page.wgt()->resize(500, 1200);
        page.wgt()->show();
        return QTest::qWaitForWindowExposed(page.wgt());
    }

    static bool drain()
    {
        return rc()->execRequest("system", "controller.heart", QJsonValue(), false)->getBool();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(fixture.start()); }
    void cleanupTestCase() { fixture.stop(); }

    void inputs_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("reaction");

        QTest::newRow("line edit") << QString("alias") << int(Delayed);
        QTest::newRow("spin box") << QString("spin") << int(Delayed);
        QTest::newRow("double spin box") << QString("dspin") << int(Delayed);
        QTest::newRow("combo box") << QString("combo") << int(Delayed);
        QTest::newRow("slider released") << QString("slider") << int(Delayed);
        QTest::newRow("slider moved, still held") << QString("sliderHeld") << int(None);
        QTest::newRow("switch saves at once") << QString("enable") << int(Now);
        QTest::newRow("touchable slider") << QString("touch") << int(Delayed);
        QTest::newRow("radio button") << QString("radio") << int(Delayed);
        QTest::newRow("check box in a group's nested layout") << QString("check") << int(Delayed);
        QTest::newRow("editable list") << QString("list") << int(Delayed);
        QTest::newRow("read-only list") << QString("readOnlyList") << int(None);
        QTest::newRow("table") << QString("table") << int(Delayed);
        QTest::newRow("line edit in a scroll area") << QString("areaEdit") << int(Delayed);
        QTest::newRow("line edit outside the layout") << QString("stray") << int(None);
    }

    void inputs()
    {
        QFETCH(QString, input);
        QFETCH(int, reaction);

        TestPage page("inputs");
        // Nothing to save or load yet, and no stamp to show.
        for (const char* hidden : {"tbtnSave", "tbtnLoad", "lblDateTime", "wgtBottom"}) {
            QVERIFY2(page.find<QWidget>(hidden)->isHidden(), hidden);
        }
        page.enableAutoSave(true);
        QVERIFY(show(page));

        if (input == "alias" || input == "areaEdit" || input == "stray") {
            QTest::keyClicks(page.find<QLineEdit>(input), "7");
        } else if (input == "spin" || input == "dspin" || input == "combo") {
            QWidget* box = page.find<QWidget>(input);
            box->setFocus();
            QTest::keyClick(box, input == "combo" ? Qt::Key_Down : Qt::Key_Up);
        } else if (input.startsWith("slider")) {
            auto* slider = page.find<QSlider>("slider");
            slider->setSliderDown(true);
            slider->setSliderPosition(40);
            if (input == "slider") {
                slider->setSliderDown(false);
            }
        } else if (input == "enable" || input == "radio" || input == "check") {
            // On the indicator: a wide check box takes clicks only there.
            auto* button = page.find<QAbstractButton>(input);
            QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(6, button->height() / 2));
        } else if (input == "touch") {
            QTest::mouseClick(
                page.find<TouchableSlider>(input)->findChild<QPushButton*>("btnRight"),
                Qt::LeftButton);
        } else if (input == "list" || input == "readOnlyList") {
            page.find<QListWidget>(input)->item(0)->setText("edited");
        } else if (input == "table") {
            page.find<QTableWidget>(input)->item(0, 0)->setText("edited");
        }

        QCOMPARE(page.saves, reaction == Now ? 1 : 0);
        QCOMPARE(page.armed(), reaction == Delayed);
        QCOMPARE(page.saveShown(), reaction == Delayed);
    }

    void savesOnceAfterTheLastEdit()
    {
        TestPage page("general", 300);
        page.autoBind(&m_editor, node(kSetParams, {{"alias", "cell-0"}, {"time_zone", "UTC"}}));
        autoBindSet(&m_editor, page.mobj());
        QCOMPARE(page.stampText(), QString("Last updated: No record"));
        QCOMPARE(page.mobj()->cmobj("[timestamp]")->getString(), QString("No record"));
        page.enableAutoSave(true);
        QVERIFY(show(page));

        // Six keystrokes spread over more than one interval: each restarts it.
        page.alias->clear();
        for (int key = 0; key < 6; ++key) {
            QTest::keyClicks(page.alias, QString::number(key));
            QCOMPARE(page.saves, 0);
            QVERIFY(page.saveShown());
            QTest::qWait(60);
        }
        QTRY_COMPARE_WITH_TIMEOUT(page.saves, 1, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(fixture.sim.robot()->alias(), QString("012345"), 5000);

        // Accepted by the controller: stamped, and the stamp stored with the settings.
        QTRY_VERIFY_WITH_TIMEOUT(page.stampText() != "Last updated: No record", 5000);
        const QString stamp = page.mobj()->cmobj("[timestamp]")->getString();
        QVERIFY2(kStamp.match(stamp).hasMatch(), qPrintable(stamp));
        QCOMPARE(page.stampText(), "Last updated: " + stamp);
        QVERIFY(!page.saveShown() && !page.armed());
        QVERIFY(drain());
        QCOMPARE(page.saves, 1);
        QCOMPARE(page.rcSaves, 1);
    }

    void controllerAnswer_data()
    {
        QTest::addColumn<QString>("power");
        QTest::addColumn<bool>("accepted");

        // Dragging cannot be enabled while the motor is off.
        QTest::newRow("refused") << "off" << false;
        QTest::newRow("accepted") << "on" << true;
    }

    void controllerAnswer()
    {
        QFETCH(QString, power);
        QFETCH(bool, accepted);

        fixture.sim.robot()->setOperate("manual");
        fixture.sim.robot()->setPower(power);
        TestPage page("drag");
        page.autoBind(&m_editor, node(kDrag, {{"enable", false}, {"space", 0}, {"type", 0}}));
        autoBindSet(&m_editor, page.mobj());
        page.enableAutoSave(true);
        QVERIFY(show(page));

        QTest::mouseClick(page.enable, Qt::LeftButton);
        QCOMPARE(page.saves, 1);
        // An edit made while the answer is on its way.
        QTest::keyClicks(page.alias, "x");
        QVERIFY(page.armed() && page.saveShown());

        if (accepted) {
            QTRY_VERIFY_WITH_TIMEOUT(page.stampText() != "Last updated: No record", 5000);
            QCOMPARE(page.rcLoads, 0);
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(page.rcLoads, 1, 5000);
            QCOMPARE(page.stampText(), QString("Last updated: No record"));
        }
        // Either way the pending edit is dropped: no second save comes.
        QVERIFY(!page.armed() && !page.saveShown());
        QCOMPARE(page.saves, 1);
    }

    void loadsAreNotEdits_data()
    {
        QTest::addColumn<bool>("fromController");

        QTest::newRow("load from the controller") << true;
        QTest::newRow("bound object changed elsewhere") << false;
    }

    void loadsAreNotEdits()
    {
        QFETCH(bool, fromController);

        TestPage page("load");
        page.autoBind(&m_editor, node(kSetParams, {{"alias", "a"}}));
        page.enableAutoSave(true);
        QVERIFY(show(page));
        // A pending edit is dropped by an explicit load.
        QTest::keyClicks(page.alias, "x");
        QVERIFY(page.armed());

        if (fromController) {
            page.duringLoadFromRC = [&page] { QTest::keyClicks(page.alias, "typed"); };
            QTest::mouseClick(page.find<QToolButton>("tbtnLoad"), Qt::LeftButton);
            QCOMPARE(page.rcLoads, 1);
            QCOMPARE(page.alias->text(), QString("xtyped"));
        } else {
            page.mobj()->set(nullptr, QString("new"));
            QCOMPARE(page.loads, 1);
            QVERIFY(kStamp.match(page.mobj()->cmobj("[timestamp]")->getString()).hasMatch());
        }
        QVERIFY(!page.armed() && !page.saveShown());
        // A change made by the page's editor is written back instead.
        page.mobj()->set(&m_editor, QString("mine"));
        QCOMPARE(page.saves, 1);
        QVERIFY(!page.armed());
    }

    void failedSaveKeepsObjectQuiet_data()
    {
        QTest::addColumn<int>("mode");

        QTest::newRow("returns false") << int(TestPage::Fail);
        QTest::newRow("throws") << int(TestPage::Throw);
    }

    void failedSaveKeepsObjectQuiet()
    {
        QFETCH(int, mode);

        TestPage page("failing");
        page.autoBind(&m_editor, node(kSetParams, {{"alias", "a"}}));
        velk::ModuleObject* bound = page.mobj();
        QSignalSpy activations(bound, &velk::ModuleObject::activated);
        QSignalSpy aliasChanges(bound->cmobj("alias"), &velk::ModuleObject::changed);
        page.saveMode = decltype(page.saveMode)(mode);
        page.enableAutoSave(true);
        QVERIFY(show(page));

        QTest::keyClicks(page.alias, "b");
        QTest::mouseClick(page.find<QToolButton>("tbtnSave"), Qt::LeftButton);
        QCOMPARE(page.saves, 1);
        QVERIFY(bound->isQuiet());
        bound->cmobj("alias")->set(nullptr, QString("other"));
        QVERIFY(activations.isEmpty() && aliasChanges.isEmpty());
        QCOMPARE(page.rcSaves, 0);
        QVERIFY(!page.armed());

        // Still usable: the next good save ends the quiet and is announced once.
        page.saveMode = TestPage::Write;
        page.saveNow();
        QVERIFY(!bound->isQuiet());
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.first().at(2).value<QObject*>(), &page);
        QCOMPARE(page.rcSaves, 1);
    }

    void renderStylesThroughTheTheme()
    {
        TestPage page("styled");
        auto* group = page.find<QWidget>("group");
        const QString own = QStringLiteral("QGroupBox { color: red; }");
        group->setStyleSheet(own);
        page.addRenderExceptionWgt(group);
        page.render();
        QVERIFY(show(page));

        const QFont h1 = theme()->getFont("h1");
        const QFont body = theme()->getFont("default");
        QVERIFY(h1.pointSize() > body.pointSize());
        QCOMPARE(page.titleLbl()->font().pointSize(), h1.pointSize());
        QCOMPARE(page.titleLbl()->font().family(), h1.family());
        QCOMPARE(page.alias->font().pointSize(), body.pointSize());
        QCOMPARE(group->styleSheet(), own);
    }

    void lockedPageStaysScrollable()
    {
        TestPage page("locked");
        page.autoUpdate(true, false, false, false);
        velk::m().ensure("zarvo.r.level")->set(nullptr, 1);
        page.updateAvailability();
        for (const char* part : {"wgtTitle", "wgtContent", "wgtBottom"}) {
            QVERIFY2(!page.find<QWidget>(part)->isEnabled(), part);
        }
        QVERIFY(page.find<QWidget>("scaContent")->isEnabled());
        velk::m("zarvo.r.level")->set(nullptr, 2);
        QVERIFY(page.find<QWidget>("wgtContent")->isEnabled());
        velk::m("zarvo.r.level")->set(nullptr, 0);
    }

    void installCategory()
    {
        pomr::BModule category;
        category.setObjectName("robot_setting");
        auto* general = new TestPage("general");
        auto* io = new TestPage("io");
        general->setParent(&category);
        io->setParent(&category);
        auto* other = new pomr::BModule(&category);
        category.addSubmodule(general);
        category.addSubmodule(other);
        category.addSubmodule(io);

        ManagerHelper::installBaseSettingCategoryModule(&category);
        QCOMPARE(velk::resource().get(&category, "navtree", "robot_setting"),
                 QJsonValue(QJsonArray{QJsonObject{{"name", "general"}, {"label", "GENERAL"}},
                                       QJsonObject{{"name", "io"}, {"label", "IO"}}}));
        pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
        QVERIFY(center->switchTo(this, "robot_setting.io"));
        QVERIFY(io->wgt()->isVisibleTo(center));
        QVERIFY(!center->switchTo(this, "robot_setting."));
        // The centre widget owns the pages' widgets now; it goes first.
        pomr::destroyShell();
    }
};

QTEST_MAIN(tst_BaseSettingPage)
#include "tst_basesettingpage.moc"
