#include <pomr/bmodule.h>
#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QFile>
#include <QTimer>

namespace {

// "fake.echo <text>" outputs <text>; "fake.after <ms> <text>" does so from a timer.
class EchoCommand : public velk::BaseCommand
{
public:
    EchoCommand(const QString& name, QObject* parent)
        : velk::BaseCommand(name, true, parent)
    {
    }
    QString usage() const override
    {
        return name() == QLatin1String("fake.after") ? QStringLiteral("fake.after <ms> <text>")
                                                     : QStringLiteral("fake.echo <text>");
    }
    void execute(const QString& args) override
    {
        if (name() != QLatin1String("fake.after")) {
            output(args);
            return;
        }
        const QString text = args.section(QLatin1Char(' '), 1);
        QTimer::singleShot(args.section(QLatin1Char(' '), 0, 0).toInt(), this,
                           [this, text] { output(text); });
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
        velk::command().regist(new EchoCommand(QStringLiteral("fake.echo"), this));
        velk::command().regist(new EchoCommand(QStringLiteral("fake.after"), this));
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
