#include "statusbar.h"

#include <QStatusBar>
#include <QVBoxLayout>

namespace pomr {

StatusBar::StatusBar(QWidget* parent)
    : BUnit(parent)
    , m_bar(new QStatusBar(this))
{
    setObjectName(QStringLiteral("StatusBar"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_bar);
}

StatusBar::~StatusBar() = default;

QStatusBar* StatusBar::getStatusbar() const
{
    return m_bar;
}

} // namespace pomr
