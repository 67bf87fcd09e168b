#include "runtime/runtime.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/paths.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QPointer>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace zarvo {

Runtime::Runtime(QObject* parent)
    : pomr::BModule(parent)
{
    bindMobj(velk::mName(QStringLiteral("zarvo"), name()));
    mobj()->watch(true, true);
}

Runtime::~Runtime() = default;

QString Runtime::name() const
{
    return QStringLiteral("r");
}

velk::ModuleObject* Runtime::child(const QString& name) const
{
    return mobj()->cmobj(name);
}

void Runtime::init()
{
    mobj()->importFromJson(this,
                           velk::ModuleManager::readFromJson(getTemplatePath(QStringLiteral("r"))),
                           true, true, false);
    motorPower = child(QStringLiteral("power"))->getString();
    safetyStop = child(QStringLiteral("safety_stop"))->getString();

    ControllerManager* link = rc();
    connect(link, &ControllerManager::rcConnected, this, &Runtime::onConnected);
    connect(link, &ControllerManager::rcDisconnected, this, &Runtime::onDisconnected);

    copyByChange(link->notifyMobj(QStringLiteral("motion.block_state"))
                     ->cmobj(QStringLiteral("block_state")),
                 child(QStringLiteral("block")));
    copyByChange(link->responseMobj(QStringLiteral("system.state.get_operate"))
                     ->cmobj(QStringLiteral("operate")),
                 child(QStringLiteral("mode")));
    copyByChange(link->responseMobj(QStringLiteral("system.state.get_robot_state"))
                     ->cmobj(QStringLiteral("robot_state")),
                 child(QStringLiteral("state")));

    connect(link->responseMobj(QStringLiteral("system.state.get_motor"))
                ->cmobj(QStringLiteral("power")),
            &velk::ModuleObject::changed, this, [this](const QVariant& value) {
                motorPower = value.toString();
                refreshPower();
            });
    connect(link->responseMobj(QStringLiteral("system.state.get_safety_stop"))
                ->cmobj(QStringLiteral("safety_stop")),
            &velk::ModuleObject::changed, this, [this](const QVariant& value) {
                safetyStop = value.toString();
                refreshPower();
            });
    connect(link->notifyMobj(QStringLiteral("system.state.change")), &velk::ModuleObject::changed,
            this, &Runtime::onStateChange);
    monitor = link->notifyMobj(QStringLiteral("motion.move.monitor"));
    connect(monitor, &velk::ModuleObject::activated, this,
            [this](velk::ModuleObject* object, int type) { onMotion(object, type); });

    velk::ModuleObject* params = link->responseMobj(QStringLiteral("system.controller.get_params"));
    connect(params->cmobj(QStringLiteral("disk_serial_number")), &velk::ModuleObject::changed, this,
            [this](const QVariant& value) {
                child(QStringLiteral("id"))->set(this, value.toString());
            });
    connect(params->cmobj(QStringLiteral("version")), &velk::ModuleObject::changed, this,
            [this](const QVariant& value) {
                child(QStringLiteral("version"))->set(this, packVersion(value.toString()));
            });
}

void Runtime::copyByChange(velk::ModuleObject* source, velk::ModuleObject* target)
{
    QPointer<velk::ModuleObject> guarded(target);
    connect(
        source, &velk::ModuleObject::changed, source,
        [this, guarded](const QVariant& value) {
            if (guarded) {
                guarded->set(this, value);
            }
        },
        Qt::DirectConnection);
}

void Runtime::onConnected()
{
    ControllerManager* link = rc();
    const QString system = QStringLiteral("system");
    for (const char* command : {"state.get_operate", "state.get_motor", "state.get_robot_state",
                                "state.get_safety_stop"}) {
        link->request(system, QString::fromLatin1(command), QJsonValue());
    }
}

void Runtime::onDisconnected()
{
    // Only what belongs to the connection is reset; mode, state, power, pose
    // and version keep their last values so the operator still sees them.
    child(QStringLiteral("level"))->set(this, 0);
    child(QStringLiteral("id"))->set(this, QStringLiteral("LOCALHOST"));
    child(QStringLiteral("block"))->set(this, false);
}

void Runtime::onStateChange()
{
    velk::ModuleObject* n = rc()->notifyMobj(QStringLiteral("system.state.change"));
    if (n->hasCmobj(QStringLiteral("operate"))) {
        child(QStringLiteral("mode"))->set(this, n->cmobj(QStringLiteral("operate"))->get());
    }
    if (n->hasCmobj(QStringLiteral("robot_state"))) {
        child(QStringLiteral("state"))->set(this, n->cmobj(QStringLiteral("robot_state"))->get());
    }
    if (n->hasCmobj(QStringLiteral("power"))) {
        motorPower = n->cmobj(QStringLiteral("power"))->getString();
    }
    if (n->hasCmobj(QStringLiteral("safety_stop"))) {
        safetyStop = n->cmobj(QStringLiteral("safety_stop"))->getString();
    }
    refreshPower();
}

void Runtime::onMotion(velk::ModuleObject* object, int type)
{
    if (type != velk::ActivateData || !object || object->pmobj() != monitor) {
        return;
    }
    velk::ModuleObject* target = child(object->name());
    if (!target->isEmptyMobj()) {
        target->copyFrom(this, object, false, true);
    }
}

void Runtime::refreshPower()
{
    const QString word = safetyStop == QLatin1String("NStop") ? motorPower : safetyStop.toLower();
    velk::ModuleObject* power = child(QStringLiteral("power"));
    const QVariant current = power->get();
    if (!current.isValid() || current.toString() != word) {
        power->set(this, word);
    }
}

qint64 Runtime::packVersion(const QString& text)
{
    static const QRegularExpression digits(QStringLiteral("(\\d+)"));
    QList<double> numbers;
    QRegularExpressionMatchIterator it = digits.globalMatch(text);
    while (it.hasNext()) {
        numbers.append(it.next().captured(1).toDouble());
    }
    const int k = numbers.size();
    double version = 0;
    for (int i = 0; i < k; ++i) {
        version += numbers.at(i) * std::trunc(std::pow(100.0, k - 1 - i));
    }
    // A malformed text with dozens of numbers must not overflow into garbage.
    const double limit = double(std::numeric_limits<qint64>::max());
    return version >= limit ? std::numeric_limits<qint64>::max() : qint64(version);
}

} // namespace zarvo
