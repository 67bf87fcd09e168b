#pragma once

class QHBoxLayout;
class QPushButton;

namespace zarvo {

// The slider's child widgets, in layout order.
class TouchableSliderUi
{
public:
    QHBoxLayout* horizontalLayout = nullptr;
    QPushButton* btnLeft = nullptr;
    QPushButton* btnGroove = nullptr;
    QPushButton* btnRight = nullptr;
};

} // namespace zarvo
