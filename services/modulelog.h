#pragma once

#include <zarvo/zarvo_global.h>

#include <velk/qlog.h>

#include <QJsonObject>

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
// while the robot streams its pose, so they are off (and cost nothing) unless
// asked for: ZARVO_DEBUG_LOG=1, or the logging rule "zarvo.debug=true"
// (QT_LOGGING_RULES). ZARVO_DEBUG_LOG=0 keeps them off whatever the rules say.
ZARVO_EXPORT void setDebugLogEnabled(bool on);
ZARVO_EXPORT bool isDebugLogEnabled();

// How much of a text from outside a log line shows.
constexpr int ExcerptLength = 300;

// Text that came from outside (a packet, a file, console input) as a log line
// or the screen may show it: control characters, line and paragraph
// separators and bidirectional overrides written as escapes (\n, \x1b,
// \u202e), so that it can neither start a line of its own nor steer a
// terminal; cut after `max` characters, with the full length noted.
ZARVO_EXPORT QString excerpt(const QString& text, int max = ExcerptLength);
// The compact JSON of a packet, escaped and cut the same way.
ZARVO_EXPORT QString excerpt(const QJsonObject& json, int max = ExcerptLength);

} // namespace zarvo
