#pragma once

#include "velk_global.h"

#include <QObject>
#include <QStringList>

namespace velk {

class BaseCommand;

// The console engine. A console view (a widget, or the headless host reading
// standard input) hands typed lines to execute(), complete() and hint(), and
// shows what arrives through the output(), error() and input() signals.
//
// Built-in commands:
//   help                      lists the listed commands with their usage
//   mobj.get [<path>]         prints a module-object subtree as indented JSON
//   mobj.set <path> <json>    sets the value of a node (created when missing)
class VELK_EXPORT CommandManager : public QObject
{
    Q_OBJECT

public:
    static CommandManager& instance();
    ~CommandManager() override;

    // False when the pointer is null or another command holds the name.
    // Commands are forgotten automatically when they are destroyed.
    bool regist(BaseCommand* command);
    bool cancel(BaseCommand* command);
    BaseCommand* find(const QString& name) const;
    // Sorted names; with `listedOnly` the unlisted commands are left out.
    QStringList names(bool listedOnly = true) const;

    // Run a line. Leading and trailing blanks are ignored; an empty line does
    // nothing. False (with an error line) when no command has that name.
    bool execute(const QString& line);
    // Complete the line: while only the first word is typed, the command name
    // (common prefix of the candidates, sent through input()); afterwards the
    // command's own complete().
    void complete(const QString& line);
    // Describe the line: candidates for a partial name, else the command's hint().
    void hint(const QString& line);

Q_SIGNALS:
    void output(const QString& text);
    void error(const QString& text);
    void input(const QString& text);

private:
    CommandManager();
    Q_DISABLE_COPY(CommandManager)

    class Private;
    Private* d;
};

} // namespace velk
