#pragma once

namespace hmi {

// Exit codes of zarvo-hmi. Scripts branch on them, so the values never change;
// new codes are only ever appended.
enum ExitCode {
    ExitOk = 0,                // quit, end of input, window closed, SIGINT/SIGTERM
    ExitFailure = 1,           // an unexpected internal failure
    ExitUsage = 2,             // bad command line
    ExitPluginNotLoadable = 3, // plug-in file missing or not a loadable library
    ExitSymbolMissing = 4,     // the plug-in does not export newModule
    ExitFactoryFailed = 5,     // newModule returned no module
    ExitWorkDir = 6,           // the working directory cannot be created or entered
    ExitNoDisplay = 7,         // window mode without any display to show it on
};

} // namespace hmi
