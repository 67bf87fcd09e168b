#include "commandmanager.h"
#include "commandmanager_p.h"

#include "basecommand.h"
#include "helpcommand_p.h"
#include "mobjgetcommand_p.h"
#include "mobjsetcommand_p.h"
#include "modulemanager.h"
#include "velk.h"

namespace velk {

int firstBlank(const QString& text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).isSpace()) {
            return i;
        }
    }
    return -1;
}

QString commonPrefix(const QStringList& list)
{
    if (list.isEmpty()) {
        return QString();
    }
    QString prefix = list.first();
    for (const QString& item : list) {
        int i = 0;
        const int limit = qMin(prefix.size(), item.size());
        while (i < limit && prefix.at(i) == item.at(i)) {
            ++i;
        }
        prefix.truncate(i);
    }
    return prefix;
}

QStringList CommandManager::Private::candidates(const QString& prefix) const
{
    QStringList result;
    for (auto it = commands.cbegin(); it != commands.cend(); ++it) {
        if (!it.key().startsWith(prefix)) {
            continue;
        }
        if (it.value().command->isListed() || it.key() == prefix) {
            result.append(it.key());
        }
    }
    return result;
}

CommandManager::CommandManager()
    : d(new Private)
{
    regist(new HelpCommand(this));
    regist(new MobjGetCommand(this));
    regist(new MobjSetCommand(this));
}

CommandManager::~CommandManager()
{
    for (const Private::Entry& entry : qAsConst(d->commands)) {
        disconnect(entry.forget);
    }
    delete d;
}

CommandManager& CommandManager::instance()
{
    // Never destroyed: commands of modules unregister from their destructors,
    // which may run after static destructors.
    static CommandManager* const manager = new CommandManager;
    return *manager;
}

bool CommandManager::regist(BaseCommand* command)
{
    if (!command) {
        return false;
    }
    const QString name = command->name();
    if (name.isEmpty() || firstBlank(name) >= 0) {
        Q_EMIT error(tr("invalid command name \"%1\"").arg(name));
        return false;
    }
    const auto it = d->commands.constFind(name);
    if (it != d->commands.cend()) {
        return it.value().command == command;
    }
    Private::Entry entry;
    entry.command = command;
    // By pointer: when destroyed() arrives the command's own members are gone.
    entry.forget = connect(command, &QObject::destroyed, this, [this, command] {
        for (auto i = d->commands.begin(); i != d->commands.end(); ++i) {
            if (i.value().command == command) {
                d->commands.erase(i);
                return;
            }
        }
    });
    d->commands.insert(name, entry);
    return true;
}

bool CommandManager::cancel(BaseCommand* command)
{
    if (!command) {
        return false;
    }
    const auto it = d->commands.find(command->name());
    if (it == d->commands.end() || it.value().command != command) {
        return false;
    }
    disconnect(it.value().forget);
    d->commands.erase(it);
    return true;
}

BaseCommand* CommandManager::find(const QString& name) const
{
    return d->commands.value(name).command;
}

QStringList CommandManager::names(bool listedOnly) const
{
    QStringList result;
    for (auto it = d->commands.cbegin(); it != d->commands.cend(); ++it) {
        if (!listedOnly || it.value().command->isListed()) {
            result.append(it.key());
        }
    }
    return result;
}

bool CommandManager::execute(const QString& line)
{
    const QString text = line.trimmed();
    if (text.isEmpty()) {
        return true;
    }
    const int blank = firstBlank(text);
    const QString name = blank < 0 ? text : text.left(blank);
    BaseCommand* command = find(name);
    if (!command) {
        Q_EMIT error(tr("unknown command: %1").arg(name));
        return false;
    }
    command->execute(blank < 0 ? QString() : text.mid(blank + 1));
    return true;
}

// Leading blanks carry no meaning and are dropped before a command sees the
// line, so that its words can be counted from the start.
void CommandManager::complete(const QString& line)
{
    int start = 0;
    while (start < line.size() && line.at(start).isSpace()) {
        ++start;
    }
    const QString text = line.mid(start);
    const int blank = firstBlank(text);
    if (blank >= 0) {
        if (BaseCommand* command = find(text.left(blank))) {
            command->complete(m().root(), text);
        }
        return;
    }
    const QStringList candidates = d->candidates(text);
    if (candidates.isEmpty()) {
        return;
    }
    QString tail = commonPrefix(candidates).mid(text.size());
    if (candidates.size() == 1) {
        tail += QLatin1Char(' '); // the name is complete: on to its arguments
    }
    if (!tail.isEmpty()) {
        Q_EMIT input(tail);
    }
}

void CommandManager::hint(const QString& line)
{
    int start = 0;
    while (start < line.size() && line.at(start).isSpace()) {
        ++start;
    }
    const QString text = line.mid(start);
    const int blank = firstBlank(text);
    const QString name = blank < 0 ? text : text.left(blank);
    if (BaseCommand* command = find(name)) {
        command->hint(m().root(), text);
        return;
    }
    const QStringList candidates = blank < 0 ? d->candidates(name) : QStringList();
    if (candidates.isEmpty()) {
        Q_EMIT error(tr("unknown command: %1").arg(name));
        return;
    }
    Q_EMIT output(candidates.join(QStringLiteral("\t ")));
}

CommandManager& command()
{
    return CommandManager::instance();
}

} // namespace velk
