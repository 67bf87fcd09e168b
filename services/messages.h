#pragma once

// Standard sentences and the status-bar line that every module uses to talk
// to the operator.

#include <zarvo/zarvo_global.h>

#include <QString>

namespace zarvo {

enum ErrorType : int {
    NeedInput = 0,
    NeedSelect = 1,
    OperatorNotAllowed = 2,
    DisabledBySystemFailure = 3,
    NameEmpty = 4,
    NameTooLong = 5,
    NameOccupied = 6,
    NameDefined = 7,
    NameInvalid = 8,
    TaskRunning = 9,
    MotorOn = 10,
    ReadFileFailed = 11,
    WriteFileFailed = 12,
};

} // namespace zarvo

// The translated sentence of `type` with "%1", "%2", "%3" replaced, in that
// order, by the arguments that are not empty. The replacement is plain text,
// one after the other: an argument that contains "%2" has it replaced by the
// next step. An unknown type gives an empty string.
ZARVO_EXPORT QString errorStr(zarvo::ErrorType type, const QString& a1 = QString(),
                              const QString& a2 = QString(), const QString& a3 = QString());

// Show `text` in the application's status bar for `timeout` ms (0: until the
// next message).
ZARVO_EXPORT void toast(const QString& text, int timeout = 3000);
