#include <pomr/bmodule.h>
#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QEventLoop>
#include <QFile>
#include <QTimer>

#ifndef FAKE_MODULE_NAME
#define FAKE_MODULE_NAME "fake"
#endif

namespace {

const QString moduleName = QStringLiteral(FAKE_MODULE_NAME);

// "fake.echo <text>" outputs <text>; "fake.after <ms> <text>" does so from a timer and
// "fake.nest <ms> <text>" after an event loop of its own, as a modal dialog runs one,
// announced by "nesting" so that a test can send the next line while it runs.
class EchoCommand : public velk::BaseCommand
{
public:
    EchoCommand(const QString& name, QObject* parent)
        : velk::BaseCommand(name, true, parent)
    {
    }
    void execute(const QString& args) override
    {
        if (name() == moduleName + QLatin1String(".echo")) {
            output(args);
            return;
        }
        const int ms = args.section(QLatin1Char(' '), 0, 0).toInt();
        const QString text = args.section(QLatin1Char(' '), 1);
        if (name() == moduleName + QLatin1String(".after")) {
            QTimer::singleShot(ms, this, [this, text] { output(text); });
            return;
        }
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        output(QStringLiteral("nesting"));
        loop.exec();
        output(text);
    }
};

// Appends every lifecycle hook to ./<name>-lifecycle.txt, and "<name> <hook>" to
// ./modules-order.txt, so the host's runs and its order of modules can be judged.
class FakeModule : public pomr::BModule
{
public:
    using pomr::BModule::BModule;
    ~FakeModule() override { record("destroyed"); }
    QString name() const override { return moduleName; }
    void setup() override { record("setup"); }
    void init() override
    {
        record("init");
        for (const char* command : {".echo", ".after", ".nest"}) {
            velk::command().regist(new EchoCommand(moduleName + QLatin1String(command), this));
        }
    }
    void render() override { record("render"); }
    void idle() override { record("idle"); }
    void beforeDetach() override { record("beforeDetach"); }
    void detach() override { record("detach"); }

private:
    static void record(const char* hook)
    {
        QFile file(moduleName + QStringLiteral("-lifecycle.txt"));
        if (file.open(QIODevice::WriteOnly | QIODevice::Append)) {
            file.write(QByteArray(hook) + '\n');
        }
        QFile order(QStringLiteral("modules-order.txt"));
        if (order.open(QIODevice::WriteOnly | QIODevice::Append)) {
            order.write(moduleName.toUtf8() + ' ' + hook + '\n');
        }
    }
};

} // namespace

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new FakeModule(parent);
}

#ifdef FAKE_KIT_VERSION
extern "C" Q_DECL_EXPORT const char* zarvoKitVersion()
{
    return FAKE_KIT_VERSION;
}
#endif
