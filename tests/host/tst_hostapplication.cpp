// The whole HMI, headless, against the simulated controller: the status the
// operator would read follows the robot, a killed and restarted controller
// is found again without a keystroke, and rc.disconnect means it.

#include "testfiles.h"

#include <QtTest>

namespace {

constexpr int kStartMs = 20000;
// The third retry comes 1 + 2 + 4 s after the loss; leave room for a slow machine.
constexpr int kHealMs = 30000;

class Process : public QProcess
{
public:
    Process()
    {
        connect(this, &QProcess::readyReadStandardError, this,
                [this] { err += QString::fromUtf8(readAllStandardError()); });
        connect(this, &QProcess::readyReadStandardOutput, this,
                [this] { out += QString::fromUtf8(readAllStandardOutput()); });
    }
    ~Process() override
    {
        if (state() != QProcess::NotRunning) {
            kill();
            waitForFinished(5000);
        }
    }
    QString out;
    QString err;
};

} // namespace

class TestHostApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void selfHealingLink();

private:
    // Starts the simulator on `port` (0: any); returns the port it took.
    int startSimulator(Process* sim, int port);
};

int TestHostApplication::startSimulator(Process* sim, int port)
{
    sim->start(QStringLiteral(ZARVO_RCSIM_EXECUTABLE),
               {"--tcp-port", QString::number(port), "--discovery-port", "0", "--upgrade-port", "0",
                "--monitor-rate", "0", "-q"});
    const QRegularExpression listening(QStringLiteral("listening tcp=(\\d+)"));
    for (int i = 0; i < 500; ++i) {
        const QRegularExpressionMatch match = listening.match(sim->out);
        if (match.hasMatch()) {
            return match.captured(1).toInt();
        }
        QTest::qWait(20);
    }
    return 0;
}

void TestHostApplication::selfHealingLink()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    auto sim = std::make_unique<Process>();
    const int port = startSimulator(sim.get(), 0);
    QVERIFY2(port > 0, qPrintable(sim->err));
    const QJsonObject settings{{"language", "en"},
                               {"server", QJsonObject{{"ip", "127.0.0.1"}, {"port", port}}},
                               {"upgrade_server", QJsonObject{{"ip", "127.0.0.1"}, {"port", 1}}},
                               {"udp", QJsonObject{{"local_port", 0}, {"server_port", 1}}},
                               {"local", QJsonObject{{"ip", ""}}}};
    QVERIFY(writeFile(dir.filePath(QStringLiteral("config/setting.json")),
                      QJsonDocument(settings).toJson()));

    Process hmi;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ZARVO_PLUGIN"));
    hmi.setProcessEnvironment(env);
    hmi.start(QStringLiteral(ZARVO_HMI_EXECUTABLE),
              {"--headless", "--workdir", dir.path(), "--plugin", ZARVO_REAL_PLUGIN});
    const auto say = [&hmi](const char* line) { hmi.write(QByteArray(line) + '\n'); };

    QTRY_VERIFY_WITH_TIMEOUT(hmi.err.contains("status: link: connected to 127.0.0.1"), kStartMs);
    say("rc.request system.state.switch_motor_on");
    QTRY_VERIFY_WITH_TIMEOUT(hmi.err.contains("; Motor: on;"), kStartMs);
    sim->write("estop EStop\n");
    QTRY_VERIFY_WITH_TIMEOUT(hmi.err.contains("; SAFETY STOP: estop;"), kStartMs);

    // Killed, not closed: the socket dies with the process.
    sim.reset();
    QTRY_VERIFY_WITH_TIMEOUT(hmi.err.contains("status: link: reconnecting; SAFETY STOP: estop "
                                              "(last known)"),
                             kStartMs);
    QCOMPARE(hmi.err.count("controller link down"), 1);

    sim = std::make_unique<Process>();
    QCOMPARE(startSimulator(sim.get(), port), port);
    QTRY_COMPARE_WITH_TIMEOUT(hmi.err.count("controller link up"), 2, kHealMs);
    // The fresh controller's state, queried again: motor off, no stop.
    QTRY_VERIFY_WITH_TIMEOUT(
        hmi.err.contains(QRegularExpression("status: link: connected to [^;]*; Motor: off; "
                                            "Mode: [a-z]+; State: [a-z]+(\\x1b\\[0m)?\\n")),
        kStartMs);

    say("rc.disconnect");
    QTRY_VERIFY_WITH_TIMEOUT(hmi.err.contains("status: link: disconnected"), kStartMs);
    // Longer than the first retry delays: nothing reconnects behind the operator's back.
    QTest::qWait(3500);
    QCOMPARE(hmi.err.count("controller link up"), 2);
    say("rc.connect");
    QTRY_COMPARE_WITH_TIMEOUT(hmi.err.count("controller link up"), 3, kStartMs);

    say("ui.click btnNowhere");
    say("quit");
    QVERIFY(hmi.waitForFinished(kStartMs));
    QCOMPARE(hmi.exitCode(), 0);
    QVERIFY(hmi.err.contains("ui.click: no widget named 'btnNowhere'"));
}

QTEST_MAIN(TestHostApplication)
#include "tst_hostapplication.moc"
