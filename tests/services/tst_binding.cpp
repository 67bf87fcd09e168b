// Declarative binding of module-object trees to controller messages, end to
// end against the simulated controller, and the small display helpers.

#include "linkfixture.h"

#include "services/binding.h"
#include "simrobot.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QComboBox>
#include <QLineEdit>

#include <memory>

namespace {

const QString kGetMotor = QStringLiteral("system.state.get_motor");
const QString kGetOperate = QStringLiteral("system.state.get_operate");
const QString kSetParams = QStringLiteral("system.controller.set_params");

QJsonObject get(const QJsonValue& names)
{
    return QJsonObject{{"response", names}};
}

} // namespace

class tst_Binding : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    QObject receiver; // origin of bound writes
    std::unique_ptr<velk::ModuleObject> root;
    QList<QJsonObject> setRequests;

    void bind(const QJsonObject& json)
    {
        root.reset(new velk::ModuleObject("page"));
        root->importFromJson(nullptr, json, true, false, false);
        root->watch(true, true);
        autoBindGet(&receiver, root.get());
        autoBindSet(&receiver, root.get());
    }

    QString value(const QString& path) const { return root->rmobj(path)->getString(); }

    // Everything the simulator sent before has been handled once this returns.
    static bool drain()
    {
        return rc()->execRequest("system", "controller.heart", QJsonValue(), false)->getBool();
    }

    // A request, waited for until its answer was dispatched.
    static bool ask(const QString& name)
    {
        QSignalSpy answered(rc()->cmdMobj(name), &velk::ModuleObject::changed);
        return rc()->request(name, nullptr) && answered.wait(5000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        qRegisterMetaType<velk::ModuleObject*>();
        connect(&fixture.sim, &zarvo::sim::RcSimulator::requestReceived, this,
                [this](const QJsonObject& packet) {
                    if (packet.value("command") == "controller.set_params") {
                        setRequests.append(packet.value("data").toObject());
                    }
                });
        QVERIFY(fixture.start());
        fixture.sim.robot()->setPower("on");
    }

    void init()
    {
        QVERIFY(drain());
        setRequests.clear();
    }

    void cleanupTestCase() { fixture.stop(); }

    void getDeclarations()
    {
        const QJsonObject inner{{"_get", get(kGetMotor)}, {"power", "x"}};
        bind({{"motor", QJsonObject{{"_get", get(kGetMotor)}, {"power", "?"}, {"extra", "keep"}}},
              // Nothing below a declaration is bound.
              {"operate", QJsonObject{{"_get", get(kGetOperate)}, {"inner", inner}}},
              // Nor "_get" without "response" or "notify", nor "_set" without "request".
              {"none", QJsonObject{{"_get", QJsonObject{{"request", kGetMotor}}},
                                   {"_set", QJsonObject{{"response", kSetParams}}},
                                   {"power", "x"},
                                   {"alias", "x"}}}});
        QSignalSpy changes(root->rmobj("motor"), &velk::ModuleObject::changed);
        QSignalSpy none(root->rmobj("none"), &velk::ModuleObject::changed);
        QVERIFY(ask(kGetMotor));
        QCOMPARE(value("motor.power"), QString("on"));
        QCOMPARE(value("motor.extra"), QString("keep"));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.at(0).at(2).value<QObject*>(), &receiver);
        QCOMPARE(value("operate.inner.power"), QString("x"));
        QCOMPARE(none.count(), 0);
        root->rmobj("none.alias")->set(nullptr, QString("by user"));
        QVERIFY(drain());
        QVERIFY(setRequests.isEmpty());
    }

    void getStringWinsOverList()
    {
        // A one-name list reads as the string too; only the string may count, or
        // the source would be bound twice.
        bind({{"_get", get("")}, {"power", ""}});
        root->rmobj("_get.response")->set(nullptr, QVariant(QStringList{kGetMotor}));
        autoBindGet(&receiver, root.get());
        QSignalSpy changes(root.get(), &velk::ModuleObject::changed);
        QVERIFY(ask(kGetMotor));
        QCOMPARE(changes.count(), 1);
        // The list counts when the string is empty.
        bind({{"_get", get(QJsonArray{kGetOperate, kGetMotor})}, {"power", ""}});
        QVERIFY(ask(kGetMotor));
        QCOMPARE(value("power"), QString("on"));
    }

    void setSendsOnlyOthersChanges()
    {
        bind({{"_set", QJsonObject{{"request", kSetParams}}},
              {"alias", "cell-0"},
              {"time_zone", "UTC+01:00"}});
        velk::ModuleObject* alias = root->rmobj("alias");
        alias->set(rc(), QString("from controller"));
        alias->set(&receiver, QString("from receiver"));
        QVERIFY(drain());
        QVERIFY(setRequests.isEmpty());

        QSignalSpy activations(root.get(), &velk::ModuleObject::activated);
        alias->set(nullptr, QString("cell-7"));
        QTRY_COMPARE_WITH_TIMEOUT(fixture.sim.robot()->alias(), QString("cell-7"), 5000);
        QCOMPARE(setRequests.size(), 1);
        QCOMPARE(setRequests.first().value("time_zone"), QJsonValue("UTC+01:00"));
        QVERIFY(!setRequests.first().contains("_set"));

        // The answer activates the node on the controller's behalf, and is not sent back.
        QTRY_VERIFY_WITH_TIMEOUT(
            !activations.isEmpty() && activations.last().at(2).value<QObject*>() == rc(), 5000);
        QCOMPARE(activations.last().at(0).value<velk::ModuleObject*>(), rc()->cmdMobj(kSetParams));
        QCOMPARE(activations.last().at(1).toInt(), int(velk::ActivateData));
        QVERIFY(rc()->cmdMobj(kSetParams)->getBool(false));
        QVERIFY(drain());
        QCOMPARE(setRequests.size(), 1);
    }

    void refreshComboBox_data()
    {
        QTest::addColumn<bool>("editable");
        QTest::addColumn<int>("selected");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("text");
        // Before: "a", "b", "c"; an editable box shows "typed".
        QTest::newRow("kept at a new place") << false << 1 << QStringList{"c", "b"} << "b";
        QTest::newRow("gone: first item") << false << 0 << QStringList{"x", "A"} << "x";
        QTest::newRow("empty list") << false << 1 << QStringList{} << "";
        QTest::newRow("editable keeps the text") << true << 0 << QStringList{"x", "y"} << "typed";
        QTest::newRow("editable, empty list") << true << 0 << QStringList{} << "typed";
    }

    void refreshComboBox()
    {
        QFETCH(bool, editable);
        QFETCH(int, selected);
        QFETCH(QStringList, items);
        QFETCH(QString, text);
        QComboBox box;
        box.setEditable(editable);
        box.addItems({"a", "b", "c"});
        box.setCurrentIndex(selected);
        if (editable) {
            box.lineEdit()->setText("typed");
        }
        ::refreshComboBox(&box, items);
        QCOMPARE(box.count(), items.size());
        QCOMPARE(box.currentText(), text);
        ::refreshComboBox(nullptr, items);
    }

    void varDoubleToString_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("expected");
        auto row = [](const char* tag, const QVariant& value, const char* expected) {
            QTest::newRow(tag) << value << QString(expected);
        };
        row("0.1 + 0.2", 0.1 + 0.2, "0.3");
        row("-0.0", -0.0, "-0");
        row("-1e-12", -1e-12, "-0");
        row("1e-12", 1e-12, "0");
        row("100", 100, "100");
        row("2.0", 2.0, "2");
        row("eleven decimals", 0.12345678901, "0.12345678901");
        row("text", "2.50", "2.5");
        row("invalid", QVariant(), "0");
    }

    void varDoubleToString()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, expected);
        QCOMPARE(::varDoubleToString(value), expected);
    }
};

QTEST_MAIN(tst_Binding)
#include "tst_binding.moc"
