#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

// The HMI's link to the robot controller.
class ZARVO_EXPORT ControllerManager : public pomr::BModule
{
    Q_OBJECT

public:
    explicit ControllerManager(QObject* parent = nullptr);
    ~ControllerManager() override;

    QString name() const override;

    // Resource aliases need nothing from the link.
    void installQrc(const QString& alias);

    void connectToRC(bool rc, bool upgrade);

Q_SIGNALS:
    void rcConnected();
    void rcDisconnected();
};
