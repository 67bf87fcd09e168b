#pragma once

#include <zarvo/zarvo_global.h>

#include <QJsonValue>
#include <QMetaObject>
#include <QPointer>
#include <QWidget>

class QPushButton;

namespace zarvo {
class TouchableSliderUi;
}

// An integer slider for touch screens: a wide groove, a large handle that
// shows the value, and arrow buttons that step by one. It reports
// valueChanged only when an interaction ends (release, arrow click), never
// during a drag, and can follow a resource value while it is shown.
//
// The value is always clamped to min, then to max, so with min > max it ends
// at max. When max <= min the range is empty and the handle rests at the
// left end of the groove.
class ZARVO_EXPORT TouchableSlider : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(int m_min READ min WRITE setMin)
    Q_PROPERTY(int m_value READ value WRITE setValue)
    Q_PROPERTY(QString m_prefix READ prefix WRITE setPrefix)
    Q_PROPERTY(QString m_suffix READ suffix WRITE setSuffix)
    Q_PROPERTY(int m_max READ max WRITE setMax)

public:
    explicit TouchableSlider(QWidget* parent = nullptr);
    ~TouchableSlider() override;

    // Follow the value at `key` of the resource `name` of `owner` while
    // shown. The slider never writes it: connect valueChanged to do that.
    void bind(QObject* owner, const QString& name, const QString& key);

    int min() const;
    int max() const;
    int value() const;
    QString prefix() const;
    QString suffix() const;

    // None of the setters emits valueChanged.
    void setMin(int min);
    void setMax(int max);
    void setValue(int value);
    void setPrefix(const QString& prefix);
    void setSuffix(const QString& suffix);

Q_SIGNALS:
    void valueChanged(int value);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // Takes `v` as the new value unless it is null, clamps, and places the handle.
    void refreshPercent(const QJsonValue& v);
    QJsonValue boundValue() const;
    int travel() const;
    void stepLeft();
    void stepRight();

    zarvo::TouchableSliderUi* ui;
    QPushButton* m_handle = nullptr;
    int m_min = 0;
    int m_max = 100;
    int m_value = 0;
    QString m_prefix;
    QString m_suffix;
    bool m_pressed = false;
    int m_pressOffset = 0;
    bool m_bound = false;
    // A bound owner may be null (a resource without owner) or go away later.
    QPointer<QObject> m_boundObject;
    bool m_boundToNull = false;
    QString m_boundName;
    QString m_boundKey;
    QMetaObject::Connection m_follow;
};
