#pragma once

#include "boundsettingpage.h"

class QComboBox;
class QSpinBox;

namespace pomr {
class EnableButton;
}

namespace robotpages {

// Drag teaching: whether the arm may be guided by hand, in joint or Cartesian
// space, and the drag type. The controller refuses to enable it unless the
// robot is in manual mode with the motor on and at rest.
class DragSettingPage : public BoundSettingPage
{
    Q_OBJECT

public:
    explicit DragSettingPage(QObject* parent = nullptr);
    ~DragSettingPage() override;

private:
    bool loadFromMobj() override;
    bool saveToMobj() override;

    pomr::EnableButton* m_enable = nullptr;
    QComboBox* m_space = nullptr;
    QSpinBox* m_type = nullptr;
};

} // namespace robotpages
