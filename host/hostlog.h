#pragma once

#include <QString>

namespace hmi {

// One line of the host in the console and in log/zarvo.log, in the look of
// the plug-in's own lines. `level`: 'i', 'w' or 'e'.
void hostLog(char level, const QString& text);

} // namespace hmi
