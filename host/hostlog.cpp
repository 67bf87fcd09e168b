#include "hostlog.h"

#include <velk/qlog.h>

#include <QDateTime>

namespace hmi {

void hostLog(char level, const QString& text)
{
    const char* colour = level == 'e' ? "\033[31m" : level == 'w' ? "\033[33m" : "\033[36m";
    const QChar mark = level == 'e'   ? QLatin1Char('E')
                       : level == 'w' ? QLatin1Char('W')
                                      : QLatin1Char('I');
    velk::QFLog(QString::fromLatin1(colour),
                QStringLiteral("[%1|%2]").arg(mark).arg(
                    QDateTime::currentDateTime().toString(QStringLiteral("MM/dd hh:mm:ss.zzz"))),
                QString(), QStringLiteral("./log/zarvo"), QStringLiteral("log"))
        << text;
}

} // namespace hmi
