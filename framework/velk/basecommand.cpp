#include "basecommand.h"

#include "commandmanager.h"

namespace velk {

BaseCommand::BaseCommand(const QString& name, bool listed, QObject* parent)
    : QObject(parent)
    , m_name(name)
    , m_listed(listed)
{
}

BaseCommand::~BaseCommand() = default;

QString BaseCommand::name() const
{
    return m_name;
}

bool BaseCommand::isListed() const
{
    return m_listed;
}

void BaseCommand::output(const QString& text)
{
    Q_EMIT CommandManager::instance().output(text);
}

void BaseCommand::error(const QString& text)
{
    Q_EMIT CommandManager::instance().error(text);
}

void BaseCommand::input(const QString& text)
{
    Q_EMIT CommandManager::instance().input(text);
}

QString BaseCommand::usage() const
{
    return m_name;
}

QString BaseCommand::description() const
{
    return QString();
}

void BaseCommand::complete(ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    Q_UNUSED(text)
}

void BaseCommand::hint(ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    Q_UNUSED(text)
}

} // namespace velk
