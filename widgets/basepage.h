#pragma once

#include <zarvo/zarvo_global.h>

#include <pomr/bmodule.h>

namespace zarvo {

// The base of every page in the centre area: a machine name, a label, and a
// widget that can enable and disable itself from the robot's runtime state
// (user level, manual mode, idle, motor off) once the page says which of those
// it depends on.
class ZARVO_EXPORT BasePage : public pomr::BModule
{
    Q_OBJECT

public:
    BasePage(const QString& name, const QString& label, QObject* parent = nullptr);
    ~BasePage() override;

    QString name() const override;
    QString label() const;

protected:
    // Choose the conditions once; a second call only logs a warning.
    void autoUpdate(bool level, bool mode, bool state, bool power);

protected Q_SLOTS:
    // Level 0 enables everything; otherwise each chosen condition must hold:
    // level >= 2, mode "manual", state "idle", power "off".
    virtual void updateAvailability();

protected:
    // The rule itself, for pages that apply it to something else than wgt().
    bool isAvailable() const;

private:
    QString m_name;
    QString m_label;
    bool m_level = false;
    bool m_mode = false;
    bool m_state = false;
    bool m_power = false;
    bool m_autoUpdating = false;
};

} // namespace zarvo
