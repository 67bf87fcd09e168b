#include "widgets/sidetree.h"
#include "widgets/sidetree_p.h"

#include "ui_sidetree.h"

#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "theme/thememanager.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QLayout>
#include <QPushButton>
#include <QVBoxLayout>

// The tree buttons of the side tree, built and rebuilt from the page objects of each root.

namespace zarvo {

using namespace nav;

namespace {

bool hasPageChildren(velk::ModuleObject* item)
{
    return !item->cmobjNames(true).isEmpty();
}

QIcon parentIcon(bool shown)
{
    return theme()->getIcon(QStringLiteral("body"), shown
                                                        ? QStringLiteral("navtree_parent_unfolded")
                                                        : QStringLiteral("navtree_parent_folded"));
}

} // namespace

void SideTree::syncChildren(velk::ModuleObject* item)
{
    const QList<velk::ModuleObject*> children = item->cmobjs();
    for (velk::ModuleObject* child : children) {
        if (nav::isPrivateName(child->name())) {
            continue;
        }
        const QString key = keyOf(child);
        if (!m_buttons.value(key)) {
            createButton(child, key);
        }
    }
}

void SideTree::updateTreeItem(velk::ModuleObject* tree_item_mobj, int type)
{
    if (!tree_item_mobj || tree_item_mobj->isEmptyMobj() ||
        nav::isPrivateName(tree_item_mobj->name())) {
        return;
    }
    const QString key = keyOf(tree_item_mobj);
    if (key.isEmpty()) {
        return;
    }
    const QString rootName = rootOfKey(key);
    if (key == rootName) {
        // A root has no tree button: its label heads the column while it is shown, and names
        // its button in the switcher.
        if (type == velk::ActivateData) {
            if (mobj()->cmobj(kCurRoot)->getString() == rootName) {
                m_ui->lblRoot->setText(tree_item_mobj->getString());
            }
            refreshRootButtons();
        }
        return;
    }
    QPushButton* button = m_buttons.value(key);
    if (button && type == velk::ActivateRemoved) {
        removeItem(tree_item_mobj, key);
    } else if (button) {
        buildButton(tree_item_mobj, button);
    } else if (type == velk::ActivateAdded) {
        createButton(tree_item_mobj, key);
    } else {
        errorLog().nospace() << "update tree with wrong operation: " << nav::loggable(key) << " "
                             << type;
        return;
    }

    // The first known page of a root becomes its selected page.
    velk::ModuleObject* cur = curMobj(rootName);
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
    if (type != velk::ActivateRemoved && cur->getString().isEmpty() && center &&
        center->getItemWgt(key)) {
        cur->set(this, key);
    }
}

QWidget* SideTree::containerFor(velk::ModuleObject* item)
{
    velk::ModuleObject* parent = item->pmobj();
    if (parent == rootMobj(parent->name())) {
        return storedWidget(parent, kWgt);
    }
    QWidget* container = storedWidget(parent, kWgt);
    if (!container) {
        // The parent was a leaf until now: it turns into a parent with a child container.
        QPushButton* parentButton = m_buttons.value(keyOf(parent));
        if (!parentButton) {
            return nullptr;
        }
        buildButton(parent, parentButton);
        container = storedWidget(parent, kWgt);
    }
    return container;
}

void SideTree::createButton(velk::ModuleObject* item, const QString& key)
{
    QWidget* container = containerFor(item);
    QBoxLayout* layout = container ? qobject_cast<QBoxLayout*>(container->layout()) : nullptr;
    if (!layout) {
        return; // its tree is not built yet; addTree picks the item up
    }
    auto* button = new QPushButton(container);
    button->setCheckable(true);

    // After the nearest earlier sibling that has a button (and after its child container),
    // never after the stretch that ends a root's column.
    int index = 0;
    velk::ModuleObject* parent = item->pmobj();
    const QList<velk::ModuleObject*> siblings = parent->cmobjs();
    for (velk::ModuleObject* sibling : siblings) {
        if (sibling == item) {
            break;
        }
        QPushButton* before = m_buttons.value(keyOf(sibling));
        if (before && layout->indexOf(before) >= 0) {
            index = layout->indexOf(before) + 1;
            QLayoutItem* next = layout->itemAt(index);
            if (next && next->widget() && next->widget()->objectName() == kChildContainer) {
                ++index;
            }
        }
    }
    const bool endsInStretch = parent == rootMobj(parent->name());
    index = qMin(index, layout->count() - (endsInStretch ? 1 : 0));
    layout->insertWidget(qMax(index, 0), button);
    // A page installed while the HMI runs shows at once, not at the next event-loop turn.
    button->show();

    m_buttons.insert(key, button);
    buildButton(item, button);
    syncChildren(item);
    if (endsInStretch && layout->count() == 2) {
        refreshFold(rootOfKey(key)); // the root's first sub-page
    }
}

void SideTree::buildButton(velk::ModuleObject* item, QPushButton* button)
{
    button->disconnect();
    button->setText(item->getString());
    const QString key = keyOf(item);
    const QString rootName = rootOfKey(key);

    if (hasPageChildren(item)) {
        button->setObjectName(kParentName);
        QWidget* children = storedWidget(item, kWgt);
        if (!children) {
            QWidget* container = button->parentWidget();
            auto* layout = container ? qobject_cast<QBoxLayout*>(container->layout()) : nullptr;
            children = new QWidget(container);
            children->setObjectName(kChildContainer);
            auto* childLayout = new QVBoxLayout(children);
            childLayout->setContentsMargins(theme()->getSize(16), 0, 0, 0);
            childLayout->setSpacing(0);
            if (layout) {
                layout->insertWidget(layout->indexOf(button) + 1, children);
            }
            children->show();
            storeWidget(item, kWgt, children);
        }
        const bool shown = !children->isHidden();
        button->setChecked(shown);
        button->setIcon(parentIcon(shown));
        connect(
            button, &QPushButton::clicked, this, [this, key] { toggleChildren(key); },
            Qt::QueuedConnection);
    } else {
        button->setObjectName(kChildName);
        if (QWidget* children = storedWidget(item, kWgt)) {
            forgetButtons(key);
            delete children;
        }
        item->remove(this, kWgt, false);
        button->setIcon(QIcon());
        button->setChecked(key == curMobj(rootName)->getString());
        connect(
            button, &QPushButton::clicked, this,
            [this, rootName, key] { curMobj(rootName)->set(this, key); }, Qt::QueuedConnection);
    }
}

void SideTree::forgetButtons(const QString& key)
{
    const QString prefix = key + velk::ModuleManager::separator();
    for (auto it = m_buttons.begin(); it != m_buttons.end();) {
        if (it.key().startsWith(prefix)) {
            it = m_buttons.erase(it);
        } else {
            ++it;
        }
    }
}

void SideTree::removeItem(velk::ModuleObject* item, const QString& key)
{
    // A removed page must not leave a button behind that leads nowhere.
    forgetButtons(key);
    QPushButton* button = m_buttons.take(key);
    delete storedWidget(item, kWgt);
    delete button;
    // The item is still attached while its removal is announced; once it is gone, a parent
    // that lost its last sub-page turns back into a page button.
    const QString parentKey = keyOf(item->pmobj());
    if (m_buttons.value(parentKey)) {
        QMetaObject::invokeMethod(
            this,
            [this, parentKey] {
                if (QPushButton* parentButton = m_buttons.value(parentKey)) {
                    buildButton(itemMobj(parentKey), parentButton);
                }
            },
            Qt::QueuedConnection);
    } else if (!parentKey.isEmpty()) {
        const QString rootName = parentKey;
        QMetaObject::invokeMethod(
            this,
            [this, rootName] {
                QWidget* container = storedWidget(rootMobj(rootName), kWgt);
                if (container && container->layout()->count() == 1) {
                    refreshFold(rootName); // the root's last sub-page went
                }
            },
            Qt::QueuedConnection);
    }
}

void SideTree::removeTree(const QString& rootName)
{
    velk::ModuleObject* root = rootMobj(rootName);
    forgetButtons(rootName);
    QWidget* area = storedWidget(root, kArea);
    root->remove(this, kWgt, false);
    root->remove(this, kArea, false);
    delete area;
    syncRootButtons();
}

void SideTree::toggleChildren(const QString& key)
{
    QWidget* children = storedWidget(itemMobj(key), kWgt);
    if (children) {
        setChildrenShown(key, children->isHidden());
    }
}

void SideTree::setChildrenShown(const QString& key, bool shown)
{
    QWidget* children = storedWidget(itemMobj(key), kWgt);
    QPushButton* button = m_buttons.value(key);
    if (!children || !button) {
        return;
    }
    children->setVisible(shown);
    button->setChecked(shown);
    button->setIcon(parentIcon(shown));
}

void SideTree::openAncestors(const QString& key)
{
    const QString sep = velk::ModuleManager::separator();
    QStringList parts = key.split(sep);
    // Depth is bounded by the key itself.
    while (parts.size() > 2) {
        parts.removeLast();
        const QString parentKey = parts.join(sep);
        QWidget* children = storedWidget(itemMobj(parentKey), kWgt);
        if (children && children->isHidden()) {
            setChildrenShown(parentKey, true);
        }
    }
}

void SideTree::storeWidget(velk::ModuleObject* item, const QString& name, QWidget* widget)
{
    // Bookkeeping, never announced: it is no page, and its pointer means nothing outside.
    velk::ModuleObject* node = item->cmobj(name);
    if (node->isEmptyMobj()) {
        node = new velk::ModuleObject(name, item);
    }
    node->quiet(true);
    node->set(this, QVariant::fromValue<QObject*>(widget));
}

QWidget* SideTree::storedWidget(velk::ModuleObject* item, const QString& name) const
{
    const QVariant value = item->cmobj(name)->get();
    if (!value.canConvert<QObject*>()) {
        return nullptr;
    }
    QObject* object = value.value<QObject*>();
    if (!object || !m_wgt) {
        return nullptr;
    }
    // Anyone can write these objects; only a widget of this tree is taken at its word, and
    // the address is compared before anything is read through it.
    const QList<QWidget*> own = m_wgt->findChildren<QWidget*>();
    for (QWidget* widget : own) {
        if (widget == object) {
            return widget;
        }
    }
    return nullptr;
}

} // namespace zarvo
