// The settings reader: any file content parses or fails cleanly, and what
// parses is brought to the template's types, in one step and for good.

#include "settings/settingmanager.h"

#include <velk/jsonfile.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// Every member the template has is of the template's type, at every level.
bool sameTypes(const QJsonObject& doc, const QJsonObject& defaults)
{
    for (auto it = defaults.constBegin(); it != defaults.constEnd(); ++it) {
        const auto found = doc.constFind(it.key());
        if (found == doc.constEnd()) {
            continue;
        }
        if (found.value().type() != it.value().type()) {
            return false;
        }
        if (it.value().isObject() && !sameTypes(found.value().toObject(), it.value().toObject())) {
            return false;
        }
    }
    return true;
}

// The members the template does not know, as written.
QByteArray unknownMembers(const QJsonObject& doc, const QJsonObject& defaults)
{
    QJsonArray out;
    for (auto it = doc.constBegin(); it != doc.constEnd(); ++it) {
        if (!defaults.contains(it.key())) {
            out.append(QJsonArray{it.key(), it.value()});
        }
    }
    return QJsonDocument(out).toJson(QJsonDocument::Compact);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const QJsonObject defaults =
        velk::JsonFile::read(QStringLiteral(":/zarvo/template/setting.json")).toObject();
    if (defaults.isEmpty()) {
        std::abort();
    }
    const QJsonValue value =
        velk::JsonFile::parse(QByteArray(reinterpret_cast<const char*>(bytes), int(size)));
    if (!value.isObject()) {
        return 0;
    }
    QStringList replaced;
    const QJsonObject conformed = SettingManager::conformTo(value.toObject(), defaults, &replaced);
    QStringList again;
    if (!sameTypes(conformed, defaults) ||
        SettingManager::conformTo(conformed, defaults, &again) != conformed || !again.isEmpty()) {
        std::abort();
    }
    // Only members the template knows are ever touched. (Compared in order,
    // not looked up: Qt cannot find a key it parsed with a byte-order mark.)
    if (unknownMembers(conformed, defaults) != unknownMembers(value.toObject(), defaults)) {
        std::abort();
    }
    return 0;
}
