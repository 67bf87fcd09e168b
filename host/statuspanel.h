#pragma once

#include "linksupervisor.h"

#include <QJsonValue>
#include <QPointer>
#include <QWidget>

class QLabel;

namespace velk {
class ModuleObject;
}

namespace hmi {

// The always-visible fields of the status bar: the controller link, motor
// power, an unmissable safety stop, operating mode, robot state and the
// latest warning or error. Values that may no longer be true while the
// link is down are marked as last known, never shown as current.
class StatusPanel : public QWidget
{
    Q_OBJECT

public:
    explicit StatusPanel(QWidget* parent = nullptr);
    ~StatusPanel() override;

    // Follow the robot's mirrored state (normally "zarvo.r") and the log
    // records that every module publishes.
    void attach(velk::ModuleObject* runtime);
    // Headless: each change of what the fields say goes to the log as one line.
    void setLogChanges(bool on);

    // The fields' texts in one line, as the headless log shows them.
    QString summary() const;
    bool isSafetyStopShown() const;

    // A word of the controller ("off", "manual", "idle") in the operator's language.
    static QString wordText(const QString& word);

public Q_SLOTS:
    void setLink(hmi::LinkSupervisor::State state, const QString& text);

private:
    void refresh();
    void onResourceWritten(QObject* owner, const QString& name, const QString& key,
                           const QJsonValue& value);
    QString value(const char* child) const;

    QPointer<velk::ModuleObject> m_runtime;
    LinkSupervisor::State m_state = LinkSupervisor::Disconnected;
    // The state queries the plug-in sends on every connect, and those not
    // answered yet since the last one: until then the values are old ones.
    QStringList m_queries;
    QStringList m_awaiting;
    QLabel* m_link;
    QLabel* m_power;
    QLabel* m_safety;
    QLabel* m_mode;
    QLabel* m_robotState;
    QLabel* m_latest;
    bool m_logChanges = false;
    QString m_logged;
};

} // namespace hmi
