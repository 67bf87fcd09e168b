#pragma once

#include <zarvo/zarvo_global.h>

#include <QObject>

// An asynchronous request waiting for its answer. Its time-out timer uses the
// record as context, so deleting the record cancels the time-out.
class PendingCommand : public QObject
{
    Q_OBJECT

public:
    PendingCommand(const QString& module, const QString& command, QObject* parent = nullptr);
    ~PendingCommand() override;

    // module + separator + command, e.g. "system.state.get_motor".
    QString fullName() const;

    const QString module;
    const QString command;
};
