#pragma once

#include "velk_global.h"

#include <QObject>

namespace velk {

class ModuleObject;

// A console command. The console engine (CommandManager) finds it by the
// first word of a typed line and calls execute() with the rest of the line.
class VELK_EXPORT BaseCommand : public QObject
{
    Q_OBJECT

public:
    // `listed`: true when the command shows in `help` and in name completion;
    // an unlisted command can still be run by its full name.
    BaseCommand(const QString& name, bool listed, QObject* parent = nullptr);
    ~BaseCommand() override;

    QString name() const;
    bool isListed() const;

    // Send text to the attached console: a result line, an error line, or
    // text to append to the line being typed (completion).
    void output(const QString& text);
    void error(const QString& text);
    void input(const QString& text);

public Q_SLOTS:
    virtual QString usage() const;
    virtual QString description() const;
    // `root` is the root of the module-object tree; `text` the whole console
    // line as typed so far. The default implementations do nothing.
    virtual void complete(velk::ModuleObject* root, const QString& text);
    virtual void hint(velk::ModuleObject* root, const QString& text);
    // `args`: the text typed after the command's name and one blank.
    virtual void execute(const QString& args) = 0;

private:
    QString m_name;
    bool m_listed;
};

} // namespace velk
