#include "widgets/navtree.h"
#include "widgets/sidetree_p.h"

#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "services/paths.h"
#include "services/stylesheet.h"
#include "theme/thememanager.h"

#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QPushButton>
#include <QVBoxLayout>

namespace zarvo {

namespace {

const QString kResource = QStringLiteral("navtree");

} // namespace

NavTree::NavTree(QObject* parent)
    : pomr::BModule(parent)
    , m_wgt(new QWidget)
    , m_layout(new QVBoxLayout(m_wgt))
{
    bindMobj(velk::mName(QStringLiteral("zarvo"), name()));
    mobj()->importFromJson(this, velk::ModuleManager::readFromJson(getTemplatePath(name())), true,
                           true, false);
    m_wgt->setObjectName(QStringLiteral("NavTree"));
    m_wgt->setAttribute(Qt::WA_StyledBackground);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_layout->addStretch();

    connect(mobj()->cmobj(nav::kCurRoot), &velk::ModuleObject::changed, this,
            [this](const QVariant& value) { switchRoot(value.toString()); });
    // Pages are switched from anywhere (the side tree, a script); the check follows the page
    // actually shown.
    if (pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this)) {
        connect(center, &pomr::CenterWidget::switched, this, &NavTree::markShown);
    }
}

NavTree::~NavTree()
{
    delete m_wgt.data();
}

QString NavTree::name() const
{
    return QStringLiteral("navtree");
}

QWidget* NavTree::wgt()
{
    return m_wgt;
}

void NavTree::render()
{
    setRecursiveWidgetStyleSheet(
        m_wgt, theme()->genStyleSheet(getRenderPath(QStringLiteral("body"), name())));
}

void NavTree::addCategory(pomr::BModule* category)
{
    if (!category || category->name().isEmpty()) {
        return;
    }
    const QString categoryName = category->name();
    m_categories.insert(categoryName, category);
    // The category publishes its list when it installs its pages, possibly after this.
    velk::ResourceWatcher* watcher = velk::resource().getWatcher(category, kResource, categoryName);
    connect(watcher, &velk::ResourceWatcher::valueChanged, this, [this, categoryName] {
        if (categoryName == m_current) {
            rebuild();
        }
    });
    velk::ModuleObject* cur = mobj()->cmobj(nav::kCurRoot);
    if (cur->getString().isEmpty()) {
        cur->set(this, categoryName);
    } else if (categoryName == m_current) {
        rebuild();
    }
}

QPushButton* NavTree::pageButton(const QString& pageName) const
{
    for (const auto& entry : m_buttons) {
        if (entry.first == pageName) {
            return entry.second.data();
        }
    }
    return nullptr;
}

void NavTree::switchRoot(const QString& category_name)
{
    m_current = category_name;
    if (!m_categories.value(category_name)) {
        warnLog() << "navigate to unknown category:" << nav::loggable(category_name);
    }
    rebuild();
}

void NavTree::rebuild()
{
    for (const auto& entry : qAsConst(m_buttons)) {
        delete entry.second.data();
    }
    m_buttons.clear();
    pomr::BModule* category = m_categories.value(m_current);
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
    if (!category || !center) {
        return;
    }
    const QJsonArray pages = velk::resource().get(category, kResource, m_current).toArray();
    for (const QJsonValue& value : pages) {
        const QJsonObject page = value.toObject();
        const QString pageName = page.value(QStringLiteral("name")).toString();
        if (pageName.isEmpty() || pageButton(pageName)) {
            continue;
        }
        const QString key = QStringLiteral("%1.%2").arg(m_current, pageName);
        auto* button = new QPushButton(page.value(QStringLiteral("label")).toString(), m_wgt);
        button->setObjectName(QStringLiteral("btnPage"));
        button->setCheckable(true);
        m_layout->insertWidget(m_layout->count() - 1, button);
        m_buttons.append({pageName, button});
        connect(button, &QPushButton::clicked, this, [this, key] {
            pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
            if (!center) {
                return;
            }
            if (!center->switchTo(this, key)) {
                warnLog() << "no page to show for:" << nav::loggable(key);
            }
            // A click toggles the button by itself; the check must show what is shown.
            markShown(center->currentKey());
        });
    }
    markShown(center->currentKey());
}

void NavTree::markShown(const QString& key)
{
    const QString prefix = m_current + QLatin1Char('.');
    for (const auto& entry : qAsConst(m_buttons)) {
        if (entry.second) {
            entry.second->setChecked(key == prefix + entry.first);
        }
    }
}

} // namespace zarvo
