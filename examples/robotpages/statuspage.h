#pragma once

#include <zarvo/basepage.h>

#include <QHash>
#include <QPointer>

class QLabel;
class QPushButton;
class QWidget;

namespace robotpages {

// What the robot is doing now, live from "zarvo.r": motor power, safety stop,
// operating mode, robot state and pose; and the switches an operator needs
// (motor on/off, manual/auto, safety-stop reset), each enabled exactly when
// the controller would accept it.
class StatusPage : public zarvo::BasePage
{
    Q_OBJECT

public:
    explicit StatusPage(QObject* parent = nullptr);
    ~StatusPage() override;

    QWidget* wgt() override;
    void init() override;
    void render() override;

    // The controller's robot-state word in the operator's language.
    static QString stateText(const QString& state);

private:
    void refresh();
    void send(const QString& command);

    QPointer<QWidget> m_page;
    QLabel* m_link = nullptr;
    QLabel* m_power = nullptr;
    QLabel* m_stop = nullptr;
    QLabel* m_mode = nullptr;
    QLabel* m_state = nullptr;
    QLabel* m_joints = nullptr;
    QLabel* m_position = nullptr;
    QLabel* m_euler = nullptr;
    QHash<QString, QPushButton*> m_buttons;
};

} // namespace robotpages
