#include "helpcommand_p.h"

#include "commandmanager.h"
#include "commandmanager_p.h"

namespace velk {

HelpCommand::HelpCommand(QObject* parent)
    : BaseCommand(QStringLiteral("help"), true, parent)
{
}

QString HelpCommand::usage() const
{
    return QStringLiteral("help [<command>]");
}

QString HelpCommand::description() const
{
    return tr("List the commands, or describe one");
}

void HelpCommand::complete(ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    const int blank = firstBlank(text);
    const QString word = text.mid(blank + 1);
    if (firstBlank(word) >= 0) {
        return;
    }
    QStringList candidates;
    const QStringList names = CommandManager::instance().names(true);
    for (const QString& name : names) {
        if (name.startsWith(word)) {
            candidates.append(name);
        }
    }
    const QString tail = commonPrefix(candidates).mid(word.size());
    if (!tail.isEmpty()) {
        input(tail);
    }
}

void HelpCommand::execute(const QString& args)
{
    const CommandManager& manager = CommandManager::instance();
    const QString name = args.trimmed();
    if (!name.isEmpty()) {
        const BaseCommand* command = manager.find(name);
        if (!command) {
            error(tr("unknown command: %1").arg(name));
            return;
        }
        output(QStringLiteral("%1\n    %2").arg(command->usage(), command->description()));
        return;
    }
    QList<const BaseCommand*> commands;
    int width = 0;
    const QStringList names = manager.names(true);
    for (const QString& listed : names) {
        const BaseCommand* command = manager.find(listed);
        commands.append(command);
        width = qMax(width, command->usage().size());
    }
    QStringList lines;
    for (const BaseCommand* command : qAsConst(commands)) {
        const QString description = command->description();
        lines.append(description.isEmpty() ? command->usage()
                                           : command->usage().leftJustified(width) +
                                                 QStringLiteral("  ") + description);
    }
    output(lines.join(QLatin1Char('\n')));
}

} // namespace velk
