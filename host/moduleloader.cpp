#include "moduleloader.h"

#include "pluginloader.h"

#include <pomr/bmodule.h>

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace hmi {

namespace {

// Links and "a/../b" must not load one library twice under two names.
QString identity(const QString& file)
{
    const QFileInfo info(file);
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : canonical;
}

} // namespace

ModuleLoader::ModuleLoader() = default;

ModuleLoader::~ModuleLoader() = default;

QStringList ModuleLoader::moduleFiles(const QString& dir, const QStringList& extra,
                                      const QString& corePlugin)
{
    QStringList candidates;
    if (!dir.isEmpty()) {
        const QFileInfoList entries =
            QDir(dir).entryInfoList({QStringLiteral("*.so")}, QDir::Files, QDir::Name);
        for (const QFileInfo& entry : entries) {
            candidates.append(entry.absoluteFilePath());
        }
    }
    candidates += extra;

    QSet<QString> seen{identity(corePlugin)};
    QStringList files;
    for (const QString& file : qAsConst(candidates)) {
        const QString id = identity(file);
        if (seen.contains(id)) {
            continue;
        }
        seen.insert(id);
        files.append(file);
    }
    return files;
}

QList<pomr::BModule*> ModuleLoader::load(const QStringList& files, QObject* parent,
                                         const QString& kitVersion)
{
    QList<pomr::BModule*> modules;
    for (const QString& file : files) {
        auto loader = std::make_unique<PluginLoader>(file);
        const bool usable =
            loader->load() && (kitVersion.isEmpty() || loader->checkKitVersion(kitVersion));
        pomr::BModule* module = usable ? loader->createModule(parent) : nullptr;
        if (!module) {
            m_failures.append({file, loader->errorString()});
        } else {
            modules.append(module);
        }
        // Kept even after a failure: a library that loaded stays loaded, and
        // its code may still be referenced by what its factory registered.
        m_loaders.push_back(std::move(loader));
    }
    return modules;
}

} // namespace hmi
