#include "rendercheck.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QCheckBox>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTextDocument>
#include <QToolButton>

namespace hmi {

namespace {

// Depth and count are bounded: a window is a few hundred widgets, and a
// runaway tree must not turn a check into a hang.
constexpr int kMaximumDepth = 64;
constexpr int kMaximumWidgets = 20000;
constexpr int kShownText = 40;

QString visibleText(QString text)
{
    text.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    text.remove(QLatin1Char('&'));
    text.replace(QStringLiteral("\x01"), QStringLiteral("&"));
    return text;
}

int widestLine(const QFontMetrics& metrics, const QString& text)
{
    int widest = 0;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        widest = qMax(widest, metrics.horizontalAdvance(line));
    }
    return widest;
}

// The room a button leaves its text, as its style lays it out.
int buttonRoom(const QAbstractButton* button)
{
    QStyleOptionButton option;
    option.initFrom(button);
    option.text = button->text();
    option.icon = button->icon();
    option.iconSize = button->iconSize();
    QStyle::SubElement element = QStyle::SE_PushButtonContents;
    if (qobject_cast<const QCheckBox*>(button)) {
        element = QStyle::SE_CheckBoxContents;
    } else if (qobject_cast<const QRadioButton*>(button)) {
        element = QStyle::SE_RadioButtonContents;
    }
    int room = button->style()->subElementRect(element, &option, button).width();
    if (element == QStyle::SE_PushButtonContents && !button->icon().isNull()) {
        room -= button->iconSize().width() + 4;
    }
    return room;
}

bool insideScrolledArea(const QWidget* widget, const QWidget* top)
{
    for (const QWidget* w = widget->parentWidget(); w && w != top; w = w->parentWidget()) {
        const auto* area = qobject_cast<const QAbstractScrollArea*>(w->parentWidget());
        if (area && area->viewport() == w) {
            return true;
        }
    }
    return false;
}

struct Walk
{
    QWidget* window;
    QRect screen;
    QStringList problems;
    int seen = 0;

    void visit(QWidget* widget, int depth)
    {
        if (!widget->isVisible() || depth > kMaximumDepth || ++seen > kMaximumWidgets) {
            return;
        }
        if (RenderCheck::textOverflows(widget)) {
            problems.append(
                QStringLiteral("text overflows: %1").arg(RenderCheck::describe(widget)));
        }
        // What a scroll area shows is clipped by it and reached by scrolling;
        // what lies wholly beside its parent is never drawn (Qt parks unused
        // dock tab bars there).
        const QRect placed(widget->mapTo(window, QPoint(0, 0)), widget->size());
        const bool parked = widget->parentWidget() &&
                            !widget->parentWidget()->rect().intersects(widget->geometry());
        if (!screen.contains(placed) && !parked && !insideScrolledArea(widget, window)) {
            problems.append(QStringLiteral("outside the screen %1x%2 at [%3,%4 %5x%6]: %7")
                                .arg(screen.width())
                                .arg(screen.height())
                                .arg(placed.x())
                                .arg(placed.y())
                                .arg(placed.width())
                                .arg(placed.height())
                                .arg(RenderCheck::describe(widget)));
            // Its children are outside too; one line says it.
            return;
        }
        // A page is what a stack shows; one that draws nothing is broken.
        if (qobject_cast<QStackedWidget*>(widget->parentWidget()) && widget->width() > 0 &&
            widget->height() > 0 && RenderCheck::isBlank(widget->grab().toImage())) {
            problems.append(QStringLiteral("blank page: %1").arg(RenderCheck::describe(widget)));
        }
        const QObjectList children = widget->children();
        for (QObject* child : children) {
            if (child->isWidgetType() && !static_cast<QWidget*>(child)->isWindow()) {
                visit(static_cast<QWidget*>(child), depth + 1);
            }
        }
    }
};

} // namespace

QStringList RenderCheck::problems(QWidget* window, const QRect& screen)
{
    if (!window) {
        return {QStringLiteral("no window")};
    }
    Walk walk{window, QRect(QPoint(0, 0), screen.size()), {}};
    walk.visit(window, 0);
    if (!walk.screen.contains(QRect(QPoint(0, 0), window->size()))) {
        // The window grew past the screen: name the pages that made it, by
        // what they need beside the room the rest of the window takes.
        const QList<QStackedWidget*> stacks = window->findChildren<QStackedWidget*>();
        for (const QStackedWidget* stack : stacks) {
            const QWidget* page = stack->currentWidget();
            if (!page || !page->isVisible()) {
                continue;
            }
            const QSize need = page->minimumSizeHint().expandedTo(page->minimumSize()) +
                               (window->size() - page->size());
            if (need.width() > screen.width() || need.height() > screen.height()) {
                walk.problems.append(QStringLiteral("makes the window %1x%2: %3")
                                         .arg(need.width())
                                         .arg(need.height())
                                         .arg(describe(page)));
            }
        }
    }
    if (walk.seen > kMaximumWidgets) {
        walk.problems.append(
            QStringLiteral("more than %1 widgets, the rest not checked").arg(kMaximumWidgets));
    }
    return walk.problems;
}

bool RenderCheck::isBlank(const QImage& image)
{
    if (image.isNull()) {
        return true;
    }
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    QHash<QRgb, int> counts;
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x) {
            ++counts[line[x]];
        }
    }
    int background = 0;
    for (int count : qAsConst(counts)) {
        background = qMax(background, count);
    }
    return rgb.width() * rgb.height() - background < minimumDrawnPixels;
}

bool RenderCheck::textOverflows(const QWidget* widget)
{
    if (const auto* label = qobject_cast<const QLabel*>(widget)) {
        if (label->wordWrap() || label->text().isEmpty() || label->hasScaledContents() ||
            label->textFormat() == Qt::RichText ||
            (label->textFormat() == Qt::AutoText && Qt::mightBeRichText(label->text()))) {
            return false;
        }
        const int margins = 2 * label->margin() + qMax(0, label->indent());
        const int room = label->contentsRect().width() - margins;
        return widestLine(label->fontMetrics(), label->text()) > room;
    }
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    if (!button || button->text().isEmpty()) {
        return false;
    }
    const QString text = visibleText(button->text());
    int room = 0;
    if (const auto* tool = qobject_cast<const QToolButton*>(button)) {
        const Qt::ToolButtonStyle style = tool->toolButtonStyle();
        if (style == Qt::ToolButtonIconOnly ||
            (style == Qt::ToolButtonFollowStyle && !tool->icon().isNull())) {
            return false;
        }
        room = tool->contentsRect().width() - 6;
        if (style == Qt::ToolButtonTextBesideIcon && !tool->icon().isNull()) {
            room -= tool->iconSize().width() + 4;
        }
    } else {
        room = buttonRoom(button);
    }
    return widestLine(button->fontMetrics(), text) > room;
}

QString RenderCheck::describe(const QWidget* widget)
{
    QString text;
    if (const auto* label = qobject_cast<const QLabel*>(widget)) {
        text = label->text();
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
        text = visibleText(button->text());
    }
    QString line = QString::fromLatin1(widget->metaObject()->className());
    if (!widget->objectName().isEmpty()) {
        line += QLatin1Char(' ') + widget->objectName();
    }
    if (!text.isEmpty()) {
        text.replace(QLatin1Char('\n'), QLatin1Char(' '));
        line += QStringLiteral(" '%1'").arg(
            text.size() > kShownText ? text.left(kShownText) + QStringLiteral("...") : text);
    }
    return line;
}

} // namespace hmi
