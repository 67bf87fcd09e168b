// Requests, catalogue lookups and the dispatch of what the controller sends.

#include "controller/controllermanager.h"

#include "controller/pendingcommand.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "settings/settingmanager.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/networkobject.h>
#include <velk/velk.h>

#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

namespace {
const QString kRcTcp = QStringLiteral("rc_tcp");
}

QString ControllerManager::requestId(const QString& module, const QString& command,
                                     const QJsonValue& data)
{
    QCryptographicHash md5(QCryptographicHash::Md5);
    md5.addData(module.toUtf8());
    md5.addData(command.toUtf8());
    md5.addData(data.toString().toUtf8());
    return QString::fromLatin1(md5.result().toHex());
}

QJsonObject ControllerManager::requestPacket(const QString& id, const QString& module,
                                             const QString& command, const QJsonValue& data)
{
    QJsonObject packet;
    packet.insert(QStringLiteral("id"), id);
    packet.insert(QStringLiteral("module"), module);
    packet.insert(QStringLiteral("command"), command);
    if (!data.isNull() && !data.isUndefined()) {
        packet.insert(QStringLiteral("data"), data);
    }
    return packet;
}

int ControllerManager::pendingCount() const
{
    return m_pending.size();
}

bool ControllerManager::request(const QString& module, const QString& command,
                                const QJsonValue& data)
{
    if (!m_connected) {
        return false;
    }
    const QString id = requestId(module, command, data);
    if (m_pending.contains(id)) {
        zarvo::warnLog() << "duplicate request:" << module << command;
        return false;
    }
    const QJsonObject packet = requestPacket(id, module, command, data);
    zarvo::debugLog() << module << command << data.toString();

    auto* record = new PendingCommand(module, command);
    m_pending.insert(id, record);
    QTimer::singleShot(RequestTimeout, record, [this, id, record] { asyncTimeout(id, record); });

    zarvo::debugLog() << "req:" << packet;
    velk::net(kRcTcp)->writeJsonPackage(packet, true);
    return true;
}

void ControllerManager::asyncTimeout(const QString& id, PendingCommand* record)
{
    // The answer may have taken the record out in the same event-loop pass.
    if (m_pending.value(id) != record) {
        return;
    }
    m_pending.remove(id);
    record->deleteLater();
    zarvo::errorLog() << id << record;
    if (m_connected) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                tr("Command %1 timeout!").arg(commandText(record->fullName())));
    }
}

velk::ModuleObject* ControllerManager::templateOrData(const QString& name, velk::ModuleObject* data)
{
    if (!data) {
        data = velk::ModuleManager::emptyMobj();
    }
    velk::ModuleObject* requestTemplate =
        velk::m(velk::mName(this->name(), name, QStringLiteral("request"), QStringLiteral("data")));
    if (requestTemplate->isEmptyMobj()) {
        return data;
    }
    // The template keeps what was copied in: the next request of the command
    // starts from these values.
    requestTemplate->copyFrom(this, data, false, false);
    return requestTemplate;
}

bool ControllerManager::request(const QString& name, velk::ModuleObject* data)
{
    const QJsonValue json = templateOrData(name, data)->exportToJson(true);
    const QString separator = velk::ModuleManager::separator();
    return request(name.section(separator, 0, 0), name.section(separator, 1), json);
}

velk::ModuleObject* ControllerManager::execRequest(const QString& name, velk::ModuleObject* data,
                                                   bool verbose)
{
    const QJsonValue json = templateOrData(name, data)->exportToJson(true);
    const QString separator = velk::ModuleManager::separator();
    return execRequest(name.section(separator, 0, 0), name.section(separator, 1), json, verbose);
}

velk::ModuleObject* ControllerManager::execRequest(const QString& module, const QString& command,
                                                   const QJsonValue& data, bool verbose)
{
    if (!m_connected) {
        return velk::ModuleManager::emptyMobj();
    }
    const QString id = QStringLiteral("#%1#%2.%3").arg(m_counter++).arg(module, command);
    const QJsonObject packet = requestPacket(id, module, command, data);
    if (verbose) {
        zarvo::debugLog() << "ereq:" << packet;
    }
    velk::net(kRcTcp)->writeJsonPackage(packet, true);
    m_exec->quiet(!verbose, false);

    auto* loop = new QEventLoop(this);
    m_loops.insert(id, loop);
    QTimer::singleShot(ExecTimeout, this, [this, id, verbose] { execTimeout(id, verbose); });
    loop->exec();
    m_loops.remove(id);
    delete loop;
    return m_exec;
}

void ControllerManager::execTimeout(const QString& id, bool verbose)
{
    QEventLoop* loop = m_loops.value(id);
    if (!loop) {
        return;
    }
    if (m_connected && verbose) {
        ManagerHelper::throwLog(
            this, QStringLiteral("error"),
            tr("Command %1 timeout!").arg(commandText(id.section(QLatin1Char('#'), -1))));
    }
    m_exec->clear(this, true, false);
    m_exec->set(this, QVariant(false));
    if (loop->isRunning()) {
        loop->quit();
    }
}

velk::ModuleObject* ControllerManager::catalogueMobj(const QString& name, const QString& part)
{
    velk::ModuleObject* object =
        part.isEmpty() ? velk::m(velk::mName(this->name(), name))
                       : velk::m(velk::mName(this->name(), name, part, QStringLiteral("data")));
    if (object->isEmptyMobj()) {
        zarvo::warnLog().nospace()
            << "no " << (part.isEmpty() ? QStringLiteral("cmd") : part) << " mobj: " << name;
    }
    return object;
}

velk::ModuleObject* ControllerManager::cmdMobj(const QString& name)
{
    return catalogueMobj(name, QString());
}

velk::ModuleObject* ControllerManager::requestMobj(const QString& name)
{
    return catalogueMobj(name, QStringLiteral("request"));
}

velk::ModuleObject* ControllerManager::responseMobj(const QString& name)
{
    return catalogueMobj(name, QStringLiteral("response"));
}

velk::ModuleObject* ControllerManager::notifyMobj(const QString& name)
{
    return catalogueMobj(name, QStringLiteral("notify"));
}

void ControllerManager::analyseUdpJson(const QJsonObject& json)
{
    const bool discovery =
        json.value(QStringLiteral("module")).toString() == QLatin1String("system") &&
        json.value(QStringLiteral("command")).toString() == QLatin1String("controller.detect");
    // During a round only answers to it count; outside one only the rest.
    if (discovery == m_detecting) {
        analyseJson(json);
    }
}

void ControllerManager::analyseJson(const QJsonObject& json)
{
    if (json.contains(QStringLiteral("id"))) {
        response(json);
    } else {
        notify(json);
    }
}

void ControllerManager::response(const QJsonObject& json)
{
    const QJsonValue idValue = json.value(QStringLiteral("id"));
    if (!idValue.isString()) {
        ManagerHelper::throwLog(
            this, QStringLiteral("error"),
            tr("Invalid response id in %1")
                .arg(QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact))));
        return;
    }
    const QString id = idValue.toString();
    const bool hasError = json.contains(QStringLiteral("error_code"));
    const bool hasData = json.contains(QStringLiteral("data"));
    const int code = json.value(QStringLiteral("error_code")).toInt(0);

    if (id.startsWith(QLatin1Char('#'))) {
        if (!m_exec->isQuiet()) {
            zarvo::debugLog() << "eres:" << json;
        }
        const QString fullName = id.section(QLatin1Char('#'), -1);
        if (hasError) {
            handleErrorCode(fullName, code);
        }
        m_exec->clear(this, true, false);
        if (hasData) {
            m_exec->importFromJson(this, json.value(QStringLiteral("data")), true, true, false);
        }
        m_exec->set(this, QVariant(!hasError));
        QEventLoop* loop = m_loops.value(id);
        if (loop) {
            loop->quit();
        } else {
            // The wait had timed out; the late data stays in "exec" all the same.
            zarvo::warnLog().nospace() << "exec command: " << fullName << " is not looped";
        }
        return;
    }

    PendingCommand* record = m_pending.take(id);
    if (!record) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                tr("Unrecognized response [%1]!").arg(id));
        return;
    }
    zarvo::debugLog() << "res:" << json;
    const QString fullName = record->fullName();
    record->deleteLater();

    velk::ModuleObject* command = cmdMobj(fullName);
    if (command->isEmptyMobj()) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                tr("Unrecognized response: %1!").arg(commandText(fullName)));
        return;
    }
    if (hasError) {
        handleErrorCode(fullName, code);
    }
    if (hasData) {
        velk::ModuleObject* target = command->insert(this, QStringLiteral("response"), false)
                                         ->insert(this, QStringLiteral("data"), false);
        target->importFromJson(this, json.value(QStringLiteral("data")), true, true, true);
    }
    command->set(this, QVariant(!hasError));
    command->activate(this, command, velk::ActivateData);
}

void ControllerManager::notify(const QJsonObject& json)
{
    const QString module = json.value(QStringLiteral("module")).toString();
    const QString commandName = json.value(QStringLiteral("command")).toString();
    zarvo::debugLog() << "n:" << module << commandName;

    velk::ModuleObject* command = velk::m(velk::mName(name(), module, commandName));
    if (command->isEmptyMobj() || module.isEmpty() || commandName.isEmpty()) {
        ManagerHelper::throwLog(this, QStringLiteral("error"),
                                tr("Unrecognized notification: %1!")
                                    .arg(commandText(velk::mName(module, commandName))));
        return;
    }
    if (json.contains(QStringLiteral("data"))) {
        velk::ModuleObject* target = command->insert(this, QStringLiteral("notify"), false)
                                         ->insert(this, QStringLiteral("data"), false);
        target->importFromJson(this, json.value(QStringLiteral("data")), true, true, true);
    }
    command->activate(this, command, velk::ActivateData);
}

void ControllerManager::handleErrorCode(const QString& name, int code)
{
    const QString language = setting()->getStr(QStringLiteral("language"), QStringLiteral("cn"));
    // Failures come as negative numbers; the tables are keyed without the sign.
    const QString key = QString::number(-qint64(code));
    QString text = velk::m(velk::mName(this->name(), name, QStringLiteral("response"),
                                       QStringLiteral("error_code"), key, language))
                       ->getString();
    if (text.isEmpty()) {
        text =
            velk::m(velk::mName(this->name(), QStringLiteral("global_error_code"), key, language))
                ->getString();
    }
    if (text.isEmpty()) {
        text = tr("unknown error [%1]").arg(key);
    }
    const QString suffix = text == QLatin1String("-") ? QString() : QStringLiteral(": ") + text;
    ManagerHelper::throwLog(this, QStringLiteral("error"),
                            tr("Command %1 failed%2").arg(commandText(name), suffix));
}
