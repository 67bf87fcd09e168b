// The application palette of a theme: what widgets without a render
// description of their own (the host's window, menus, docks, console) draw with.

#include "theme/thememanager.h"
#include "theme/thememanager_p.h"

#include <QApplication>

namespace {

// Disabled stands for the roles that look different on a disabled widget;
// Enabled for those that change only while it is enabled.
enum Groups { All, Enabled, Disabled };

struct RoleEntry
{
    Groups groups;
    QPalette::ColorRole role;
    const char* entry;
};

// Roles that Fusion derives from the window colour follow it the same way,
// so that bevels and frames keep their contrast on a dark background.
void deriveShades(QPalette* palette, const QColor& window)
{
    const QColor mid = window.darker(130);
    const QColor dark = window.darker(150);
    palette->setColor(QPalette::All, QPalette::Light, window.lighter(150));
    palette->setColor(QPalette::All, QPalette::Mid, mid);
    palette->setColor(QPalette::All, QPalette::Midlight, mid.lighter(110));
    palette->setColor(QPalette::All, QPalette::Dark, dark);
    palette->setColor(QPalette::All, QPalette::Shadow, dark.darker(135));
}

} // namespace

QPalette ThemeManager::getPalette(const QPalette& base)
{
    static const RoleEntry roles[] = {
        {All, QPalette::Window, "window_bkg"},
        {All, QPalette::Button, "window_bkg"},
        {All, QPalette::ToolTipText, "text"},
        {All, QPalette::AlternateBase, "alternate_bkg"},
        {All, QPalette::ToolTipBase, "tooltip_bkg"},
        {All, QPalette::HighlightedText, "highlight_text"},
        {Enabled, QPalette::WindowText, "text"},
        {Enabled, QPalette::ButtonText, "text"},
        {Enabled, QPalette::Text, "text"},
        {Enabled, QPalette::Base, "center_bkg"},
        {Enabled, QPalette::Highlight, "highlight"},
        {Disabled, QPalette::WindowText, "text_disabled"},
        {Disabled, QPalette::ButtonText, "text_disabled"},
        {Disabled, QPalette::Text, "text_disabled"},
        {Disabled, QPalette::Base, "window_bkg"},
    };
    QPalette palette = base;
    for (const RoleEntry& role : roles) {
        // A theme without the entry keeps the platform's colour (getColor
        // has said once which entry is missing).
        const QColor colour = getColor(QLatin1String(role.entry));
        if (!colour.isValid()) {
            continue;
        }
        if (role.groups == Disabled) {
            palette.setColor(QPalette::Disabled, role.role, colour);
        } else if (role.groups == Enabled) {
            palette.setColor(QPalette::Active, role.role, colour);
            palette.setColor(QPalette::Inactive, role.role, colour);
        } else {
            palette.setColor(QPalette::All, role.role, colour);
        }
    }
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    if (window != base.color(QPalette::Active, QPalette::Window)) {
        deriveShades(&palette, window);
    }
    QColor placeholder = palette.color(QPalette::Active, QPalette::Text);
    placeholder.setAlpha(128);
    palette.setColor(QPalette::All, QPalette::PlaceholderText, placeholder);
    return palette;
}

void ThemeManager::render()
{
    // A process without widgets (a tool driving the link) has no palette.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        return;
    }
    if (!d->hasPlatformPalette) {
        d->platformPalette = QApplication::palette();
        d->hasPlatformPalette = true;
    }
    const QPalette palette = getPalette(d->platformPalette);
    // Setting an equal palette would still repolish every widget.
    if (palette != QApplication::palette()) {
        QApplication::setPalette(palette);
    }
}
