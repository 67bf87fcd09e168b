#include "controller/pendingcommand.h"

#include <velk/velk.h>

PendingCommand::PendingCommand(const QString& module, const QString& command, QObject* parent)
    : QObject(parent)
    , module(module)
    , command(command)
{
}

PendingCommand::~PendingCommand() = default;

QString PendingCommand::fullName() const
{
    return velk::mName(module, command);
}
