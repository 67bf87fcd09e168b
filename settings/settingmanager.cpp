#include "settings/settingmanager.h"

#include "module/managerhelper.h"
#include "services/paths.h"

#include <velk/jsonfile.h>
#include <velk/resourcemanager.h>
#include <velk/resourcewatcher.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <cmath>
#include <limits>

namespace {

bool isWholeNumber(const QJsonValue& value)
{
    const double number = value.toDouble();
    return value.isDouble() && std::floor(number) == number &&
           number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
}

void conform(QJsonObject& doc, const QJsonObject& defaults, const QString& prefix,
             QStringList* replaced)
{
    for (auto it = defaults.constBegin(); it != defaults.constEnd(); ++it) {
        const auto found = doc.find(it.key());
        if (found == doc.end()) {
            continue;
        }
        const QJsonValue def = it.value();
        const QJsonValue value = found.value();
        const QString key = prefix + it.key();
        if (def.isObject() && value.isObject()) {
            QJsonObject inner = value.toObject();
            conform(inner, def.toObject(), key + QLatin1Char('/'), replaced);
            found.value() = inner;
            continue;
        }
        const bool wrong =
            value.type() != def.type() || (isWholeNumber(def) && !isWholeNumber(value));
        if (wrong) {
            found.value() = def;
            if (replaced) {
                replaced->append(key);
            }
        }
    }
}

} // namespace

SettingManager::SettingManager(QObject* parent)
    : pomr::BModule(parent)
{
    velk::resource().regist(this, name(), true);

    // Nothing else writes into ./config while we start, so what a killed save
    // left there can go.
    removeStaleTemporaries(QFileInfo(filePath()).path());

    const QString path = filePath();
    if (QFileInfo::exists(path)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            // Unreadable is not broken: leave the file alone and do not save
            // over it, so that fixing its permissions brings everything back.
            m_saveBlocked = true;
            ManagerHelper::throwLog(this, QStringLiteral("error"),
                                    QStringLiteral("Cannot read settings file %1 (%2); using the "
                                                   "defaults without saving")
                                        .arg(path, file.errorString()));
        } else {
            QString error;
            const QJsonValue value = velk::JsonFile::parse(file.readAll(), &error);
            file.close();
            if (!value.isObject()) {
                // Never lose what the user saved: keep the broken file beside
                // the new one, and start from the template.
                keepInvalidFile(path, error.isEmpty() ? QStringLiteral("not an object") : error);
            } else {
                velk::resource().load(this, name(), path, false);
            }
        }
    }

    velk::resource().enableWatcher(this, name(), QString(), false, true);
    velk::ResourceWatcher* watcher = velk::resource().getWatcher(this, name(), QString());
    connect(watcher, &velk::ResourceWatcher::valueChanged, this, [this] { save(); });
}

SettingManager::~SettingManager() = default;

QString SettingManager::name() const
{
    return QStringLiteral("setting");
}

QString SettingManager::filePath() const
{
    return QStringLiteral("./config/%1.json").arg(name());
}

void SettingManager::installQrc(const QString& alias)
{
    checkFolders(alias);
    useDefaultsWhereUnusable();
    checkLanguage(alias);
}

QJsonObject SettingManager::conformTo(const QJsonObject& doc, const QJsonObject& defaults,
                                      QStringList* replaced)
{
    QJsonObject out = doc;
    conform(out, defaults, QString(), replaced);
    return out;
}

int SettingManager::removeStaleTemporaries(const QString& folder)
{
    // QSaveFile's temporary name: the target's name and six random characters.
    static const QRegularExpression temporary(QStringLiteral("^.+\\.json\\.[A-Za-z0-9]{6}$"));
    int removed = 0;
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    for (const QString& name : names) {
        if (temporary.match(name).hasMatch() && QFile::remove(QDir(folder).filePath(name))) {
            ++removed;
        }
    }
    return removed;
}

void SettingManager::useDefaultsWhereUnusable()
{
    const QJsonObject defaults = velk::JsonFile::read(getTemplatePath(name())).toObject();
    const QJsonObject doc = velk::resource().get(this, name(), QString()).toObject();
    if (doc.isEmpty()) {
        // No usable file: run on the template's values, so that the link
        // still finds the default controller instead of an empty address.
        velk::resource().set(this, name(), QString(), defaults, false);
        return;
    }
    QStringList replaced;
    const QJsonObject conformed = conformTo(doc, defaults, &replaced);
    for (const QString& key : qAsConst(replaced)) {
        QJsonValue def = defaults;
        for (const QString& part : key.split(QLatin1Char('/'))) {
            def = def.toObject().value(part);
        }
        const QByteArray text = QJsonDocument(QJsonArray{def}).toJson(QJsonDocument::Compact);
        ManagerHelper::throwLog(
            this, QStringLiteral("warning"),
            QStringLiteral("Setting \"%1\" has the wrong type; using the default %2")
                .arg(key, QString::fromUtf8(text.mid(1, text.size() - 2))));
    }
    if (!replaced.isEmpty()) {
        // Saved with the next change; the file keeps the user's text until then.
        velk::resource().set(this, name(), QString(), conformed, false);
    }
}

int SettingManager::getInt(const QString& key, int def) const
{
    return velk::resource().get(const_cast<SettingManager*>(this), name(), key).toInt(def);
}

QString SettingManager::getStr(const QString& key, const QString& def) const
{
    const QJsonValue value = velk::resource().get(const_cast<SettingManager*>(this), name(), key);
    return value.isString() ? value.toString() : def;
}

QJsonObject SettingManager::getObj(const QString& key) const
{
    return velk::resource().get(const_cast<SettingManager*>(this), name(), key).toObject();
}

void SettingManager::set(const QString& key, const QJsonValue& value)
{
    velk::resource().set(this, name(), key, value, true);
}

void SettingManager::save()
{
    if (m_saveBlocked) {
        return;
    }
    if (!velk::resource().save(this, name(), filePath())) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                QStringLiteral("Cannot save settings to %1").arg(filePath()));
    }
}

void SettingManager::keepInvalidFile(const QString& path, const QString& error)
{
    const QString kept =
        QStringLiteral("%1.bad-%2")
            .arg(path, QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss")));
    const bool moved = QFile::rename(path, kept);
    m_saveBlocked = !moved;
    ManagerHelper::throwLog(
        this, QStringLiteral("error"),
        moved ? QStringLiteral("Settings file is not valid JSON (%1); kept as %2, starting from "
                               "the defaults")
                    .arg(error, kept)
              : QStringLiteral("Settings file is not valid JSON (%1) and cannot be moved aside; "
                               "using the defaults without saving over it")
                    .arg(error));
}

void SettingManager::checkFolders(const QString& alias)
{
    const QString path = filePath();
    if (!QFileInfo::exists(path)) {
        const QString folder = path.section(QLatin1Char('/'), 0, -2);
        const bool made = QDir(QStringLiteral(".")).mkpath(folder);
        QString reason = made ? QString() : QStringLiteral("cannot create the folder");
        // Written atomically like every later save: a kill in the middle
        // leaves no file (and only a temporary that the next start removes),
        // never a half-written one.
        QFile source(getTemplatePath(name()));
        QSaveFile copy(path);
        if (made && !source.open(QIODevice::ReadOnly)) {
            reason = source.errorString();
        } else if (made && !(copy.open(QIODevice::WriteOnly) &&
                             copy.write(source.readAll()) == source.size() && copy.commit())) {
            reason = copy.errorString();
        }
        if (reason.isEmpty()) {
            QFile::setPermissions(path, QFile::ReadUser | QFile::WriteUser);
            velk::resource().load(this, name(), path, false);
        } else {
            ManagerHelper::throwLog(this, QStringLiteral("error"),
                                    QStringLiteral("Cannot create settings file %1 in %2 (%3); "
                                                   "running with the defaults, changes will not "
                                                   "be kept")
                                        .arg(path, QDir::currentPath(), reason));
        }
    }

    const QString cache =
        QStringLiteral("./cache/%2/%1.json").arg(QString(), alias).section(QLatin1Char('/'), 0, -2);
    if (!QDir(cache).exists()) {
        QDir(QStringLiteral(".")).mkpath(cache);
    }
}

void SettingManager::checkLanguage(const QString& alias)
{
    const QString lang = getStr(QStringLiteral("language"), QStringLiteral("cn"));
    if (lang == QLatin1String("en")) {
        return;
    }
    const QString file = ManagerHelper::instance().getQrcPath(
        QStringLiteral("language"), QStringLiteral(".qm"), QStringLiteral("%1_%2").arg(alias, lang),
        QString(), QString());
    velk::translator().installQMTranslator(file);
}
