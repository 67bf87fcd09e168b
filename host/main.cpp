// zarvo-hmi: the desktop host that loads the zarvo plug-in by file.

#include "host/exitcode.h"
#include "host/hostapplication.h"
#include "host/hostoptions.h"

#include <QApplication>
#include <QDir>

#include <csignal>
#include <cstdio>

namespace {

void printOut(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that went away (zarvo-hmi --headless ... | head) must not kill
    // the program before its modules detached.
    std::signal(SIGPIPE, SIG_IGN);

    QStringList args;
    for (int i = 0; i < argc; ++i) {
        args.append(QString::fromLocal8Bit(argv[i]));
    }
    hmi::HostOptions options;
    switch (options.parse(args, qEnvironmentVariable("ZARVO_PLUGIN"), QDir::currentPath())) {
    case hmi::HostOptions::ShowHelp:
        printOut(hmi::HostOptions::helpText());
        return hmi::ExitOk;
    case hmi::HostOptions::ShowVersion:
        printOut(hmi::HostOptions::versionText() + QLatin1Char('\n'));
        return hmi::ExitOk;
    case hmi::HostOptions::UsageError:
        hmi::HostApplication::printError(
            QStringLiteral("zarvo-hmi: %1 (see zarvo-hmi --help)").arg(options.errorText()));
        return hmi::ExitUsage;
    case hmi::HostOptions::Run:
        break;
    }

    if (!options.workDir().isEmpty()) {
        QString error;
        if (!hmi::HostApplication::enterWorkDir(options.workDir(), &error)) {
            hmi::HostApplication::printError(QStringLiteral("zarvo-hmi: ") + error);
            return hmi::ExitWorkDir;
        }
    }

    if (options.headless()) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    } else if (!hmi::HostApplication::displayAvailable()) {
        // QApplication would abort without a display; say why instead.
        hmi::HostApplication::printError(
            QStringLiteral("zarvo-hmi: no display to show the window on (DISPLAY and "
                           "WAYLAND_DISPLAY are unset); use --headless or set QT_QPA_PLATFORM"));
        return hmi::ExitNoDisplay;
    }

    // Qt sees only the program name: it would otherwise take options such as
    // --plugin for its own.
    int qtArgc = 1;
    char* qtArgv[] = {argv[0], nullptr};
    QApplication app(qtArgc, qtArgv);
    QCoreApplication::setApplicationName(QStringLiteral("zarvo-hmi"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ZARVO_HMI_VERSION));

    hmi::HostApplication host(options);
    return host.run();
}
