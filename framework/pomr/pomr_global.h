#pragma once

#include <QtCore/qglobal.h>

#if defined(POMR_LIBRARY)
#define POMR_EXPORT Q_DECL_EXPORT
#else
#define POMR_EXPORT Q_DECL_IMPORT
#endif
