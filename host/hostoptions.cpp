#include "hostoptions.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

namespace hmi {

namespace {

QString absoluteFrom(const QString& baseDir, const QString& path)
{
    return QDir::cleanPath(QDir(baseDir).absoluteFilePath(path));
}

} // namespace

HostOptions::Result HostOptions::parse(const QStringList& args, const QString& envPlugin,
                                       const QString& baseDir)
{
    m_headless = false;
    m_reconnect = true;
    m_pluginFile.clear();
    m_workDir.clear();
    m_moduleFiles.clear();
    m_error.clear();

    QCommandLineParser parser;
    // "-headless" and "--headless" alike; short -h and -v still work.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption headless(QStringLiteral("headless"));
    const QCommandLineOption noReconnect(QStringLiteral("no-reconnect"));
    const QCommandLineOption plugin(QStringLiteral("plugin"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption workdir(QStringLiteral("workdir"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption module(QStringLiteral("module"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    const QCommandLineOption version(QStringList{QStringLiteral("v"), QStringLiteral("version")});
    parser.addOptions({headless, noReconnect, plugin, workdir, module, help, version});

    if (!parser.parse(args)) {
        m_error = parser.errorText();
        return UsageError;
    }
    if (parser.isSet(help)) {
        return ShowHelp;
    }
    if (parser.isSet(version)) {
        return ShowVersion;
    }
    if (!parser.positionalArguments().isEmpty()) {
        m_error =
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first());
        return UsageError;
    }

    m_headless = parser.isSet(headless);
    m_reconnect = !parser.isSet(noReconnect);
    if (parser.isSet(plugin)) {
        const QString file = parser.value(plugin);
        if (file.isEmpty()) {
            m_error = QStringLiteral("--plugin needs a file name");
            return UsageError;
        }
        m_pluginFile = absoluteFrom(baseDir, file);
    } else if (!envPlugin.isEmpty()) {
        m_pluginFile = absoluteFrom(baseDir, envPlugin);
    }
    if (parser.isSet(workdir)) {
        const QString dir = parser.value(workdir);
        if (dir.isEmpty()) {
            m_error = QStringLiteral("--workdir needs a directory name");
            return UsageError;
        }
        m_workDir = absoluteFrom(baseDir, dir);
    }
    const QStringList modules = parser.values(module);
    for (const QString& file : modules) {
        if (file.isEmpty()) {
            m_error = QStringLiteral("--module needs a file name");
            return UsageError;
        }
        m_moduleFiles.append(absoluteFrom(baseDir, file));
    }
    return Run;
}

QString HostOptions::resolvedPluginFile(const QString& applicationDir) const
{
    return m_pluginFile.isEmpty() ? defaultPluginFile(applicationDir) : m_pluginFile;
}

QString HostOptions::defaultPluginFile(const QString& applicationDir)
{
    // Installed, the HMI's libraries are private to it (lib/zarvo); in a
    // build tree they sit in lib next to bin.
    const QString installed = QDir::cleanPath(
        applicationDir + QStringLiteral("/../" ZARVO_INSTALL_LIBDIR "/libzarvo.so"));
    if (QFileInfo::exists(installed)) {
        return installed;
    }
    return QDir::cleanPath(applicationDir + QStringLiteral("/../lib/libzarvo.so"));
}

QString HostOptions::modulesDir(const QString& applicationDir)
{
    // Set (even empty) it replaces the folder: tests and trials run without
    // whatever modules a build tree or an installation holds.
    if (qEnvironmentVariableIsSet("ZARVO_MODULES_DIR")) {
        return qEnvironmentVariable("ZARVO_MODULES_DIR");
    }
    const QString installed =
        QDir::cleanPath(applicationDir + QStringLiteral("/../" ZARVO_INSTALL_LIBDIR "/modules"));
    if (QFileInfo::exists(installed)) {
        return installed;
    }
    return QDir::cleanPath(applicationDir + QStringLiteral("/../lib/zarvo/modules"));
}

QString HostOptions::versionText()
{
    return QStringLiteral("zarvo-hmi " ZARVO_HMI_VERSION);
}

QString HostOptions::helpText()
{
    return QStringLiteral(
        "Usage: zarvo-hmi [--headless] [--no-reconnect] [--plugin FILE] [--module FILE]...\n"
        "                 [--workdir DIR]\n"
        "\n"
        "Loads the zarvo plug-in and runs the HMI around it.\n"
        "\n"
        "Options:\n"
        "  --headless      No window: read console commands from standard input,\n"
        "                  one a line, and print their output to standard output\n"
        "                  and their errors to standard error.\n"
        "  --no-reconnect  Do not reconnect to the controller by itself after a lost\n"
        "                  or refused link (rc.connect still does).\n"
        "  --plugin FILE   The plug-in to load. Default: $ZARVO_PLUGIN when set,\n"
        "                  else libzarvo.so in <directory of zarvo-hmi>/../lib/zarvo\n"
        "                  (installed) or ../lib (build tree).\n"
        "  --module FILE   A further module plug-in, loaded after the core module and\n"
        "                  those of <directory of zarvo-hmi>/../lib/zarvo/modules\n"
        "                  (repeatable; loaded in the order given). One that fails\n"
        "                  to load is reported and left out.\n"
        "  --workdir DIR   Working directory (created when missing); ./config,\n"
        "                  ./log and ./cache are kept there. Default: the current one.\n"
        "  -h, --help      Show this text and exit.\n"
        "  -v, --version   Show the version and exit.\n"
        "\n"
        "Headless console:\n"
        "  Blank lines and lines starting with '#' are ignored. Between two lines\n"
        "  the event loop runs once. At the end of the input the modules are\n"
        "  detached and the program exits with 0.\n"
        "  help        list the commands with their usage\n"
        "  wait <ms>   let the program run <ms> milliseconds before the next line\n"
        "  quit        detach the modules and exit with 0\n"
        "\n"
        "Environment:\n"
        "  ZARVO_PLUGIN      plug-in file when --plugin is not given\n"
        "  ZARVO_MODULES_DIR folder of further modules instead of lib/zarvo/modules\n"
        "                    (set but empty: none)\n"
        "  QT_QPA_PLATFORM   Qt platform; --headless uses \"offscreen\" unless set\n"
        "\n"
        "Exit codes:\n"
        "  0  normal end (quit, end of input, window closed, SIGINT or SIGTERM)\n"
        "  1  internal failure\n"
        "  2  bad command line\n"
        "  3  plug-in file missing or not loadable\n"
        "  4  plug-in does not export newModule\n"
        "  5  plug-in's newModule returned no module\n"
        "  6  working directory cannot be created or entered\n"
        "  7  no display for the window (use --headless or set QT_QPA_PLATFORM)\n");
}

} // namespace hmi
