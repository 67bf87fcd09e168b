#pragma once

#include "bunit.h"

class QStatusBar;

namespace pomr {

// The bottom strip of the shell.
class POMR_EXPORT StatusBar : public BUnit
{
    Q_OBJECT

public:
    explicit StatusBar(QWidget* parent = nullptr);
    ~StatusBar() override;

    QStatusBar* getStatusbar() const;

private:
    QStatusBar* m_bar;
};

} // namespace pomr
