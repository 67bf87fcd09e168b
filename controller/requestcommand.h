#pragma once

#include <velk/basecommand.h>

class ControllerManager;

// "rc.request <command> [-s] [-data=<json>]": send any catalogue command by
// hand. With " -s" it waits for the answer and prints it; otherwise the
// answer shows only in the module objects and the log. Completion and hints
// walk the catalogue.
class RequestCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit RequestCommand(ControllerManager* manager);

    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void hint(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;

private:
    ControllerManager* m_manager;
};
