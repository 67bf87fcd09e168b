#pragma once

// Where the HMI's files live. Configuration and caches have fixed places below
// the working directory; data files (templates, render descriptions, images,
// command files) are found through the resource aliases, a file on disk
// before the compiled-in one.

#include <zarvo/zarvo_global.h>

#include <QString>

class QObject;

// "./config/<name>.json"
ZARVO_EXPORT QString getConfigPath(const QString& name);
// "./cache/<sub>/<name>.json"; an empty sub is kept as an empty level.
ZARVO_EXPORT QString getCachePath(const QString& name, const QString& sub = QString());

ZARVO_EXPORT QString getTemplatePath(const QString& name);
ZARVO_EXPORT QString getCommandPath(const QString& name);
ZARVO_EXPORT QString getRenderPath(const QString& name, const QString& sub = QString());
ZARVO_EXPORT QString getImagePath(const QString& name, const QString& sub = QString());

// Whether a disk path or a ":/" resource path exists.
ZARVO_EXPORT bool hasFile(const QString& path);

// Load the template `name` into the resource `name` of `module` and, with
// `withCache`, the cached copy ./cache/<cacheSub>/<name>.json over it. `merge`
// is passed to ResourceManager::load. True when either load succeeded.
ZARVO_EXPORT bool prepareModule(QObject* module, const QString& name, bool withCache, bool merge,
                                const QString& cacheSub = QString());
