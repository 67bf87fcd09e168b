#include "mobjsetcommand_p.h"

#include "commandmanager_p.h"
#include "mobjgetcommand_p.h"
#include "modulemanager.h"
#include "moduleobject.h"
#include "velk.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velk {

MobjSetCommand::MobjSetCommand(QObject* parent)
    : BaseCommand(QStringLiteral("mobj.set"), true, parent)
{
}

QString MobjSetCommand::usage() const
{
    return QStringLiteral("mobj.set <path> <json-value>");
}

QString MobjSetCommand::description() const
{
    return tr("Set the value of a module object, created when missing; text that is not JSON "
              "is taken as a string");
}

void MobjSetCommand::complete(ModuleObject* root, const QString& text)
{
    MobjGetCommand::completePath(this, root, text);
}

void MobjSetCommand::hint(ModuleObject* root, const QString& text)
{
    MobjGetCommand::hintPath(this, root, text);
}

void MobjSetCommand::execute(const QString& args)
{
    const QString line = args.trimmed();
    const int blank = firstBlank(line);
    if (blank < 0) {
        error(tr("usage: %1").arg(usage()));
        return;
    }
    const QString path = line.left(blank);
    const QString text = line.mid(blank + 1).trimmed();

    // Parsed inside an array, so that numbers, strings, true/false and null
    // are accepted on their own, as well as objects and arrays.
    QJsonParseError parseError;
    const QJsonDocument doc =
        QJsonDocument::fromJson(QByteArray("[") + text.toUtf8() + QByteArray("]"), &parseError);
    QJsonValue value;
    if (parseError.error == QJsonParseError::NoError && doc.array().size() == 1) {
        value = doc.array().first();
    } else {
        value = text; // a bare word
    }

    ModuleObject* node = m().ensure(path);
    if (node->isEmptyMobj()) {
        error(tr("invalid module object path: %1").arg(path));
        return;
    }
    if (value.isObject()) {
        node->importFromJson(this, value, true, true, false);
    } else {
        node->set(this, value.isNull() ? QVariant() : value.toVariant());
    }
    const QJsonValue now = node->exportToJson(false);
    const QByteArray shown = QJsonDocument(QJsonArray{now}).toJson(QJsonDocument::Compact);
    output(QStringLiteral("%1 = %2").arg(node->fullName(),
                                         QString::fromUtf8(shown.mid(1, shown.size() - 2))));
}

} // namespace velk
