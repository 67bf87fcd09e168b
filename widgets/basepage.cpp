#include "widgets/basepage.h"

#include "services/modulelog.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QWidget>

namespace zarvo {

BasePage::BasePage(const QString& name, const QString& label, QObject* parent)
    : pomr::BModule(parent)
    , m_name(name)
    , m_label(label)
{
}

BasePage::~BasePage() = default;

QString BasePage::name() const
{
    return m_name;
}

QString BasePage::label() const
{
    return m_label;
}

void BasePage::autoUpdate(bool level, bool mode, bool state, bool power)
{
    if (m_autoUpdating) {
        warnLog() << this << "is already auto update";
        return;
    }
    const bool flags[] = {level, mode, state, power};
    const char* paths[] = {"zarvo.r.level", "zarvo.r.mode", "zarvo.r.state", "zarvo.r.power"};
    for (int i = 0; i < 4; ++i) {
        // Pages are built in their modules' setup, before the runtime model
        // fills "zarvo.r" in its init: a lookup would then give the shared
        // empty node, which never changes, and the page would never lock.
        // The node is created where the runtime model will write it.
        if (flags[i])
            connect(velk::m().ensure(QLatin1String(paths[i])), &velk::ModuleObject::changed, this,
                    &BasePage::updateAvailability);
    }
    m_level = level;
    m_mode = mode;
    m_state = state;
    m_power = power;
    m_autoUpdating = true;
}

bool BasePage::isAvailable() const
{
    // The comparisons are exact on purpose: the runtime model writes exactly
    // these words, and anything else (a stale or unknown state) must lock.
    if (velk::m(QStringLiteral("zarvo.r.level"))->getInt(0) == 0)
        return true;
    if (m_level && velk::m(QStringLiteral("zarvo.r.level"))->getInt(0) < 2)
        return false;
    if (m_mode && velk::m(QStringLiteral("zarvo.r.mode"))->getString() != QLatin1String("manual"))
        return false;
    if (m_state && velk::m(QStringLiteral("zarvo.r.state"))->getString() != QLatin1String("idle"))
        return false;
    if (m_power && velk::m(QStringLiteral("zarvo.r.power"))->getString() != QLatin1String("off"))
        return false;
    return true;
}

void BasePage::updateAvailability()
{
    QWidget* widget = wgt();
    if (!widget)
        return;
    widget->setEnabled(isAvailable());
}

} // namespace zarvo
