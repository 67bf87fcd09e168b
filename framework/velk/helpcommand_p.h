#pragma once

#include "basecommand.h"

namespace velk {

// "help [<command>]": the listed commands with their usage and description,
// or the one command named.
class HelpCommand : public BaseCommand
{
    Q_OBJECT

public:
    explicit HelpCommand(QObject* parent);

    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;
};

} // namespace velk
