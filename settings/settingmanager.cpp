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

SettingManager::SettingManager(QObject* parent)
    : pomr::BModule(parent)
{
    velk::resource().regist(this, name(), true);

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
    checkLanguage(alias);
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
        QDir(QStringLiteral(".")).mkpath(path.section(QLatin1Char('/'), 0, -2));
        if (QFile::copy(getTemplatePath(name()), path)) {
            // A copy out of the compiled-in resources is read-only.
            QFile::setPermissions(path, QFile::ReadUser | QFile::WriteUser);
            velk::resource().load(this, name(), path, false);
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
