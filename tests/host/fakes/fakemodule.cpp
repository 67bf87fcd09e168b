#include "fakemodule.h"

#include "lambdacommand.h"

#include <velk/commandmanager.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QFile>
#include <QMessageBox>
#include <QTimer>
#include <QWidget>

FakeModule::FakeModule(QObject* parent)
    : pomr::BModule(parent)
{
    record(QStringLiteral("constructed"));
}

FakeModule::~FakeModule()
{
    record(QStringLiteral("destroyed"));
}

QString FakeModule::lifecycleFile()
{
    return QStringLiteral("fake-lifecycle.txt");
}

QString FakeModule::name() const
{
    return QStringLiteral("fake");
}

void FakeModule::record(const QString& hook)
{
    m_hooks.append(hook);
    QFile file(lifecycleFile());
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        file.write(hook.toUtf8() + '\n');
    }
}

void FakeModule::setup()
{
    record(QStringLiteral("setup"));
}

void FakeModule::afterSetup()
{
    record(QStringLiteral("afterSetup"));
}

void FakeModule::init()
{
    record(QStringLiteral("init"));
    registerCommands();
}

void FakeModule::afterInit()
{
    record(QStringLiteral("afterInit"));
}

void FakeModule::render()
{
    record(QStringLiteral("render"));
}

void FakeModule::afterRender()
{
    record(QStringLiteral("afterRender"));
}

void FakeModule::idle()
{
    record(QStringLiteral("idle"));
}

void FakeModule::afterIdle()
{
    record(QStringLiteral("afterIdle"));
}

void FakeModule::beforeDetach()
{
    record(QStringLiteral("beforeDetach"));
}

void FakeModule::detach()
{
    record(QStringLiteral("detach"));
}

void FakeModule::registerCommands()
{
    velk::CommandManager& engine = velk::command();
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.echo"), QStringLiteral("fake.echo <text>"),
        [](LambdaCommand& self, const QString& args) { self.output(args); }, this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.later"), QStringLiteral("fake.later <text>"),
        [](LambdaCommand& self, const QString& args) {
            QMetaObject::invokeMethod(
                &self, [&self, args] { self.output(args); }, Qt::QueuedConnection);
        },
        this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.after"), QStringLiteral("fake.after <ms> <text>"),
        [](LambdaCommand& self, const QString& args) {
            const int blank = args.indexOf(QLatin1Char(' '));
            const int ms = args.left(blank).toInt();
            const QString text = blank < 0 ? QString() : args.mid(blank + 1);
            QTimer::singleShot(ms, &self, [&self, text] { self.output(text); });
        },
        this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.fail"), QStringLiteral("fake.fail <text>"),
        [](LambdaCommand& self, const QString& args) { self.error(args); }, this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.host"), QStringLiteral("fake.host"),
        [](LambdaCommand& self, const QString&) {
            bool found = false;
            QObject* owner = velk::resource().getModulePtr(&self, QStringLiteral("velk"), &found);
            auto* host = qobject_cast<pomr::BModule*>(owner);
            if (!host) {
                self.output(QStringLiteral("host: none"));
                return;
            }
            self.output(QStringLiteral("host: %1, window: %2")
                            .arg(host->name(), host->wgt() ? host->wgt()->windowTitle()
                                                           : QStringLiteral("none")));
        },
        this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.box"), QStringLiteral("fake.box"),
        [](LambdaCommand& self, const QString&) {
            QMessageBox box(QMessageBox::Warning, QStringLiteral("Fake"),
                            QStringLiteral("Please confirm"), QMessageBox::Ok);
            const int result = box.exec();
            self.output(QStringLiteral("box closed: %1").arg(result));
        },
        this));
    engine.regist(new LambdaCommand(
        QStringLiteral("fake.hooks"), QStringLiteral("fake.hooks"),
        [this](LambdaCommand& self, const QString&) {
            self.output(m_hooks.join(QLatin1Char(',')));
        },
        this));
}
