#include "fuzzmodule.h"

#include "controller/controllermanager.h"
#include "module/zarvo.h"

#include <pomr/lifecycledriver.h>
#include <velk/jsonfile.h>
#include <velk/qlog.h>

#include <QApplication>
#include <QDir>
#include <QJsonObject>
#include <QTemporaryDir>

#include <cstdlib>

namespace fuzzmodule {

void start(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
    // Never destroyed: a static application would go after the font cache's
    // thread storage at exit, and Qt would leave the cache behind.
    static auto* app = new QApplication(*argc, *argv);
    Q_UNUSED(app)
    static QTemporaryDir dir;
    if (!dir.isValid() || !QDir::setCurrent(dir.path())) {
        std::abort();
    }
    // Small log files: a long run writes many lines.
    velk::QFLog::setRotation(1024 * 1024, 2);
    // Port 9 (discard) on loopback: whatever the module sends goes nowhere.
    const QJsonObject loopback{{"ip", "127.0.0.1"}, {"port", 9}};
    const bool written = velk::JsonFile::write(
        QStringLiteral("config/setting.json"),
        QJsonObject{{"language", "en"},
                    {"server", loopback},
                    {"upgrade_server", loopback},
                    {"local", QJsonObject{{"ip", ""}}},
                    {"udp", QJsonObject{{"local_port", 0}, {"server_port", 9}}}});
    if (!written) {
        std::abort();
    }
    ControllerManager::setUpgradeDiscoveryPorts(0, 9);
    static pomr::LifecycleDriver driver;
    auto* module = new Zarvo;
    for (auto phase : {pomr::LifecycleDriver::Setup, pomr::LifecycleDriver::AfterSetup,
                       pomr::LifecycleDriver::Init, pomr::LifecycleDriver::AfterInit}) {
        driver.runPhase(module, phase);
    }
}

} // namespace fuzzmodule
