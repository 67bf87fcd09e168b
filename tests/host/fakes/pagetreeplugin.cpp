// A module of the HMI beside the core module: it installs a page tree into the side tree.

#include "module/managerhelper.h"
#include "theme/thememanager.h"
#include "widgets/basepage.h"

#include <pomr/bmodule.h>
#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QJsonObject>
#include <QLabel>
#include <QPointer>

namespace {

class Page : public zarvo::BasePage
{
public:
    Page(const QString& name, const QString& label, QObject* parent)
        : zarvo::BasePage(name, label, parent)
        , m_widget(new QLabel(label))
    {
    }
    ~Page() override { delete m_widget.data(); }
    QWidget* wgt() override { return m_widget; }
    void render() override
    {
        m_widget->setStyleSheet(theme()->buildStyleFromJson(
            {{"background-color", "$color$center_bkg"}, {"min-height", "20px"}}));
    }

private:
    QPointer<QWidget> m_widget;
};

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

// "fake.style" outputs the style sheet of the first page's widget.
class StyleCommand : public velk::BaseCommand
{
public:
    StyleCommand(QWidget* widget, QObject* parent)
        : velk::BaseCommand(QStringLiteral("fake.style"), true, parent)
        , m_widget(widget)
    {
    }
    void execute(const QString&) override { output(m_widget ? m_widget->styleSheet() : QString()); }

private:
    QPointer<QWidget> m_widget;
};

// Two roots: cell (fence, light) and service (log).
class TreeModule : public pomr::BModule
{
public:
    using pomr::BModule::BModule;
    QString name() const override { return QStringLiteral("fake_tree"); }
    void init() override
    {
        velk::command().regist(new ShownCommand(this));
        auto* cell = new Page(QStringLiteral("cell"), QStringLiteral("Cell"), this);
        cell->addSubmodule(new Page(QStringLiteral("fence"), QStringLiteral("Fence"), cell));
        cell->addSubmodule(
            new Page(QStringLiteral("light"), QStringLiteral("Light curtain"), cell));
        auto* service = new Page(QStringLiteral("service"), QStringLiteral("Service"), this);
        service->addSubmodule(new Page(QStringLiteral("log"), QStringLiteral("Log"), service));
        velk::command().regist(new StyleCommand(cell->wgt(), this));
        addSubmodule(cell);
        addSubmodule(service);
        ManagerHelper::installSideTree(cell);
        ManagerHelper::installSideTree(service);
    }
};

} // namespace

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new TreeModule(parent);
}
