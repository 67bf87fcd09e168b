#include "themefollower.h"

#include <pomr/bmodule.h>
#include <velk/modulemanager.h>
#include <velk/velk.h>

#include <QMetaMethod>

namespace hmi {

ThemeFollower::ThemeFollower(QObject* parent)
    : QObject(parent)
{
}

ThemeFollower::~ThemeFollower() = default;

bool ThemeFollower::follow(const QString& themeModule)
{
    // The host does not link the core module, so the signal is found by its
    // signature instead of through the theme manager's class.
    QObject* source = velk::m().module(themeModule);
    if (!source) {
        return false;
    }
    const int signal = source->metaObject()->indexOfSignal("themeChanged()");
    const int slot = metaObject()->indexOfSlot("rerender()");
    if (signal < 0 || slot < 0) {
        return false;
    }
    return bool(connect(source, source->metaObject()->method(signal), this,
                        metaObject()->method(slot), Qt::UniqueConnection));
}

void ThemeFollower::addModule(pomr::BModule* module)
{
    if (module) {
        m_modules.append(module);
    }
}

void ThemeFollower::rerender()
{
    // A copy: a module's render may load or drop others.
    const QList<QPointer<pomr::BModule>> modules = m_modules;
    for (const QPointer<pomr::BModule>& module : modules) {
        if (module) {
            module->startRender();
        }
    }
}

} // namespace hmi
