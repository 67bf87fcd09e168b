#include "pluginloader.h"

#include <QFileInfo>

namespace hmi {

PluginLoader::PluginLoader(const QString& file)
    : m_file(file)
{
    // Bind every symbol at load time: a plug-in built against a framework
    // that lacks something fails here with a clear message, not later with a
    // crash in the middle of a lifecycle phase.
    m_library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
}

PluginLoader::~PluginLoader() = default;

bool PluginLoader::load()
{
    if (m_status == Loaded) {
        return true;
    }
    m_factory = nullptr;
    const QFileInfo info(m_file);
    if (!info.exists()) {
        m_status = NotLoadable;
        m_error = QStringLiteral("cannot load plug-in %1: no such file").arg(m_file);
        return false;
    }
    if (!info.isFile()) {
        m_status = NotLoadable;
        m_error = QStringLiteral("cannot load plug-in %1: not a file").arg(m_file);
        return false;
    }
    // The exact file: QLibrary would otherwise also try lib<name>.so variants.
    m_library.setFileName(info.absoluteFilePath());
    if (!m_library.load()) {
        m_status = NotLoadable;
        m_error = QStringLiteral("cannot load plug-in %1: %2").arg(m_file, m_library.errorString());
        return false;
    }
    m_factory = reinterpret_cast<Factory>(m_library.resolve(factoryName()));
    if (!m_factory) {
        m_status = SymbolMissing;
        m_error = QStringLiteral("plug-in %1 does not export %2()")
                      .arg(m_file, QLatin1String(factoryName()));
        return false;
    }
    m_status = Loaded;
    m_error.clear();
    return true;
}

QString PluginLoader::kitVersion()
{
    using VersionFunction = const char* (*)();
    if (!m_library.isLoaded()) {
        return QString();
    }
    const auto version = reinterpret_cast<VersionFunction>(m_library.resolve("zarvoKitVersion"));
    const char* text = version ? version() : nullptr;
    // Bounded: the text comes from a foreign library and ends up in a log line.
    return text ? QString::fromUtf8(text, int(qstrnlen(text, 64))) : QString();
}

bool PluginLoader::checkKitVersion(const QString& required)
{
    const QString own = kitVersion();
    if (own == required) {
        return true;
    }
    // Calling into a module built against other headers could crash on a
    // class whose layout changed; refusing it before its factory runs cannot.
    m_status = KitMismatch;
    m_factory = nullptr;
    m_error = own.isEmpty()
                  ? QStringLiteral("module %1 does not say which kit it was built with (the core "
                                   "module is kit %2); rebuild it with zarvo_add_module()")
                        .arg(m_file, required)
                  : QStringLiteral("module %1 was built with kit %2, the core module is kit %3")
                        .arg(m_file, own, required);
    return false;
}

pomr::BModule* PluginLoader::createModule(QObject* parent)
{
    if (!m_factory) {
        if (m_status == NotLoaded) {
            m_status = NotLoadable;
            m_error = QStringLiteral("plug-in %1 was not loaded").arg(m_file);
        }
        return nullptr;
    }
    pomr::BModule* module = m_factory(parent);
    if (!module) {
        m_status = FactoryFailed;
        m_error = QStringLiteral("plug-in %1: %2() returned no module")
                      .arg(m_file, QLatin1String(factoryName()));
    }
    return module;
}

} // namespace hmi
