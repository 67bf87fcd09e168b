// zarvo-rcsim: a simulated robot controller for trying the HMI without a robot.

#include "rcsimulator.h"
#include "simcatalogue.h"
#include "simconsole.h"
#include "simrobot.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostAddress>

#include <cstdio>

using zarvo::sim::RcSimulator;
using zarvo::sim::SimConsole;

namespace {

bool readPort(const QCommandLineParser& parser, const QString& option, quint16* port)
{
    if (!parser.isSet(option))
        return true;
    bool ok = false;
    const uint value = parser.value(option).toUInt(&ok);
    if (!ok || value > 65535) {
        std::fprintf(stderr, "zarvo-rcsim: --%s needs a port number 0..65535\n",
                     option.toUtf8().constData());
        return false;
    }
    *port = quint16(value);
    return true;
}

bool readCount(const QCommandLineParser& parser, const QString& option, int* value)
{
    bool ok = false;
    *value = parser.value(option).toInt(&ok);
    if (!ok || *value < 0) {
        std::fprintf(stderr, "zarvo-rcsim: --%s needs a number >= 0\n",
                     option.toUtf8().constData());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zarvo-rcsim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Simulated robot controller: answers the HMI's requests and heartbeats "
                       "over TCP, streams motion monitor notifications, answers UDP discovery "
                       "and the upgrade-server greeting.\n"
                       "Prints \"listening tcp=P discovery=P upgrade_udp=P upgrade_tcp=P\" on "
                       "stdout once bound (port 0 = any free port).\n"
                       "Reads commands from stdin, one a line (try \"help\").\n\n") +
        SimConsole::help());
    parser.addHelpOption();

    const QString bind = QStringLiteral("bind");
    const QString tcpPort = QStringLiteral("tcp-port");
    const QString discoveryPort = QStringLiteral("discovery-port");
    const QString upgradePort = QStringLiteral("upgrade-port");
    const QString monitorRate = QStringLiteral("monitor-rate");
    const QString robotVersion = QStringLiteral("robot-version");
    const QString serial = QStringLiteral("serial");
    const QString alias = QStringLiteral("alias");
    const QString robotType = QStringLiteral("robot-type");
    const QString catalogue = QStringLiteral("catalogue");
    const QString fault = QStringLiteral("fault");
    const QString noHeartbeat = QStringLiteral("no-heartbeat");
    const QString missHeartbeats = QStringLiteral("miss-heartbeats");
    const QString delay = QStringLiteral("delay");
    const QString answerTwice = QStringLiteral("answer-twice");
    const QString closeAfter = QStringLiteral("close-after");
    const QString verbose = QStringLiteral("verbose");
    const QString quiet = QStringLiteral("quiet");

    parser.addOptions({
        {bind, QStringLiteral("Address to bind (default 127.0.0.1; 0.0.0.0 for all)."),
         QStringLiteral("address"), QStringLiteral("127.0.0.1")},
        {tcpPort, QStringLiteral("Controller TCP port (default 5050)."), QStringLiteral("port")},
        {discoveryPort, QStringLiteral("UDP discovery port (default 5052)."),
         QStringLiteral("port")},
        {upgradePort, QStringLiteral("Upgrade server UDP and TCP port (default 4567)."),
         QStringLiteral("port")},
        {monitorRate, QStringLiteral("Monitor notifications per second (default 100, 0 = off)."),
         QStringLiteral("hz"), QStringLiteral("100")},
        {robotVersion, QStringLiteral("Controller version reported (default 2.10.0.7)."),
         QStringLiteral("version")},
        {serial, QStringLiteral("Disk serial number reported."), QStringLiteral("serial")},
        {alias, QStringLiteral("Controller alias reported by discovery."), QStringLiteral("name")},
        {robotType, QStringLiteral("Robot type reported by discovery (default ZR-6)."),
         QStringLiteral("type")},
        {catalogue, QStringLiteral("Answer from this rc.json instead of the built-in one."),
         QStringLiteral("file")},
        {fault,
         QStringLiteral("Inject a fault, NAME or NAME:PARAM; repeatable. Names: %1. "
                        "close-now, malformed and unknown-notify act on each client as it "
                        "connects.")
             .arg(RcSimulator::faultNames().join(QStringLiteral(", "))),
         QStringLiteral("name[:param]")},
        {noHeartbeat, QStringLiteral("Never answer heartbeats (= --fault no-heartbeat).")},
        {missHeartbeats, QStringLiteral("Leave the next N heartbeats unanswered."),
         QStringLiteral("n")},
        {delay, QStringLiteral("Handle every request MS milliseconds late."), QStringLiteral("ms")},
        {answerTwice, QStringLiteral("Send every answer twice.")},
        {closeAfter,
         QStringLiteral("Answer N requests, then close the connection on the next one."),
         QStringLiteral("n")},
        {{QStringLiteral("v"), verbose},
         QStringLiteral("Print every packet received (<-) and sent (->) on stdout.")},
        {{QStringLiteral("q"), quiet}, QStringLiteral("No session log on stderr.")},
    });
    parser.process(app);

    RcSimulator sim;
    sim.setSessionLog(!parser.isSet(quiet));
    sim.setVerbose(parser.isSet(verbose));

    const QHostAddress address(parser.value(bind));
    if (address.isNull()) {
        std::fprintf(stderr, "zarvo-rcsim: --bind needs an IP address\n");
        return 2;
    }
    sim.setBindAddress(address);

    quint16 port = RcSimulator::DefaultTcpPort;
    if (!readPort(parser, tcpPort, &port))
        return 2;
    sim.setTcpPort(port);
    port = RcSimulator::DefaultDiscoveryPort;
    if (!readPort(parser, discoveryPort, &port))
        return 2;
    sim.setDiscoveryPort(port);
    port = RcSimulator::DefaultUpgradePort;
    if (!readPort(parser, upgradePort, &port))
        return 2;
    sim.setUpgradeUdpPort(port);
    sim.setUpgradeTcpPort(port);

    int rate = 0;
    if (!readCount(parser, monitorRate, &rate))
        return 2;
    sim.setMonitorRate(rate);

    if (parser.isSet(robotVersion))
        sim.robot()->setVersion(parser.value(robotVersion));
    if (parser.isSet(serial))
        sim.robot()->setSerialNumber(parser.value(serial));
    if (parser.isSet(alias))
        sim.robot()->setAlias(parser.value(alias));
    if (parser.isSet(robotType))
        sim.robot()->setRobotType(parser.value(robotType));
    if (parser.isSet(catalogue) && !sim.loadCatalogue(parser.value(catalogue))) {
        std::fprintf(stderr, "zarvo-rcsim: %s\n",
                     sim.catalogue().errorString().toUtf8().constData());
        return 2;
    }

    for (const QString& option : parser.values(fault)) {
        RcSimulator::Fault f;
        int parameter = 0;
        if (!RcSimulator::parseFault(option, &f, &parameter)) {
            std::fprintf(stderr, "zarvo-rcsim: unknown fault \"%s\"; one of: %s\n",
                         option.toUtf8().constData(),
                         RcSimulator::faultNames().join(QStringLiteral(", ")).toUtf8().constData());
            return 2;
        }
        if (f == RcSimulator::Fault::CloseNow || f == RcSimulator::Fault::Malformed ||
            f == RcSimulator::Fault::UnknownNotify)
            sim.setConnectFault(f, true);
        else
            sim.injectFault(f, parameter);
    }
    if (parser.isSet(noHeartbeat))
        sim.injectFault(RcSimulator::Fault::NoHeartbeat);
    int n = 0;
    if (parser.isSet(missHeartbeats)) {
        if (!readCount(parser, missHeartbeats, &n))
            return 2;
        if (n > 0)
            sim.injectFault(RcSimulator::Fault::MissHeartbeats, n);
    }
    if (parser.isSet(delay)) {
        if (!readCount(parser, delay, &n))
            return 2;
        sim.injectFault(RcSimulator::Fault::Delay, n);
    }
    if (parser.isSet(answerTwice))
        sim.injectFault(RcSimulator::Fault::AnswerTwice);
    if (parser.isSet(closeAfter)) {
        if (!readCount(parser, closeAfter, &n))
            return 2;
        sim.injectFault(RcSimulator::Fault::CloseOnRequest, n);
    }

    if (!sim.start()) {
        std::fprintf(stderr, "zarvo-rcsim: %s\n", sim.errorString().toUtf8().constData());
        return 1;
    }
    std::fprintf(stdout, "listening tcp=%u discovery=%u upgrade_udp=%u upgrade_tcp=%u\n",
                 sim.tcpPort(), sim.discoveryPort(), sim.upgradeUdpPort(), sim.upgradeTcpPort());
    std::fflush(stdout);

    SimConsole console(&sim);
    QObject::connect(&console, &SimConsole::quitRequested, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    console.readStandardInput();

    return app.exec();
}
