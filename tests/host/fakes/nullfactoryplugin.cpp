#include <QtCore/qglobal.h>

class QObject;
namespace pomr {
class BModule;
}

// A factory that cannot create its module.
extern "C" Q_DECL_EXPORT pomr::BModule* newModule(QObject*)
{
    return nullptr;
}
