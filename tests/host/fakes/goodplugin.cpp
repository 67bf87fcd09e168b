#include <pomr/bmodule.h>
#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QEventLoop>
#include <QFile>
#include <QTimer>

namespace {

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
        if (name() == QLatin1String("fake.echo")) {
            output(args);
            return;
        }
        const int ms = args.section(QLatin1Char(' '), 0, 0).toInt();
        const QString text = args.section(QLatin1Char(' '), 1);
        if (name() == QLatin1String("fake.after")) {
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

// Appends every lifecycle hook to ./fake-lifecycle.txt, so the host's runs can be judged.
class FakeModule : public pomr::BModule
{
public:
    using pomr::BModule::BModule;
    ~FakeModule() override { record("destroyed"); }
    QString name() const override { return QStringLiteral("fake"); }
    void setup() override { record("setup"); }
    void init() override
    {
        record("init");
        for (const char* name : {"fake.echo", "fake.after", "fake.nest"}) {
            velk::command().regist(new EchoCommand(QLatin1String(name), this));
        }
    }
    void render() override { record("render"); }
    void idle() override { record("idle"); }
    void beforeDetach() override { record("beforeDetach"); }
    void detach() override { record("detach"); }

private:
    static void record(const char* hook)
    {
        QFile file(QStringLiteral("fake-lifecycle.txt"));
        if (file.open(QIODevice::WriteOnly | QIODevice::Append)) {
            file.write(QByteArray(hook) + '\n');
        }
    }
};

} // namespace

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new FakeModule(parent);
}
