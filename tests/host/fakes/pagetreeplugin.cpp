// A module of the HMI beside the core module: it installs a page tree into the side tree.

#include "tests/common/pagetree.h"

#include <pomr/bmodule.h>
#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

namespace {

// "fake.shown" outputs the key of the page the centre widget shows.
class ShownCommand : public velk::BaseCommand
{
public:
    explicit ShownCommand(QObject* parent)
        : velk::BaseCommand(QStringLiteral("fake.shown"), true, parent)
    {
    }
    void execute(const QString&) override
    {
        pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
        output(center ? center->currentKey() : QString());
    }
};

class TreeModule : public pomr::BModule
{
public:
    using pomr::BModule::BModule;
    QString name() const override { return QStringLiteral("fake_tree"); }
    void init() override
    {
        velk::command().regist(new ShownCommand(this));
        installPageTree(this, {{"cell", "Cell"},
                               {"cell.fence", "Fence"},
                               {"cell.light", "Light curtain"},
                               {"service", "Service"},
                               {"service.log", "Log"}});
    }
};

} // namespace

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new TreeModule(parent);
}
