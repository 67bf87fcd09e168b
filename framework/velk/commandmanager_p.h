#pragma once

// Internals of CommandManager.

#include "commandmanager.h"

#include <QMap>
#include <QMetaObject>
#include <QString>

namespace velk {

class CommandManager::Private
{
public:
    struct Entry
    {
        BaseCommand* command = nullptr;
        // The destroyed() link that forgets the command; cut by cancel().
        QMetaObject::Connection forget;
    };
    QMap<QString, Entry> commands; // sorted by name, as help and completion list them

    // Listed names (and unlisted ones typed in full) that start with `prefix`.
    QStringList candidates(const QString& prefix) const;
};

// The index of the first blank (space or tab) in `text`, or -1.
int firstBlank(const QString& text);

// The longest text that every string of `list` starts with.
QString commonPrefix(const QStringList& list);

} // namespace velk
