#pragma once

#include <velk/basecommand.h>

class ThemeManager;

// The console commands of theme authors ("theme.list", "theme.set",
// "theme.style", "theme.sheet", "theme.zoom", "theme.reload"): one class, the
// kind picks the command, so that all of them read the theme the same way.
class ThemeCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    enum Kind { List, Set, Style, Sheet, Zoom, Reload };

    ThemeCommand(Kind kind, ThemeManager* manager);

    static QString commandName(Kind kind);

    QString usage() const override;
    QString description() const override;
    void complete(velk::ModuleObject* root, const QString& text) override;
    void execute(const QString& args) override;

private:
    void list();
    void set(const QString& name);
    void zoom(const QString& args);
    void showZoom();

    Kind m_kind;
    ThemeManager* m_manager;
};
