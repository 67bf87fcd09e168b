// The touch slider driven by mouse as a finger would: the handle follows the
// value, drags report once at the end, arrows step, a bound resource is
// followed only while the slider is shown.

#include "widgets/touchableslider.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QPushButton>
#include <QtTest>

namespace {

QPushButton* part(TouchableSlider& slider, const char* name)
{
    return slider.findChild<QPushButton*>(QLatin1String(name));
}

// Left edge of the handle measured from the groove's start, and its travel.
int handleOffset(TouchableSlider& slider)
{
    return part(slider, "btnHandle")->x() - part(slider, "btnLeft")->width();
}
int travel(TouchableSlider& slider)
{
    return part(slider, "btnGroove")->width() - part(slider, "btnHandle")->width();
}

void moveHandle(QPushButton* handle, int x)
{
    // A move while the button is held, in the handle's own coordinates.
    const QPoint local(x, handle->height() / 2);
    QMouseEvent move(QEvent::MouseMove, local, handle->mapToGlobal(local), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(handle, &move);
}

} // namespace

class tst_TouchableSlider : public QObject
{
    Q_OBJECT

    QObject m_owner; // owner of the bound resource

    void showSlider(TouchableSlider& slider)
    {
        slider.resize(400, 38);
        slider.show();
        QVERIFY(QTest::qWaitForWindowExposed(&slider));
        QVERIFY(travel(slider) > 100);
    }

private Q_SLOTS:
    void rangeAndHandle_data()
    {
        QTest::addColumn<int>("min");
        QTest::addColumn<int>("max");
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("expected");
        QTest::addColumn<int>("position"); // 0 left, 1 middle, 2 right end

        QTest::newRow("within") << 0 << 100 << 50 << 50 << 1;
        QTest::newRow("below min") << 10 << 20 << 3 << 10 << 0;
        QTest::newRow("above max") << 0 << 100 << 101 << 100 << 2;
        QTest::newRow("negative range") << -50 << 50 << 0 << 0 << 1;
        QTest::newRow("whole int range")
            << std::numeric_limits<int>::min() << std::numeric_limits<int>::max() << 0 << 0 << 1;
        // Degenerate ranges: no crash, the value clamped, the handle at the left.
        QTest::newRow("min equals max") << 7 << 7 << 50 << 7 << 0;
        QTest::newRow("min above max") << 60 << 40 << 50 << 40 << 0;
    }

    void rangeAndHandle()
    {
        QFETCH(int, min);
        QFETCH(int, max);
        QFETCH(int, value);
        QFETCH(int, expected);
        QFETCH(int, position);

        TouchableSlider slider;
        showSlider(slider);
        QSignalSpy changed(&slider, &TouchableSlider::valueChanged);
        slider.setProperty("m_min", min);
        slider.setProperty("m_max", max);
        slider.setProperty("m_value", value);
        QCOMPARE(slider.value(), expected);
        const int offset = handleOffset(slider);
        const int span = travel(slider);
        QCOMPARE(offset, position == 0 ? 0 : position == 2 ? span : span / 2);
        QVERIFY(changed.isEmpty());
        // Vertically centred over the slider.
        QPushButton* handle = part(slider, "btnHandle");
        QCOMPARE(handle->y(), (slider.height() - handle->height()) / 2);
    }

    void lowerMaxPullsValueDown()
    {
        TouchableSlider slider;
        showSlider(slider);
        QSignalSpy changed(&slider, &TouchableSlider::valueChanged);
        slider.setValue(80);
        slider.setMax(50);
        QCOMPARE(slider.value(), 50);
        QCOMPARE(handleOffset(slider), travel(slider));
        // A wider slider places the handle again at its new right end.
        slider.resize(600, 38);
        QCOMPARE(handleOffset(slider), travel(slider));
        QVERIFY(changed.isEmpty());
    }

    void arrows_data()
    {
        QTest::addColumn<int>("start");
        QTest::addColumn<QString>("button");
        QTest::addColumn<int>("expected");

        QTest::newRow("right") << 5 << "btnRight" << 6;
        QTest::newRow("left") << 5 << "btnLeft" << 4;
        QTest::newRow("right at max") << 100 << "btnRight" << 100;
        QTest::newRow("left at min") << 0 << "btnLeft" << 0;
    }

    void arrows()
    {
        QFETCH(int, start);
        QFETCH(QString, button);
        QFETCH(int, expected);

        TouchableSlider slider;
        showSlider(slider);
        slider.setValue(start);
        QSignalSpy changed(&slider, &TouchableSlider::valueChanged);
        QTest::mouseClick(part(slider, qPrintable(button)), Qt::LeftButton);
        QCOMPARE(slider.value(), expected);
        // Also at an end: the click is still a finished interaction.
        QCOMPARE(changed, (QList<QList<QVariant>>{{expected}}));
    }

    void drag_data()
    {
        QTest::addColumn<int>("to"); // handle's left edge from the groove start: -1 past the
                                     // left end, 1000 past the right end, else percent
        QTest::addColumn<int>("expected");

        QTest::newRow("past the left end") << -1 << 0;
        QTest::newRow("past the right end") << 1000 << 100;
        QTest::newRow("to a quarter") << 25 << 25;
        QTest::newRow("to three quarters") << 75 << 75;
    }

    void drag()
    {
        QFETCH(int, to);
        QFETCH(int, expected);

        TouchableSlider slider;
        showSlider(slider);
        slider.setValue(50);
        QPushButton* handle = part(slider, "btnHandle");
        QSignalSpy changed(&slider, &TouchableSlider::valueChanged);

        const int grip = 10; // where the finger holds the handle
        QTest::mousePress(handle, Qt::LeftButton, {}, QPoint(grip, handle->height() / 2));
        const int span = travel(slider);
        int target = 0;
        if (to < 0) {
            target = -300;
        } else if (to >= 1000) {
            target = span + 300;
        } else {
            // Just past the exact position, so that truncation lands on it.
            target = (span * to + 99) / 100;
        }
        // Several moves; each is measured against the handle where it is now.
        for (int step = 1; step <= 4; ++step) {
            const int edge = handleOffset(slider);
            const int wanted = target * step / 4;
            moveHandle(handle, grip + wanted - edge);
        }
        QCOMPARE(slider.value(), expected);
        QCOMPARE(handleOffset(slider), expected * span / 100);
        QVERIFY(changed.isEmpty());

        QTest::mouseRelease(handle, Qt::LeftButton, {}, QPoint(grip, handle->height() / 2));
        QCOMPARE(changed, (QList<QList<QVariant>>{{expected}}));
        // Moves after the release are no drag.
        moveHandle(handle, grip + 50);
        QCOMPARE(slider.value(), expected);
    }

    void followsResourceWhileShown_data()
    {
        QTest::addColumn<QJsonValue>("published");
        QTest::addColumn<int>("expected");

        QTest::newRow("number") << QJsonValue(42) << 42;
        QTest::newRow("fraction rounds") << QJsonValue(41.6) << 42;
        QTest::newRow("beyond max") << QJsonValue(1e12) << 90;
        QTest::newRow("text counts as 0, clamped") << QJsonValue("fast") << 10;
        QTest::newRow("object counts as 0, clamped") << QJsonValue(QJsonObject{}) << 10;
    }

    void followsResourceWhileShown()
    {
        QFETCH(QJsonValue, published);
        QFETCH(int, expected);

        velk::resource().set(&m_owner, "robot", "speed", 30, false);
        TouchableSlider slider;
        slider.setMin(10);
        slider.setMax(90);
        slider.bind(&m_owner, "robot", "speed");
        QSignalSpy changed(&slider, &TouchableSlider::valueChanged);
        showSlider(slider);
        QCOMPARE(slider.value(), 30);

        velk::resource().set(&m_owner, "robot", "speed", published, true);
        QCOMPARE(slider.value(), expected);

        slider.hide();
        velk::resource().set(&m_owner, "robot", "speed", 55, true);
        QCOMPARE(slider.value(), expected);
        slider.show();
        QCOMPARE(slider.value(), 55);
        // Following is not an interaction, and the slider never writes back.
        QVERIFY(changed.isEmpty());
        QTest::mouseClick(part(slider, "btnRight"), Qt::LeftButton);
        QCOMPARE(velk::resource().get(&m_owner, "robot", "speed"), QJsonValue(55));
    }
};

QTEST_MAIN(tst_TouchableSlider)
#include "tst_touchableslider.moc"
