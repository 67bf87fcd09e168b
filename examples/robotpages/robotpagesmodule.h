#pragma once

#include <pomr/bmodule.h>

namespace zarvo {
class BasePage;
}

namespace robotpages {

// The robot pages module: a "Robot" root with the status and jog pages, and
// a "Settings" root whose setting category holds the drag-teaching and the
// controller pages, all put into the side tree when the module initialises.
class RobotPagesModule : public pomr::BModule
{
    Q_OBJECT

public:
    explicit RobotPagesModule(QObject* parent = nullptr);
    ~RobotPagesModule() override;

    QString name() const override;
    void setup() override;
    void init() override;

private:
    zarvo::BasePage* m_robot = nullptr;
    zarvo::BasePage* m_settings = nullptr;
};

} // namespace robotpages
