#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

namespace pomr {
class BModule;
}

namespace hmi {

// Re-renders the modules loaded after the core module whenever the core
// module's theme or zoom changes: the core module re-renders only its own tree.
class ThemeFollower : public QObject
{
    Q_OBJECT

public:
    explicit ThemeFollower(QObject* parent = nullptr);
    ~ThemeFollower() override;

    // Listens to the themeChanged() signal of the object registered with the
    // module manager as `themeModule`. False when there is none (a stand-in
    // core module without themes): then nothing follows.
    bool follow(const QString& themeModule);
    void addModule(pomr::BModule* module);

public Q_SLOTS:
    void rerender();

private:
    QList<QPointer<pomr::BModule>> m_modules;
};

} // namespace hmi
