#pragma once

#include <pomr/bmodule.h>

#include <QStringList>

// The module of the fake plug-in. It records every lifecycle hook, in memory
// and as lines of ./fake-lifecycle.txt (the host's working directory), and
// registers console commands in init():
//   fake.echo <text>          outputs <text>
//   fake.later <text>         outputs <text> from the event loop, after the line
//   fake.after <ms> <text>    outputs <text> after <ms> milliseconds
//   fake.fail <text>          reports <text> as an error
//   fake.host                 describes the module published as "velk"
//   fake.box                  runs a modal message box, then outputs its result
//   fake.hooks                outputs the hooks seen so far
class FakeModule : public pomr::BModule
{
    Q_OBJECT

public:
    explicit FakeModule(QObject* parent = nullptr);
    ~FakeModule() override;

    static QString lifecycleFile();
    QStringList hooks() const { return m_hooks; }

public Q_SLOTS:
    QString name() const override;
    void setup() override;
    void afterSetup() override;
    void init() override;
    void afterInit() override;
    void render() override;
    void afterRender() override;
    void idle() override;
    void afterIdle() override;
    void beforeDetach() override;
    void detach() override;

private:
    void record(const QString& hook);
    void registerCommands();

    QStringList m_hooks;
};
