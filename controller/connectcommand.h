#pragma once

#include <velk/basecommand.h>

class ControllerManager;

// "rc.connect [-ip=<ip> -port=<port>]": connect to the saved controller, or
// save a new address first.
class ConnectCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit ConnectCommand(ControllerManager* manager);

    QString usage() const override;
    QString description() const override;
    void execute(const QString& args) override;

private:
    ControllerManager* m_manager;
};
