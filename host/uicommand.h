#pragma once

#include <velk/basecommand.h>

#include <QPointer>

class QWidget;

namespace hmi {

// The console commands that let scripts see and drive the window:
// "ui.dump" (the widget tree as one line of JSON), "ui.click" (a real left
// click on a named widget), "ui.grab" (a PNG of the window or a widget) and
// "ui.check" (what is visibly broken: blank pages, cut texts, widgets off screen).
class UiCommand : public velk::BaseCommand
{
    Q_OBJECT

public:
    enum Kind {
        Dump,
        Click,
        Grab,
        Check,
    };

    // `window`: the main window, the first root searched and what ui.dump
    // and ui.grab show without a name.
    UiCommand(Kind kind, QWidget* window, QObject* parent = nullptr);
    ~UiCommand() override;

    static QString commandName(Kind kind);

public Q_SLOTS:
    QString usage() const override;
    QString description() const override;
    void execute(const QString& args) override;

private:
    void dump(const QString& name);
    void click(const QString& name, const QString& text);
    void grab(const QString& file, const QString& name);
    void check(const QString& screen);
    // The widget a name leads to: the first of that name, or the window
    // itself without one. Null after an error was reported.
    QWidget* target(const QString& name);

    Kind m_kind;
    QPointer<QWidget> m_window;
};

} // namespace hmi
