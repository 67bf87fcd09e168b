#pragma once

#include <zarvo/zarvo_global.h>

#include <velk/qlog.h>

// The line streams of the module's own log. Info, warning and error lines go
// to the console and to ./log/zarvo.log, debug lines to the console only:
//
//   zarvo::warnLog() << "controller dying";
//
// Each returns a fresh stream that writes its line at the end of the statement.
namespace zarvo {

// "./log/zarvo": the log path of the module, completed by the logger.
ZARVO_EXPORT QString logPath();
// The current local time as log lines show it: "MM/dd hh:mm:ss.zzz".
ZARVO_EXPORT QString logTime();

ZARVO_EXPORT velk::QFLog startLog();
ZARVO_EXPORT velk::QFLog infoLog();
ZARVO_EXPORT velk::QFLog warnLog();
ZARVO_EXPORT velk::QFLog errorLog();
ZARVO_EXPORT velk::QLog debugLog();

// Debug lines trace every packet of the controller link, a hundred a second
// while the robot streams its pose: a site can switch them off. On unless the
// environment sets ZARVO_DEBUG_LOG to "0" or "off".
ZARVO_EXPORT void setDebugLogEnabled(bool on);
ZARVO_EXPORT bool isDebugLogEnabled();

} // namespace zarvo
