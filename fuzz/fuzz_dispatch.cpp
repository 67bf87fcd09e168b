// The controller manager fed raw bytes from the link, with the command
// catalogue loaded: any stream is framed, dispatched and logged without a
// crash, and what the peer may add to the tree stays within its bounds.

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"

#include <pomr/lifecycledriver.h>
#include <velk/jsonfile.h>
#include <velk/jsonstreamreader.h>
#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/qlog.h>
#include <velk/velk.h>

#include <QApplication>
#include <QDir>
#include <QJsonObject>
#include <QTemporaryDir>

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
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
    static QApplication app(*argc, *argv);
    static QTemporaryDir dir;
    if (!dir.isValid() || !QDir::setCurrent(dir.path())) {
        std::abort();
    }
    // Small log files: a long run writes many lines.
    velk::QFLog::setRotation(1024 * 1024, 2);
    const QJsonObject loopback{{"ip", "127.0.0.1"}, {"port", 9}};
    velk::JsonFile::write(QStringLiteral("config/setting.json"),
                          QJsonObject{{"language", "en"},
                                      {"server", loopback},
                                      {"upgrade_server", loopback},
                                      {"local", QJsonObject{{"ip", ""}}},
                                      {"udp", QJsonObject{{"local_port", 0}, {"server_port", 9}}}});
    ControllerManager::setUpgradeDiscoveryPorts(0, 9);
    static pomr::LifecycleDriver driver;
    auto* module = new Zarvo;
    for (auto phase : {pomr::LifecycleDriver::Setup, pomr::LifecycleDriver::AfterSetup,
                       pomr::LifecycleDriver::Init, pomr::LifecycleDriver::AfterInit}) {
        driver.runPhase(module, phase);
    }
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
