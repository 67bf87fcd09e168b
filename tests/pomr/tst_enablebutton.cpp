#include <pomr/enablebutton.h>

#include <QSignalSpy>
#include <QTest>

class tst_EnableButton : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clickFlipsAndEmits();
    void setOnIsSilent();
    void disabledIgnoresClicks();
};

void tst_EnableButton::clickFlipsAndEmits()
{
    pomr::EnableButton button;
    button.resize(button.sizeHint());
    QSignalSpy spy(&button, &pomr::EnableButton::enabled);
    QVERIFY(!button.isOn());

    QTest::mouseClick(&button, Qt::LeftButton);
    QCOMPARE(button.isOn(), true);
    QTest::mouseClick(&button, Qt::LeftButton);
    QCOMPARE(button.isOn(), false);

    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toBool(), true);
    QCOMPARE(spy.at(1).at(0).toBool(), false);
}

void tst_EnableButton::setOnIsSilent()
{
    pomr::EnableButton button;
    QSignalSpy spy(&button, &pomr::EnableButton::enabled);
    QSignalSpy toggled(&button, &QAbstractButton::toggled);
    button.setOn(true);
    QVERIFY(button.isOn());
    button.setOn(false);
    QVERIFY(!button.isOn());
    QCOMPARE(spy.count(), 0);
    QCOMPARE(toggled.count(), 0);
}

void tst_EnableButton::disabledIgnoresClicks()
{
    pomr::EnableButton button;
    button.resize(button.sizeHint());
    button.setEnabled(false);
    QSignalSpy spy(&button, &pomr::EnableButton::enabled);
    QTest::mouseClick(&button, Qt::LeftButton);
    QCOMPARE(spy.count(), 0);
    QVERIFY(!button.isOn());
}

QTEST_MAIN(tst_EnableButton)
#include "tst_enablebutton.moc"
