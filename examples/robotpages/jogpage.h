#pragma once

#include <zarvo/basepage.h>

#include <QPointer>
#include <QVector>

class QLabel;
class QWidget;
class TouchableSlider;

namespace robotpages {

// Jogging the joints by hand: the speed override on a touch slider, and for
// each joint its live angle with buttons that jog it one way or the other.
// Locked unless the robot is in manual mode, idle, and the user's level allows.
class JogPage : public zarvo::BasePage
{
    Q_OBJECT

public:
    static constexpr int JointCount = 6;

    explicit JogPage(QObject* parent = nullptr);
    ~JogPage() override;

    QWidget* wgt() override;
    void init() override;
    void render() override;

    TouchableSlider* speedSlider() const { return m_speed; }

private:
    void refreshJoints();
    void jog(int axis, int direction);
    void sendSpeed(int percent);

    QPointer<QWidget> m_page;
    TouchableSlider* m_speed = nullptr;
    QVector<QLabel*> m_angles;
};

} // namespace robotpages
