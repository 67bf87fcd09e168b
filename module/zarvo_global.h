#pragma once

#include <QtCore/qglobal.h>

#if defined(ZARVO_LIBRARY)
#define ZARVO_EXPORT Q_DECL_EXPORT
#else
#define ZARVO_EXPORT Q_DECL_IMPORT
#endif
