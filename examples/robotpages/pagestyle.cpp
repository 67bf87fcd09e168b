#include "pagestyle.h"

#include <zarvo/managerhelper.h>
#include <zarvo/paths.h>
#include <zarvo/stylesheet.h>
#include <zarvo/thememanager.h>

#include <QWidget>

namespace robotpages {

void renderPage(QWidget* page)
{
    if (!page) {
        return;
    }
    ThemeManager* themes = theme();
    const QString sheet =
        themes->genStyleSheet(
            getRenderPath(QStringLiteral("robot"), QStringLiteral("setting_page"))) +
        themes->genStyleSheet(getRenderPath(QStringLiteral("robotpages"), QStringLiteral("pages")));
    setRecursiveWidgetStyleSheet(page, sheet);
}

} // namespace robotpages
