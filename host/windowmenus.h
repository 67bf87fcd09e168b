#pragma once

#include <QObject>
#include <QPointer>

class QMenu;
class QMenuBar;

namespace hmi {

// The operator's menus of the window: the theme (from the theme index the
// plug-in publishes as "zvtheme"), size and font zoom in steps, and the
// language of the next start.
class WindowMenus : public QObject
{
    Q_OBJECT

public:
    explicit WindowMenus(QObject* parent = nullptr);
    ~WindowMenus() override;

    // Add the menus to `bar` (after the modules started: the theme index is
    // read then).
    void install(QMenuBar* bar);

    // The zoom steps offered, and the step after `current` in `direction`
    // (+1 larger, -1 smaller); `current` itself at either end.
    static const QList<double>& zoomSteps();
    static double zoomStep(double current, int direction);

private:
    void fillThemes();
    void setZoom(const char* key, int direction);
    void setLanguage(const QString& language);
    static QString settingText(const QString& key, const QString& fallback);

    QPointer<QMenu> m_themes;
};

} // namespace hmi
