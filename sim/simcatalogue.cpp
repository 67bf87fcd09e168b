#include "simcatalogue.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>

// A static library's resources are only linked in when something refers to
// them; this does.
static void initSimResources()
{
    Q_INIT_RESOURCE(zarvo_sim);
}

namespace zarvo::sim {

SimCatalogue::SimCatalogue()
{
    initSimResources();
    load(builtinPath());
}

QString SimCatalogue::builtinPath()
{
    return QStringLiteral(":/sim/rc.json");
}

bool SimCatalogue::load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return false;
    }
    QByteArray bytes = file.readAll();
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        m_error = QStringLiteral("%1 is not a JSON object: %2 at offset %3")
                      .arg(path, error.errorString())
                      .arg(error.offset);
        return false;
    }
    QHash<QString, QJsonObject> commands;
    const QJsonObject root = doc.object();
    for (auto it = root.begin(); it != root.end(); ++it) {
        if (it.key() == QLatin1String("global_error_code") || !it.value().isObject())
            continue;
        collect(it.value().toObject(), it.key(), &commands);
    }
    if (commands.isEmpty()) {
        m_error = QStringLiteral("%1 lists no commands").arg(path);
        return false;
    }
    m_root = root;
    m_commands = commands;
    m_error.clear();
    return true;
}

bool SimCatalogue::isCommandObject(const QJsonObject& object)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString& key = it.key();
        if (key != QLatin1String("request") && key != QLatin1String("response") &&
            key != QLatin1String("notify"))
            return false;
    }
    return true;
}

void SimCatalogue::collect(const QJsonObject& group, const QString& prefix,
                           QHash<QString, QJsonObject>* into) const
{
    for (auto it = group.begin(); it != group.end(); ++it) {
        if (!it.value().isObject())
            continue;
        const QJsonObject child = it.value().toObject();
        const QString name = prefix + QLatin1Char('.') + it.key();
        if (isCommandObject(child))
            into->insert(name, child);
        else
            collect(child, name, into);
    }
}

QStringList SimCatalogue::commands() const
{
    QStringList names = m_commands.keys();
    names.sort();
    return names;
}

QJsonValue SimCatalogue::requestData(const QString& fullName) const
{
    return command(fullName)
        .value(QLatin1String("request"))
        .toObject()
        .value(QLatin1String("data"));
}

QJsonValue SimCatalogue::responseData(const QString& fullName) const
{
    return command(fullName)
        .value(QLatin1String("response"))
        .toObject()
        .value(QLatin1String("data"));
}

QJsonValue SimCatalogue::notifyData(const QString& fullName) const
{
    return command(fullName).value(QLatin1String("notify")).toObject().value(QLatin1String("data"));
}

QJsonObject SimCatalogue::errorTable(const QString& fullName) const
{
    return command(fullName)
        .value(QLatin1String("response"))
        .toObject()
        .value(QLatin1String("error_code"))
        .toObject();
}

QJsonObject SimCatalogue::globalErrorTable() const
{
    return m_root.value(QLatin1String("global_error_code")).toObject();
}

QString SimCatalogue::errorText(const QString& fullName, int code, const QString& language) const
{
    const QString key = QString::number(-qint64(code));
    QString text = errorTable(fullName).value(key).toObject().value(language).toString();
    if (text.isEmpty())
        text = globalErrorTable().value(key).toObject().value(language).toString();
    return text;
}

} // namespace zarvo::sim
