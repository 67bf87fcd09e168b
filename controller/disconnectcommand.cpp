#include "controller/disconnectcommand.h"

#include "controller/controllermanager.h"

DisconnectCommand::DisconnectCommand(ControllerManager* manager)
    : velk::BaseCommand(QStringLiteral("rc.disconnect"), true, manager)
    , m_manager(manager)
{
}

QString DisconnectCommand::usage() const
{
    return velk::BaseCommand::tr("rc.disconnect");
}

QString DisconnectCommand::description() const
{
    return velk::BaseCommand::tr("Try to disconnect from connected controller");
}

void DisconnectCommand::execute(const QString& args)
{
    Q_UNUSED(args)
    if (!m_manager->isConnected()) {
        error(velk::BaseCommand::tr("controller is not connected"));
        return;
    }
    m_manager->disconnectFromRC();
}
