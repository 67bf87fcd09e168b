#include <pomr/enablebutton.h>

#include <QtTest>

class tst_EnableButton : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyClicksEmit()
    {
        pomr::EnableButton button;
        button.resize(button.sizeHint());
        QSignalSpy spy(&button, &pomr::EnableButton::enabled);
        QSignalSpy toggled(&button, &QAbstractButton::toggled);
        // Set as a page loads: that is no user's edit.
        button.setOn(true);
        QVERIFY(button.isOn() && spy.isEmpty() && toggled.isEmpty());
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(!button.isOn());
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(button.isOn());
        QCOMPARE(spy, (QList<QList<QVariant>>{{false}, {true}}));
    }
};

QTEST_MAIN(tst_EnableButton)
#include "tst_enablebutton.moc"
