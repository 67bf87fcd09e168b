#include <QtCore/qglobal.h>

// A library that loads fine but offers no factory.
extern "C" Q_DECL_EXPORT int notTheFactory()
{
    return 42;
}
