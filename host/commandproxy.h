#pragma once

#include <velk/basecommand.h>

#include <QPointer>

namespace hmi {

// Stands in for a console command of a plug-in under the same name, tells
// the host each time it is run, then runs the original. The host learns of
// the operator's rc.connect and rc.disconnect this way without linking the
// plug-in that owns them.
class CommandProxy : public velk::BaseCommand
{
    Q_OBJECT

public:
    explicit CommandProxy(velk::BaseCommand* original, QObject* parent = nullptr);
    ~CommandProxy() override;

    // Put a proxy in place of the registered command `name`; null when there
    // is no such command. Deleting the proxy puts the original back.
    static CommandProxy* install(const QString& name, QObject* parent = nullptr);

public Q_SLOTS:
    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void hint(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;

Q_SIGNALS:
    // Before the original runs, with what was typed after the name.
    void aboutToRun(const QString& args);

private:
    QPointer<velk::BaseCommand> m_original;
};

} // namespace hmi
