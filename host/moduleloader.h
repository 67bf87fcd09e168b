#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>
#include <vector>

class QObject;

namespace pomr {
class BModule;
}

namespace hmi {

class PluginLoader;

// Loads the module plug-ins that come after the core module: every library of
// the modules folder, by file name, then each one named on the command line,
// in that order. One that cannot be loaded is left out with its reason; the
// HMI goes on without it. Libraries are never unloaded.
class ModuleLoader
{
public:
    struct Failure
    {
        QString file;
        QString reason;
    };

    ModuleLoader();
    ~ModuleLoader();

    ModuleLoader(const ModuleLoader&) = delete;
    ModuleLoader& operator=(const ModuleLoader&) = delete;

    // The files to load, in load order: the "*.so" files of `dir` sorted by
    // name, then `extra` as given. A file named twice, or the core plug-in
    // itself, is loaded once (first place wins).
    static QStringList moduleFiles(const QString& dir, const QStringList& extra,
                                   const QString& corePlugin);

    // Creates the module of each file with `parent` as its Qt parent. Returns
    // the modules created, in order; failures() tells what was left out. With
    // a `kitVersion`, a module built with another kit version is left out.
    QList<pomr::BModule*> load(const QStringList& files, QObject* parent,
                               const QString& kitVersion = QString());

    QVector<Failure> failures() const { return m_failures; }

private:
    std::vector<std::unique_ptr<PluginLoader>> m_loaders;
    QVector<Failure> m_failures;
};

} // namespace hmi
