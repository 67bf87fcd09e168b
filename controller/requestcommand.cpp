#include "controller/requestcommand.h"

#include "controller/controllermanager.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

RequestCommand::RequestCommand(ControllerManager* manager)
    : velk::BaseCommand(QStringLiteral("rc.request"), true, manager)
    , m_manager(manager)
{
}

QString RequestCommand::usage() const
{
    return velk::BaseCommand::tr("rc.request <command> [-s] [-data=<json>]");
}

QString RequestCommand::description() const
{
    return velk::BaseCommand::tr(
        "Send request command to controller, '--sync' option means synchronization, you can "
        "either input data json or use request mobj");
}

void RequestCommand::execute(const QString& args)
{
    if (!m_manager->isConnected()) {
        error(velk::BaseCommand::tr("controller is disconnected"));
        return;
    }
    const QString fullName = args.section(QLatin1Char(' '), 0, 0);
    if (fullName.isEmpty() || velk::m(velk::mName(m_manager->name(), fullName))->isEmptyMobj()) {
        error(velk::BaseCommand::tr("no such request command"));
        return;
    }

    QJsonValue data;
    const QLatin1String dataOption(" -data=");
    if (args.contains(dataOption)) {
        const QString text = args.section(dataOption, 1, 1);
        QJsonParseError parseError;
        const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8(), &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            // Sending {} for a typo would move the robot on defaults.
            error(velk::BaseCommand::tr("invalid data json: %1").arg(parseError.errorString()));
            return;
        }
        if (doc.array().isEmpty()) {
            data = doc.object();
        } else {
            data = doc.array();
        }
    }

    const QString module = fullName.section(QLatin1Char('.'), 0, 0);
    const QString command = fullName.section(QLatin1Char('.'), 1);
    // " -s" anywhere: scripts rely on this spelling, not on the "--sync" of the description.
    if (args.contains(QLatin1String(" -s"))) {
        velk::ModuleObject* result = m_manager->execRequest(module, command, data, true);
        output(QString::fromUtf8(
            QJsonDocument(result->exportToJson(false).toObject()).toJson(QJsonDocument::Compact)));
        return;
    }
    m_manager->request(module, command, data);
}

void RequestCommand::complete(velk::ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    const QStringList words = text.split(QLatin1Char(' '));
    if (words.size() != 2) {
        return;
    }
    const QString word = words.at(1);
    const QString catalogue = m_manager->name();
    if (!word.isEmpty() && !velk::m(velk::mName(catalogue, word))->isEmptyMobj()) {
        return;
    }
    const int dot = word.lastIndexOf(QLatin1Char('.'));
    const QString group = dot < 0 ? QString() : word.left(dot);
    const QString stem = word.mid(dot + 1);
    velk::ModuleObject* parent =
        group.isEmpty() ? velk::m(catalogue) : velk::m(velk::mName(catalogue, group));
    const QStringList names = parent->cmobjNames();
    for (const QString& name : names) {
        if (name.startsWith(stem) && name.size() > stem.size()) {
            input(name.mid(stem.size()));
            return;
        }
    }
}

void RequestCommand::hint(velk::ModuleObject* root, const QString& text)
{
    Q_UNUSED(root)
    const QString word = text.section(QLatin1Char(' '), 1, 1);
    const QString catalogue = m_manager->name();
    velk::ModuleObject* object =
        word.isEmpty() ? velk::m(catalogue) : velk::m(velk::mName(catalogue, word));
    if (object->isEmptyMobj()) {
        return;
    }
    output(QStringLiteral("%1\n").arg(object->cmobjNames().join(QStringLiteral("\t "))));
}
