#include "widgets/sidetree.h"
#include "widgets/sidetree_p.h"

#include "ui_sidetree.h"

#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "services/paths.h"
#include "services/stylesheet.h"
#include "theme/thememanager.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <pomr/sidebar.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QScroller>
#include <QScrollerProperties>
#include <QVBoxLayout>

namespace zarvo {

namespace {

const QString kWgt = QStringLiteral("_wgt");
const QString kArea = QStringLiteral("_area");
const QString kCurRoot = QStringLiteral("cur_root");
const QString kParentName = QStringLiteral("btnParent");
const QString kChildName = QStringLiteral("btnChild");
const QString kChildContainer = QStringLiteral("wgtChild");

constexpr int kMaxHistory = 100;
// Selections queue further selections (a click writes "cur_<root>", which selects); a few
// rounds settle any chain that the tree itself starts.
constexpr int kSettleRounds = 8;

QString rootOfKey(const QString& key)
{
    return key.section(velk::ModuleManager::separator(), 0, 0);
}

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

SideTree::SideTree(QObject* parent)
    : pomr::BModule(parent)
    , m_ui(new Ui::SideTree)
    , m_wgt(new QWidget)
{
    bindMobj(velk::mName(QStringLiteral("zarvo"), name()));
    mobj()->importFromJson(this, velk::ModuleManager::readFromJson(getTemplatePath(name())), true,
                           true, false);
    m_ui->setupUi(m_wgt);
    m_wgt->setAttribute(Qt::WA_StyledBackground);
    m_ui->wgtSpace->hide();
    connect(m_ui->btnBack, &QPushButton::clicked, this, &SideTree::back);
    connect(m_ui->btnFold, &QPushButton::clicked, this, &SideTree::fold);
}

SideTree::~SideTree()
{
    // The module objects outlive this module; pointers to widgets that die with it must not
    // stay behind in them.
    for (auto it = m_buttons.cbegin(); it != m_buttons.cend(); ++it) {
        itemMobj(it.key())->remove(this, kWgt, false);
    }
    const QList<velk::ModuleObject*> roots = rootsMobj()->cmobjs();
    for (velk::ModuleObject* root : roots) {
        root->remove(this, kWgt, false);
        root->remove(this, kArea, false);
    }
    // The side bar deletes the widget when it goes first.
    delete m_wgt.data();
    delete m_ui;
}

QString SideTree::name() const
{
    return QStringLiteral("sidetree");
}

QWidget* SideTree::wgt()
{
    return m_wgt;
}

void SideTree::init()
{
    if (pomr::SideBar* bar = pomr::instantiatedSideBar(this, true)) {
        bar->addItem(this, name(), wgt(), true, -1);
    }
    velk::ModuleObject* roots = rootsMobj();
    connect(roots, &velk::ModuleObject::added, this, &SideTree::addTree, Qt::UniqueConnection);
    connect(roots, &velk::ModuleObject::activated, this,
            [this, roots](velk::ModuleObject* target, int type) {
                if (type == velk::ActivateRemoved && target->pmobj() == roots) {
                    removeTree(target->name());
                }
            });
    connect(mobj()->cmobj(kCurRoot), &velk::ModuleObject::changed, this,
            [this](const QVariant& value) { switchRoot(value.toString()); });

    // Pages installed before the tree listened are shown as well.
    const QStringList names = roots->cmobjNames(true);
    for (const QString& rootName : names) {
        addTree(rootName);
    }
    const QString current = mobj()->cmobj(kCurRoot)->getString();
    if (!current.isEmpty()) {
        switchRoot(current);
    }
}

void SideTree::render()
{
    const QString sheet =
        theme()->genStyleSheet(getRenderPath(QStringLiteral("body"), QStringLiteral("sidetree")));
    setRecursiveWidgetStyleSheet(m_wgt, sheet);
    if (isFolded()) {
        applyFoldColours(true);
    }
    applyWidth();
}

void SideTree::idle()
{
    // Whatever was selected while the modules were set up is no place to go back to. The
    // selections are queued, so they are settled first, or they would land after the reset.
    for (int i = 0; i < kSettleRounds; ++i) {
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    }
    m_history.clear();
}

QStringList SideTree::history() const
{
    return m_history;
}

int SideTree::maxHistory()
{
    return kMaxHistory;
}

QPushButton* SideTree::treeButton(const QString& key) const
{
    return m_buttons.value(key).data();
}

bool SideTree::isFolded() const
{
    return !m_ui->wgtSpace->isHidden();
}

velk::ModuleObject* SideTree::rootsMobj() const
{
    return mobj()->cmobj(QStringLiteral("root"));
}

velk::ModuleObject* SideTree::rootMobj(const QString& rootName) const
{
    if (rootName.isEmpty() || nav::isPrivateName(rootName) ||
        rootName.contains(velk::ModuleManager::separator())) {
        return velk::ModuleManager::emptyMobj();
    }
    return rootsMobj()->cmobj(rootName);
}

velk::ModuleObject* SideTree::itemMobj(const QString& key) const
{
    const QStringList parts = key.split(velk::ModuleManager::separator());
    for (const QString& part : parts) {
        if (part.isEmpty() || nav::isPrivateName(part)) {
            return velk::ModuleManager::emptyMobj();
        }
    }
    return rootsMobj()->rmobj(key);
}

velk::ModuleObject* SideTree::curMobj(const QString& rootName) const
{
    return mobj()->cmobj(QStringLiteral("cur_%1").arg(rootName));
}

QString SideTree::keyOf(velk::ModuleObject* item) const
{
    velk::ModuleObject* roots = rootsMobj();
    QStringList parts;
    // The depth of a page tree is bounded by the module tree that installed it; the walk
    // ends at the top of the object tree in any case.
    for (velk::ModuleObject* node = item; !node->isEmptyMobj(); node = node->pmobj()) {
        if (node == roots) {
            return parts.join(velk::ModuleManager::separator());
        }
        parts.prepend(node->name());
    }
    return QString();
}

bool SideTree::isKnownPage(const QString& rootName, const QString& key) const
{
    return !rootMobj(rootName)->isEmptyMobj() && rootOfKey(key) == rootName &&
           !itemMobj(key)->isEmptyMobj();
}

void SideTree::addTree(QString root_name)
{
    velk::ModuleObject* root = rootMobj(root_name);
    if (root->isEmptyMobj() || storedWidget(root, kWgt)) {
        return;
    }
    auto* container = new QWidget;
    auto* layout = new QVBoxLayout(container);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addStretch();

    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidgetResizable(true);
    area->setWidget(container);
    QScroller::grabGesture(area, QScroller::LeftMouseButtonGesture);
    // A tap on a tree button acts at once; a drag still scrolls the column.
    QScrollerProperties touch = QScroller::scroller(area)->scrollerProperties();
    touch.setScrollMetric(QScrollerProperties::MousePressEventDelay, 0);
    QScroller::scroller(area)->setScrollerProperties(touch);
    m_ui->stkWgt->addWidget(area);

    storeWidget(root, kWgt, container);
    storeWidget(root, kArea, area);
    connect(root, &velk::ModuleObject::activated, this, &SideTree::updateTreeItem,
            Qt::UniqueConnection);

    velk::ModuleObject* cur = mobj()->insert(this, QStringLiteral("cur_%1").arg(root_name), true);
    connect(
        cur, &velk::ModuleObject::changed, this,
        [this, root_name](const QVariant& value, const QVariant& old) {
            selectPage(root_name, value.toString(), old.toString());
        },
        Qt::QueuedConnection);

    syncChildren(root);

    // The first root installed is shown until someone picks another one.
    velk::ModuleObject* curRoot = mobj()->cmobj(kCurRoot);
    if (curRoot->getString().isEmpty()) {
        curRoot->set(this, root_name);
    }
}

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
        // A root has no button: its label heads the column while it is shown.
        if (type == velk::ActivateData && mobj()->cmobj(kCurRoot)->getString() == rootName) {
            m_ui->lblRoot->setText(tree_item_mobj->getString());
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

void SideTree::selectPage(const QString& rootName, const QString& key, const QString& old)
{
    if (QPushButton* before = m_buttons.value(old)) {
        if (before->objectName() == kChildName) {
            before->setChecked(false);
        }
    }
    if (key.isEmpty()) {
        return;
    }
    if (!isKnownPage(rootName, key)) {
        warnLog() << "select unknown page:" << nav::loggable(rootName) << nav::loggable(key);
        return;
    }
    if (QPushButton* button = m_buttons.value(key)) {
        if (button->objectName() == kChildName) {
            button->setChecked(true);
            openAncestors(key);
        }
    }
    if (isRootShown(rootName)) {
        if (pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this)) {
            center->switchTo(this, key);
        }
    }
    appendHistory(key);
}

void SideTree::appendHistory(const QString& key)
{
    if (!m_history.isEmpty() && m_history.constLast() == key) {
        return;
    }
    m_history.append(key);
    while (m_history.size() > kMaxHistory) {
        m_history.removeFirst();
    }
}

bool SideTree::refreshFold(const QString& rootName)
{
    if (rootName != m_shownRoot) {
        return false;
    }
    // The stretch at the end of a column always counts as one item.
    QWidget* container = storedWidget(rootMobj(rootName), kWgt);
    const bool hasChildren = container && container->layout() && container->layout()->count() > 1;
    m_ui->btnFold->setVisible(hasChildren);
    if (hasChildren != !m_ui->stkWgt->isHidden()) {
        fold();
    }
    return true;
}

bool SideTree::isRootShown(const QString& rootName) const
{
    QWidget* area = storedWidget(rootMobj(rootName), kArea);
    return area && rootName == m_shownRoot && m_ui->stkWgt->currentWidget() == area;
}

void SideTree::switchRoot(const QString& root_name)
{
    velk::ModuleObject* root = rootMobj(root_name);
    const bool shownAlready = isRootShown(root_name);
    m_shownRoot = root_name;
    refreshFold(root_name);
    m_ui->lblRoot->setText(root->getString());
    if (shownAlready) {
        return;
    }

    QWidget* area = storedWidget(root, kArea);
    m_ui->stkWgt->setCurrentIndex(area ? m_ui->stkWgt->indexOf(area) : -1);
    QString page = curMobj(root_name)->getString();
    if (page.isEmpty()) {
        page = root_name;
    }
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
    // An unknown root must not bring up whatever page happens to carry its name.
    if (!root->isEmptyMobj() && center && center->switchTo(this, page)) {
        appendHistory(page);
    } else {
        warnLog() << "switch to wrong root:" << nav::loggable(root_name) << nav::loggable(page);
    }
    mobj()->cmobj(QStringLiteral("_page"))->set(this, page);
}

void SideTree::back()
{
    if (m_history.size() < 2) {
        return;
    }
    m_history.removeLast();
    QString key;
    while (!m_history.isEmpty()) {
        key = m_history.takeLast();
        if (isKnownPage(rootOfKey(key), key)) {
            break;
        }
    }
    const QString rootName = rootOfKey(key);
    velk::ModuleObject* curRoot = mobj()->cmobj(kCurRoot);
    if (curRoot->getString() != rootName) {
        const int before = m_history.size();
        curRoot->set(this, rootName);
        // The root's own page that the switch brought up is not where the user goes back to.
        if (m_history.size() > before) {
            m_history.removeLast();
        }
    }
    curMobj(rootName)->set(this, key);
}

void SideTree::fold()
{
    const bool unfolding = isFolded();
    m_ui->lblRoot->setVisible(unfolding);
    m_ui->stkWgt->setVisible(unfolding);
    m_ui->wgtSpace->setVisible(!unfolding);
    applyWidth();
    m_ui->btnFold->setIcon(theme()->getIcon(
        QStringLiteral("body"), unfolding ? QStringLiteral("fold") : QStringLiteral("unfold")));
    applyFoldColours(!unfolding);
}

void SideTree::applyWidth()
{
    if (isFolded()) {
        QPushButton* back = m_ui->btnBack;
        m_wgt->setFixedWidth(back->isVisible() ? back->width() : back->sizeHint().width());
    } else {
        m_wgt->setFixedWidth(theme()->getSize(200));
    }
}

void SideTree::applyFoldColours(bool folded)
{
    const QString side = theme()->buildStyleFromStr(QStringLiteral("$color$sidetree_bkg"));
    const QString centre = theme()->buildStyleFromStr(QStringLiteral("$color$center_bkg"));
    const QString& from = folded ? side : centre;
    const QString& to = folded ? centre : side;
    // An empty colour would match between every two characters of the sheet.
    if (side == centre || from.isEmpty()) {
        return;
    }
    QString sheet = m_wgt->styleSheet();
    sheet.replace(from, to, Qt::CaseSensitive);
    m_wgt->setStyleSheet(sheet);
    m_ui->stkWgt->setStyleSheet(sheet);
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
