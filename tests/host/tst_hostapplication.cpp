// The whole HMI, headless, against the simulated controller: the status the
// operator would read follows the robot, a killed and restarted controller
// is found again without a keystroke, and rc.disconnect means it.

#include "hmiprocess.h"

namespace {

constexpr int kStartMs = 20000;
// The third retry comes 1 + 2 + 4 s after the loss; leave room for a slow machine.
constexpr int kHealMs = 30000;

} // namespace

class TestHostApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void selfHealingLink();
};

void TestHostApplication::selfHealingLink()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    auto sim = std::make_unique<ChildProcess>();
    const int port = startSimulator(sim.get(), 0);
    QVERIFY2(port > 0, qPrintable(sim->err));
    QVERIFY(writeSettings(dir.path(), port));

    ChildProcess hmi;
    hmi.start(QStringLiteral(ZARVO_HMI_EXECUTABLE),
              {"--headless", "--workdir", dir.path(), "--plugin", ZARVO_REAL_PLUGIN});

    QVERIFY(hmi.waitForErr("status: link: connected to 127.0.0.1", kStartMs));
    hmi.say("rc.request system.state.switch_motor_on");
    QVERIFY(hmi.waitForErr("; Motor: on;", kStartMs));
    sim->say("estop EStop");
    QVERIFY(hmi.waitForErr("; SAFETY STOP: estop;", kStartMs));

    // Killed, not closed: the socket dies with the process.
    sim.reset();
    QVERIFY(
        hmi.waitForErr("status: link: reconnecting; SAFETY STOP: estop (last known)", kStartMs));
    QCOMPARE(hmi.err.count("controller link down"), 1);

    sim = std::make_unique<ChildProcess>();
    QCOMPARE(startSimulator(sim.get(), port), port);
    QTRY_COMPARE_WITH_TIMEOUT(hmi.err.count("controller link up"), 2, kHealMs);
    // The fresh controller's state, queried again: motor off, no stop.
    QTRY_VERIFY_WITH_TIMEOUT(
        hmi.err.contains(QRegularExpression("status: link: connected to [^;]*; Motor: off; "
                                            "Mode: [a-z]+; State: [a-z]+(\\x1b\\[0m)?\\n")),
        kStartMs);

    hmi.say("rc.disconnect");
    QVERIFY(hmi.waitForErr("status: link: disconnected", kStartMs));
    // Longer than the first retry delays: nothing reconnects behind the operator's back.
    QTest::qWait(3500);
    QCOMPARE(hmi.err.count("controller link up"), 2);
    hmi.say("rc.connect");
    QTRY_COMPARE_WITH_TIMEOUT(hmi.err.count("controller link up"), 3, kStartMs);

    hmi.say("ui.click btnNowhere");
    hmi.say("quit");
    QVERIFY(hmi.waitForFinished(kStartMs));
    QCOMPARE(hmi.exitCode(), 0);
    QVERIFY(hmi.err.contains("ui.click: no widget named 'btnNowhere'"));
}

QTEST_MAIN(TestHostApplication)
#include "tst_hostapplication.moc"
