#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class QWidget;

namespace hmi {

// Looks at and acts on the live widget tree for scripts: finds widgets by
// object name (and text), describes them as JSON, clicks and photographs them.
class UiInspector
{
public:
    // Deepest level described; a deeper tree is cut there, not followed.
    static constexpr int maximumDepth = 64;
    // Longest text put into a description (editors can hold megabytes).
    static constexpr int maximumTextLength = 2000;

    // The roots searched, in order: `window` first, then every other visible
    // top-level widget (dialogs, menus), so that a script can answer a box.
    static QList<QWidget*> roots(QWidget* window);

    // Every widget named `name` below and including the roots, in tree order
    // (parents before children, siblings in creation order).
    static QList<QWidget*> findAll(const QList<QWidget*>& roots, const QString& name);

    // The text a user reads on the widget; null when the widget has none.
    static QString textOf(const QWidget* widget);
    // Whether `text` is what the user reads on `widget` (mnemonic marks ignored).
    static bool textMatches(const QWidget* widget, const QString& text);

    // The widget and its children: class, name, visible, enabled, checked
    // (checkable ones), text (where there is one), geometry, children.
    static QJsonObject describe(const QWidget* widget);

    // A left press and release in the middle of the widget, through the
    // application's event delivery as a real mouse would cause them.
    static void click(QWidget* widget);

    // A PNG of the widget written atomically to `file`; false with the
    // reason in `error` when it cannot be written.
    static bool grab(QWidget* widget, const QString& file, QString* error);

private:
    static QJsonObject describe(const QWidget* widget, int depth);
};

} // namespace hmi
