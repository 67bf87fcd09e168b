#include "fakemodule.h"

extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject* parent)
{
    return new FakeModule(parent);
}
