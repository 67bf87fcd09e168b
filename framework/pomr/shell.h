#pragma once

// The shell widgets: one instance of each per process, created on demand
// (a QApplication must exist). The host places them in its main window; the
// requester argument names who asks and is used for diagnostics only.

#include "pomr_global.h"

class QObject;

namespace pomr {

class SideBar;
class CenterWidget;
class StatusBar;

// With `create` false, null until someone created the side bar.
POMR_EXPORT SideBar* instantiatedSideBar(QObject* requester, bool create = true);
POMR_EXPORT CenterWidget* instantiatedCenterWidget(QObject* requester);
POMR_EXPORT StatusBar* instantiatedStatusBar(QObject* requester);

// Delete the three (the host calls this before QApplication goes away).
POMR_EXPORT void destroyShell();

} // namespace pomr
