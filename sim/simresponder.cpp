#include "simresponder.h"

#include "simcatalogue.h"
#include "simrobot.h"

namespace zarvo::sim {

namespace {

QJsonObject overlay(QJsonObject base, const QJsonObject& top)
{
    for (auto it = top.begin(); it != top.end(); ++it)
        base.insert(it.key(), it.value());
    return base;
}

const QString SetPrefix = QStringLiteral("set_");
const QString GetPrefix = QStringLiteral("get_");

// "a.b.get_x" -> "a.b.set_x"; empty when the last part is no get_.
QString setterOf(const QString& getter)
{
    const int dot = getter.lastIndexOf(QLatin1Char('.'));
    const QString last = getter.mid(dot + 1);
    if (!last.startsWith(GetPrefix))
        return QString();
    return getter.left(dot + 1) + SetPrefix + last.mid(GetPrefix.size());
}

bool isSetter(const QString& name)
{
    return name.mid(name.lastIndexOf(QLatin1Char('.')) + 1).startsWith(SetPrefix);
}

} // namespace

SimResponder::SimResponder(const SimCatalogue* catalogue, SimRobot* robot)
    : m_catalogue(catalogue)
    , m_robot(robot)
{
}

bool SimResponder::isHeartbeat(const QJsonObject& request)
{
    return request.value(QLatin1String("module")).toString() == QLatin1String("system") &&
           request.value(QLatin1String("command")).toString() == QLatin1String("controller.heart");
}

QString SimResponder::fullName(const QJsonObject& request)
{
    const QString module = request.value(QLatin1String("module")).toString();
    const QString command = request.value(QLatin1String("command")).toString();
    if (module.isEmpty() || command.isEmpty())
        return QString();
    return module + QLatin1Char('.') + command;
}

bool SimResponder::typesMatch(const QJsonObject& tmpl, const QJsonObject& data) const
{
    for (auto it = data.begin(); it != data.end(); ++it) {
        const QJsonValue expected = tmpl.value(it.key());
        if (expected.isUndefined())
            continue; // extra fields are the controller's business, not ours
        if (expected.type() != it.value().type())
            return false;
    }
    return true;
}

QJsonObject SimResponder::answer(const QJsonObject& request)
{
    QJsonObject response{{QStringLiteral("id"), request.value(QLatin1String("id"))}};

    if (isHeartbeat(request)) {
        response.insert(QStringLiteral("data"), QJsonObject{{QStringLiteral("name"), "Zarvo"}});
        return response;
    }

    const QString name = fullName(request);
    const QJsonValue data = request.value(QLatin1String("data"));
    int code = SimRobot::PackageError;
    QJsonValue responseData;
    if (!name.isEmpty() && m_catalogue->contains(name)) {
        const QJsonValue tmpl = m_catalogue->requestData(name);
        const bool hasData = !data.isUndefined() && !data.isNull();
        const bool dataOk = !hasData || !tmpl.isObject() ||
                            (data.isObject() && typesMatch(tmpl.toObject(), data.toObject()));
        if (dataOk)
            code = handle(name, hasData ? data.toObject() : QJsonObject(), &responseData);
    }

    if (code != SimRobot::NoError)
        response.insert(QStringLiteral("error_code"), code);
    else if (!responseData.isUndefined())
        response.insert(QStringLiteral("data"), responseData);
    return response;
}

int SimResponder::handle(const QString& name, const QJsonObject& data, QJsonValue* responseData)
{
    const QJsonValue tmpl = m_catalogue->responseData(name);
    *responseData = tmpl;

    // State switches.
    if (name == QLatin1String("system.state.switch_manual"))
        return m_robot->switchManual();
    if (name == QLatin1String("system.state.switch_auto"))
        return m_robot->switchAuto();
    if (name == QLatin1String("system.state.switch_motor_on"))
        return m_robot->switchMotorOn();
    if (name == QLatin1String("system.state.switch_motor_off"))
        return m_robot->switchMotorOff();

    if (name == QLatin1String("robot.servo.clear_alarm"))
        return m_robot->clearAlarm();

    // Motion.
    if (name == QLatin1String("motion.jog.start")) {
        const QJsonObject jog = overlay(m_catalogue->requestData(name).toObject(), data);
        return m_robot->jogStart(jog.value(QLatin1String("space")).toInt(-1),
                                 jog.value(QLatin1String("axis")).toInt(-1),
                                 jog.value(QLatin1String("direction")).toInt());
    }
    if (name == QLatin1String("motion.move.stop")) {
        m_robot->stopMotion();
        return SimRobot::NoError;
    }
    if (name == QLatin1String("motion.jog.set_params")) {
        const QJsonObject params = overlay(m_catalogue->requestData(name).toObject(), data);
        m_robot->setJogParams(params.value(QLatin1String("speed")).toInt(),
                              params.value(QLatin1String("mode")).toInt(),
                              params.value(QLatin1String("step")).toDouble());
        // and stored below, so that get_params reports it
    }

    // State queries.
    const QJsonObject state = m_robot->stateData();
    auto fromState = [&](const char* field) {
        QJsonObject out = tmpl.toObject();
        out.insert(QLatin1String(field), state.value(QLatin1String(field)));
        *responseData = out;
        return int(SimRobot::NoError);
    };
    if (name == QLatin1String("system.state.get_operate"))
        return fromState("operate");
    if (name == QLatin1String("system.state.get_motor"))
        return fromState("power");
    if (name == QLatin1String("system.state.get_robot_state"))
        return fromState("robot_state");
    if (name == QLatin1String("system.state.get_safety_stop"))
        return fromState("safety_stop");

    if (name == QLatin1String("dynamic.drag.set_params") &&
        data.value(QLatin1String("enable")).toBool()) {
        // Codes of the command's own table, which reads differently from
        // the global one.
        if (m_robot->operate() != QLatin1String("manual"))
            return -10002; // operate mode error
        if (m_robot->power() != QLatin1String("on"))
            return -10003; // motor is powered off
        if (m_robot->robotState() == QLatin1String("running"))
            return -10004; // robot is running
    }

    if (isSetter(name)) {
        const QJsonObject stored = overlay(m_catalogue->requestData(name).toObject(), data);
        m_stored.insert(name, stored);
        if (name == QLatin1String("system.controller.set_params")) {
            const QString alias = stored.value(QLatin1String("alias")).toString();
            if (!alias.isEmpty())
                m_robot->setAlias(alias);
        }
        return SimRobot::NoError;
    }

    const QString setter = setterOf(name);
    if (!setter.isEmpty() && tmpl.isObject()) {
        QJsonObject out = overlay(tmpl.toObject(), m_stored.value(setter));
        if (name == QLatin1String("system.controller.get_params")) {
            out.insert(QStringLiteral("disk_serial_number"), m_robot->serialNumber());
            out.insert(QStringLiteral("version"), m_robot->version());
            out.insert(QStringLiteral("robot_type"), m_robot->robotType());
            out.insert(QStringLiteral("alias"), m_robot->alias());
        }
        *responseData = out;
    }
    return SimRobot::NoError;
}

} // namespace zarvo::sim
