#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

namespace zarvo {

// Holds the constants resource "c" (template c.json, optionally overridden by
// ./cache/zarvo/c.json) for the pages of the HMI.
class Constant : public pomr::BModule
{
    Q_OBJECT

public:
    explicit Constant(QObject* parent = nullptr);
    ~Constant() override;

    QString name() const override;
    void init() override;
};

} // namespace zarvo
