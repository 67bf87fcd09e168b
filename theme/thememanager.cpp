#include "theme/thememanager.h"

#include "module/managerhelper.h"
#include "services/paths.h"
#include "settings/settingmanager.h"
#include "theme/themecommand.h"
#include "theme/thememanager_p.h"

#include <velk/commandmanager.h>
#include <velk/jsonfile.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QtMath>

namespace {

const QString kThemes = QStringLiteral("themes");
const QString kCurrent = QStringLiteral("current");
const QString kSizeZoom = QStringLiteral("size_zoom");
const QString kFontZoom = QStringLiteral("font_zoom");

const QStringList& themeSections()
{
    static const QStringList sections{QStringLiteral("icon"),  QStringLiteral("icon_size"),
                                      QStringLiteral("size"),  QStringLiteral("color"),
                                      QStringLiteral("font"),  QStringLiteral("image"),
                                      QStringLiteral("border")};
    return sections;
}

// File names and parser texts come from disk: keep a log line bounded.
QString bounded(const QString& text)
{
    const int max = 300;
    QString out = text.left(max);
    out.replace(QLatin1Char('\n'), QLatin1String("\\n")).replace(QLatin1Char('\r'), QString());
    return text.size() > max ? out + QStringLiteral("...") : out;
}

} // namespace

ThemeManager::Private::Private(ThemeManager* owner)
    : q(owner)
    , current(new velk::ModuleObject(QStringLiteral("cur_theme"), nullptr))
    , defaultTheme(new velk::ModuleObject(QStringLiteral("default_theme"), nullptr))
{
}

ThemeManager::Private::~Private()
{
    delete current;
    delete defaultTheme;
}

velk::ModuleObject* ThemeManager::Private::index() const
{
    return q->mobj();
}

velk::ModuleObject* ThemeManager::Private::indexChild(const QString& name) const
{
    return index()->cmobj(name);
}

bool ThemeManager::Private::lookup(const QString& section, const QString& entry,
                                   QString* value) const
{
    for (velk::ModuleObject* theme : {current, defaultTheme}) {
        velk::ModuleObject* node = theme->cmobj(section);
        if (node->hasCmobj(entry)) {
            *value = node->cmobj(entry)->getString();
            return true;
        }
    }
    return false;
}

QString ThemeManager::Private::resolvePath(const QString& path)
{
    if (!path.startsWith(QLatin1String(":/"))) {
        return path;
    }
    const QString rest = path.mid(2).section(QLatin1Char('/'), 1);
    if (rest.isEmpty()) {
        return path;
    }
    const QStringList aliases = helper().aliases();
    for (int i = aliases.size() - 1; i >= 0; --i) {
        const QString candidate = aliases.at(i) + QLatin1Char('/') + rest;
        if (QFileInfo::exists(candidate)) {
            return candidate;
        }
        if (QFileInfo::exists(QStringLiteral(":/") + candidate)) {
            return QStringLiteral(":/") + candidate;
        }
    }
    return path;
}

bool ThemeManager::Private::loadTheme(velk::ModuleObject* target, const QString& path,
                                      bool activate)
{
    // A theme replaces the previous one whole: entries that the new file does
    // not define must fall through to the default theme, not linger.
    target->clear(q, true, false);
    if (path.isEmpty()) {
        return false;
    }
    const QString file = resolvePath(path);
    QString error;
    const QJsonValue json = velk::JsonFile::read(file, &error);
    if (!json.isObject()) {
        ManagerHelper::throwLog(
            q, QStringLiteral("error"),
            QStringLiteral("cannot load theme %1: %2")
                .arg(bounded(file),
                     bounded(json.isNull() ? error : QStringLiteral("not an object"))));
        return false;
    }
    const QJsonObject object = json.toObject();
    QStringList missing;
    for (const QString& section : themeSections()) {
        if (!object.value(section).isObject()) {
            missing.append(section);
        }
    }
    if (!missing.isEmpty()) {
        ManagerHelper::throwLog(q, QStringLiteral("error"),
                                QStringLiteral("theme %1 lacks the sections %2")
                                    .arg(bounded(file), missing.join(QLatin1Char(','))));
    }
    target->importFromJson(q, json, true, true, activate);
    return true;
}

void ThemeManager::Private::warnOnce(const QString& key, const QString& text)
{
    if (warned.contains(key)) {
        return;
    }
    warned.insert(key);
    ManagerHelper::throwLog(q, QStringLiteral("warning"), bounded(text));
}

bool ThemeManager::Private::readIndex(QJsonObject* out)
{
    const QString path = q->indexPath();
    const QString shipped = getRenderPath(q->name(), q->name());
    if (!QFileInfo::exists(path)) {
        QDir(QStringLiteral(".")).mkpath(path.section(QLatin1Char('/'), 0, -2));
        if (QFile::copy(shipped, path)) {
            // A copy out of the compiled-in resources is read-only.
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
        }
    }

    QFile file(path);
    if (QFileInfo::exists(path) && !file.open(QIODevice::ReadOnly)) {
        // Unreadable is not broken: leave it alone, so that fixing its
        // permissions brings the user's themes and zoom back.
        saveBlocked = true;
        ManagerHelper::throwLog(q, QStringLiteral("error"),
                                QStringLiteral("cannot read theme index %1 (%2); using the "
                                               "shipped one without saving")
                                    .arg(path, file.errorString()));
    } else if (file.isOpen()) {
        QString error;
        const QJsonValue json = velk::JsonFile::parse(file.readAll(), &error);
        file.close();
        if (json.isObject() && json.toObject().value(kThemes).isObject()) {
            *out = json.toObject();
            return true;
        }
        keepInvalidIndex(path, json.isNull() ? error : QStringLiteral("no \"themes\" object"));
    }

    const QJsonValue json = velk::JsonFile::read(shipped);
    if (!json.isObject()) {
        ManagerHelper::throwLog(q, QStringLiteral("error"),
                                QStringLiteral("no theme index at %1").arg(shipped));
        return false;
    }
    *out = json.toObject();
    if (!saveBlocked && QFile::copy(shipped, path)) {
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    }
    return true;
}

void ThemeManager::Private::keepInvalidIndex(const QString& path, const QString& error)
{
    const QString kept =
        QStringLiteral("%1.bad-%2")
            .arg(path, QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss")));
    const bool moved = QFile::rename(path, kept);
    saveBlocked = !moved;
    ManagerHelper::throwLog(
        q, QStringLiteral("error"),
        moved ? QStringLiteral("theme index is not valid (%1); kept as %2, starting from the "
                               "shipped one")
                    .arg(bounded(error), kept)
              : QStringLiteral("theme index is not valid (%1) and cannot be moved aside; using "
                               "the shipped one without saving over it")
                    .arg(bounded(error)));
}

void ThemeManager::Private::connectZoom()
{
    velk::ModuleObject* node = index();
    // Both factors must be nodes that can be watched and set: a hand-edited
    // index without them gets them back at 1.0.
    for (const QString& key : {kSizeZoom, kFontZoom}) {
        if (!node->hasCmobj(key)) {
            node->insert(q, key, false)->set(q, 1.0);
        }
    }
    velk::ModuleObject* size = node->cmobj(kSizeZoom);
    QObject::connect(size, &velk::ModuleObject::changed, q,
                     [this](const QVariant& value, const QVariant& old, QObject*) {
                         onSizeZoomChanged(value, old);
                     });
    bool ok = false;
    const double zoom = velk::m(velk::mName(q->name(), kSizeZoom))->get().toDouble(&ok);
    if (ok && qIsFinite(zoom)) {
        sizeZoom = zoom;
    } else {
        sizeZoom = 1.0;
        ManagerHelper::throwLog(q, QStringLiteral("warning"),
                                QStringLiteral("size_zoom of the theme index is not a number; "
                                               "using 1"));
    }
    QObject::connect(node->cmobj(kFontZoom), &velk::ModuleObject::changed, q,
                     &ThemeManager::themeChanged);
}

void ThemeManager::Private::onSizeZoomChanged(const QVariant& value, const QVariant& old)
{
    bool ok = false;
    const double zoom = value.toDouble(&ok);
    if (!ok || !qIsFinite(zoom)) {
        // A word typed by mistake would shrink every length to 0px: keep the
        // factor in force and put it back into the index.
        ManagerHelper::throwLog(q, QStringLiteral("warning"),
                                QStringLiteral("size_zoom \"%1\" is not a number; keeping %2")
                                    .arg(bounded(value.toString()))
                                    .arg(sizeZoom));
        velk::ModuleObject* node = indexChild(kSizeZoom);
        node->quiet(true);
        node->set(q, old.isValid() ? old : QVariant(sizeZoom));
        node->quiet(false);
        return;
    }
    sizeZoom = zoom;
    Q_EMIT q->themeChanged();
}

ThemeManager::ThemeManager(QObject* parent)
    : pomr::BModule(parent)
    , d(new Private(this))
{
    d->registered = velk::m().regist(this, name());
    bindMobj(name());
}

ThemeManager::~ThemeManager()
{
    if (d->registered) {
        velk::m().cancel(this, name());
    }
    delete d;
}

QString ThemeManager::name() const
{
    return QStringLiteral("zvtheme");
}

QString ThemeManager::indexPath() const
{
    return QStringLiteral("./config/%1.json").arg(name());
}

void ThemeManager::init()
{
    velk::ModuleObject* node = bindMobj(name());
    d->saveBlocked = false;
    QJsonObject index;
    // A second init (a test, a restart of the lifecycle) starts from the file
    // again, not from a merge with what the tree held.
    node->clear(this, true, false);
    if (d->readIndex(&index)) {
        node->importFromJson(this, index, true, false, false);
    }

    d->loadTheme(d->defaultTheme,
                 node->cmobj(kThemes)
                     ->cmobj(QStringLiteral("default"))
                     ->cmobj(QStringLiteral("path"))
                     ->getString(),
                 false);
    d->connectZoom();

    const QString wanted = node->cmobj(kCurrent)->getString();
    setCurrentTheme(wanted);
    const QString fallback = QStringLiteral("%1_default").arg(name());
    if (!hasTheme(wanted) && wanted != fallback && hasTheme(fallback)) {
        // An index naming a theme that is gone would leave every widget
        // unstyled; the shipped default is better than nothing.
        setCurrentTheme(fallback);
    }

    if (d->commands.isEmpty()) {
        for (ThemeCommand::Kind kind :
             {ThemeCommand::List, ThemeCommand::Set, ThemeCommand::Style, ThemeCommand::Sheet,
              ThemeCommand::Zoom, ThemeCommand::Reload}) {
            auto* command = new ThemeCommand(kind, this);
            if (velk::command().regist(command)) {
                d->commands.append(command);
            } else {
                delete command;
            }
        }
    }
}

void ThemeManager::detach()
{
    if (d->saveBlocked) {
        ManagerHelper::throwLog(
            this, QStringLiteral("warning"),
            QStringLiteral("theme index not saved: %1 is kept as it is").arg(indexPath()));
        return;
    }
    if (mobj()->cmobjCount() == 0 || !velk::m().exportToJson(this, name(), indexPath())) {
        ManagerHelper::throwLog(
            this, QStringLiteral("error"),
            QStringLiteral("cannot save the theme index to %1").arg(indexPath()));
    }
}

void ThemeManager::installQrc(const QString& alias)
{
    Q_UNUSED(alias)
}

QString ThemeManager::curThemeName() const
{
    velk::ModuleObject* node = d->index();
    if (!node->hasCmobj(kCurrent)) {
        return QStringLiteral("%1_default").arg(name());
    }
    return node->cmobj(kCurrent)->getString();
}

bool ThemeManager::hasTheme(const QString& name) const
{
    return !name.isEmpty() && d->indexChild(kThemes)->hasCmobj(name);
}

void ThemeManager::setCurrentTheme(const QString& name)
{
    if (!hasTheme(name)) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("set wrong theme:%1").arg(bounded(name)));
        return;
    }
    d->warned.clear();
    d->loadTheme(d->current,
                 d->indexChild(kThemes)->cmobj(name)->cmobj(QStringLiteral("path"))->getString(),
                 true);
    d->index()->set(this, kCurrent, name, true);
    Q_EMIT themeChanged();
}

bool ThemeManager::reloadTheme()
{
    const QString name = curThemeName();
    if (!hasTheme(name)) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("set wrong theme:%1").arg(bounded(name)));
        return false;
    }
    d->loadTheme(d->defaultTheme,
                 d->indexChild(kThemes)
                     ->cmobj(QStringLiteral("default"))
                     ->cmobj(QStringLiteral("path"))
                     ->getString(),
                 false);
    setCurrentTheme(name);
    return true;
}

QStringList ThemeManager::getThemeNames() const
{
    QStringList names;
    const QList<velk::ModuleObject*> themes = d->indexChild(kThemes)->cmobjs();
    for (velk::ModuleObject* theme : themes) {
        const int at = theme->cmobj(QStringLiteral("index"))->getInt(0);
        names.insert(qBound(0, at, names.size()), theme->name());
    }
    return names;
}

QString ThemeManager::getThemeLabel(const QString& name) const
{
    const QString lang = setting()->getStr(QStringLiteral("language"), QStringLiteral("cn"));
    return d->indexChild(kThemes)
        ->cmobj(name)
        ->cmobj(QStringLiteral("label_%1").arg(lang))
        ->getString();
}

double ThemeManager::sizeZoom() const
{
    return d->sizeZoom;
}

double ThemeManager::fontZoom() const
{
    const double zoom = velk::m(velk::mName(name(), kFontZoom))->getDouble(0.0);
    return !qIsFinite(zoom) || zoom < 0.1 || zoom > 10.0 ? 1.0 : zoom;
}
