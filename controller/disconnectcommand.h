#pragma once

#include <velk/basecommand.h>

class ControllerManager;

// "rc.disconnect": close the link to the connected controller.
class DisconnectCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit DisconnectCommand(ControllerManager* manager);

    QString usage() const override;
    QString description() const override;
    void execute(const QString& args) override;

private:
    ControllerManager* m_manager;
};
