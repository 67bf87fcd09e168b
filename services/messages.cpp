#include "services/messages.h"

#include "module/managerhelper.h"

#include <pomr/shell.h>
#include <pomr/statusbar.h>

#include <QObject>
#include <QStatusBar>

QString errorStr(zarvo::ErrorType type, const QString& a1, const QString& a2, const QString& a3)
{
    static const char* const templates[] = {
        QT_TRANSLATE_NOOP("QObject", "Please input %1"),
        QT_TRANSLATE_NOOP("QObject", "Please select %1"),
        QT_TRANSLATE_NOOP("QObject", "Operation is not allowed for operator"),
        QT_TRANSLATE_NOOP("QObject", "The function has been disabled due to system failure"),
        QT_TRANSLATE_NOOP("QObject", "The %1 name is empty"),
        QT_TRANSLATE_NOOP("QObject", "The length of %1 is longer than %2 characters"),
        QT_TRANSLATE_NOOP("QObject", "The %1 name is occupied with %2"),
        QT_TRANSLATE_NOOP("QObject", "The %1 name is already defined as %2"),
        QT_TRANSLATE_NOOP("QObject", "The %1 name does not match the naming conventions"),
        QT_TRANSLATE_NOOP("QObject", "Not allowed to %1 when there is a task running"),
        QT_TRANSLATE_NOOP("QObject",
                          "Not allowed to %1 when the motor is on. Please motor off first"),
        QT_TRANSLATE_NOOP("QObject", "Cannot read file %1"),
        QT_TRANSLATE_NOOP("QObject", "Cannot write file %1"),
    };
    const int index = int(type);
    QString text;
    if (index >= 0 && index < int(sizeof(templates) / sizeof(templates[0]))) {
        text = QObject::tr(templates[index]);
    }
    // Plain replacement, not QString::arg: an empty argument must leave its
    // placeholder standing, and the order of the steps is part of the contract.
    if (!a1.isEmpty()) {
        text.replace(QLatin1String("%1"), a1);
    }
    if (!a2.isEmpty()) {
        text.replace(QLatin1String("%2"), a2);
    }
    if (!a3.isEmpty()) {
        text.replace(QLatin1String("%3"), a3);
    }
    return text;
}

void toast(const QString& text, int timeout)
{
    pomr::StatusBar* bar = pomr::instantiatedStatusBar(&ManagerHelper::instance());
    if (bar && bar->getStatusbar()) {
        bar->getStatusbar()->showMessage(text, timeout);
    }
}
