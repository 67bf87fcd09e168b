#include "theme/thememanager.h"

// Placeholder bodies: the theme is being built on its own branch.

class ThemeManager::Private
{
};

ThemeManager::ThemeManager(QObject* parent)
    : pomr::BModule(parent)
    , d(new Private)
{
}

ThemeManager::~ThemeManager()
{
    delete d;
}

QString ThemeManager::name() const
{
    return QStringLiteral("zvtheme");
}

void ThemeManager::init() {}
void ThemeManager::detach() {}

void ThemeManager::installQrc(const QString& alias)
{
    Q_UNUSED(alias)
}

QString ThemeManager::genStyleSheet(const QString&)
{
    return QString();
}
QString ThemeManager::buildStyleFromJson(const QJsonObject&)
{
    return QString();
}
QString ThemeManager::buildStyleFromStr(const QString& value)
{
    return value;
}
QColor ThemeManager::getColor(const QString&)
{
    return QColor();
}
QFont ThemeManager::getFont(const QString&)
{
    return QFont();
}
int ThemeManager::getSize(const QString&)
{
    return 0;
}
int ThemeManager::getSize(int px) const
{
    return px;
}
QSize ThemeManager::getIconSize(const QString&) const
{
    return QSize(32, 32);
}
QPixmap ThemeManager::getIconPixmap(const QString&, const QString&)
{
    return QPixmap();
}
QIcon ThemeManager::getIcon(const QString&, const QString&)
{
    return QIcon();
}
QString ThemeManager::curThemeName() const
{
    return QStringLiteral("zvtheme_default");
}
void ThemeManager::setCurrentTheme(const QString&) {}
QStringList ThemeManager::getThemeNames() const
{
    return QStringList();
}
QString ThemeManager::getThemeLabel(const QString&) const
{
    return QString();
}
QString ThemeManager::zoomStyle(const QString&, const QString&, const QString& value) const
{
    return value;
}
QString ThemeManager::zoomPx(const QString& value) const
{
    return value;
}
double ThemeManager::sizeZoom() const
{
    return 1.0;
}
double ThemeManager::fontZoom() const
{
    return 1.0;
}
