#pragma once

#include "basecommand.h"

namespace velk {

// "mobj.set <path> <json-value>": set the value of a node, creating the path.
class MobjSetCommand : public BaseCommand
{
    Q_OBJECT

public:
    explicit MobjSetCommand(QObject* parent);

    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void hint(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;
};

} // namespace velk
