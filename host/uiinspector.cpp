#include "uiinspector.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QGroupBox>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPointer>
#include <QRadioButton>
#include <QSaveFile>
#include <QStyle>
#include <QTextEdit>

namespace hmi {

namespace {

void collect(QWidget* widget, const QString& name, int depth, QList<QWidget*>* found)
{
    if (widget->objectName() == name) {
        found->append(widget);
    }
    if (depth >= UiInspector::maximumDepth) {
        return;
    }
    const QObjectList children = widget->children();
    for (QObject* child : children) {
        // A child that is itself a window (a dialog parented on the main
        // window) is searched as a root of its own, not twice.
        if (child->isWidgetType() && !static_cast<QWidget*>(child)->isWindow()) {
            collect(static_cast<QWidget*>(child), name, depth + 1, found);
        }
    }
}

QString withoutMnemonics(QString text)
{
    // "&&" stands for a literal ampersand; a single one marks the shortcut.
    text.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    text.remove(QLatin1Char('&'));
    text.replace(QStringLiteral("\x01"), QStringLiteral("&"));
    return text;
}

QString capped(const QString& text)
{
    return text.size() > UiInspector::maximumTextLength
               ? text.left(UiInspector::maximumTextLength) + QStringLiteral("...")
               : text;
}

} // namespace

QList<QWidget*> UiInspector::roots(QWidget* window)
{
    QList<QWidget*> result;
    if (window) {
        result.append(window);
    }
    const QWidgetList tops = QApplication::topLevelWidgets();
    for (QWidget* top : tops) {
        if (top != window && top->isVisible()) {
            result.append(top);
        }
    }
    return result;
}

QList<QWidget*> UiInspector::findAll(const QList<QWidget*>& roots, const QString& name)
{
    QList<QWidget*> found;
    for (QWidget* root : roots) {
        collect(root, name, 0, &found);
    }
    return found;
}

QString UiInspector::textOf(const QWidget* widget)
{
    if (auto* button = qobject_cast<const QAbstractButton*>(widget)) {
        return button->text();
    }
    if (auto* label = qobject_cast<const QLabel*>(widget)) {
        return label->text();
    }
    if (auto* line = qobject_cast<const QLineEdit*>(widget)) {
        return line->text();
    }
    if (auto* combo = qobject_cast<const QComboBox*>(widget)) {
        return combo->currentText();
    }
    if (auto* spin = qobject_cast<const QAbstractSpinBox*>(widget)) {
        return spin->text();
    }
    if (auto* group = qobject_cast<const QGroupBox*>(widget)) {
        return group->title();
    }
    if (auto* dock = qobject_cast<const QDockWidget*>(widget)) {
        return dock->windowTitle();
    }
    if (auto* plain = qobject_cast<const QPlainTextEdit*>(widget)) {
        return plain->toPlainText();
    }
    if (auto* rich = qobject_cast<const QTextEdit*>(widget)) {
        return rich->toPlainText();
    }
    return QString();
}

bool UiInspector::textMatches(const QWidget* widget, const QString& text)
{
    const QString own = textOf(widget);
    if (own.isNull()) {
        return false;
    }
    return own == text || withoutMnemonics(own) == text;
}

QJsonObject UiInspector::describe(const QWidget* widget)
{
    return describe(widget, 0);
}

QJsonObject UiInspector::describe(const QWidget* widget, int depth)
{
    QJsonObject node;
    node.insert(QStringLiteral("class"), QString::fromLatin1(widget->metaObject()->className()));
    node.insert(QStringLiteral("name"), widget->objectName());
    node.insert(QStringLiteral("visible"), widget->isVisible());
    node.insert(QStringLiteral("enabled"), widget->isEnabled());
    if (auto* button = qobject_cast<const QAbstractButton*>(widget)) {
        if (button->isCheckable()) {
            node.insert(QStringLiteral("checked"), button->isChecked());
        }
    } else if (auto* group = qobject_cast<const QGroupBox*>(widget)) {
        if (group->isCheckable()) {
            node.insert(QStringLiteral("checked"), group->isChecked());
        }
    }
    const QString text = textOf(widget);
    if (!text.isNull()) {
        node.insert(QStringLiteral("text"), capped(text));
    }
    const QRect geometry = widget->geometry();
    node.insert(QStringLiteral("geometry"),
                QJsonArray{geometry.x(), geometry.y(), geometry.width(), geometry.height()});
    QJsonArray children;
    if (depth < maximumDepth) {
        const QObjectList objects = widget->children();
        for (const QObject* child : objects) {
            if (child->isWidgetType() && !static_cast<const QWidget*>(child)->isWindow()) {
                children.append(describe(static_cast<const QWidget*>(child), depth + 1));
            }
        }
    }
    node.insert(QStringLiteral("children"), children);
    return node;
}

void UiInspector::click(QWidget* widget)
{
    // A check box or radio button reacts only on its indicator and label,
    // which sit at its left whatever width a layout gives it.
    QPoint local = widget->rect().center();
    if (qobject_cast<QCheckBox*>(widget) || qobject_cast<QRadioButton*>(widget)) {
        const int indicator = widget->style()->pixelMetric(qobject_cast<QCheckBox*>(widget)
                                                               ? QStyle::PM_IndicatorWidth
                                                               : QStyle::PM_ExclusiveIndicatorWidth,
                                                           nullptr, widget);
        local.setX(widget->contentsRect().left() + qMax(1, indicator / 2));
    }
    const QPoint global = widget->mapToGlobal(local);
    const QPointF window = widget->window()->mapFromGlobal(global);
    // The press may close or delete the widget (a button that ends a dialog):
    // the release goes only where the press left something to receive it.
    QPointer<QWidget> target(widget);
    QMouseEvent press(QEvent::MouseButtonPress, local, window, global, Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
    if (!target) {
        return;
    }
    QMouseEvent release(QEvent::MouseButtonRelease, local, window, global, Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(target, &release);
}

bool UiInspector::grab(QWidget* widget, const QString& file, QString* error)
{
    const QPixmap picture = widget->grab();
    if (picture.isNull()) {
        *error = QStringLiteral("the widget gave an empty picture");
        return false;
    }
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly)) {
        *error = out.errorString();
        return false;
    }
    if (!picture.save(&out, "PNG")) {
        out.cancelWriting();
        *error = QStringLiteral("cannot encode PNG");
        return false;
    }
    if (!out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}

} // namespace hmi
