#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

#include <QHash>
#include <QPointer>

class QPushButton;
class QVBoxLayout;
class QWidget;

namespace zarvo {

// The page list of a setting category: one button per page, in the category's order, built
// from the category's "navtree" resource; the page the centre widget shows is checked.
class ZARVO_EXPORT NavTree : public pomr::BModule
{
    Q_OBJECT

public:
    explicit NavTree(QObject* parent = nullptr);
    ~NavTree() override;

    QString name() const override;
    QWidget* wgt() override;
    void render() override;

    // Make a category reachable through "cur_root"; the first one added is shown.
    void addCategory(pomr::BModule* category);
    // The button of a page of the category shown; null when it has none.
    QPushButton* pageButton(const QString& pageName) const;

public Q_SLOTS:
    void switchRoot(const QString& category_name);

private:
    void rebuild();
    void markShown(const QString& key);

    QPointer<QWidget> m_wgt;
    QVBoxLayout* m_layout;
    QHash<QString, QPointer<pomr::BModule>> m_categories;
    // Buttons of the category shown, by page name, in its order.
    QList<QPair<QString, QPointer<QPushButton>>> m_buttons;
    QString m_current;
};

} // namespace zarvo
