#pragma once

#include <zarvo/zarvo_global.h>

#include <pomr/bmodule.h>

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QJsonObject>
#include <QPalette>
#include <QPixmap>
#include <QSize>
#include <QStringList>

namespace velk {
class ModuleObject;
}

// Themes and zoom of the HMI: the theme index (./config/zvtheme.json), the
// current and default theme, and the expansion of render descriptions with
// "$section$entry" placeholders into zoomed Qt style sheets.
class ZARVO_EXPORT ThemeManager : public pomr::BModule
{
    Q_OBJECT

public:
    explicit ThemeManager(QObject* parent = nullptr);
    ~ThemeManager() override;

    QString name() const override;
    void init() override;
    // Gives the application the current theme's palette, so that what no
    // render description reaches (window, menus, status bar, docks, console)
    // follows the theme too; runs again with every re-render.
    void render() override;
    void detach() override;

    // Resource aliases need nothing from the theme.
    void installQrc(const QString& alias);

    // The style sheet of the render description (a JSON array of rules) in
    // the file; "" when it cannot be read or parsed.
    QString genStyleSheet(const QString& path);
    // One rule: "selector{key:value;...}", or the bare declarations without "name".
    QString buildStyleFromJson(const QJsonObject& record);
    // One property value with its placeholder expanded and its lengths zoomed.
    QString buildStyleFromStr(const QString& value);

    QColor getColor(const QString& name);
    QFont getFont(const QString& name);
    // Pixels of a "size" entry, zoomed and rounded.
    int getSize(const QString& name);
    // px times the size zoom, truncated toward zero.
    int getSize(int px) const;
    QSize getIconSize(const QString& name) const;
    QPixmap getIconPixmap(const QString& dir, const QString& file);
    QIcon getIcon(const QString& dir, const QString& file);
    // `base` with every role that the current theme gives a colour for.
    QPalette getPalette(const QPalette& base);

    QString curThemeName() const;
    void setCurrentTheme(const QString& name);
    bool hasTheme(const QString& name) const;
    // Reads the current (and the default) theme file again, so that an edit
    // of a theme file shows without a restart; emits themeChanged.
    bool reloadTheme();
    QStringList getThemeNames() const;
    QString getThemeLabel(const QString& name) const;

    // Zoom of a theme entry's value by its section ("size", "border", "font").
    QString zoomStyle(const QString& section, const QString& entry, const QString& value) const;
    // Every length before a "px" scaled by the size zoom.
    QString zoomPx(const QString& value) const;
    double sizeZoom() const;
    // The font zoom as it is used: outside [0.1, 10] it counts as 1.0.
    double fontZoom() const;

    // ./config/zvtheme.json
    QString indexPath() const;

Q_SIGNALS:
    // After a theme switch and after each change of a zoom factor.
    void themeChanged();

private:
    class Private;
    Private* d;
};
