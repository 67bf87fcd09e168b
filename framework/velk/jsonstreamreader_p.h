#pragma once

// Lets the socket layer tell a refused oversize package (a fault of the peer or
// of the link, reported as a socket error) from malformed text that was skipped.

#include <QString>

namespace velk {
namespace internal {

QString oversizePackageError(int maxPackageSize);
bool isOversizePackageError(const QString& error);

} // namespace internal
} // namespace velk
