#include "centerwidget.h"

#include <QStackedWidget>
#include <QVBoxLayout>

namespace pomr {

CenterWidget::CenterWidget(QWidget* parent)
    : BUnit(parent)
    , m_stack(new QStackedWidget(this))
{
    setObjectName(QStringLiteral("CenterWidget"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_stack);
}

CenterWidget::~CenterWidget() = default;

bool CenterWidget::addPage(QObject* owner, const QString& key, QWidget* widget)
{
    Q_UNUSED(owner)
    if (!registerItem(key, widget)) {
        return false;
    }
    m_stack->addWidget(widget);
    return true;
}

bool CenterWidget::switchTo(QObject* requester, const QString& key)
{
    Q_UNUSED(requester)
    QWidget* page = getItemWgt(key);
    if (!page || m_stack->indexOf(page) < 0) {
        return false;
    }
    m_stack->setCurrentWidget(page);
    if (m_current != key) {
        m_current = key;
        Q_EMIT switched(key);
    }
    return true;
}

QString CenterWidget::currentKey() const
{
    return m_current;
}

} // namespace pomr
