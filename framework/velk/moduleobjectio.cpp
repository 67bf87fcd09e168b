// ModuleObject: copying subtrees and their JSON and XML forms.

#include "moduleobject.h"
#include "moduleobject_p.h"

#include "velklog_p.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVarLengthArray>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <limits>

namespace velk {

namespace {

const QString kMobjTag = QStringLiteral("mobj");
const QString kItemTag = QStringLiteral("item");
const QString kNameAttr = QStringLiteral("name");
const QString kTypeAttr = QStringLiteral("type");
const QString kKeyAttr = QStringLiteral("key");
const QString kObjectType = QStringLiteral("object");

// JSON null means "no value", the same as a node that was never set, so that
// get(def) and the typed getters fall back to their defaults for it.
QVariant fromJson(const QJsonValue& json)
{
    if (json.isNull() || json.isUndefined()) {
        return QVariant();
    }
    return json.toVariant();
}

// Writes the type attribute and the content of an element already started.
void writeValue(QXmlStreamWriter& xml, const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        xml.writeAttribute(kTypeAttr, QStringLiteral("null"));
        return;
    case QMetaType::Bool:
        xml.writeAttribute(kTypeAttr, QStringLiteral("bool"));
        xml.writeCharacters(value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
        return;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        xml.writeAttribute(kTypeAttr, QStringLiteral("int"));
        xml.writeCharacters(value.toString());
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        xml.writeAttribute(kTypeAttr, QStringLiteral("double"));
        xml.writeCharacters(QString::number(value.toDouble(), 'g', 17));
        return;
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        xml.writeAttribute(kTypeAttr, QStringLiteral("list"));
        const QVariantList list = value.toList();
        for (const QVariant& item : list) {
            xml.writeStartElement(kItemTag);
            writeValue(xml, item);
            xml.writeEndElement();
        }
        return;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        xml.writeAttribute(kTypeAttr, QStringLiteral("map"));
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            xml.writeStartElement(kItemTag);
            xml.writeAttribute(kKeyAttr, it.key());
            writeValue(xml, it.value());
            xml.writeEndElement();
        }
        return;
    }
    default:
        break;
    }
    if (value.canConvert<QString>()) {
        xml.writeAttribute(kTypeAttr, QStringLiteral("string"));
        xml.writeCharacters(value.toString());
    } else {
        // Pointers and other run-time values have no text form.
        xml.writeAttribute(kTypeAttr, QStringLiteral("null"));
    }
}

// Reads the content of the element the reader stands on, up to its end.
QVariant readValue(QXmlStreamReader& xml, const QString& type)
{
    if (type == QLatin1String("list")) {
        QVariantList list;
        while (xml.readNextStartElement()) {
            if (xml.name() == kItemTag) {
                list.append(readValue(xml, xml.attributes().value(kTypeAttr).toString()));
            } else {
                xml.skipCurrentElement();
            }
        }
        return list;
    }
    if (type == QLatin1String("map")) {
        QVariantMap map;
        while (xml.readNextStartElement()) {
            if (xml.name() == kItemTag) {
                const QXmlStreamAttributes attributes = xml.attributes();
                const QString key = attributes.value(kKeyAttr).toString();
                map.insert(key, readValue(xml, attributes.value(kTypeAttr).toString()));
            } else {
                xml.skipCurrentElement();
            }
        }
        return map;
    }
    const QString text = xml.readElementText(QXmlStreamReader::SkipChildElements);
    if (type == QLatin1String("null")) {
        return QVariant();
    }
    if (type == QLatin1String("bool")) {
        return text.trimmed() == QLatin1String("true");
    }
    if (type == QLatin1String("int")) {
        bool ok = false;
        const qlonglong number = text.trimmed().toLongLong(&ok);
        if (!ok) {
            return text;
        }
        if (number >= std::numeric_limits<int>::min() &&
            number <= std::numeric_limits<int>::max()) {
            return int(number);
        }
        return number;
    }
    if (type == QLatin1String("double")) {
        bool ok = false;
        const double number = text.trimmed().toDouble(&ok);
        return ok ? QVariant(number) : QVariant(text);
    }
    return text;
}

void dumpNode(const ModuleObject* node, ModuleObject* base, int depth)
{
    const QVariant value = node->get();
    QString text;
    if (value.isValid()) {
        const QJsonValue json = QJsonValue::fromVariant(value);
        if (json.isObject() || json.isArray()) {
            text = QString::fromUtf8(
                json.isObject() ? QJsonDocument(json.toObject()).toJson(QJsonDocument::Compact)
                                : QJsonDocument(json.toArray()).toJson(QJsonDocument::Compact));
        } else {
            text = value.toString();
        }
    }
    const QString line = QString(depth * 2, QLatin1Char(' ')) + node->fullName(base) +
                         (value.isValid() ? QStringLiteral(" = ") + text : QString());
    qDebug().noquote() << line;
    const QList<ModuleObject*> children = node->cmobjs();
    for (const ModuleObject* child : children) {
        dumpNode(child, base, depth + 1);
    }
}

} // namespace

bool ModuleObject::copyFrom(QObject* sender, ModuleObject* source, bool create, bool notify)
{
    if (d->empty || !source || source->d->empty) {
        return false;
    }
    for (const ModuleObject* node = this; node; node = node->d->parent) {
        if (node == source) {
            // The copy would grow the subtree it reads from, without end.
            internal::warn(
                QStringLiteral("cannot copy \"%1\" into its own subtree").arg(source->fullName()));
            return false;
        }
    }
    if (source->d->children.isEmpty() && !source->d->object) {
        d->object = false;
        const QVariant value = source->d->value;
        Private::write(this, sender, value, notify);
        return true;
    }
    d->object = true;
    // A copy of the list: handlers of the writes below may change the source.
    const QVector<ModuleObject*> sources = source->d->children;
    for (ModuleObject* from : sources) {
        ModuleObject* to = d->child(from->d->name);
        if (!to) {
            if (!create) {
                continue;
            }
            to = Private::create(this, from->d->name, sender, notify);
            if (!to) {
                continue;
            }
        }
        to->copyFrom(sender, from, create, notify);
    }
    if (notify) {
        Private::touch(this, sender);
    }
    return true;
}

bool ModuleObject::importFromJson(QObject* sender, const QJsonValue& json, bool create, bool notify,
                                  bool activate)
{
    if (d->empty) {
        return false;
    }
    if (!json.isObject()) {
        d->object = false;
        Private::write(this, sender, fromJson(json), notify);
        return true;
    }
    d->object = true;
    const QJsonObject object = json.toObject();
    QVarLengthArray<ModuleObject*, 16> written;
    for (auto it = object.constBegin(), end = object.constEnd(); it != end; ++it) {
        const QString key = it.key();
        ModuleObject* child = d->child(key);
        if (!child) {
            if (!create) {
                continue;
            }
            child = Private::create(this, key, sender, notify);
            if (!child) {
                continue;
            }
        }
        child->importFromJson(sender, it.value(), create, notify, false);
        if (activate) {
            written.append(child);
        }
    }
    if (notify) {
        Private::touch(this, sender);
    }
    for (ModuleObject* child : written) {
        this->activate(sender, child, ActivateData);
    }
    return true;
}

QJsonValue ModuleObject::exportToJson(bool skipPrivate) const
{
    if (d->empty) {
        return QJsonValue();
    }
    if (d->children.isEmpty() && !d->object) {
        return QJsonValue::fromVariant(d->value);
    }
    QJsonObject object;
    for (const ModuleObject* child : qAsConst(d->children)) {
        if (!skipPrivate || !Private::isPrivateName(child->d->name)) {
            object.insert(child->d->name, child->exportToJson(skipPrivate));
        }
    }
    return object;
}

bool ModuleObject::importFromXml(QObject* sender, QXmlStreamReader& xml, bool create, bool notify,
                                 bool activate)
{
    if (d->empty) {
        return false;
    }
    if (!xml.isStartElement() && !xml.readNextStartElement()) {
        return false;
    }
    // The element the reader stands on is this node: a <mobj> with a value,
    // or any element (a <mobj> of type object, or the caller's wrapper) whose
    // <mobj> elements are the children.
    const QString type = xml.attributes().value(kTypeAttr).toString();
    if (xml.name() == kMobjTag && type != kObjectType) {
        const QVariant value = readValue(xml, type);
        if (xml.hasError()) {
            return false;
        }
        d->object = false;
        Private::write(this, sender, value, notify);
        return true;
    }
    d->object = true;
    QVarLengthArray<ModuleObject*, 16> written;
    while (xml.readNextStartElement()) {
        if (xml.name() != kMobjTag) {
            xml.skipCurrentElement();
            continue;
        }
        const QString name = xml.attributes().value(kNameAttr).toString();
        ModuleObject* child = d->child(name);
        if (!child && create) {
            child = Private::create(this, name, sender, notify);
        }
        if (!child) {
            xml.skipCurrentElement();
            continue;
        }
        if (!child->importFromXml(sender, xml, create, notify, false)) {
            return false;
        }
        if (activate) {
            written.append(child);
        }
    }
    if (xml.hasError()) {
        return false;
    }
    if (notify) {
        Private::touch(this, sender);
    }
    for (ModuleObject* child : written) {
        this->activate(sender, child, ActivateData);
    }
    return true;
}

bool ModuleObject::exportToXml(QXmlStreamWriter& xml, bool skipPrivate, bool includeSelf) const
{
    if (d->empty) {
        return false;
    }
    if (includeSelf) {
        xml.writeStartElement(kMobjTag);
        xml.writeAttribute(kNameAttr, d->name);
    }
    if (!d->children.isEmpty() || d->object) {
        if (includeSelf) {
            xml.writeAttribute(kTypeAttr, kObjectType);
        }
        for (const ModuleObject* child : qAsConst(d->children)) {
            if (!skipPrivate || !Private::isPrivateName(child->d->name)) {
                child->exportToXml(xml, skipPrivate, true);
            }
        }
    } else if (includeSelf) {
        writeValue(xml, d->value);
    }
    if (includeSelf) {
        xml.writeEndElement();
    }
    return !xml.hasError();
}

void ModuleObject::dump(ModuleObject* base) const
{
    dumpNode(this, base, 0);
}

} // namespace velk
