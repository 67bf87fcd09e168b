#include "waitcommand.h"

namespace hmi {

WaitCommand::WaitCommand(QObject* parent)
    : velk::BaseCommand(QStringLiteral("wait"), true, parent)
{
}

WaitCommand::~WaitCommand() = default;

QString WaitCommand::usage() const
{
    return QStringLiteral("wait <ms>");
}

QString WaitCommand::description() const
{
    return QStringLiteral("Let the program run <ms> milliseconds before the next line is read");
}

void WaitCommand::execute(const QString& args)
{
    bool ok = false;
    const int ms = args.trimmed().toInt(&ok);
    if (!ok || ms < 0 || ms > maximumMs) {
        error(QStringLiteral("wait: '%1' is not a number of milliseconds from 0 to %2 (usage: %3)")
                  .arg(args.trimmed())
                  .arg(maximumMs)
                  .arg(usage()));
        return;
    }
    Q_EMIT waitRequested(ms);
}

} // namespace hmi
