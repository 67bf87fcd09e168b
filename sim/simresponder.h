#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>

namespace zarvo::sim {

class SimCatalogue;
class SimRobot;

// Works out the controller's answer to one request, without any transport
// or fault: heartbeat, catalogue templates, the robot's state and the
// parameters stored by set_* requests.
//
// - "system" "controller.heart" answers {"name": "Zarvo"}.
// - A request without a string "module" and "command", naming a command the
//   catalogue does not know, or whose "data" contradicts the JSON types of the
//   request template, is answered with PackageError (-20000).
// - system.state.switch_* go to the robot (its refusals become error codes);
//   system.state.get_* answer from the robot; so do robot.servo.clear_alarm,
//   motion.jog.start, motion.jog.set_params and motion.move.stop.
// - A set_X stores its data laid over the request template; its sibling
//   get_X then answers the response template with that data laid over it.
//   system.controller.set_params also renames the robot ("alias"), and
//   system.controller.get_params reports the robot's serial number, version,
//   type and alias.
// - dynamic.drag.set_params with "enable" true needs manual mode (-10002 from
//   its own table), motor power (-10003) and a robot that is not running
//   (-10004).
// - Everything else answers its response template ("data" when the template
//   has one). Success answers carry no "error_code".
class SimResponder
{
public:
    SimResponder(const SimCatalogue* catalogue, SimRobot* robot);

    static bool isHeartbeat(const QJsonObject& request);
    // {"module", "command"} joined by "."; empty when either is missing.
    static QString fullName(const QJsonObject& request);

    // The response packet for `request`: "id" returned unchanged, "data"
    // and/or "error_code".
    QJsonObject answer(const QJsonObject& request);

    // The data a set_X request stored, completed from the template; empty
    // when none was stored.
    QJsonObject storedData(const QString& setCommand) const { return m_stored.value(setCommand); }
    void clearStoredData() { m_stored.clear(); }

private:
    int handle(const QString& name, const QJsonObject& data, QJsonValue* responseData);
    bool typesMatch(const QJsonObject& tmpl, const QJsonObject& data) const;

    const SimCatalogue* m_catalogue;
    SimRobot* m_robot;
    QHash<QString, QJsonObject> m_stored; // set_X full name -> stored data
};

} // namespace zarvo::sim
