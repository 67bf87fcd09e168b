#pragma once

#include <QRect>
#include <QStringList>

class QImage;
class QWidget;

namespace hmi {

// Finds what an operator would see as broken in a rendered window: a page
// that draws nothing, a text wider than the widget that shows it, a widget
// that lies outside the screen.
class RenderCheck
{
public:
    // Fewer pixels than this apart from the background colour: nothing drawn.
    static constexpr int minimumDrawnPixels = 100;

    // Every problem of the visible widgets of `window` on a screen of the
    // size of `screen` (the window placed at its top left), one line each.
    static QStringList problems(QWidget* window, const QRect& screen);

    // Whether the picture is one colour but for a few pixels.
    static bool isBlank(const QImage& image);
    // Whether the text of a label or button is wider than the room it has;
    // false for widgets that wrap, scroll or draw no text.
    static bool textOverflows(const QWidget* widget);
    // "QLabel lblMode 'Mode: auto'": enough to find the widget again.
    static QString describe(const QWidget* widget);
};

} // namespace hmi
