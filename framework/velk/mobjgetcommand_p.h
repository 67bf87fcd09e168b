#pragma once

#include "basecommand.h"

namespace velk {

// "mobj.get [<path>]": a module-object subtree as indented JSON.
class MobjGetCommand : public BaseCommand
{
    Q_OBJECT

public:
    explicit MobjGetCommand(QObject* parent);

    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void hint(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;

    // Shared with mobj.set: completion and listing of the path that is the
    // second word of `text`.
    static void completePath(BaseCommand* command, ModuleObject* root, const QString& text);
    static void hintPath(BaseCommand* command, ModuleObject* root, const QString& text);
};

} // namespace velk
