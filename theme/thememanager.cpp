#include "theme/thememanager.h"

ThemeManager::ThemeManager(QObject* parent)
    : pomr::BModule(parent)
{
}

ThemeManager::~ThemeManager() = default;

QString ThemeManager::name() const
{
    return QStringLiteral("zvtheme");
}

void ThemeManager::installQrc(const QString& alias)
{
    Q_UNUSED(alias)
}
