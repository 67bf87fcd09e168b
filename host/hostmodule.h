#pragma once

#include <pomr/bmodule.h>

#include <QPointer>

namespace hmi {

// The host's main module: the root of the module tree that the lifecycle runs
// over, published in the resource registry as "velk" so that plug-ins find
// the window to parent their message boxes on (none when headless).
class HostModule : public pomr::BModule
{
    Q_OBJECT

public:
    explicit HostModule(QObject* parent = nullptr);
    ~HostModule() override;

    static QString registryName();

    // The main window; null (the default) when running headless.
    void setWindow(QWidget* window);

    QString name() const override;
    QWidget* wgt() override;

private:
    QPointer<QWidget> m_window;
};

} // namespace hmi
