#pragma once

#include "hostoptions.h"

#include <QObject>

namespace hmi {

class HeadlessConsole;

// One run of the HMI once QApplication exists: load the plug-in, build the
// host module with the window or the headless console, drive the lifecycle
// around the event loop and take everything down in order afterwards.
class HostApplication : public QObject
{
    Q_OBJECT

public:
    explicit HostApplication(const HostOptions& options, QObject* parent = nullptr);
    ~HostApplication() override;

    // Returns the process exit code (see ExitCode).
    int run();

    // Create `dir` when missing and make it the working directory.
    static bool enterWorkDir(const QString& dir, QString* error);
    // Whether a window can be shown at all (a platform chosen, or a display).
    static bool displayAvailable();

    // Error lines for the operator on standard error.
    static void printError(const QString& text);

public Q_SLOTS:
    // Leave the event loop with exit code 0 (queued, so also safe to call
    // before the loop runs or from inside a command).
    void requestQuit();

private:
    // A module plug-in that could not be loaded: the reason names its file.
    void reportLeftOut(const QString& reason, bool inWindow);

    HostOptions m_options;
    HeadlessConsole* m_console = nullptr;
    bool m_quitRequested = false;
};

} // namespace hmi
