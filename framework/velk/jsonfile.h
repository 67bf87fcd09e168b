#pragma once

#include "velk_global.h"

#include <QJsonValue>
#include <QString>

namespace velk {

// How every JSON file of the system is read and written: UTF-8 with a
// byte-order mark and CRLF line ends on writing; either form on reading.
namespace JsonFile {

// Parse `data` (BOM and CRLF accepted). On failure returns a null value and,
// when `error` is given, fills it with the parser's text and offset.
VELK_EXPORT QJsonValue parse(const QByteArray& data, QString* error = nullptr);

// Read and parse a file. A missing file or a parse error returns a null value;
// `error` (when given) names the file, and for a parse error the offset.
VELK_EXPORT QJsonValue read(const QString& path, QString* error = nullptr);

// Serialise a value as indented JSON with a BOM and CRLF line ends.
VELK_EXPORT QByteArray serialize(const QJsonValue& value);

// Write `value` atomically (QSaveFile): a crash leaves the old file or the new
// one, never a truncated one. Missing parent folders are created.
VELK_EXPORT bool write(const QString& path, const QJsonValue& value, QString* error = nullptr);

} // namespace JsonFile
} // namespace velk
