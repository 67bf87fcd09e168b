#pragma once

// Diagnostics of the framework itself, in the same line form as the modules' logs.

#include "qlog.h"

namespace velk {
namespace internal {

inline QString timePrefix(char level)
{
    return QStringLiteral("[%1|%2]").arg(QLatin1Char(level)).arg(QLog::timeStamp());
}

inline void warn(const QString& text)
{
    QLog(QStringLiteral("\033[33m"), timePrefix('W'), QStringLiteral("<velk>")) << text;
}

inline void error(const QString& text)
{
    QLog(QStringLiteral("\033[31m"), timePrefix('E'), QStringLiteral("<velk>")) << text;
}

} // namespace internal
} // namespace velk
