#include "mobjgetcommand_p.h"

#include "commandmanager_p.h"
#include "modulemanager.h"
#include "moduleobject.h"
#include "velk.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velk {

namespace {

// The second word of a console line and whether anything follows it.
QString pathWord(const QString& text, bool* more)
{
    const int blank = firstBlank(text);
    if (blank < 0) {
        *more = false;
        return QString();
    }
    const QString rest = text.mid(blank + 1);
    const int end = firstBlank(rest);
    *more = end >= 0;
    return end < 0 ? rest : rest.left(end);
}

// The node that holds the last part of `path`, and that part.
ModuleObject* splitPath(ModuleObject* root, const QString& path, QString* stem)
{
    const int dot = path.lastIndexOf(ModuleManager::separator());
    *stem = path.mid(dot + 1);
    return dot < 0 ? root : root->rmobj(path.left(dot));
}

QString jsonText(const QJsonValue& value)
{
    if (value.isObject()) {
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Indented))
            .trimmed();
    }
    if (value.isArray()) {
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Indented))
            .trimmed();
    }
    // A scalar, written through a one-element array without its brackets.
    const QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

// The export, with one addition for the reader: a node that has children shows its own value
// (a page's label above its sub-pages), if it has one, under the empty key, which no child can
// have. The export itself leaves such values out, so that packets and files built from it
// carry only the children.
QJsonValue shownJson(const ModuleObject* node)
{
    const QList<ModuleObject*> children = node->cmobjs();
    if (children.isEmpty()) {
        return node->exportToJson(false);
    }
    QJsonObject object;
    const QVariant value = node->get();
    if (value.isValid()) {
        object.insert(QString(), QJsonValue::fromVariant(value));
    }
    for (const ModuleObject* child : children) {
        object.insert(child->name(), shownJson(child));
    }
    return object;
}

} // namespace

MobjGetCommand::MobjGetCommand(QObject* parent)
    : BaseCommand(QStringLiteral("mobj.get"), true, parent)
{
}

QString MobjGetCommand::usage() const
{
    return QStringLiteral("mobj.get [<path>]");
}

QString MobjGetCommand::description() const
{
    return tr("Print a module object and its children as JSON; the whole tree without a path");
}

void MobjGetCommand::complete(ModuleObject* root, const QString& text)
{
    completePath(this, root, text);
}

void MobjGetCommand::hint(ModuleObject* root, const QString& text)
{
    hintPath(this, root, text);
}

void MobjGetCommand::execute(const QString& args)
{
    const QString path = args.trimmed();
    ModuleObject* node = path.isEmpty() ? m().root() : m(path);
    if (node->isEmptyMobj()) {
        error(tr("no such module object: %1").arg(path));
        return;
    }
    output(jsonText(shownJson(node)));
}

void MobjGetCommand::completePath(BaseCommand* command, ModuleObject* root, const QString& text)
{
    bool more = false;
    const QString path = pathWord(text, &more);
    if (more || firstBlank(text) < 0) {
        return;
    }
    QString stem;
    ModuleObject* group = splitPath(root, path, &stem);
    QStringList candidates;
    const QStringList names = group->cmobjNames(false);
    for (const QString& name : names) {
        if (name.startsWith(stem)) {
            candidates.append(name);
        }
    }
    if (candidates.isEmpty()) {
        return;
    }
    QString tail = commonPrefix(candidates).mid(stem.size());
    if (candidates.size() == 1 && group->cmobj(candidates.first())->cmobjCount() > 0) {
        tail += ModuleManager::separator(); // on into its children
    }
    if (!tail.isEmpty()) {
        command->input(tail);
    }
}

void MobjGetCommand::hintPath(BaseCommand* command, ModuleObject* root, const QString& text)
{
    bool more = false;
    const QString path = pathWord(text, &more);
    QString stem;
    ModuleObject* group = splitPath(root, path, &stem);
    if (group->isEmptyMobj()) {
        command->error(tr("no such module object: %1").arg(path));
        return;
    }
    QStringList candidates;
    const QStringList names = group->cmobjNames(false);
    for (const QString& name : names) {
        if (name.startsWith(stem)) {
            candidates.append(name);
        }
    }
    command->output(candidates.isEmpty() ? command->usage()
                                         : candidates.join(QStringLiteral("\t ")));
}

} // namespace velk
