// Declarative binding of module-object trees to controller messages, end to
// end against the simulated controller, and the small display helpers.

#include "linkfixture.h"

#include "services/binding.h"
#include "simrobot.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QComboBox>
#include <QJsonArray>
#include <QLineEdit>

#include <algorithm>
#include <memory>

using zarvo::sim::RcSimulator;

namespace {

const QString kGetMotor = QStringLiteral("system.state.get_motor");
const QString kGetOperate = QStringLiteral("system.state.get_operate");
const QString kGetParams = QStringLiteral("system.controller.get_params");
const QString kSetParams = QStringLiteral("system.controller.set_params");
const QString kStateChange = QStringLiteral("system.state.change");

QString fullName(const QJsonObject& packet)
{
    return packet.value(QLatin1String("module")).toString() + QLatin1Char('.') +
           packet.value(QLatin1String("command")).toString();
}

} // namespace

class tst_Binding : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    // Per test: the origin of bound writes, a user editing values, the tree.
    std::unique_ptr<QObject> receiver;
    std::unique_ptr<QObject> user;
    std::unique_ptr<velk::ModuleObject> root;
    QList<QJsonObject> sent;

    velk::ModuleObject* makeTree(const QJsonObject& json)
    {
        root.reset(new velk::ModuleObject(QStringLiteral("page")));
        root->importFromJson(nullptr, json, true, false, false);
        return root.get();
    }

    velk::ModuleObject* node(const QString& path) const { return root->rmobj(path); }

    // Everything the simulator sent before has been handled once this returns.
    static bool drain()
    {
        return rc()
            ->execRequest(QStringLiteral("system"), QStringLiteral("controller.heart"),
                          QJsonValue(), false)
            ->getBool();
    }

    // An asynchronous request, waited for until its answer was dispatched.
    static bool ask(const QString& name)
    {
        QSignalSpy answered(rc()->cmdMobj(name), &velk::ModuleObject::changed);
        return rc()->request(name, nullptr) && answered.wait(5000);
    }

    int sentCount(const QString& name) const
    {
        int count = 0;
        for (const QJsonObject& packet : sent) {
            count += fullName(packet) == name ? 1 : 0;
        }
        return count;
    }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase() { fixture.stop(); }

    void getFollowsResponse();
    void getFollowsNotification();
    void getResponseAndNotification();
    void getStringWinsOverList();
    void getListWhenStringEmpty();
    void getWithoutSourcesConnectsNothing();
    void getNoDescentBelowDeclaration();
    void getConnectionsEndWithReceiver();

    void setUserChangeSendsRequest();
    void setRefusalActivatesWithFalse();
    void setIgnoresControllerAndReceiverChanges();
    void setAndGetOnOneNodeDoNotEcho();
    void setWithoutRequestConnectsNothing();

    void refreshComboBoxEditable();
    void refreshComboBoxSelection_data();
    void refreshComboBoxSelection();
    void varDoubleToString_data();
    void varDoubleToString();
    void varListToStringList();
};

void tst_Binding::initTestCase()
{
    qRegisterMetaType<velk::ModuleObject*>();
    connect(&fixture.sim, &RcSimulator::requestReceived, this,
            [this](const QJsonObject& packet) { sent.append(packet); });
    QVERIFY(fixture.start());
    QVERIFY(drain());
}

void tst_Binding::init()
{
    receiver.reset(new QObject);
    user.reset(new QObject);
    QVERIFY(drain());
    sent.clear();
}

void tst_Binding::cleanup()
{
    root.reset();
    receiver.reset();
    user.reset();
}

void tst_Binding::getFollowsResponse()
{
    fixture.sim.robot()->setPower(QStringLiteral("on"));
    makeTree(QJsonObject{
        {"motor", QJsonObject{{"_get", QJsonObject{{"response", kGetMotor}}},
                              {"power", "unknown"},
                              {"extra", "keep"}}},
        {"params", QJsonObject{{"_get", QJsonObject{{"response", kGetParams}}}, {"alias", ""}}},
    });
    autoBindGet(receiver.get(), root.get());

    velk::ModuleObject* motor = node(QStringLiteral("motor"));
    QSignalSpy motorChanges(motor, &velk::ModuleObject::changed);
    QSignalSpy powerChanges(node(QStringLiteral("motor.power")), &velk::ModuleObject::changed);
    QString powerAtChange;
    connect(motor, &velk::ModuleObject::changed, this,
            [&] { powerAtChange = node(QStringLiteral("motor.power"))->getString(); });

    QVERIFY(ask(kGetMotor));
    QCOMPARE(node(QStringLiteral("motor.power"))->getString(), QStringLiteral("on"));
    QCOMPARE(node(QStringLiteral("motor.extra"))->getString(), QStringLiteral("keep"));
    // One change of the bound node, after its children were written.
    QCOMPARE(motorChanges.count(), 1);
    QCOMPARE(powerAtChange, QStringLiteral("on"));
    QCOMPARE(motorChanges.at(0).at(2).value<QObject*>(), receiver.get());
    QCOMPARE(powerChanges.count(), 1);
    QCOMPARE(powerChanges.at(0).at(2).value<QObject*>(), receiver.get());

    // Members the bound node has no child for are not added.
    fixture.sim.robot()->setAlias(QStringLiteral("cell-3"));
    QVERIFY(ask(kGetParams));
    QCOMPARE(node(QStringLiteral("params.alias"))->getString(), QStringLiteral("cell-3"));
    QCOMPARE(node(QStringLiteral("params"))->cmobjNames(), (QStringList{"_get", "alias"}));
}

void tst_Binding::getFollowsNotification()
{
    makeTree(QJsonObject{
        {"_get", QJsonObject{{"notify", kStateChange}}}, {"operate", ""}, {"safety_stop", ""}});
    autoBindGet(receiver.get(), root.get());

    QSignalSpy changes(root.get(), &velk::ModuleObject::changed);
    fixture.sim.notifyAll(QStringLiteral("system"), QStringLiteral("state.change"),
                          QJsonObject{{"operate", "auto"}, {"safety_stop", "EStop"}});
    QVERIFY(drain());
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("auto"));
    QCOMPARE(node(QStringLiteral("safety_stop"))->getString(), QStringLiteral("EStop"));
    QCOMPARE(changes.count(), 1);
}

void tst_Binding::getResponseAndNotification()
{
    makeTree(QJsonObject{
        {"_get", QJsonObject{{"response", kGetOperate}, {"notify", kStateChange}}},
        {"operate", ""},
    });
    autoBindGet(receiver.get(), root.get());

    fixture.sim.robot()->setOperate(QStringLiteral("auto"));
    QVERIFY(drain());
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("auto"));

    // A value changed behind the robot's back comes back with the answer.
    node(QStringLiteral("operate"))->set(nullptr, QStringLiteral("stale"));
    QVERIFY(ask(kGetOperate));
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("auto"));
    fixture.sim.robot()->setOperate(QStringLiteral("manual"));
    QVERIFY(drain());
}

void tst_Binding::getStringWinsOverList()
{
    // A one-name string list reads both as the string and as the list; the
    // string form alone must count, or the source would be bound twice.
    makeTree(QJsonObject{{"_get", QJsonObject{{"response", ""}}}, {"power", ""}});
    node(QStringLiteral("_get.response"))->set(nullptr, QVariant(QStringList{kGetMotor}));
    QCOMPARE(node(QStringLiteral("_get.response"))->getString(), kGetMotor);
    QCOMPARE(node(QStringLiteral("_get.response"))->getList().size(), 1);
    autoBindGet(receiver.get(), root.get());

    QSignalSpy changes(root.get(), &velk::ModuleObject::changed);
    QVERIFY(ask(kGetMotor));
    QCOMPARE(changes.count(), 1);

    // A plain string binds that one name and no other.
    makeTree(QJsonObject{{"_get", QJsonObject{{"response", kGetMotor}}}, {"operate", "x"}});
    autoBindGet(receiver.get(), root.get());
    QVERIFY(ask(kGetOperate));
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("x"));
}

void tst_Binding::getListWhenStringEmpty()
{
    fixture.sim.robot()->setPower(QStringLiteral("on"));
    makeTree(QJsonObject{
        {"_get", QJsonObject{{"response", QJsonArray{kGetMotor, kGetOperate}}}},
        {"power", ""},
        {"operate", ""},
    });
    QVERIFY(node(QStringLiteral("_get.response"))->getString().isEmpty());
    autoBindGet(receiver.get(), root.get());

    QSignalSpy changes(root.get(), &velk::ModuleObject::changed);
    QVERIFY(ask(kGetMotor));
    QCOMPARE(node(QStringLiteral("power"))->getString(), QStringLiteral("on"));
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QString());
    QVERIFY(ask(kGetOperate));
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("manual"));
    QCOMPARE(changes.count(), 2);
}

void tst_Binding::getWithoutSourcesConnectsNothing()
{
    fixture.sim.robot()->setPower(QStringLiteral("on"));
    makeTree(QJsonObject{
        {"_get", QJsonObject{{"request", kGetMotor}}},
        {"power", "outer"},
        {"inner", QJsonObject{{"_get", QJsonObject{{"response", kGetMotor}}}, {"power", "inner"}}},
    });
    QVERIFY(root->hasCmobj(QStringLiteral("_get")));
    autoBindGet(receiver.get(), root.get());

    QSignalSpy outer(root.get(), &velk::ModuleObject::changed);
    QSignalSpy inner(node(QStringLiteral("inner")), &velk::ModuleObject::changed);
    QVERIFY(ask(kGetMotor));
    QCOMPARE(node(QStringLiteral("power"))->getString(), QStringLiteral("outer"));
    QCOMPARE(node(QStringLiteral("inner.power"))->getString(), QStringLiteral("inner"));
    QCOMPARE(outer.count(), 0);
    QCOMPARE(inner.count(), 0);
}

void tst_Binding::getNoDescentBelowDeclaration()
{
    fixture.sim.robot()->setPower(QStringLiteral("on"));
    makeTree(QJsonObject{
        {"_get", QJsonObject{{"response", kGetOperate}}},
        {"operate", ""},
        {"inner", QJsonObject{{"_get", QJsonObject{{"response", kGetMotor}}}, {"power", "x"}}},
    });
    autoBindGet(receiver.get(), root.get());

    QVERIFY(ask(kGetMotor));
    QCOMPARE(node(QStringLiteral("inner.power"))->getString(), QStringLiteral("x"));
    QVERIFY(ask(kGetOperate));
    QCOMPARE(node(QStringLiteral("operate"))->getString(), QStringLiteral("manual"));
    QCOMPARE(node(QStringLiteral("inner.power"))->getString(), QStringLiteral("x"));
}

void tst_Binding::getConnectionsEndWithReceiver()
{
    fixture.sim.robot()->setPower(QStringLiteral("on"));
    makeTree(QJsonObject{{"_get", QJsonObject{{"response", kGetMotor}}}, {"power", "before"}});
    autoBindGet(receiver.get(), root.get());
    receiver.reset();

    QVERIFY(ask(kGetMotor));
    QCOMPARE(node(QStringLiteral("power"))->getString(), QStringLiteral("before"));
}

void tst_Binding::setUserChangeSendsRequest()
{
    makeTree(QJsonObject{
        {"controller", QJsonObject{{"_set", QJsonObject{{"request", kSetParams}}},
                                   {"alias", "cell-0"},
                                   {"time_zone", "UTC+01:00"},
                                   {"auto_load_project", false}}},
    });
    root->watch(true, true);
    autoBindSet(receiver.get(), root.get());

    velk::ModuleObject* controller = node(QStringLiteral("controller"));
    QSignalSpy activations(controller, &velk::ModuleObject::activated);
    QSignalSpy received(&fixture.sim, &RcSimulator::requestReceived);
    node(QStringLiteral("controller.alias"))->set(user.get(), QStringLiteral("cell-7"));
    QVERIFY(received.wait(5000));
    QCOMPARE(sentCount(kSetParams), 1);
    QJsonObject data;
    for (const QJsonObject& packet : qAsConst(sent)) {
        if (fullName(packet) == kSetParams) {
            data = packet.value(QLatin1String("data")).toObject();
        }
    }
    QCOMPARE(data.value(QLatin1String("alias")).toString(), QStringLiteral("cell-7"));
    QCOMPARE(data.value(QLatin1String("time_zone")).toString(), QStringLiteral("UTC+01:00"));
    QVERIFY(!data.contains(QLatin1String("_set")));

    // The answer activates the node on the controller's behalf.
    velk::ModuleObject* command = rc()->cmdMobj(kSetParams);
    auto answerActivation = [&]() -> int {
        for (int i = 0; i < activations.count(); ++i) {
            const QList<QVariant>& args = activations.at(i);
            if (args.at(2).value<QObject*>() == rc()) {
                return i;
            }
        }
        return -1;
    };
    QTRY_VERIFY_WITH_TIMEOUT(answerActivation() >= 0, 5000);
    const QList<QVariant> args = activations.at(answerActivation());
    QCOMPARE(args.at(0).value<velk::ModuleObject*>(), command);
    QCOMPARE(args.at(1).toInt(), int(velk::ActivateData));
    QCOMPARE(command->getBool(false), true);
    QCOMPARE(fixture.sim.robot()->alias(), QStringLiteral("cell-7"));

    // ... and that activation is not sent back.
    QVERIFY(drain());
    QCOMPARE(sentCount(kSetParams), 1);
}

void tst_Binding::setRefusalActivatesWithFalse()
{
    makeTree(QJsonObject{{"_set", QJsonObject{{"request", kSetParams}}},
                         {"alias", "cell-0"},
                         {"auto_load_project", false}});
    root->watch(true, true);
    autoBindSet(receiver.get(), root.get());

    QSignalSpy activations(root.get(), &velk::ModuleObject::activated);
    // A text where the controller expects a boolean is refused.
    node(QStringLiteral("auto_load_project"))->set(user.get(), QStringLiteral("yes"));
    QTRY_VERIFY_WITH_TIMEOUT(std::any_of(activations.cbegin(), activations.cend(),
                                         [](const QList<QVariant>& args) {
                                             return args.at(2).value<QObject*>() == rc();
                                         }),
                             5000);
    QCOMPARE(rc()->cmdMobj(kSetParams)->getBool(true), false);

    // The request template keeps what was copied in: put it back.
    rc()->requestMobj(kSetParams)->cmobj(QStringLiteral("auto_load_project"))->set(nullptr, false);
}

void tst_Binding::setIgnoresControllerAndReceiverChanges()
{
    makeTree(QJsonObject{{"_set", QJsonObject{{"request", kSetParams}}}, {"alias", "cell-0"}});
    root->watch(true, true);
    autoBindSet(receiver.get(), root.get());

    node(QStringLiteral("alias"))->set(rc(), QStringLiteral("from-controller"));
    node(QStringLiteral("alias"))->set(receiver.get(), QStringLiteral("from-receiver"));
    QVERIFY(drain());
    QCOMPARE(sentCount(kSetParams), 0);

    // Any other origin is a user's change.
    node(QStringLiteral("alias"))->set(nullptr, QStringLiteral("cell-9"));
    QVERIFY(drain());
    QCOMPARE(sentCount(kSetParams), 1);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.sim.robot()->alias(), QStringLiteral("cell-9"), 5000);
}

void tst_Binding::setAndGetOnOneNodeDoNotEcho()
{
    // A setting page binds both ways: reading the controller's values must
    // not write them straight back.
    fixture.sim.robot()->setAlias(QStringLiteral("cell-echo"));
    makeTree(QJsonObject{{"_get", QJsonObject{{"response", kGetParams}}},
                         {"_set", QJsonObject{{"request", kSetParams}}},
                         {"alias", ""}});
    root->watch(true, true);
    autoBindGet(receiver.get(), root.get());
    autoBindSet(receiver.get(), root.get());

    QVERIFY(ask(kGetParams));
    QCOMPARE(node(QStringLiteral("alias"))->getString(), QStringLiteral("cell-echo"));
    QVERIFY(drain());
    QCOMPARE(sentCount(kSetParams), 0);
}

void tst_Binding::setWithoutRequestConnectsNothing()
{
    makeTree(QJsonObject{
        {"_set", QJsonObject{{"response", kSetParams}}},
        {"alias", "outer"},
        {"inner", QJsonObject{{"_set", QJsonObject{{"request", kSetParams}}}, {"alias", "inner"}}},
    });
    root->watch(true, true);
    autoBindSet(receiver.get(), root.get());

    node(QStringLiteral("alias"))->set(user.get(), QStringLiteral("outer-2"));
    node(QStringLiteral("inner.alias"))->set(user.get(), QStringLiteral("inner-2"));
    QVERIFY(drain());
    QCOMPARE(sentCount(kSetParams), 0);

    // Nor is the answer of someone else's request passed on to it.
    QSignalSpy activations(root.get(), &velk::ModuleObject::activated);
    QVERIFY(rc()->request(kSetParams, nullptr));
    QVERIFY(drain());
    for (const QList<QVariant>& args : qAsConst(activations)) {
        QVERIFY(args.at(2).value<QObject*>() != rc());
    }
}

void tst_Binding::refreshComboBoxEditable()
{
    QComboBox box;
    box.setEditable(true);
    box.addItems({"a", "b"});
    box.lineEdit()->setText(QStringLiteral("typed by hand"));

    refreshComboBox(&box, {"x", "y", "z"});
    QCOMPARE(box.count(), 3);
    QCOMPARE(box.itemText(2), QStringLiteral("z"));
    QCOMPARE(box.lineEdit()->text(), QStringLiteral("typed by hand"));

    refreshComboBox(&box, {});
    QCOMPARE(box.count(), 0);
    QCOMPARE(box.lineEdit()->text(), QStringLiteral("typed by hand"));

    refreshComboBox(nullptr, {"ignored"});
}

void tst_Binding::refreshComboBoxSelection_data()
{
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<int>("selected");
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<int>("expectedIndex");
    QTest::addColumn<QString>("expectedText");

    QTest::newRow("kept at a new place")
        << QStringList{"a", "b", "c"} << 1 << QStringList{"c", "b"} << 1 << "b";
    QTest::newRow("gone: first item")
        << QStringList{"a", "b", "c"} << 2 << QStringList{"x", "y"} << 0 << "x";
    QTest::newRow("case matters") << QStringList{"Auto"} << 0 << QStringList{"manual", "auto"} << 0
                                  << "manual";
    QTest::newRow("empty list") << QStringList{"a", "b"} << 1 << QStringList{} << -1 << "";
    QTest::newRow("from empty box") << QStringList{} << -1 << QStringList{"a", "b"} << 0 << "a";
}

void tst_Binding::refreshComboBoxSelection()
{
    QFETCH(QStringList, before);
    QFETCH(int, selected);
    QFETCH(QStringList, items);
    QFETCH(int, expectedIndex);
    QFETCH(QString, expectedText);

    QComboBox box;
    box.addItems(before);
    box.setCurrentIndex(selected);
    refreshComboBox(&box, items);
    QCOMPARE(box.count(), items.size());
    for (int i = 0; i < items.size(); ++i) {
        QCOMPARE(box.itemText(i), items.at(i));
    }
    QCOMPARE(box.currentIndex(), expectedIndex);
    QCOMPARE(box.currentText(), expectedText);
}

void tst_Binding::varDoubleToString_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("1.5") << QVariant(1.5) << "1.5";
    QTest::newRow("2.0") << QVariant(2.0) << "2";
    QTest::newRow("0.1 + 0.2") << QVariant(0.1 + 0.2) << "0.3";
    QTest::newRow("-0.0") << QVariant(-0.0) << "-0";
    QTest::newRow("100") << QVariant(100) << "100";
    QTest::newRow("1e-12") << QVariant(1e-12) << "0";
    QTest::newRow("0") << QVariant(0.0) << "0";
    QTest::newRow("-1e-12") << QVariant(-1e-12) << "-0";
    QTest::newRow("eleven decimals") << QVariant(0.12345678901) << "0.12345678901";
    QTest::newRow("negative") << QVariant(-12.25) << "-12.25";
    QTest::newRow("text") << QVariant(QStringLiteral("2.50")) << "2.5";
    QTest::newRow("invalid") << QVariant() << "0";
}

void tst_Binding::varDoubleToString()
{
    QFETCH(QVariant, value);
    QFETCH(QString, expected);
    QCOMPARE(::varDoubleToString(value), expected);
}

void tst_Binding::varListToStringList()
{
    QCOMPARE(::varListToStringList({1, QStringLiteral("a"), 2.5, true, QVariant()}),
             (QStringList{"1", "a", "2.5", "true", ""}));
    QCOMPARE(::varListToStringList({}), QStringList());
}

QTEST_MAIN(tst_Binding)
#include "tst_binding.moc"
