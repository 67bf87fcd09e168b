#include "statuspanel.h"

#include "hostlog.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QHBoxLayout>
#include <QJsonObject>
#include <QLabel>

namespace hmi {

namespace {

constexpr int kLatestShown = 120;

QLabel* field(const char* name, QHBoxLayout* row)
{
    auto* label = new QLabel;
    label->setObjectName(QString::fromLatin1(name));
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(6, 0, 6, 0);
    row->addWidget(label);
    return label;
}

QString oneLine(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text.size() > kLatestShown ? text.left(kLatestShown) + QStringLiteral("...") : text;
}

// The controller's words for power, mode and robot state, as the operator
// reads them; a word the controller adds later is shown as it comes.
const char* const kWords[][2] = {
    {"on", QT_TRANSLATE_NOOP("hmi::StatusPanel", "on")},
    {"off", QT_TRANSLATE_NOOP("hmi::StatusPanel", "off")},
    {"manual", QT_TRANSLATE_NOOP("hmi::StatusPanel", "manual")},
    {"auto", QT_TRANSLATE_NOOP("hmi::StatusPanel", "auto")},
    {"idle", QT_TRANSLATE_NOOP("hmi::StatusPanel", "idle")},
    {"running", QT_TRANSLATE_NOOP("hmi::StatusPanel", "running")},
    {"paused", QT_TRANSLATE_NOOP("hmi::StatusPanel", "paused")},
    {"error", QT_TRANSLATE_NOOP("hmi::StatusPanel", "error")},
};

} // namespace

QString StatusPanel::wordText(const QString& word)
{
    for (const auto& entry : kWords) {
        if (word == QLatin1String(entry[0])) {
            return tr(entry[1]);
        }
    }
    return word;
}

StatusPanel::StatusPanel(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("wgtStatusPanel"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    m_latest = field("lblLatestLog", row);
    row->addStretch(1);
    m_safety = field("lblSafetyStop", row);
    // Red on white can be missed in a corner; a filled red block cannot.
    m_safety->setStyleSheet(QStringLiteral(
        "QLabel{background-color:rgb(200,0,0);color:white;font-weight:bold;padding:2px 8px;}"));
    m_safety->hide();
    m_power = field("lblMotorPower", row);
    m_mode = field("lblMode", row);
    m_robotState = field("lblRobotState", row);
    m_link = field("lblLink", row);
    connect(&velk::resource(), &velk::ResourceManager::written, this,
            &StatusPanel::onResourceWritten);
    refresh();
}

StatusPanel::~StatusPanel() = default;

void StatusPanel::attach(velk::ModuleObject* runtime)
{
    if (m_runtime) {
        disconnect(m_runtime, nullptr, this, nullptr);
    }
    m_runtime = runtime;
    m_queries.clear();
    for (const char* query : {"get_operate", "get_motor", "get_robot_state", "get_safety_stop"}) {
        const QString name = QString::fromLatin1(query);
        velk::ModuleObject* command = velk::m(QStringLiteral("rc.system.state.") + name);
        if (command->isEmptyMobj()) {
            continue;
        }
        m_queries.append(name);
        connect(command, &velk::ModuleObject::activated, this, [this, name] {
            if (m_awaiting.removeAll(name) > 0 && m_awaiting.isEmpty()) {
                refresh();
            }
        });
    }
    if (runtime && !runtime->isEmptyMobj()) {
        for (const char* child : {"power", "mode", "state"}) {
            connect(runtime->cmobj(QString::fromLatin1(child)), &velk::ModuleObject::changed, this,
                    &StatusPanel::refresh);
        }
    }
    refresh();
}

void StatusPanel::setLogChanges(bool on)
{
    m_logChanges = on;
    refresh();
}

void StatusPanel::setLink(LinkSupervisor::State state, const QString& text)
{
    const bool stateChanged = state != m_state;
    m_state = state;
    if (stateChanged) {
        m_awaiting = state == LinkSupervisor::Connected ? m_queries : QStringList();
    }
    m_link->setText(text);
    if (stateChanged) {
        refresh();
    }
}

QString StatusPanel::value(const char* child) const
{
    if (!m_runtime || m_runtime->isEmptyMobj()) {
        return QString();
    }
    return m_runtime->cmobj(QString::fromLatin1(child))->getString();
}

void StatusPanel::refresh()
{
    // While the link is down the robot may have moved on: what we hold is
    // only the last thing we heard, and the operator must see that.
    // After a reconnect, the same holds until the robot answered the queries again.
    const bool current = m_state == LinkSupervisor::Connected && m_awaiting.isEmpty();
    const QString mark = current ? QString() : tr(" (last known)");
    const QString power = value("power");
    const bool stopped =
        !power.isEmpty() && power != QLatin1String("on") && power != QLatin1String("off");

    m_power->setText(tr("Motor: %1").arg(power.isEmpty() ? tr("unknown") : wordText(power)) + mark);
    m_safety->setText(tr("SAFETY STOP: %1").arg(power) + mark);
    m_safety->setVisible(stopped);
    // The runtime puts the stop's name where the power word was: the motor's
    // own state is not known then, and the stop says what matters.
    m_power->setVisible(!stopped);
    m_mode->setText(tr("Mode: %1").arg(wordText(value("mode"))) + mark);
    m_robotState->setText(tr("State: %1").arg(wordText(value("state"))) + mark);
    const QString stale =
        current ? QString() : QStringLiteral("QLabel{color:gray;font-style:italic;}");
    for (QLabel* label : {m_power, m_mode, m_robotState}) {
        label->setStyleSheet(stale);
        label->setToolTip(current ? QString()
                                  : tr("Last value heard; the controller is not connected"));
    }
    if (m_state == LinkSupervisor::Disconnected || m_link->text().isEmpty()) {
        m_link->setText(m_state == LinkSupervisor::Disconnected ? tr("disconnected")
                                                                : m_link->text());
    }

    if (m_logChanges) {
        const QString line = summary();
        if (line != m_logged) {
            m_logged = line;
            hostLog('i', tr("status: %1").arg(line));
        }
    }
}

QString StatusPanel::summary() const
{
    // The countdown changes every second; the log wants the state, not the clock.
    const QString link =
        m_state == LinkSupervisor::Reconnecting ? tr("reconnecting") : m_link->text();
    QStringList parts{tr("link: %1").arg(link)};
    parts.append(m_safety->isHidden() ? m_power->text() : m_safety->text());
    parts << m_mode->text() << m_robotState->text();
    return parts.join(QStringLiteral("; "));
}

bool StatusPanel::isSafetyStopShown() const
{
    return !m_safety->isHidden();
}

void StatusPanel::onResourceWritten(QObject* owner, const QString& name, const QString& key,
                                    const QJsonValue& value)
{
    Q_UNUSED(owner)
    if (name != QLatin1String("log") || key != QLatin1String("cur_hmi_log")) {
        return;
    }
    const QJsonObject record = value.toObject();
    const QString level = record.value(QStringLiteral("level")).toString();
    const bool error = level.startsWith(QLatin1Char('e'));
    if (!error && !level.startsWith(QLatin1Char('w'))) {
        return;
    }
    m_latest->setText(oneLine(record.value(QStringLiteral("title")).toString()));
    m_latest->setToolTip(record.value(QStringLiteral("date_time")).toString());
    m_latest->setStyleSheet(error ? QStringLiteral("QLabel{color:rgb(200,0,0);}")
                                  : QStringLiteral("QLabel{color:rgb(170,110,0);}"));
}

} // namespace hmi
