#include "bunit.h"

namespace pomr {

BUnit::BUnit(QWidget* parent)
    : QWidget(parent)
{
}

BUnit::~BUnit() = default;

QWidget* BUnit::getItemWgt(const QString& key) const
{
    return m_items.value(key).data();
}

QStringList BUnit::itemKeys() const
{
    QStringList keys;
    for (const QString& key : m_order) {
        if (!m_items.value(key).isNull()) {
            keys.append(key);
        }
    }
    return keys;
}

bool BUnit::registerItem(const QString& key, QWidget* widget)
{
    if (key.isEmpty() || !widget) {
        return false;
    }
    auto it = m_items.constFind(key);
    if (it != m_items.constEnd() && !it.value().isNull()) {
        return false;
    }
    if (it == m_items.constEnd()) {
        m_order.append(key);
    }
    m_items.insert(key, widget);
    return true;
}

} // namespace pomr
