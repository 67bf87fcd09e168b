#pragma once

// A plug-in under test, linked to an in-process simulated controller on
// ephemeral loopback ports. The plug-in's managers are process-wide, so one
// fixture serves a whole test executable: start() it in initTestCase().

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "module/zarvo.h"
#include "services/modulelog.h"

#include "rcsimulator.h"

#include <pomr/lifecycledriver.h>
#include <velk/jsonfile.h>

#include <QDir>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class LinkFixture
{
public:
    zarvo::sim::RcSimulator sim;
    QTemporaryDir dir;
    Zarvo* module = nullptr;
    pomr::LifecycleDriver driver;

    // Settings written before the plug-in exists, pointing it at the simulator.
    // `extra` members replace the defaults.
    bool start(const QJsonObject& extra = QJsonObject(), bool connect = true)
    {
        sim.setAllPorts(0);
        sim.setMonitorRate(0);
        if (!sim.start() || !dir.isValid() || !QDir::setCurrent(dir.path())) {
            return false;
        }
        QJsonObject settings{
            {"language", "en"},
            {"server", QJsonObject{{"ip", "127.0.0.1"}, {"port", int(sim.tcpPort())}}},
            {"local", QJsonObject{{"ip", ""}}},
            {"udp", QJsonObject{{"local_port", 0}, {"server_port", int(sim.discoveryPort())}}},
            {"upgrade_server",
             QJsonObject{{"ip", "127.0.0.1"}, {"port", int(sim.upgradeTcpPort())}}},
            {"workspace", "workspace"},
            {"interval", 18},
        };
        for (auto it = extra.begin(); it != extra.end(); ++it) {
            settings.insert(it.key(), it.value());
        }
        if (!velk::JsonFile::write(QStringLiteral("config/setting.json"), settings)) {
            return false;
        }
        // No fixed port anywhere: a simulator or another run may hold 4567/4568.
        ControllerManager::setUpgradeDiscoveryPorts(0, sim.upgradeUdpPort());
        module = new Zarvo;
        if (!connect) {
            // Everything but the first connection attempt of idle().
            for (auto phase : {pomr::LifecycleDriver::Setup, pomr::LifecycleDriver::AfterSetup,
                               pomr::LifecycleDriver::Init, pomr::LifecycleDriver::AfterInit}) {
                driver.runPhase(module, phase);
            }
            return true;
        }
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        driver.startup(module);
        return connected.wait(5000) || rc()->isConnected();
    }

    // Connect (again) and wait for the announcement.
    bool connectLink()
    {
        if (rc()->isConnected()) {
            return true;
        }
        QSignalSpy connected(rc(), &ControllerManager::rcConnected);
        rc()->connectToRC(true, false);
        return !connected.isEmpty() || connected.wait(5000);
    }

    bool disconnectLink()
    {
        if (!rc()->isConnected()) {
            return true;
        }
        QSignalSpy disconnected(rc(), &ControllerManager::rcDisconnected);
        rc()->disconnectFromRC();
        // The socket may report the disconnect before disconnectFromRC() returns.
        return !disconnected.isEmpty() || disconnected.wait(5000) || !rc()->isConnected();
    }

    void stop()
    {
        if (module) {
            driver.shutdown(module);
            delete module;
            module = nullptr;
        }
        sim.stop();
    }
};
