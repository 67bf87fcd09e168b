#include "statuspage.h"

#include "pagestyle.h"

#include <zarvo/controllermanager.h>
#include <zarvo/managerhelper.h>

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

namespace robotpages {

namespace {

QString r(const char* child)
{
    return QStringLiteral("zarvo.r.") + QLatin1String(child);
}

QString numbers(const QVariantList& values, int decimals)
{
    QStringList parts;
    for (const QVariant& value : values) {
        parts << QString::number(value.toDouble(), 'f', decimals);
    }
    return parts.join(QStringLiteral("  "));
}

// The runtime writes the lower-cased safety stop over the motor word while a
// stop is active, so anything but "on" and "off" is a stop.
bool isStop(const QString& power)
{
    return power != QLatin1String("on") && power != QLatin1String("off");
}

} // namespace

QString StatusPage::stateText(const QString& state)
{
    // The words the controller is known to send; a new one is shown as it comes.
    if (state == QLatin1String("idle")) {
        return tr("idle");
    }
    if (state == QLatin1String("running")) {
        return tr("running");
    }
    if (state == QLatin1String("paused")) {
        return tr("paused");
    }
    if (state == QLatin1String("error")) {
        return tr("error");
    }
    return state;
}

StatusPage::StatusPage(QObject* parent)
    : zarvo::BasePage(QStringLiteral("status"), tr("Status"), parent)
    , m_page(new QWidget)
{
    m_page->setObjectName(QStringLiteral("StatusPage"));
    m_page->setAttribute(Qt::WA_StyledBackground);
    // Large zoom factors make the page taller than a panel's screen: it
    // scrolls rather than pushing the window, and its status bar, off it.
    auto* outer = new QVBoxLayout(m_page);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(m_page);
    scroll->setObjectName(QStringLiteral("scaStatus"));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    outer->addWidget(scroll);
    auto* content = new QWidget;
    content->setObjectName(QStringLiteral("wgtStatusContent"));
    content->setAttribute(Qt::WA_StyledBackground);
    scroll->setWidget(content);
    auto* layout = new QVBoxLayout(content);

    auto* state = new QGroupBox(tr("Robot"), content);
    state->setObjectName(QStringLiteral("grpState"));
    auto* form = new QFormLayout(state);
    layout->addWidget(state);
    const auto row = [form, state](const QString& label, const char* objectName) {
        auto* value = new QLabel(state);
        value->setObjectName(QLatin1String(objectName));
        value->setProperty("role", QStringLiteral("value"));
        form->addRow(label, value);
        return value;
    };
    m_link = row(tr("Controller"), "lblLink");
    m_power = row(tr("Motor power"), "lblPower");
    m_stop = row(tr("Safety stop"), "lblStop");
    m_mode = row(tr("Operating mode"), "lblMode");
    m_state = row(tr("Robot state"), "lblState");
    m_joints = row(tr("Joints (°)"), "lblJoints");
    m_position = row(tr("Position (mm)"), "lblPosition");
    m_euler = row(tr("Euler angles (°)"), "lblEuler");

    auto* actions = new QGroupBox(tr("Switch"), content);
    actions->setObjectName(QStringLiteral("grpActions"));
    auto* grid = new QGridLayout(actions);
    layout->addWidget(actions);
    const struct
    {
        const char* objectName;
        QString text;
        const char* command;
        int row, column;
    } buttons[] = {
        {"btnMotorOn", tr("Motor on"), "system.state.switch_motor_on", 0, 0},
        {"btnMotorOff", tr("Motor off"), "system.state.switch_motor_off", 0, 1},
        {"btnManual", tr("Manual"), "system.state.switch_manual", 1, 0},
        {"btnAuto", tr("Auto"), "system.state.switch_auto", 1, 1},
        {"btnReset", tr("Reset alarm"), "robot.servo.clear_alarm", 2, 0},
    };
    for (const auto& b : buttons) {
        auto* button = new QPushButton(b.text, actions);
        button->setObjectName(QLatin1String(b.objectName));
        const QString command = QLatin1String(b.command);
        connect(button, &QPushButton::clicked, this, [this, command] { send(command); });
        grid->addWidget(button, b.row, b.column);
        m_buttons.insert(command, button);
    }
    layout->addStretch(1);
    refresh();
}

StatusPage::~StatusPage()
{
    delete m_page.data();
}

QWidget* StatusPage::wgt()
{
    return m_page;
}

void StatusPage::init()
{
    for (const char* child : {"power", "mode", "state", "joint", "position", "euler"}) {
        connect(velk::m(r(child)), &velk::ModuleObject::changed, this, &StatusPage::refresh);
    }
    connect(rc(), &ControllerManager::rcConnected, this, &StatusPage::refresh);
    connect(rc(), &ControllerManager::rcDisconnected, this, &StatusPage::refresh);
    refresh();
}

void StatusPage::render()
{
    renderPage(m_page);
}

void StatusPage::refresh()
{
    const bool connected = rc()->isConnected();
    const QString power = velk::m(r("power"))->getString();
    const QString mode = velk::m(r("mode"))->getString();
    const QString state = velk::m(r("state"))->getString();
    const bool stop = isStop(power);
    const bool running = state == QLatin1String("running");

    // Without the link the robot may have moved on: what is shown is only the
    // last thing heard, and the operator must see that.
    const QString mark = connected ? QString() : tr(" (last known)");
    m_link->setText(connected ? tr("connected") : tr("not connected"));
    m_power->setText((stop                           ? tr("off")
                      : power == QLatin1String("on") ? tr("on")
                                                     : tr("off")) +
                     mark);
    m_stop->setText((stop ? power.toUpper() : tr("none")) + mark);
    m_stop->setProperty("role", stop ? QStringLiteral("stop") : QStringLiteral("value"));
    m_stop->style()->unpolish(m_stop);
    m_stop->style()->polish(m_stop);
    m_mode->setText((mode == QLatin1String("manual") ? tr("manual")
                     : mode == QLatin1String("auto") ? tr("auto")
                                                     : mode) +
                    mark);
    m_state->setText(stateText(state) + mark);
    m_joints->setText(numbers(velk::m(r("joint"))->getList(), 2) + mark);
    m_position->setText(numbers(velk::m(r("position"))->getList(), 2) + mark);
    m_euler->setText(numbers(velk::m(r("euler"))->getList(), 2) + mark);

    // What the controller accepts: no motor while a safety stop is active; a
    // mode change only with the motor off; nothing that stops a running program
    // from under it. Disconnected, nothing is accepted.
    const bool motorOn = power == QLatin1String("on");
    m_buttons.value(QStringLiteral("system.state.switch_motor_on"))
        ->setEnabled(connected && power == QLatin1String("off"));
    m_buttons.value(QStringLiteral("system.state.switch_motor_off"))
        ->setEnabled(connected && motorOn && !running);
    m_buttons.value(QStringLiteral("system.state.switch_manual"))
        ->setEnabled(connected && !motorOn && !running && mode != QLatin1String("manual"));
    m_buttons.value(QStringLiteral("system.state.switch_auto"))
        ->setEnabled(connected && !motorOn && !running && mode != QLatin1String("auto"));
    m_buttons.value(QStringLiteral("robot.servo.clear_alarm"))->setEnabled(connected && stop);
}

void StatusPage::send(const QString& command)
{
    rc()->request(command, nullptr);
}

} // namespace robotpages
