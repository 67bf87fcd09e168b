#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

#include <QVariant>

namespace velk {
class ModuleObject;
}

namespace zarvo {

// Mirrors the robot's live state into "zarvo.r" (mode, state, power, block,
// pose, id, version), so that pages bind to it instead of talking to the
// controller. Queried at every connect, kept current by the controller's
// answers and notifications, partly reset at disconnect.
class Runtime : public pomr::BModule
{
    Q_OBJECT

public:
    explicit Runtime(QObject* parent = nullptr);
    ~Runtime() override;

    QString name() const override;
    void init() override;

    // "1.2.3" -> 10203: every run of digits is a base-100 place, the last the
    // lowest. Places of 100 or more overlap the next one, as intended.
    static qint64 packVersion(const QString& text);

private:
    void refreshPower();
    void copyByChange(velk::ModuleObject* source, velk::ModuleObject* target);
    void onConnected();
    void onDisconnected();
    void onStateChange();
    void onMotion(velk::ModuleObject* object, int type);
    velk::ModuleObject* child(const QString& name) const;

    // The last words the controller sent; "power" shows the stop's name while
    // a safety stop ("NStop" means none) is active.
    QString motorPower;
    QString safetyStop;
    // The monitor's notification object, looked up once: the pose streams
    // at up to a thousand packets a second.
    velk::ModuleObject* monitor = nullptr;
};

} // namespace zarvo
