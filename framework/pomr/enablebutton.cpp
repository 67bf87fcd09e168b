#include "enablebutton.h"

#include <QPainter>
#include <QPainterPath>

namespace pomr {

EnableButton::EnableButton(QWidget* parent)
    : QAbstractButton(parent)
{
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

EnableButton::~EnableButton() = default;

bool EnableButton::isOn() const
{
    return isChecked();
}

void EnableButton::setOn(bool on)
{
    // Programmatic changes (loading a page) must not look like a user's edit.
    const bool blocked = blockSignals(true);
    setChecked(on);
    blockSignals(blocked);
    update();
}

QSize EnableButton::sizeHint() const
{
    return QSize(60, 30);
}

void EnableButton::nextCheckState()
{
    QAbstractButton::nextCheckState();
    Q_EMIT enabled(isChecked());
}

void EnableButton::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event)
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
    const qreal radius = track.height() / 2.0;
    QColor trackColour = isChecked() ? QColor(0x2e, 0x9d, 0x5b) : QColor(0x8d, 0x8f, 0x91);
    if (!isEnabled()) {
        trackColour = QColor(0xcc, 0xcc, 0xcc);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(trackColour);
    painter.drawRoundedRect(track, radius, radius);

    const qreal knob = track.height() - 4.0;
    const qreal x = isChecked() ? track.right() - knob - 2.0 : track.left() + 2.0;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(x, track.top() + 2.0, knob, knob));
}

} // namespace pomr
