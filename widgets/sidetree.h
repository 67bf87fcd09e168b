#pragma once

#include "module/zarvo_global.h"

#include <pomr/bmodule.h>

#include <QHash>
#include <QPointer>
#include <QStringList>

class QPushButton;
class QWidget;

namespace Ui {
class SideTree;
}

namespace velk {
class ModuleObject;
}

namespace zarvo {

// The HMI's left-hand navigation: a foldable column that shows, for the current root, a tree
// of buttons built from the page objects under "zarvo.sidetree.root".
class ZARVO_EXPORT SideTree : public pomr::BModule
{
    Q_OBJECT

public:
    explicit SideTree(QObject* parent = nullptr);
    ~SideTree() override;

    QString name() const override;
    QWidget* wgt() override;

    void init() override;
    void render() override;
    void idle() override;

    // Keys of the pages selected so far, oldest first; at most maxHistory().
    QStringList history() const;
    static int maxHistory();
    // The tree button of a page key; null for a root page or an unknown key.
    QPushButton* treeButton(const QString& key) const;
    // The switcher's button of a root; null for a root without a tree.
    QPushButton* rootButton(const QString& rootName) const;
    bool isFolded() const;

public Q_SLOTS:
    void back();
    void fold();
    void addTree(QString root_name);
    void updateTreeItem(velk::ModuleObject* tree_item_mobj, int type);
    void switchRoot(const QString& root_name);

private:
    velk::ModuleObject* rootsMobj() const;
    velk::ModuleObject* rootMobj(const QString& rootName) const;
    velk::ModuleObject* itemMobj(const QString& key) const;
    velk::ModuleObject* curMobj(const QString& rootName) const;
    // The page key of an object below "zarvo.sidetree.root"; empty for anything else.
    QString keyOf(velk::ModuleObject* item) const;
    bool isKnownPage(const QString& rootName, const QString& key) const;

    void selectPage(const QString& rootName, const QString& key, const QString& old);
    void appendHistory(const QString& key);
    void createButton(velk::ModuleObject* item, const QString& key);
    void buildButton(velk::ModuleObject* item, QPushButton* button);
    void syncChildren(velk::ModuleObject* item);
    void toggleChildren(const QString& key);
    void setChildrenShown(const QString& key, bool shown);
    void openAncestors(const QString& key);
    void removeItem(velk::ModuleObject* item, const QString& key);
    void forgetButtons(const QString& key);
    void removeTree(const QString& rootName);
    QWidget* containerFor(velk::ModuleObject* item);
    // Fold or unfold the column when the shown root gained its first or lost its last
    // sub-page; false when the root is not the one shown.
    bool refreshFold(const QString& rootName);
    bool isRootShown(const QString& rootName) const;
    void applyFoldColours(bool folded);
    void applyWidth();
    // The root switcher: one button per root that has a tree, in the roots' order.
    void syncRootButtons();
    void refreshRootButtons();
    void chooseRoot(const QString& rootName);
    void storeWidget(velk::ModuleObject* item, const QString& name, QWidget* widget);
    QWidget* storedWidget(velk::ModuleObject* item, const QString& name) const;

    Ui::SideTree* m_ui;
    QPointer<QWidget> m_wgt;
    QHash<QString, QPointer<QPushButton>> m_buttons;
    QHash<QString, QPointer<QPushButton>> m_rootButtons;
    QStringList m_history;
    // The root named by the last switch, also when it does not exist: the stack cannot show
    // "no page" once it has shown one.
    QString m_shownRoot;
};

} // namespace zarvo
