// The zoom mark of a layout lives in Qt's per-object user-data slot 0, where
// the host's other modules look for it too. Qt 5.14 marked that API
// deprecated, and the project hides everything deprecated before 5.15, so it
// is brought back for this file alone.
#undef QT_DISABLE_DEPRECATED_BEFORE
#define QT_DISABLE_DEPRECATED_BEFORE 0x050D00

#include "services/stylesheet.h"

#include "module/managerhelper.h"
#include "theme/thememanager.h"

#include <QComboBox>
#include <QLayout>
#include <QListView>
#include <QPointer>
#include <QScrollArea>
#include <QTabWidget>
#include <QTableWidget>
#include <QVariant>
#include <QWidget>
#include <QtMath>

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace {

const uint kZoomMarkSlot = 0;

class ZoomMark : public QObjectUserData
{
public:
    explicit ZoomMark(double zoom)
        : value(zoom)
    {
    }
    QVariant value;
};

ZoomMark* zoomMark(QLayout* layout)
{
    // Reserve the slot in the process's user-data registry, so that another
    // user of the API is handed a different one.
    static const uint reserved = QObject::registerUserData();
    Q_UNUSED(reserved)
    auto* mark = static_cast<ZoomMark*>(layout->userData(kZoomMarkSlot));
    if (!mark) {
        mark = new ZoomMark(1.0);
        layout->setUserData(kZoomMarkSlot, mark);
    }
    return mark;
}

void applyZoom(QLayout* layout)
{
    ZoomMark* mark = zoomMark(layout);
    double applied = mark->value.toDouble();
    if (applied < 0.001) {
        applied = 1.0;
    }
    const double zoom = theme()->sizeZoom();
    // Small steps wait until they add up, so that rounding does not creep.
    if (qAbs(applied - zoom) <= 0.1) {
        return;
    }
    const QMargins m = layout->contentsMargins();
    auto margin = [&](int value) { return qRound(qRound(value / applied) * zoom); };
    layout->setContentsMargins(margin(m.left()), margin(m.top()), margin(m.right()),
                               margin(m.bottom()));
    layout->setSpacing(int(layout->spacing() / applied * zoom));
    mark->value = zoom;
}

} // namespace

void setRecursiveWidgetStyleSheet(QWidget* widget, const QString& styleSheet,
                                  QList<QWidget*> exceptions)
{
    if (!widget || exceptions.contains(widget)) {
        return;
    }
    if (auto* combo = qobject_cast<QComboBox*>(widget)) {
        // The default pop-up view ignores item rules of a sheet; a plain list
        // view takes them.
        // Qt may delete the old view itself while installing the new one.
        QPointer<QAbstractItemView> old = combo->view();
        combo->setView(new QListView(combo));
        if (old && old != combo->view()) {
            delete old.data();
        }
        return;
    }
    if (auto* area = qobject_cast<QScrollArea*>(widget)) {
        setRecursiveWidgetStyleSheet(area->widget(), styleSheet, exceptions);
        return;
    }
    if (qobject_cast<QTableWidget*>(widget) || qobject_cast<QTabWidget*>(widget)) {
        widget->setStyleSheet(styleSheet);
        return;
    }
    if (!widget->layout()) {
        return;
    }
    setRecursiveLayoutStyleSheet(widget->layout(), styleSheet, exceptions);
    widget->setStyleSheet(styleSheet);
}

void setRecursiveLayoutStyleSheet(QLayout* layout, const QString& styleSheet,
                                  QList<QWidget*> exceptions)
{
    if (!layout) {
        return;
    }
    applyZoom(layout);
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem* item = layout->itemAt(i);
        if (!item) {
            continue;
        }
        if (QLayout* inner = item->layout()) {
            setRecursiveLayoutStyleSheet(inner, styleSheet, exceptions);
        } else if (QWidget* child = item->widget()) {
            setRecursiveWidgetStyleSheet(child, styleSheet, exceptions);
        }
    }
}

void clearWgtContent(QWidget* widget)
{
    if (!widget || !widget->layout()) {
        return;
    }
    QLayout* layout = widget->layout();
    // Bounded by the items present at the start: a deleted widget cannot add
    // new ones, but a loop on takeAt(0) alone would trust that.
    for (int left = layout->count(); left > 0; --left) {
        QLayoutItem* item = layout->takeAt(0);
        if (!item) {
            break;
        }
        delete item->widget();
        delete item;
    }
}

QT_WARNING_POP
