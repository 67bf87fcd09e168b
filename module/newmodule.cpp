#include "module/zarvo.h"

#include <zarvo/zarvo_version.h>

// The plug-in's only entry point: the host resolves it by this C name.
extern "C" ZARVO_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new Zarvo(parent);
}

// The kit version the core module was built with; the host compares every
// further module's own against it.
extern "C" ZARVO_EXPORT const char* zarvoKitVersion()
{
    return ZARVO_KIT_VERSION;
}
