#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

// Themes and zoom of the HMI: the theme index, the current theme, and the
// expansion of render descriptions into style sheets.
class ZARVO_EXPORT ThemeManager : public pomr::BModule
{
    Q_OBJECT

public:
    explicit ThemeManager(QObject* parent = nullptr);
    ~ThemeManager() override;

    QString name() const override;

    // Resource aliases need nothing from the theme.
    void installQrc(const QString& alias);

Q_SIGNALS:
    // After a theme switch and after each change of a zoom factor.
    void themeChanged();
};
