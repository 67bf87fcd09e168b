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

#include <QCborArray>
#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

namespace {

const QString kRcTcp = QStringLiteral("rc_tcp");

// What importing a packet's data would do: values it holds, nodes it adds.
struct Measure
{
    int nodes = 0;
    int created = 0;
    bool tooDeep = false;
    bool tooMany = false;
};

// Walks `value` beside the nodes it would land on (`existing`, null where
// nothing is yet). Stops at the first bound it crosses, so it costs at most
// MaxPacketNodes steps whatever the packet holds.
void measure(const QJsonValue& value, velk::ModuleObject* existing, int depth, Measure& m)
{
    if (m.tooDeep || m.tooMany) {
        return;
    }
    if (depth > ControllerManager::MaxPacketDepth) {
        m.tooDeep = true;
        return;
    }
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd() && !m.tooDeep; ++it) {
            if (++m.nodes > ControllerManager::MaxPacketNodes) {
                m.tooMany = true;
                return;
            }
            // One look-up per key: each key() is a string made afresh.
            velk::ModuleObject* child = existing ? existing->cmobj(it.key()) : nullptr;
            if (!child || child->isEmptyMobj()) {
                child = nullptr;
                ++m.created;
            }
            measure(it.value(), child, depth + 1, m);
        }
    } else if (value.isArray()) {
        // Arrays become one value, but they weigh on memory all the same.
        const QJsonArray array = value.toArray();
        // The CBOR form shares the array and tells an element's type without
        // making a value of it: the numbers of a pose are only counted, and
        // only nested arrays and objects are walked.
        const QCborArray items = QCborArray::fromJsonArray(array);
        const auto begin = items.constBegin();
        for (auto it = begin; it != items.constEnd() && !m.tooDeep; ++it) {
            if (++m.nodes > ControllerManager::MaxPacketNodes) {
                m.tooMany = true;
                return;
            }
            const QCborValue::Type type = it->type();
            if (type == QCborValue::Array || type == QCborValue::Map) {
                measure(array.at(int(it - begin)), nullptr, depth + 1, m);
            } else if (depth + 1 > ControllerManager::MaxPacketDepth) {
                m.tooDeep = true;
            }
        }
    }
}

} // namespace

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

int ControllerManager::refusedUdpCount() const
{
    return m_udpRefused;
}

int ControllerManager::catalogueGrowth() const
{
    return m_grown;
}

bool ControllerManager::importData(velk::ModuleObject* target, const QJsonValue& data,
                                   const QString& fullName, bool intoCatalogue)
{
    Measure m;
    measure(data, intoCatalogue ? target : nullptr, 1, m);
    QString reason;
    if (m.tooDeep) {
        reason = QStringLiteral("nested deeper than %1 levels").arg(MaxPacketDepth);
    } else if (m.tooMany) {
        reason = QStringLiteral("more than %1 values").arg(MaxPacketNodes);
    } else if (intoCatalogue && m.created > MaxCatalogueGrowth - m_grown) {
        reason = QStringLiteral("%1 new keys would grow the catalogue past %2 added nodes")
                     .arg(m.created)
                     .arg(MaxCatalogueGrowth);
    }
    if (!reason.isEmpty()) {
        // The link stays up: the packet's data is dropped, nothing else.
        peerError(QStringLiteral("refused data"),
                  QStringLiteral("Refused the data of %1 from rc: %2")
                      .arg(zarvo::excerpt(fullName), reason));
        return false;
    }
    if (intoCatalogue) {
        m_grown += m.created;
    }
    return target->importFromJson(this, data, true, true, intoCatalogue);
}

void ControllerManager::peerError(const QString& kind, const QString& text, bool hmiRecord)
{
    int held = 0;
    const bool write = m_peerErrors.allow(kind, m_clock.elapsed(), &held);
    if (held > 0) {
        zarvo::warnLog().nospace() << held << " similar lines suppressed (" << kind << ")";
    }
    if (!write) {
        if (!m_peerFlushScheduled) {
            // Whatever was held back is reported even if the peer falls silent.
            m_peerFlushScheduled = true;
            QTimer::singleShot(int(m_peerErrors.window()), this,
                               &ControllerManager::flushPeerErrors);
        }
        return;
    }
    if (hmiRecord) {
        ManagerHelper::throwLog(this, QStringLiteral("error"), text);
    } else {
        zarvo::errorLog() << text;
    }
}

void ControllerManager::flushPeerErrors()
{
    m_peerFlushScheduled = false;
    const QHash<QString, int> held = m_peerErrors.flush();
    for (auto it = held.cbegin(); it != held.cend(); ++it) {
        zarvo::warnLog().nospace()
            << it.value() << " similar lines suppressed (" << it.key() << ")";
    }
}

void ControllerManager::refuseUdp(const QString& why)
{
    ++m_udpRefused;
    const qint64 now = m_clock.elapsed();
    if (m_udpLoggedAt >= 0 && now - m_udpLoggedAt < UdpRefusalLogInterval) {
        return;
    }
    m_udpLoggedAt = now;
    zarvo::warnLog().nospace() << "refused " << m_udpRefused - m_udpRefusedLogged
                               << " UDP packet(s) since the last report; the last one "
                               << zarvo::excerpt(why, 100);
    m_udpRefusedLogged = m_udpRefused;
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
    if (zarvo::isDebugLogEnabled()) {
        zarvo::debugLog() << module << command << data.toString();
    }

    auto* record = new PendingCommand(module, command);
    m_pending.insert(id, record);
    QTimer::singleShot(RequestTimeout, record, [this, id, record] { asyncTimeout(id, record); });

    if (zarvo::isDebugLogEnabled()) {
        zarvo::debugLog() << "req:" << zarvo::excerpt(packet);
    }
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
    if (verbose && zarvo::isDebugLogEnabled()) {
        zarvo::debugLog() << "ereq:" << zarvo::excerpt(packet);
    }
    velk::net(kRcTcp)->writeJsonPackage(packet, true);
    m_exec->quiet(!verbose, false);

    auto* loop = new QEventLoop(this);
    m_loops.insert(id, loop);
    m_answers.insert(id, ExecAnswer());
    QTimer::singleShot(ExecTimeout, this, [this, id, verbose] { execTimeout(id, verbose); });
    loop->exec();
    m_loops.remove(id);
    delete loop;

    // Requests nested in the wait (the heartbeat, a console command) wrote
    // "exec" with their own answers: hand back this request's.
    const ExecAnswer answer = m_answers.take(id);
    m_exec->quiet(!verbose, false);
    m_exec->clear(this, true, false);
    if (answer.hasData) {
        m_exec->importFromJson(this, answer.data, true, true, false);
    }
    m_exec->set(this, QVariant(answer.answered && answer.ok));
    return m_exec;
}

void ControllerManager::execTimeout(const QString& id, bool verbose)
{
    QEventLoop* loop = m_loops.take(id);
    if (!loop) {
        return;
    }
    // Out of the hash at once: an answer arriving before the loop has
    // unwound is late, not this request's.
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
    if (discovery) {
        // During a round only answers to it count, from whoever answers.
        if (m_detecting) {
            analyseJson(json);
        }
        return;
    }
    // Anyone on the network can send a datagram: outside a round only the
    // connected controller is heard (the channel is narrowed to its address).
    if (m_detecting || !m_connected) {
        refuseUdp(m_detecting ? QStringLiteral("not a discovery answer, during a discovery round")
                              : QStringLiteral("while no controller is connected"));
        return;
    }
    analyseJson(json);
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
        peerError(QStringLiteral("invalid response"),
                  tr("Invalid response id in %1").arg(zarvo::excerpt(json)));
        return;
    }
    const QString id = idValue.toString();
    const bool hasError = json.contains(QStringLiteral("error_code"));
    const bool hasData = json.contains(QStringLiteral("data"));
    const int code = json.value(QStringLiteral("error_code")).toInt(0);
    const QJsonValue data = json.value(QStringLiteral("data"));

    if (id.startsWith(QLatin1Char('#'))) {
        if (!m_exec->isQuiet() && zarvo::isDebugLogEnabled()) {
            zarvo::debugLog() << "eres:" << zarvo::excerpt(json);
        }
        const QString fullName = id.section(QLatin1Char('#'), -1);
        QEventLoop* loop = m_loops.value(id);
        if (hasError) {
            if (loop) {
                handleErrorCode(fullName, code);
            } else {
                peerError(QStringLiteral("error code"), errorCodeText(fullName, code));
            }
        }
        m_exec->clear(this, true, false);
        const bool imported = !hasData || importData(m_exec, data, fullName, false);
        m_exec->set(this, QVariant(!hasError));
        if (loop) {
            ExecAnswer& answer = m_answers[id];
            answer.answered = true;
            answer.ok = !hasError;
            answer.hasData = hasData && imported;
            answer.data = answer.hasData ? data : QJsonValue();
            loop->quit();
        } else {
            // The wait had timed out; the late data stays in "exec" all the same.
            peerError(
                QStringLiteral("not looped"),
                QStringLiteral("exec command: %1 is not looped").arg(zarvo::excerpt(fullName)),
                false);
        }
        return;
    }

    PendingCommand* record = m_pending.take(id);
    if (!record) {
        peerError(QStringLiteral("unrecognized response"),
                  tr("Unrecognized response [%1]!").arg(zarvo::excerpt(id)));
        return;
    }
    if (zarvo::isDebugLogEnabled()) {
        zarvo::debugLog() << "res:" << zarvo::excerpt(json);
    }
    const QString fullName = record->fullName();
    record->deleteLater();

    velk::ModuleObject* command = cmdMobj(fullName);
    if (command->isEmptyMobj()) {
        peerError(QStringLiteral("unrecognized response"),
                  tr("Unrecognized response: %1!").arg(zarvo::excerpt(commandText(fullName))));
        return;
    }
    if (hasError) {
        handleErrorCode(fullName, code);
    }
    if (hasData) {
        velk::ModuleObject* target = command->insert(this, QStringLiteral("response"), false)
                                         ->insert(this, QStringLiteral("data"), false);
        importData(target, data, fullName, true);
    }
    command->set(this, QVariant(!hasError));
    command->activate(this, command, velk::ActivateData);
}

void ControllerManager::notify(const QJsonObject& json)
{
    const QString module = json.value(QLatin1String("module")).toString();
    const QString commandName = json.value(QLatin1String("command")).toString();
    // A stream that writes nothing still builds its arguments: the check
    // keeps a pose stream from escaping names for nobody.
    if (zarvo::isDebugLogEnabled()) {
        zarvo::debugLog() << "n:" << zarvo::excerpt(module) << zarvo::excerpt(commandName);
    }

    velk::ModuleObject* command = velk::m(velk::mName(name(), module, commandName));
    if (command->isEmptyMobj() || module.isEmpty() || commandName.isEmpty()) {
        peerError(QStringLiteral("unrecognized notification"),
                  tr("Unrecognized notification: %1!")
                      .arg(zarvo::excerpt(commandText(velk::mName(module, commandName)))));
        return;
    }
    const auto data = json.constFind(QLatin1String("data"));
    if (data != json.constEnd()) {
        velk::ModuleObject* target = command->insert(this, QStringLiteral("notify"), false)
                                         ->insert(this, QStringLiteral("data"), false);
        importData(target, data.value(), velk::mName(module, commandName), true);
    }
    command->activate(this, command, velk::ActivateData);
}

void ControllerManager::handleErrorCode(const QString& name, int code)
{
    ManagerHelper::throwLog(this, QStringLiteral("error"), errorCodeText(name, code));
}

QString ControllerManager::errorCodeText(const QString& name, int code)
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
    return tr("Command %1 failed%2").arg(zarvo::excerpt(commandText(name)), suffix);
}
