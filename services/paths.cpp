#include "services/paths.h"

#include "module/managerhelper.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QFileInfo>

QString getConfigPath(const QString& name)
{
    return QStringLiteral("./config/%1.json").arg(name);
}

QString getCachePath(const QString& name, const QString& sub)
{
    return QStringLiteral("./cache/%2/%1.json").arg(name, sub);
}

QString getTemplatePath(const QString& name)
{
    return ManagerHelper::instance().getQrcPath(QStringLiteral("template"), QStringLiteral(".json"),
                                                name, QString(), QString());
}

QString getCommandPath(const QString& name)
{
    return ManagerHelper::instance().getQrcPath(QStringLiteral("command"), QStringLiteral(".json"),
                                                name, QString(), QString());
}

QString getRenderPath(const QString& name, const QString& sub)
{
    return ManagerHelper::instance().getQrcPath(QStringLiteral("render"), QStringLiteral(".json"),
                                                name, sub, QString());
}

QString getImagePath(const QString& name, const QString& sub)
{
    return ManagerHelper::instance().getQrcPath(QStringLiteral("images"), QStringLiteral(".png"),
                                                name, sub, QString());
}

bool hasFile(const QString& path)
{
    return QFileInfo(path).exists();
}

bool prepareModule(QObject* module, const QString& name, bool withCache, bool merge,
                   const QString& cacheSub)
{
    const bool ok = velk::resource().load(module, name, getTemplatePath(name), merge);
    if (!withCache) {
        return ok;
    }
    // Both loads always run: a module without a template can still have a cache.
    const bool cached = velk::resource().load(module, name, getCachePath(name, cacheSub), merge);
    return ok || cached;
}
