// The controller manager fed raw bytes from the link, with the command
// catalogue loaded: any stream is framed, dispatched and logged without a
// crash, and what the peer may add to the tree stays within its bounds.

#include "fuzzmodule.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"

#include <velk/jsonstreamreader.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

int nodes(const velk::ModuleObject* node)
{
    int count = 1;
    const QList<velk::ModuleObject*> children = node->cmobjs();
    for (const velk::ModuleObject* child : children) {
        count += nodes(child);
    }
    return count;
}

int gCatalogueNodes = 0;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzmodule::start(argc, argv);
    gCatalogueNodes = nodes(velk::m(QStringLiteral("rc")));
    if (gCatalogueNodes < 120) {
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    velk::JsonStreamReader reader;
    reader.append(QByteArray(reinterpret_cast<const char*>(bytes), int(size)));
    QJsonObject object;
    QString error;
    bool udp = false;
    while (reader.next(&object, &error) != velk::JsonStreamReader::NeedMoreData) {
        if (!object.isEmpty()) {
            // Every other packet takes the UDP road through the filter.
            udp ? rc()->analyseUdpJson(object) : rc()->analyseJson(object);
            udp = !udp;
            object = QJsonObject();
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (nodes(velk::m(QStringLiteral("rc"))) >
        gCatalogueNodes + ControllerManager::MaxCatalogueGrowth) {
        std::abort();
    }
    return 0;
}
