#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

namespace zarvo::sim {

// Read-only view of the command catalogue "rc.json": the templates and error
// texts of every controller command, looked up by full name such as
// "system.state.get_motor". The simulator builds its answers from it.
class SimCatalogue
{
public:
    // Loads the catalogue compiled into the simulator.
    SimCatalogue();

    // Path of the compiled-in copy (a Qt resource path).
    static QString builtinPath();

    // Replaces the catalogue with the file at `path` (BOM and CRLF accepted).
    // On failure the previous contents stay and errorString() says why.
    bool load(const QString& path);
    bool isValid() const { return !m_commands.isEmpty(); }
    QString errorString() const { return m_error; }

    // An object is a command when it is empty or holds nothing but
    // "request", "response" and "notify".
    static bool isCommandObject(const QJsonObject& object);

    QJsonObject root() const { return m_root; }
    // Full names of all commands, sorted.
    QStringList commands() const;
    bool contains(const QString& fullName) const { return m_commands.contains(fullName); }
    QJsonObject command(const QString& fullName) const { return m_commands.value(fullName); }

    // The "data" templates; undefined when the command has none.
    QJsonValue requestData(const QString& fullName) const;
    QJsonValue responseData(const QString& fullName) const;
    QJsonValue notifyData(const QString& fullName) const;

    QJsonObject errorTable(const QString& fullName) const;
    QJsonObject globalErrorTable() const;
    // The text for a (negative) controller code: the command's own table
    // first, then the global one; empty when neither knows the code.
    // `language` is "en" or "cn".
    QString errorText(const QString& fullName, int code, const QString& language) const;

private:
    void collect(const QJsonObject& group, const QString& prefix,
                 QHash<QString, QJsonObject>* into) const;

    QJsonObject m_root;
    QHash<QString, QJsonObject> m_commands;
    QString m_error;
};

} // namespace zarvo::sim
