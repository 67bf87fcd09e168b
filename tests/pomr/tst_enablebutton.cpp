#include <pomr/enablebutton.h>

#include <QtTest>

class tst_EnableButton : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clickFlipsAndEmits()
    {
        pomr::EnableButton button;
        button.resize(button.sizeHint());
        QSignalSpy spy(&button, &pomr::EnableButton::enabled);
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(button.isOn());
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(!button.isOn());
        QCOMPARE(spy, (QList<QList<QVariant>>{{true}, {false}}));
    }

    void setOnIsSilent()
    {
        pomr::EnableButton button;
        QSignalSpy spy(&button, &pomr::EnableButton::enabled);
        QSignalSpy toggled(&button, &QAbstractButton::toggled);
        button.setOn(true);
        QVERIFY(button.isOn());
        QCOMPARE(spy.count() + toggled.count(), 0);
    }
};

QTEST_MAIN(tst_EnableButton)
#include "tst_enablebutton.moc"
