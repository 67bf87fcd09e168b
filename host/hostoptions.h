#pragma once

#include <QString>
#include <QStringList>

namespace hmi {

// The command line of zarvo-hmi. Parsed before QApplication exists, so that
// --help and usage errors work without a display, and relative paths are
// made absolute against the directory the user started from.
class HostOptions
{
public:
    enum Result {
        Run,
        ShowHelp,
        ShowVersion,
        UsageError,
    };

    // `args` starts with the program name. `envPlugin` is the value of
    // $ZARVO_PLUGIN (used when --plugin is absent); `baseDir` resolves
    // relative paths.
    Result parse(const QStringList& args, const QString& envPlugin, const QString& baseDir);

    bool headless() const { return m_headless; }
    // False with --no-reconnect: a lost link stays down until rc.connect.
    bool reconnect() const { return m_reconnect; }
    // Absolute; empty when neither --plugin nor $ZARVO_PLUGIN was given.
    QString pluginFile() const { return m_pluginFile; }
    // Absolute; empty when the working directory stays as it is.
    QString workDir() const { return m_workDir; }
    // Every --module FILE, absolute, in command-line order.
    QStringList moduleFiles() const { return m_moduleFiles; }
    // One line describing the usage error.
    QString errorText() const { return m_error; }

    // The plug-in to load: the given one, else libzarvo.so in
    // <applicationDir>/../lib/zarvo (installed) or <applicationDir>/../lib.
    QString resolvedPluginFile(const QString& applicationDir) const;
    static QString defaultPluginFile(const QString& applicationDir);
    // Where further module plug-ins are found: $ZARVO_MODULES_DIR when set
    // (empty: none), else <library dir>/zarvo/modules.
    static QString modulesDir(const QString& applicationDir);

    static QString helpText();
    static QString versionText();

private:
    bool m_headless = false;
    bool m_reconnect = true;
    QString m_pluginFile;
    QString m_workDir;
    QStringList m_moduleFiles;
    QString m_error;
};

} // namespace hmi
