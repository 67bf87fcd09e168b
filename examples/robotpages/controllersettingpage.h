#pragma once

#include "boundsettingpage.h"

class QCheckBox;
class QComboBox;
class QLineEdit;

namespace robotpages {

// The controller's general parameters: its alias on the network, its time
// zone, and whether it loads the last project when it starts.
class ControllerSettingPage : public BoundSettingPage
{
    Q_OBJECT

public:
    explicit ControllerSettingPage(QObject* parent = nullptr);
    ~ControllerSettingPage() override;

private:
    bool loadFromMobj() override;
    bool saveToMobj() override;

    QLineEdit* m_alias = nullptr;
    QComboBox* m_timeZone = nullptr;
    QCheckBox* m_autoLoad = nullptr;
};

} // namespace robotpages
