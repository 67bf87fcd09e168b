#include "quitcommand.h"

namespace hmi {

QuitCommand::QuitCommand(QObject* parent)
    : velk::BaseCommand(QStringLiteral("quit"), true, parent)
{
}

QuitCommand::~QuitCommand() = default;

QString QuitCommand::usage() const
{
    return QStringLiteral("quit");
}

QString QuitCommand::description() const
{
    return QStringLiteral("Detach the modules and exit");
}

void QuitCommand::execute(const QString& args)
{
    // Refused rather than ignored: "quit now" in a script is more likely a
    // typo for something else than a request to stop.
    if (!args.trimmed().isEmpty()) {
        error(QStringLiteral("quit takes no arguments (usage: %1)").arg(usage()));
        return;
    }
    Q_EMIT quitRequested();
}

} // namespace hmi
