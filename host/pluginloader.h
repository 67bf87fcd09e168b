#pragma once

#include <QLibrary>
#include <QString>

class QObject;

namespace pomr {
class BModule;
}

namespace hmi {

// Loads the plug-in library by file and calls its factory
//   extern "C" pomr::BModule* newModule(QObject* parent)
// Every failure leaves a status and a one-line error text for the operator.
// The library is never unloaded: the plug-in keeps process-wide singletons
// that are destroyed at process exit, after main() returned.
class PluginLoader
{
public:
    enum Status {
        NotLoaded,
        Loaded,
        NotLoadable,   // missing file, not a library, unresolved symbols, ...
        SymbolMissing, // loaded, but no newModule
        FactoryFailed, // newModule returned null
        KitMismatch,   // built against another version of the kit
    };

    explicit PluginLoader(const QString& file);
    ~PluginLoader();

    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    QString fileName() const { return m_file; }

    // Load the library and resolve the factory. True when both worked.
    bool load();
    // Call the factory (load() must have succeeded). Null on failure.
    pomr::BModule* createModule(QObject* parent);

    // The kit version the library says it was built with (its exported
    // zarvoKitVersion()); empty when it does not say (load() first).
    QString kitVersion();
    // Refuse the library (status KitMismatch) unless it was built with `required`.
    bool checkKitVersion(const QString& required);

    Status status() const { return m_status; }
    QString errorString() const { return m_error; }

    static const char* factoryName() { return "newModule"; }

private:
    using Factory = pomr::BModule* (*)(QObject*);

    QString m_file;
    QLibrary m_library;
    Factory m_factory = nullptr;
    Status m_status = NotLoaded;
    QString m_error;
};

} // namespace hmi
