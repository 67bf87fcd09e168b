#include "jsonfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSaveFile>

namespace velk {
namespace JsonFile {

namespace {
const QByteArray kBom("\xEF\xBB\xBF");
}

QJsonValue parse(const QByteArray& data, QString* error)
{
    // QJsonDocument rejects a byte-order mark, and every file we write has one.
    const int skip = data.startsWith(kBom) ? kBom.size() : 0;
    QJsonParseError parseError;
    const QJsonDocument doc =
        QJsonDocument::fromJson(skip ? data.mid(skip) : data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error) {
            *error = QStringLiteral("%1 at offset %2")
                         .arg(parseError.errorString())
                         .arg(parseError.offset + skip);
        }
        return QJsonValue();
    }
    if (doc.isArray()) {
        return doc.array();
    }
    return doc.object();
}

QJsonValue read(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error) {
            *error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        }
        return QJsonValue();
    }
    QString parseError;
    const QJsonValue value = parse(file.readAll(), &parseError);
    if (value.isNull() && error) {
        *error = QStringLiteral("parse error in %1: %2").arg(path, parseError);
    }
    return value;
}

QByteArray serialize(const QJsonValue& value)
{
    QJsonDocument doc;
    if (value.isArray()) {
        doc.setArray(value.toArray());
    } else {
        doc.setObject(value.toObject());
    }
    QByteArray text = doc.toJson(QJsonDocument::Indented);
    text.replace("\r\n", "\n");
    text.replace('\n', "\r\n");
    return kBom + text;
}

bool write(const QString& path, const QJsonValue& value, QString* error)
{
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        if (error) {
            *error = QStringLiteral("cannot create folder %1").arg(info.absolutePath());
        }
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error) {
            *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        }
        return false;
    }
    const QByteArray data = serialize(value);
    if (file.write(data) != data.size() || !file.commit()) {
        if (error) {
            *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        }
        return false;
    }
    return true;
}

} // namespace JsonFile
} // namespace velk
