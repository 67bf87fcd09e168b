#pragma once

#include "pomr_global.h"

#include <QAbstractButton>

namespace pomr {

// An on/off switch: a rounded track with a knob. A click flips it and emits
// enabled(bool); setOn() changes it without the signal.
class POMR_EXPORT EnableButton : public QAbstractButton
{
    Q_OBJECT
    Q_PROPERTY(bool on READ isOn WRITE setOn)

public:
    explicit EnableButton(QWidget* parent = nullptr);
    ~EnableButton() override;

    bool isOn() const;
    void setOn(bool on);

    QSize sizeHint() const override;

Q_SIGNALS:
    void enabled(bool on);

protected:
    void paintEvent(QPaintEvent* event) override;
    void nextCheckState() override;
};

} // namespace pomr
