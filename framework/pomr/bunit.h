#pragma once

#include "pomr_global.h"

#include <QHash>
#include <QPointer>
#include <QWidget>

namespace pomr {

// Base of the shell widgets: a widget that holds items registered by key.
class POMR_EXPORT BUnit : public QWidget
{
    Q_OBJECT

public:
    explicit BUnit(QWidget* parent = nullptr);
    ~BUnit() override;

    // The widget registered under `key`; null for an unknown key (or one whose
    // widget was destroyed).
    QWidget* getItemWgt(const QString& key) const;
    QStringList itemKeys() const;

protected:
    // False when the key is empty or taken, or the widget is null.
    bool registerItem(const QString& key, QWidget* widget);

private:
    QHash<QString, QPointer<QWidget>> m_items;
    QStringList m_order;
};

} // namespace pomr
