#include "lambdacommand.h"

LambdaCommand::LambdaCommand(const QString& name, const QString& usage, Body body, QObject* parent)
    : velk::BaseCommand(name, true, parent)
    , m_usage(usage)
    , m_body(std::move(body))
{
}

LambdaCommand::~LambdaCommand() = default;

QString LambdaCommand::usage() const
{
    return m_usage;
}

void LambdaCommand::execute(const QString& args)
{
    m_body(*this, args);
}
