#include "helpcommand_p.h"

#include "commandmanager.h"
#include "commandmanager_p.h"

namespace velk {

namespace {

// Columns a terminal gives the text: East Asian wide and full-width
// characters take two, so that Chinese usages line up with Latin ones.
int displayWidth(const QString& text)
{
    int width = 0;
    const QVector<uint> codes = text.toUcs4();
    for (uint c : codes) {
        const bool wide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) ||
                          (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
                          (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
                          (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x20000 && c <= 0x3FFFD);
        width += wide ? 2 : 1;
    }
    return width;
}

} // namespace

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
        width = qMax(width, displayWidth(command->usage()));
    }
    QStringList lines;
    for (const BaseCommand* command : qAsConst(commands)) {
        const QString description = command->description();
        const QString usage = command->usage();
        lines.append(description.isEmpty()
                         ? usage
                         : usage + QString(width - displayWidth(usage) + 2, QLatin1Char(' ')) +
                               description);
    }
    output(lines.join(QLatin1Char('\n')));
}

} // namespace velk
