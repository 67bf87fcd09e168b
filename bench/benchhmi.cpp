#include "benchhmi.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"
#include "services/modulelog.h"

#include <pomr/lifecycledriver.h>
#include <velk/jsonfile.h>

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTimer>

namespace benchhmi {

void prepare()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // A benchmark never broadcasts into the network it runs on.
    qputenv("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
    zarvo::setDebugLogEnabled(false);
}

bool waitFor(const std::function<bool()>& done, qint64 ms, int pollMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(pollMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

bool startHmi(const QTemporaryDir& dir, const Ports& ports, QObject* owner, QString* error)
{
    if (!dir.isValid() || !QDir::setCurrent(dir.path())) {
        *error = QStringLiteral("no temporary working directory");
        return false;
    }
    const QJsonObject settings{
        {"language", "en"},
        {"server", QJsonObject{{"ip", "127.0.0.1"}, {"port", int(ports.tcp)}}},
        {"local", QJsonObject{{"ip", ""}}},
        {"udp", QJsonObject{{"local_port", 0}, {"server_port", int(ports.discovery)}}},
        {"upgrade_server", QJsonObject{{"ip", "127.0.0.1"}, {"port", int(ports.upgrade)}}},
        {"workspace", "workspace"},
        {"interval", 18},
    };
    if (!velk::JsonFile::write(QStringLiteral("config/setting.json"), settings)) {
        *error = QStringLiteral("cannot write the settings");
        return false;
    }
    auto* module = new Zarvo(owner);
    auto* driver = new pomr::LifecycleDriver(owner);
    bool announced = false;
    const QMetaObject::Connection announcement = QObject::connect(
        rc(), &ControllerManager::rcConnected, owner, [&announced] { announced = true; });
    driver->startup(module);
    const bool up = waitFor([&announced] { return announced; }, 5000);
    QObject::disconnect(announcement);
    if (!up) {
        *error = QStringLiteral("the link did not connect");
        return false;
    }
    // The runtime model queries the robot's state at every connect; those
    // answers pass before anything is measured.
    waitFor([] { return rc()->pendingCount() == 0; }, 5000);
    return true;
}

} // namespace benchhmi
