#pragma once

#include <velk/basecommand.h>

namespace hmi {

// Console command "quit": ends the program in order (modules detach first).
class QuitCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit QuitCommand(QObject* parent = nullptr);
    ~QuitCommand() override;

public Q_SLOTS:
    QString usage() const override;
    QString description() const override;
    void execute(const QString& args) override;

Q_SIGNALS:
    void quitRequested();
};

} // namespace hmi
