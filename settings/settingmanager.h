#pragma once

#include <zarvo/zarvo_global.h>

#include <pomr/bmodule.h>

#include <QJsonObject>
#include <QJsonValue>

// The HMI's persistent settings: one JSON document held by the resource
// manager under the name "setting" and mirrored to ./config/setting.json.
// Every change is written to disk at once, atomically.
class ZARVO_EXPORT SettingManager : public pomr::BModule
{
    Q_OBJECT

public:
    explicit SettingManager(QObject* parent = nullptr);
    ~SettingManager() override;

    QString name() const override;

    // Called once for every newly registered resource alias: creates the
    // settings file from the template when it is missing, the alias's cache
    // folder, and installs the alias's translation for the configured language.
    void installQrc(const QString& alias);

    // Typed reads of top-level keys; the default when absent or of another type.
    int getInt(const QString& key, int def = 0) const;
    QString getStr(const QString& key, const QString& def = QString()) const;
    QJsonObject getObj(const QString& key) const;

    void set(const QString& key, const QJsonValue& value);

    // ./config/setting.json
    QString filePath() const;

    // `doc` with every member whose JSON type differs from the same member of
    // `defaults` replaced by the default (objects are compared member by
    // member; a number where the default is a whole number must be one too).
    // The slash-joined keys that were replaced go to `replaced`.
    static QJsonObject conformTo(const QJsonObject& doc, const QJsonObject& defaults,
                                 QStringList* replaced = nullptr);

    // Removes what a killed atomic write left in `folder`: files named like
    // "<name>.json.XXXXXX". Returns how many were removed.
    static int removeStaleTemporaries(const QString& folder);

private:
    void checkFolders(const QString& alias);
    void checkLanguage(const QString& alias);
    void keepInvalidFile(const QString& path, const QString& error);
    void useDefaultsWhereUnusable();
    void save();

    // Set when the file on disk must not be replaced (it could not be read,
    // or a broken one could not be moved aside).
    bool m_saveBlocked = false;
};
