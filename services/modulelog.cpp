#include "services/modulelog.h"

#include <QJsonDocument>
#include <QLoggingCategory>

namespace zarvo {

namespace {

velk::QFLog fileLog(const char* colour, const char* marker)
{
    return velk::QFLog(QString::fromLatin1(colour), QString::fromLatin1(marker).arg(logTime()),
                       QString(), logPath(), QStringLiteral("log"));
}

} // namespace

QString logPath()
{
    return QStringLiteral("./log/%1").arg(QStringLiteral("zarvo"));
}

QString logTime()
{
    return velk::QLog::timeStamp();
}

velk::QFLog startLog()
{
    return fileLog("\033[35m", "[S|%1]");
}
velk::QFLog infoLog()
{
    return fileLog("\033[36m", "[I|%1]");
}
velk::QFLog warnLog()
{
    return fileLog("\033[33m", "[W|%1]");
}
velk::QFLog errorLog()
{
    return fileLog("\033[31m", "[E|%1]");
}

namespace {

Q_LOGGING_CATEGORY(debugCategory, "zarvo.debug", QtInfoMsg)

// Off unless asked for: a line per packet is formatted only for someone who
// reads it.
bool& debugFlag()
{
    static bool on = [] {
        const QByteArray env = qgetenv("ZARVO_DEBUG_LOG").trimmed().toLower();
        if (env == "1" || env == "on" || env == "true") {
            return true;
        }
        if (env == "0" || env == "off" || env == "false") {
            return false;
        }
        return debugCategory().isDebugEnabled();
    }();
    return on;
}

} // namespace

velk::QLog debugLog()
{
    if (!debugFlag()) {
        return velk::QLog(QString(), QString(), QString(), false);
    }
    return velk::QLog(QStringLiteral("\033[32m"), QStringLiteral("[d|%1]").arg(logTime()),
                      QString());
}

QString excerpt(const QString& text, int max)
{
    return velk::QLog::escaped(text, max);
}

QString excerpt(const QJsonObject& json, int max)
{
    // Only what is shown is worth serialising twice; a packet is at most a
    // few MiB, and the serialiser already escapes control characters.
    return excerpt(QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact)), max);
}

void setDebugLogEnabled(bool on)
{
    debugFlag() = on;
}

bool isDebugLogEnabled()
{
    return debugFlag();
}

} // namespace zarvo
