#include "runtime/constant.h"

#include "services/paths.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

namespace zarvo {

Constant::Constant(QObject* parent)
    : pomr::BModule(parent)
{
    velk::resource().regist(this, name(), true);
    prepareModule(this, name(), true, true, QStringLiteral("zarvo"));
}

Constant::~Constant()
{
    velk::resource().cancel(this, name());
}

QString Constant::name() const
{
    return QStringLiteral("c");
}

void Constant::init() {}

} // namespace zarvo
