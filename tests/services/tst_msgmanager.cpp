#include "modalcloser.h"

#include "services/msgmanager.h"

#include <QPushButton>
#include <QtTest>

#include <memory>

Q_DECLARE_METATYPE(QMessageBox::StandardButton)
Q_DECLARE_METATYPE(QMessageBox::StandardButtons)
Q_DECLARE_METATYPE(QMessageBox::Icon)
Q_DECLARE_METATYPE(QMessageBox::ButtonRole)

namespace {

// Written out here rather than taken from the code: the look is fixed.
const char* const kStyle =
    "QMessageBox{border:2px solid rgb(218,221,223);background-color:rgb(255,255,255);}"
    "QPushButton:focus{outline: none;}"
    "QPushButton{padding:10px;min-width:100px;border:hide;background-color:rgb(51,51,51);"
    "color:rgb(255,255,255);}QPushButton:pressed{background-color:rgb(150,150,150);}";

// What a box looked like while it was open.
struct Seen
{
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    Qt::WindowFlags flags;
    QWidget* parent = nullptr;
    QAbstractButton* defaultButton = nullptr;
    QMessageBox::StandardButton defaultStandard = QMessageBox::NoButton;
    QStringList labels;
};

Seen look(QMessageBox* box)
{
    Seen s;
    s.title = box->windowTitle();
    s.text = box->text();
    s.icon = box->icon();
    s.flags = box->windowFlags();
    s.parent = box->parentWidget();
    s.defaultButton = box->defaultButton();
    s.defaultStandard = box->standardButton(box->defaultButton());
    const QList<QAbstractButton*> buttons = box->buttons();
    for (QAbstractButton* b : buttons) {
        s.labels.append(b->text());
    }
    s.labels.sort();
    return s;
}

} // namespace

class tst_MsgManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void name();
    void titleAndIcon_data();
    void titleAndIcon();
    void boxLook();
    void buttonLabels_data();
    void buttonLabels();
    void showMsgReturnsPressedButton_data();
    void showMsgReturnsPressedButton();
    void showUniqueMsgShowsEveryBox();
    void showMsgBoxRole_data();
    void showMsgBoxRole();
};

void tst_MsgManager::name()
{
    MsgManager manager;
    QCOMPARE(manager.name(), QStringLiteral("msg"));
    QVERIFY(!MsgManager::hasMsgBox(QStringLiteral("any")));
    MsgManager::clearErrorMsg();
    MsgManager::clearUniqueErrorMsg(42);
    QVERIFY(!MsgManager::hasMsgBox(QStringLiteral("42")));
}

void tst_MsgManager::titleAndIcon_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QMessageBox::Icon>("icon");
    QTest::newRow("0 default") << 0 << "Info!" << QMessageBox::NoIcon;
    QTest::newRow("1 warning looks informational") << 1 << "Warning" << QMessageBox::Information;
    QTest::newRow("2 information") << 2 << "Information" << QMessageBox::Information;
    QTest::newRow("3 question") << 3 << "Question" << QMessageBox::Question;
    QTest::newRow("4 warning alert") << 4 << "Warning!" << QMessageBox::Warning;
    QTest::newRow("5 error") << 5 << "Error!" << QMessageBox::Critical;
    QTest::newRow("6 fatal") << 6 << "ERROR" << QMessageBox::Critical;
    QTest::newRow("7 out of range") << 7 << "Info!" << QMessageBox::NoIcon;
    QTest::newRow("-1 out of range") << -1 << "Info!" << QMessageBox::NoIcon;
    QTest::newRow("1000 out of range") << 1000 << "Info!" << QMessageBox::NoIcon;
}

void tst_MsgManager::titleAndIcon()
{
    QFETCH(int, type);
    QFETCH(QString, title);
    QFETCH(QMessageBox::Icon, icon);

    QCOMPARE(MsgManager::title(MSG_TYPE(type)), title);
    QCOMPARE(MsgManager::icon(MSG_TYPE(type)), icon);
    std::unique_ptr<QMessageBox> box(
        MsgManager::buildMsgBox(nullptr, MSG_TYPE(type), QStringLiteral("body")));
    QVERIFY(box);
    QCOMPARE(box->windowTitle(), title);
    QCOMPARE(box->icon(), icon);
    QCOMPARE(box->text(), QStringLiteral("body"));
}

void tst_MsgManager::boxLook()
{
    QWidget parent;
    std::unique_ptr<QMessageBox> box(
        MsgManager::buildMsgBox(&parent, MSG_ERROR, QStringLiteral("text")));
    QVERIFY(box);
    QVERIFY(!box->parentWidget());
    QVERIFY(box->isWindow());
    QVERIFY(!box->isVisible());
    QCOMPARE(int(box->windowFlags()), 0x40803);
    QCOMPARE(box->windowFlags(), Qt::Dialog | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    QCOMPARE(box->minimumHeight(), 300);
    QCOMPARE(box->maximumWidth(), 600);
    QCOMPARE(box->styleSheet(), QString::fromLatin1(kStyle));
    QCOMPARE(box->styleSheet().size(), 277);
    QCOMPARE(MsgManager::styleSheet(), QString::fromLatin1(kStyle));
    QVERIFY(box->buttons().isEmpty());
}

void tst_MsgManager::buttonLabels_data()
{
    QTest::addColumn<QMessageBox::StandardButton>("button");
    QTest::addColumn<QString>("label");
    QTest::newRow("Ok") << QMessageBox::Ok << "OK";
    QTest::newRow("Cancel") << QMessageBox::Cancel << "Cancel";
    QTest::newRow("Save") << QMessageBox::Save << "Save";
    QTest::newRow("Discard") << QMessageBox::Discard << "Discard";
    QTest::newRow("Yes") << QMessageBox::Yes << "Yes";
    QTest::newRow("No") << QMessageBox::No << "No";
    QTest::newRow("Retry") << QMessageBox::Retry << "Retry";
    QTest::newRow("Ignore") << QMessageBox::Ignore << "Above";
    QTest::newRow("Apply") << QMessageBox::Apply << "Below";
    QTest::newRow("Help") << QMessageBox::Help << "Auxiliary point";
    QTest::newRow("Reset") << QMessageBox::Reset << "End point";
}

void tst_MsgManager::buttonLabels()
{
    QFETCH(QMessageBox::StandardButton, button);
    QFETCH(QString, label);

    std::unique_ptr<QMessageBox> box(
        MsgManager::buildMsgBox(nullptr, MSG_QUESTION, QStringLiteral("text")));
    box->setStandardButtons(button);
    MsgManager::applyButtonLabels(box.get());
    QVERIFY(box->button(button));
    QCOMPARE(box->button(button)->text(), label);
    // Labels for buttons the box does not have create nothing.
    QCOMPARE(box->buttons().size(), 1);
}

void tst_MsgManager::showMsgReturnsPressedButton_data()
{
    QTest::addColumn<QMessageBox::StandardButtons>("buttons");
    QTest::addColumn<QMessageBox::StandardButton>("defaultButton");
    QTest::addColumn<QMessageBox::StandardButton>("press");
    QTest::addColumn<QStringList>("labels");
    QTest::newRow("ok") << QMessageBox::StandardButtons(QMessageBox::Ok) << QMessageBox::NoButton
                        << QMessageBox::Ok << QStringList{"OK"};
    QTest::newRow("yes of yes/no")
        << QMessageBox::StandardButtons(QMessageBox::Yes | QMessageBox::No) << QMessageBox::No
        << QMessageBox::Yes << QStringList{"No", "Yes"};
    QTest::newRow("below of above/below")
        << QMessageBox::StandardButtons(QMessageBox::Ignore | QMessageBox::Apply)
        << QMessageBox::Ignore << QMessageBox::Apply << QStringList{"Above", "Below"};
    QTest::newRow("end point") << QMessageBox::StandardButtons(
                                      QMessageBox::Help | QMessageBox::Reset | QMessageBox::Cancel)
                               << QMessageBox::Cancel << QMessageBox::Reset
                               << QStringList{"Auxiliary point", "Cancel", "End point"};
}

void tst_MsgManager::showMsgReturnsPressedButton()
{
    QFETCH(QMessageBox::StandardButtons, buttons);
    QFETCH(QMessageBox::StandardButton, defaultButton);
    QFETCH(QMessageBox::StandardButton, press);
    QFETCH(QStringList, labels);

    QWidget parent;
    Seen seen;
    QPointer<QMessageBox> shown;
    ModalCloser closer([&](QMessageBox* box) {
        seen = look(box);
        shown = box;
        ModalCloser::press(press)(box);
    });
    const QMessageBox::StandardButton result = MsgManager::showMsg(
        &parent, MSG_WARNING_ALERT, QStringLiteral("careful"), buttons, defaultButton);
    QVERIFY(!closer.timedOut());
    QCOMPARE(closer.seen(), 1);
    QCOMPARE(result, press);
    QCOMPARE(seen.title, QStringLiteral("Warning!"));
    QCOMPARE(seen.text, QStringLiteral("careful"));
    QCOMPARE(seen.icon, QMessageBox::Warning);
    QCOMPARE(int(seen.flags), 0x40803);
    QVERIFY(!seen.parent);
    QCOMPARE(seen.labels, labels);
    if (defaultButton != QMessageBox::NoButton) {
        QCOMPARE(seen.defaultStandard, defaultButton);
    }
    // The box is gone once the call returns.
    QVERIFY(shown.isNull());
}

void tst_MsgManager::showUniqueMsgShowsEveryBox()
{
    QStringList texts;
    ModalCloser closer([&](QMessageBox* box) {
        texts.append(box->text());
        ModalCloser::press(QMessageBox::Ok)(box);
    });
    for (int i = 0; i < 2; ++i) {
        const QMessageBox::StandardButton result = MsgManager::showUniqueMsg(
            nullptr, MSG_ERROR, QStringLiteral("same-key"), true, QStringLiteral("box %1").arg(i),
            QMessageBox::Ok, QMessageBox::Ok);
        QCOMPARE(result, QMessageBox::Ok);
    }
    QVERIFY(!closer.timedOut());
    QCOMPARE(closer.seen(), 2);
    QCOMPARE(texts, (QStringList{"box 0", "box 1"}));
    QVERIFY(!MsgManager::hasMsgBox(QStringLiteral("same-key")));
}

void tst_MsgManager::showMsgBoxRole_data()
{
    QTest::addColumn<QMessageBox::StandardButtons>("buttons");
    QTest::addColumn<QMessageBox::StandardButton>("press");
    QTest::addColumn<QMessageBox::ButtonRole>("role");
    QTest::newRow("closed without a button") << QMessageBox::StandardButtons(QMessageBox::NoButton)
                                             << QMessageBox::NoButton << QMessageBox::NoRole;
    QTest::newRow("closed although it has buttons")
        << QMessageBox::StandardButtons(QMessageBox::Yes | QMessageBox::No) << QMessageBox::NoButton
        << QMessageBox::NoRole;
    QTest::newRow("yes") << QMessageBox::StandardButtons(QMessageBox::Yes | QMessageBox::No)
                         << QMessageBox::Yes << QMessageBox::YesRole;
    QTest::newRow("cancel") << QMessageBox::StandardButtons(QMessageBox::Ok | QMessageBox::Cancel)
                            << QMessageBox::Cancel << QMessageBox::RejectRole;
    QTest::newRow("ok") << QMessageBox::StandardButtons(QMessageBox::Ok | QMessageBox::Cancel)
                        << QMessageBox::Ok << QMessageBox::AcceptRole;
}

void tst_MsgManager::showMsgBoxRole()
{
    QFETCH(QMessageBox::StandardButtons, buttons);
    QFETCH(QMessageBox::StandardButton, press);
    QFETCH(QMessageBox::ButtonRole, role);

    QPointer<QMessageBox> box = MsgManager::buildMsgBox(nullptr, MSG_QUESTION, QStringLiteral("?"));
    box->setStandardButtons(buttons);
    ModalCloser closer([press](QMessageBox* open) {
        if (press == QMessageBox::NoButton) {
            open->reject();
        } else {
            ModalCloser::press(press)(open);
        }
    });
    QCOMPARE(MsgManager::showMsgBox(box), role);
    QVERIFY(!closer.timedOut());
    QCOMPARE(closer.seen(), 1);
    // The caller still owns the box.
    QVERIFY(!box.isNull());
    delete box;
}

QTEST_MAIN(tst_MsgManager)

#include "tst_msgmanager.moc"
