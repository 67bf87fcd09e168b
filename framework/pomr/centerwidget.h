#pragma once

#include "bunit.h"

class QStackedWidget;

namespace pomr {

// The centre area of the shell: pages by key, one shown at a time.
class POMR_EXPORT CenterWidget : public BUnit
{
    Q_OBJECT

public:
    explicit CenterWidget(QWidget* parent = nullptr);
    ~CenterWidget() override;

    // False when the key is taken or the widget null.
    bool addPage(QObject* owner, const QString& key, QWidget* widget);
    // Show the page of `key`; false (nothing changes) when the key is unknown.
    bool switchTo(QObject* requester, const QString& key);
    QString currentKey() const;

Q_SIGNALS:
    void switched(const QString& key);

private:
    QStackedWidget* m_stack;
    QString m_current;
};

} // namespace pomr
