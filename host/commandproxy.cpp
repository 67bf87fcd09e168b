#include "commandproxy.h"

#include <velk/commandmanager.h>

namespace hmi {

CommandProxy::CommandProxy(velk::BaseCommand* original, QObject* parent)
    : velk::BaseCommand(original->name(), original->isListed(), parent)
    , m_original(original)
{
}

CommandProxy::~CommandProxy()
{
    velk::CommandManager& commands = velk::CommandManager::instance();
    if (commands.find(name()) == this) {
        commands.cancel(this);
        if (m_original) {
            commands.regist(m_original);
        }
    }
}

CommandProxy* CommandProxy::install(const QString& name, QObject* parent)
{
    velk::CommandManager& commands = velk::CommandManager::instance();
    velk::BaseCommand* original = commands.find(name);
    if (!original) {
        return nullptr;
    }
    commands.cancel(original);
    auto* proxy = new CommandProxy(original, parent);
    commands.regist(proxy);
    return proxy;
}

QString CommandProxy::usage() const
{
    return m_original ? m_original->usage() : name();
}

QString CommandProxy::description() const
{
    return m_original ? m_original->description() : QString();
}

void CommandProxy::complete(velk::ModuleObject* root, const QString& text)
{
    if (m_original) {
        m_original->complete(root, text);
    }
}

void CommandProxy::hint(velk::ModuleObject* root, const QString& text)
{
    if (m_original) {
        m_original->hint(root, text);
    }
}

void CommandProxy::execute(const QString& args)
{
    Q_EMIT aboutToRun(args);
    if (m_original) {
        m_original->execute(args);
    } else {
        error(tr("%1: its module is gone").arg(name()));
    }
}

} // namespace hmi
