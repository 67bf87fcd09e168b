#include "module/zarvo.h"

// The plug-in's only entry point: the host resolves it by this C name.
extern "C" ZARVO_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new Zarvo(parent);
}
