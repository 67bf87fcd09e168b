#pragma once

#include "bunit.h"

class QVBoxLayout;

namespace pomr {

// The left-hand column of the shell, holding module widgets one under the other.
class POMR_EXPORT SideBar : public BUnit
{
    Q_OBJECT

public:
    explicit SideBar(QWidget* parent = nullptr);
    ~SideBar() override;

    // Add `widget` under `key`. `visible`: show it now; `index`: position in
    // the column (-1: at the end). False when the key is taken.
    bool addItem(QObject* owner, const QString& key, QWidget* widget, bool visible, int index);

private:
    QVBoxLayout* m_layout;
};

} // namespace pomr
