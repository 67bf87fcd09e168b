#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

// The core module of the HMI: registers itself and its resource alias as
// "zarvo", and brings the managers and its own submodules into the host's
// lifecycle.
class Zarvo : public pomr::BModule
{
    Q_OBJECT

public:
    explicit Zarvo(QObject* parent = nullptr);
    ~Zarvo() override;

    QString name() const override;

    void setup() override;
    void init() override;
    void afterInit() override;
    void render() override;
    void idle() override;
    void detach() override;
};
