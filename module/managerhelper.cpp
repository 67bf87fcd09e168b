#include "module/managerhelper.h"

#include "controller/controllermanager.h"
#include "services/modulelog.h"
#include "services/msgmanager.h"
#include "services/rsyncrunner.h"
#include "settings/settingmanager.h"
#include "theme/thememanager.h"
#include "widgets/basepage.h"

#include <pomr/bmodule.h>
#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

ManagerHelper& ManagerHelper::instance()
{
    // Function-local static: one thread-safe creation on first use, destroyed
    // at process exit after everything that was created before it.
    static ManagerHelper helper;
    return helper;
}

ManagerHelper::ManagerHelper()
    : QObject(nullptr)
{
    m_setting = new SettingManager(nullptr);
    m_theme = new ThemeManager(nullptr);
    m_controller = new ControllerManager(nullptr);
    m_rsync = new RsyncRunner(this);
    connect(m_rsync, &RsyncRunner::finished, this, &ManagerHelper::rsyncFinished);
}

ManagerHelper::~ManagerHelper()
{
    delete m_setting;
    m_setting = nullptr;
    delete m_theme;
    m_theme = nullptr;
    delete m_controller;
    m_controller = nullptr;
    delete m_rsync; // kills a transfer still running
    m_rsync = nullptr;
}

SettingManager* ManagerHelper::getSettingManager() const
{
    return m_setting;
}
ThemeManager* ManagerHelper::getThemeManager() const
{
    return m_theme;
}
ControllerManager* ManagerHelper::getControllerManager() const
{
    return m_controller;
}

bool ManagerHelper::registQrcAlias(const QString& alias)
{
    if (m_aliases.contains(alias)) {
        // The first module keeps the alias and its files; a second one would
        // silently shadow or lose them.
        zarvo::warnLog() << "resource alias" << alias
                         << "is registered already; the second registration is refused";
        return false;
    }
    m_aliases.append(alias);
    if (m_setting) {
        m_setting->installQrc(alias);
    }
    if (m_theme) {
        m_theme->installQrc(alias);
    }
    if (m_controller) {
        m_controller->installQrc(alias);
    }
    return true;
}

void ManagerHelper::registRootQrcAlias(const QString& alias)
{
    registQrcAlias(alias);
}

bool ManagerHelper::cancelQrcAlias(const QString& alias)
{
    const int index = m_aliases.indexOf(alias);
    if (index < 0) {
        return false;
    }
    m_aliases.removeAt(index);
    return true;
}

QStringList ManagerHelper::aliases() const
{
    return m_aliases;
}

QString ManagerHelper::getQrcPath(const QString& dir, const QString& suffix, const QString& name,
                                  const QString& sub, const QString& alias) const
{
    const QString tail = sub.isEmpty() ? QString() : QLatin1Char('/') + sub;
    if (!alias.isEmpty()) {
        return QStringLiteral(":/%1/%2/%3%4%5").arg(alias, dir, name, tail, suffix);
    }
    QString candidate;
    for (int i = m_aliases.size() - 1; i >= 0; --i) {
        const QString relative =
            QStringLiteral("%1/%2/%3%4%5").arg(m_aliases.at(i), dir, name, tail, suffix);
        if (QFileInfo::exists(relative)) {
            return relative;
        }
        candidate = QStringLiteral(":/") + relative;
        if (QFileInfo::exists(candidate)) {
            return candidate;
        }
    }
    zarvo::warnLog().nospace() << "no qrc file: "
                               << "\""
                               << QStringLiteral(":/<alias>/%1/%2%3%4").arg(dir, name, tail, suffix)
                               << "\""
                               << " with <alias> in {" << m_aliases.join(QLatin1Char(',')) << "}";
    return candidate;
}

void ManagerHelper::throwLog(QObject* sender, const QString& level, const QString& text)
{
    const QChar first = level.isEmpty() ? QChar() : level.at(0);
    if (first == QLatin1Char('i')) {
        zarvo::infoLog() << "<hmi log>" << sender << text;
    } else if (first == QLatin1Char('w')) {
        zarvo::warnLog() << "<hmi log>" << sender << text;
    } else if (first == QLatin1Char('e')) {
        zarvo::errorLog() << "<hmi log>" << sender << text;
    } else {
        zarvo::debugLog() << "<hmi log>" << level << sender << text;
    }

    QJsonObject record;
    record.insert(QStringLiteral("level"), level);
    record.insert(QStringLiteral("title"), text);
    record.insert(QStringLiteral("date_time"),
                  QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd/HH:mm:ss")));
    record.insert(QStringLiteral("rcid"), velk::m(QStringLiteral("zarvo.r.id"))->getString());
    velk::resource().set(sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"), record,
                         true);
}

QMessageBox::StandardButton ManagerHelper::showMsg(const QString& level, const QString& text,
                                                   QMessageBox::StandardButtons buttons,
                                                   QMessageBox::StandardButton defaultButton)
{
    MSG_TYPE type = MSG_DEFAULT;
    const QChar first = level.isEmpty() ? QChar() : level.at(0);
    if (first == QLatin1Char('i')) {
        type = MSG_INFORMATION;
    } else if (first == QLatin1Char('w')) {
        type = MSG_WARNING_ALERT;
    } else if (first == QLatin1Char('e')) {
        type = MSG_ERROR;
    } else if (first == QLatin1Char('q')) {
        type = MSG_QUESTION;
    } else {
        return QMessageBox::NoButton;
    }
    bool found = false;
    auto* host = qobject_cast<pomr::BModule*>(
        velk::resource().getModulePtr(nullptr, QStringLiteral("velk"), &found));
    QWidget* parent = host ? host->wgt() : nullptr;
    return MsgManager::showMsg(parent, type, text, buttons, defaultButton);
}

bool ManagerHelper::rsyncPush(QObject* requester, const QString& localPath,
                              const QString& remotePath, bool deleteExtraneous,
                              QStringList extraArgs)
{
    return m_rsync->push(requester, localPath, remotePath, deleteExtraneous, extraArgs);
}

bool ManagerHelper::rsyncPull(QObject* requester, const QString& localPath,
                              const QString& remotePath, bool deleteExtraneous,
                              QStringList extraArgs)
{
    return m_rsync->pull(requester, localPath, remotePath, deleteExtraneous, extraArgs);
}

QProcess* ManagerHelper::rsyncProcess() const
{
    return m_rsync->process();
}

void ManagerHelper::installBaseSettingCategoryModule(pomr::BModule* category)
{
    if (!category) {
        return;
    }
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(category);
    const QString categoryName = category->name();
    QJsonArray pages;
    const QList<pomr::BModule*> submodules = category->submodules();
    for (pomr::BModule* submodule : submodules) {
        // A module of another kind has no label and no page: listing it would
        // put an entry into the navigation that leads nowhere.
        auto* page = qobject_cast<zarvo::BasePage*>(submodule);
        QWidget* widget = page ? page->wgt() : nullptr;
        if (!widget) {
            zarvo::warnLog() << category << "not a setting page:" << submodule;
            continue;
        }
        if (center) {
            center->addPage(category, QStringLiteral("%1.%2").arg(categoryName, page->name()),
                            widget);
        }
        pages.append(QJsonObject{{QStringLiteral("name"), page->name()},
                                 {QStringLiteral("label"), page->label()}});
    }
    velk::resource().set(category, QStringLiteral("navtree"), categoryName, pages, true);
}

ManagerHelper& helper()
{
    return ManagerHelper::instance();
}

ControllerManager* rc()
{
    return ManagerHelper::instance().getControllerManager();
}

SettingManager* setting()
{
    return ManagerHelper::instance().getSettingManager();
}

ThemeManager* theme()
{
    return ManagerHelper::instance().getThemeManager();
}

void ManagerHelper::installSideTree(pomr::BModule* module, const QString& prefix)
{
    const QString roots = QStringLiteral("zarvo.sidetree.root");
    velk::ModuleObject* root = velk::m(prefix.isEmpty() ? roots : velk::mName(roots, prefix));
    auto* page = qobject_cast<zarvo::BasePage*>(module);
    if (root->isEmptyMobj() || !page) {
        return;
    }
    const QString separator = velk::ModuleManager::separator();
    const QString name = page->name();
    const QString key = prefix.isEmpty() ? name : velk::mName(prefix, name);
    // Submodule lists can form a cycle; no real page tree comes near this depth.
    constexpr int maxDepth = 32;
    if (name.isEmpty() || name.contains(separator) || name.startsWith(QLatin1Char('_')) ||
        name.startsWith(QLatin1Char('[')) || key.count(separator) >= maxDepth) {
        zarvo::warnLog() << "page not usable in the side tree:" << key.left(120);
        return;
    }
    if (QWidget* widget = page->wgt()) {
        if (pomr::CenterWidget* center = pomr::instantiatedCenterWidget(page)) {
            center->addPage(page, key, widget);
        }
    }
    velk::ModuleObject* item = root->cmobj(name);
    if (item->isEmptyMobj()) {
        // Indexed at once but announced only by the insert, after its label and watch are
        // in place, so that the tree builds the button whole.
        item = new velk::ModuleObject(name, root);
        item->set(page, page->label());
        item->watch(true, false);
        root->insert(page, item, true);
    } else if (item->getString() != page->label()) {
        item->set(page, page->label());
    }
    const QList<pomr::BModule*> submodules = page->submodules();
    for (pomr::BModule* submodule : submodules) {
        installSideTree(submodule, key);
    }
}
