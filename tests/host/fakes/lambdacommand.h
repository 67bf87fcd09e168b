#pragma once

#include <velk/basecommand.h>

#include <functional>

// A console command whose behaviour is a function: the fake plug-in needs
// several small ones.
class LambdaCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    using Body = std::function<void(LambdaCommand& self, const QString& args)>;

    LambdaCommand(const QString& name, const QString& usage, Body body, QObject* parent);
    ~LambdaCommand() override;

public Q_SLOTS:
    QString usage() const override;
    void execute(const QString& args) override;

private:
    QString m_usage;
    Body m_body;
};
