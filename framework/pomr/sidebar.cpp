#include "sidebar.h"

#include <QVBoxLayout>

namespace pomr {

SideBar::SideBar(QWidget* parent)
    : BUnit(parent)
    , m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("SideBar"));
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
}

SideBar::~SideBar() = default;

bool SideBar::addItem(QObject* owner, const QString& key, QWidget* widget, bool visible, int index)
{
    Q_UNUSED(owner)
    if (!registerItem(key, widget)) {
        return false;
    }
    const int count = m_layout->count();
    m_layout->insertWidget(index < 0 || index > count ? count : index, widget);
    widget->setVisible(visible);
    return true;
}

} // namespace pomr
