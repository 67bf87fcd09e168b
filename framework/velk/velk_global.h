#pragma once

#include <QtCore/qglobal.h>

#if defined(VELK_LIBRARY)
#define VELK_EXPORT Q_DECL_EXPORT
#else
#define VELK_EXPORT Q_DECL_IMPORT
#endif
