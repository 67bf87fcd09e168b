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

using namespace nav;

namespace {

constexpr int kMaxHistory = 100;
// Selections queue further selections (a click writes "cur_<root>", which selects); a few
// rounds settle any chain that the tree itself starts.
constexpr int kSettleRounds = 8;

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
    m_ui->wgtRoots->setAttribute(Qt::WA_StyledBackground);
    m_ui->wgtRoots->hide();
    connect(m_ui->btnBack, &QPushButton::clicked, this, &SideTree::back);
    connect(m_ui->btnFold, &QPushButton::clicked, this, &SideTree::fold);
    applyWidth();
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
    // The tree's own file keeps its single rule, which themes on disk copy; the root
    // switcher's rules come from a file of their own.
    const QString sheet =
        theme()->genStyleSheet(getRenderPath(QStringLiteral("body"), QStringLiteral("sidetree"))) +
        theme()->genStyleSheet(
            getRenderPath(QStringLiteral("body"), QStringLiteral("sidetree_roots")));
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
    syncRootButtons();

    // The first root installed is shown until someone picks another one.
    // Queued: a module installs a root and then its pages in one call, and
    // the root is shown with its first page once they are all there.
    QMetaObject::invokeMethod(
        this,
        [this, root_name] {
            velk::ModuleObject* curRoot = mobj()->cmobj(kCurRoot);
            if (curRoot->getString().isEmpty()) {
                curRoot->set(this, root_name);
            }
        },
        Qt::QueuedConnection);
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
    refreshRootButtons();
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
    refreshRootButtons();
}

void SideTree::applyWidth()
{
    if (isFolded()) {
        // The button keeps its own width (fixed policy), so the column is exactly as wide as
        // it, laid out or not.
        m_wgt->setFixedWidth(m_ui->btnBack->sizeHint().width());
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

} // namespace zarvo
