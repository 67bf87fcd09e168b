#include "widgets/touchableslider.h"

#include "widgets/touchableslider_p.h"

#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QEvent>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPushButton>
#include <QtMath>

#include <limits>

namespace {

const char* const kStyleSheet = "QPushButton {\n"
                                "border: none;\n"
                                "background-color: transparent;\n"
                                "min-height: 0px;\n"
                                "max-height: 100px;\n"
                                "min-width: 0px;\n"
                                "margin: 0px;\n"
                                "padding: 0px;\n"
                                "}\n"
                                "QPushButton#btnLeft {\n"
                                "margin: 4px;\n"
                                "margin-right: 0px;\n"
                                "min-height: 30px;\n"
                                "}\n"
                                "QPushButton#btnRight {\n"
                                "margin: 4px;\n"
                                "margin-left: 0px;\n"
                                "min-height: 30px;\n"
                                "}\n"
                                "QPushButton#btnGroove {\n"
                                "background-color: #8d8f91;\n"
                                "border: 1px solid #8d8f91;\n"
                                "border-radius: 6px;\n"
                                "height: 12px;\n"
                                "margin: 4px;\n"
                                "margin-left: 0px;\n"
                                "margin-right: 0px;\n"
                                "}\n"
                                "QPushButton#btnHandle {\n"
                                "background-color: #cccccc;\n"
                                "max-height: 28px;\n"
                                "max-width: 66px;\n"
                                "border: 2px solid #cccccc;\n"
                                "border-radius: 14px;\n"
                                "}\n";

// A resource value as a slider value: numbers rounded into the int range,
// anything else 0.
int toSliderValue(const QJsonValue& v)
{
    if (!v.isDouble()) {
        return 0;
    }
    const double number = v.toDouble();
    if (!qIsFinite(number)) {
        return 0;
    }
    const double lowest = std::numeric_limits<int>::min();
    const double highest = std::numeric_limits<int>::max();
    return int(qRound64(qBound(lowest, number, highest)));
}

QPushButton* makeButton(QWidget* parent, const char* name)
{
    auto* button = new QPushButton(parent);
    button->setObjectName(QLatin1String(name));
    // Tapping must not move keyboard focus away from the page's inputs.
    button->setFocusPolicy(Qt::NoFocus);
    return button;
}

} // namespace

TouchableSlider::TouchableSlider(QWidget* parent)
    : QWidget(parent)
    , ui(new zarvo::TouchableSliderUi)
{
    if (objectName().isEmpty()) {
        setObjectName(QStringLiteral("TouchableSlider"));
    }
    resize(251, 38);

    ui->horizontalLayout = new QHBoxLayout(this);
    ui->horizontalLayout->setObjectName(QStringLiteral("horizontalLayout"));
    ui->horizontalLayout->setSpacing(0);
    ui->horizontalLayout->setContentsMargins(0, 0, 0, 0);

    ui->btnLeft = makeButton(this, "btnLeft");
    ui->btnLeft->setIcon(QIcon(QStringLiteral(":/zarvo/images/widget/slider_left.png")));
    ui->btnLeft->setIconSize(QSize(30, 30));
    ui->horizontalLayout->addWidget(ui->btnLeft);

    ui->btnGroove = makeButton(this, "btnGroove");
    ui->btnGroove->setMinimumSize(2, 22);
    ui->btnGroove->setMaximumSize(16777215, 22);
    ui->horizontalLayout->addWidget(ui->btnGroove, 1);

    ui->btnRight = makeButton(this, "btnRight");
    ui->btnRight->setIcon(QIcon(QStringLiteral(":/zarvo/images/widget/slider_right.png")));
    ui->btnRight->setIconSize(QSize(30, 30));
    ui->horizontalLayout->addWidget(ui->btnRight);

    // Not in the layout: the handle floats over the groove.
    m_handle = makeButton(this, "btnHandle");
    m_handle->installEventFilter(this);

    setStyleSheet(QString::fromLatin1(kStyleSheet));
    // The handle's size comes from the sheet; placing it needs that size
    // before the first show.
    m_handle->ensurePolished();
    m_handle->resize(m_handle->size().boundedTo(m_handle->maximumSize()));
    m_handle->raise();

    connect(ui->btnLeft, &QPushButton::clicked, this, &TouchableSlider::stepLeft);
    connect(ui->btnRight, &QPushButton::clicked, this, &TouchableSlider::stepRight);
    refreshPercent(QJsonValue());
}

TouchableSlider::~TouchableSlider()
{
    delete ui;
}

void TouchableSlider::bind(QObject* owner, const QString& name, const QString& key)
{
    m_bound = true;
    m_boundObject = owner;
    m_boundToNull = !owner;
    m_boundName = name;
    m_boundKey = key;
}

int TouchableSlider::min() const
{
    return m_min;
}
int TouchableSlider::max() const
{
    return m_max;
}
int TouchableSlider::value() const
{
    return m_value;
}
QString TouchableSlider::prefix() const
{
    return m_prefix;
}
QString TouchableSlider::suffix() const
{
    return m_suffix;
}

void TouchableSlider::setMin(int min)
{
    m_min = min;
    refreshPercent(QJsonValue());
}
void TouchableSlider::setMax(int max)
{
    m_max = max;
    refreshPercent(QJsonValue());
}
void TouchableSlider::setValue(int value)
{
    m_value = value;
    refreshPercent(QJsonValue());
}
void TouchableSlider::setPrefix(const QString& prefix)
{
    m_prefix = prefix;
    refreshPercent(QJsonValue());
}
void TouchableSlider::setSuffix(const QString& suffix)
{
    m_suffix = suffix;
    refreshPercent(QJsonValue());
}

int TouchableSlider::travel() const
{
    return qMax(0, ui->btnGroove->width() - m_handle->width());
}

void TouchableSlider::refreshPercent(const QJsonValue& v)
{
    if (!v.isNull() && !v.isUndefined()) {
        m_value = toSliderValue(v);
    }
    if (m_value < m_min) {
        m_value = m_min;
    }
    if (m_value > m_max) {
        m_value = m_max;
    }
    m_handle->setText(QStringLiteral("%1%2%3").arg(m_prefix, QString::number(m_value), m_suffix));

    // 64 bits: the product overflows int for wide ranges. An empty range
    // (max <= min) has no positions: the handle rests at the left.
    qint64 offset = 0;
    if (m_max > m_min) {
        offset = (qint64(m_value) - m_min) * travel() / (qint64(m_max) - m_min);
    }
    const int free = height() - m_handle->height();
    const int y = free >= 0 ? free / 2 : -((1 - free) / 2);
    m_handle->move(ui->btnLeft->width() + int(offset), y);
}

void TouchableSlider::stepLeft()
{
    if (m_value > m_min) {
        refreshPercent(QJsonValue(m_value - 1));
    }
    emit valueChanged(m_value);
}

void TouchableSlider::stepRight()
{
    if (m_value < m_max) {
        refreshPercent(QJsonValue(m_value + 1));
    }
    emit valueChanged(m_value);
}

bool TouchableSlider::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_handle) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
            m_pressed = true;
            m_pressOffset = static_cast<QMouseEvent*>(event)->pos().x();
            break;
        case QEvent::MouseButtonRelease:
            m_pressed = false;
            m_pressOffset = 0;
            emit valueChanged(m_value);
            break;
        case QEvent::MouseMove:
            if (m_pressed) {
                const QPoint at = m_handle->mapTo(this, static_cast<QMouseEvent*>(event)->pos());
                const qint64 x = qint64(at.x()) - m_pressOffset - ui->btnLeft->width();
                const qint64 span = travel();
                if (x <= 0) {
                    m_value = m_min;
                } else if (x >= span) {
                    m_value = m_max;
                } else {
                    m_value = int((qint64(m_max) - m_min) * x / span + m_min);
                }
                refreshPercent(QJsonValue());
            }
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

QJsonValue TouchableSlider::boundValue() const
{
    if (!m_bound || (!m_boundToNull && !m_boundObject)) {
        return QJsonValue();
    }
    return velk::resource().get(m_boundObject.data(), m_boundName, m_boundKey);
}

void TouchableSlider::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_bound || (!m_boundToNull && !m_boundObject)) {
        return;
    }
    refreshPercent(boundValue());
    disconnect(m_follow);
    velk::ResourceWatcher* watcher =
        velk::resource().getWatcher(m_boundObject.data(), m_boundName, m_boundKey);
    m_follow = connect(watcher, &velk::ResourceWatcher::valueChanged, this,
                       &TouchableSlider::refreshPercent);
}

void TouchableSlider::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    // Hidden, the slider does not follow; the next show reads the value afresh.
    disconnect(m_follow);
}

void TouchableSlider::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    refreshPercent(boundValue());
}
