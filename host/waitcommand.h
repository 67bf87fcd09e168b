#pragma once

#include <velk/basecommand.h>

namespace hmi {

// Console command "wait <ms>": scripts give the program time to react (a
// connection, a timer) before their next line is read.
class WaitCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit WaitCommand(QObject* parent = nullptr);
    ~WaitCommand() override;

    // Longest accepted wait: one hour.
    static constexpr int maximumMs = 3600000;

public Q_SLOTS:
    QString usage() const override;
    QString description() const override;
    void execute(const QString& args) override;

Q_SIGNALS:
    void waitRequested(int ms);
};

} // namespace hmi
