// zarvo-hmi --headless end to end: the host is started as scripts start it,
// fed through standard input, and judged by its output and exit code.

#include <QtTest>

namespace {

constexpr int runTimeoutMs = 30000;

struct Run
{
    bool finished = false;
    QProcess::ExitStatus status = QProcess::CrashExit;
    int code = -1;
    QStringList out; // stdout lines
    QString err;
};

QProcessEnvironment childEnvironment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ZARVO_PLUGIN"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("ZARVO_BROADCAST_ADDRESS"), QStringLiteral("127.0.0.1"));
    return env;
}

QStringList linesOf(const QByteArray& bytes)
{
    QStringList lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.constLast().isEmpty()) {
        lines.removeLast();
    }
    return lines;
}

Run finish(QProcess& process, const QByteArray& input)
{
    Run run;
    if (!process.waitForStarted(runTimeoutMs)) {
        return run;
    }
    process.write(input);
    process.closeWriteChannel();
    run.finished = process.waitForFinished(runTimeoutMs);
    if (!run.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.status = process.exitStatus();
    run.code = process.exitCode();
    run.out = linesOf(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

Run runHmi(const QStringList& args, const QByteArray& input,
           const QProcessEnvironment& env = childEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(ZARVO_HMI_EXECUTABLE), args);
    return finish(process, input);
}

QString describe(const Run& run)
{
    return QStringLiteral("exit %1 (%2)\n--- stdout:\n%3\n--- stderr:\n%4")
        .arg(run.code)
        .arg(run.status == QProcess::NormalExit ? "normal" : "crash")
        .arg(run.out.join(QLatin1Char('\n')), run.err);
}

const QStringList fullLifecycle = {
    "constructed", "setup", "afterSetup", "init",         "afterInit", "render",
    "afterRender", "idle",  "afterIdle",  "beforeDetach", "detach",    "destroyed",
};

QStringList lifecycleIn(const QString& dir)
{
    QFile file(QDir(dir).filePath(QStringLiteral("fake-lifecycle.txt")));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return linesOf(file.readAll());
}

} // namespace

class TestHeadless : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void script_data();
    void script();
    void endsInOrder_data();
    void endsInOrder();
    void terminationSignalDetaches();
    void manyLinesKeepTheirOrder();
    void inputFromFile();
    void failures_data();
    void failures();
    void helpAndVersion();
    void workdirIsCreated();
    void realPlugin();

private:
    QStringList fakeArgs(const QString& workdir) const
    {
        return {QStringLiteral("--headless"), QStringLiteral("--plugin"),
                QStringLiteral(FAKE_GOOD_PLUGIN), QStringLiteral("--workdir"), workdir};
    }
};

void TestHeadless::script_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QStringList>("out");
    QTest::addColumn<QStringList>("errParts");

    QTest::newRow("echo") << QByteArray("fake.echo hi\n") << QStringList{"hi"} << QStringList{};
    QTest::newRow("unknown command, then on")
        << QByteArray("no.such.command 1 2\nfake.echo still here\n") << QStringList{"still here"}
        << QStringList{"no.such.command"};
    QTest::newRow("command error on stderr")
        << QByteArray("fake.fail broken part\nfake.echo next\n") << QStringList{"next"}
        << QStringList{"broken part"};
    QTest::newRow("comments and blank lines")
        << QByteArray("# fake.echo hidden\n\n   \n\t# also hidden\nfake.echo shown\n")
        << QStringList{"shown"} << QStringList{};
    QTest::newRow("blanks around a command")
        << QByteArray("   fake.echo padded   \n") << QStringList{"padded"} << QStringList{};
    QTest::newRow("CRLF line ends") << QByteArray("fake.echo one\r\nfake.echo two\r\n")
                                    << QStringList{"one", "two"} << QStringList{};
    QTest::newRow("last line without line end") << QByteArray("fake.echo first\nfake.echo tail")
                                                << QStringList{"first", "tail"} << QStringList{};
    QTest::newRow("UTF-8") << QByteArray("fake.echo Grüße 机器人\n")
                           << QStringList{QStringLiteral("Grüße 机器人")} << QStringList{};
    // What a line queued runs before the next line does.
    QTest::newRow("event loop between lines")
        << QByteArray("fake.later A\nfake.echo B\n") << QStringList{"A", "B"} << QStringList{};
    QTest::newRow("wait lets timers fire")
        << QByteArray("fake.after 100 X\nwait 400\nfake.echo Y\n") << QStringList{"X", "Y"}
        << QStringList{};
    // The end of the input does not wait for the plug-in's timers.
    QTest::newRow("no wait, no timer")
        << QByteArray("fake.after 5000 X\nfake.echo Y\n") << QStringList{"Y"} << QStringList{};
    QTest::newRow("wait with a bad argument")
        << QByteArray("wait soon\nwait -5\nfake.echo on\n") << QStringList{"on"}
        << QStringList{"wait: 'soon'", "wait: '-5'", "wait <ms>"};
    QTest::newRow("quit stops at once") << QByteArray("fake.echo one\nquit\nfake.echo two\n")
                                        << QStringList{"one"} << QStringList{};
    QTest::newRow("quit with arguments is refused")
        << QByteArray("quit now\nfake.echo alive\n") << QStringList{"alive"}
        << QStringList{"quit takes no arguments"};
    QTest::newRow("host module published without window")
        << QByteArray("fake.host\n") << QStringList{"host: velk, window: none"} << QStringList{};
    QTest::newRow("modal dialog is closed")
        << QByteArray("fake.box\nfake.echo after\n") << QStringList{"box closed: 0", "after"}
        << QStringList{"dialog \"Fake\" closed unanswered: Please confirm"};
}

void TestHeadless::script()
{
    QFETCH(QByteArray, input);
    QFETCH(QStringList, out);
    QFETCH(QStringList, errParts);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run = runHmi(fakeArgs(dir.path()), input);
    QVERIFY2(run.finished, qPrintable(describe(run)));
    QCOMPARE(run.status, QProcess::NormalExit);
    QVERIFY2(run.code == 0, qPrintable(describe(run)));
    QCOMPARE(run.out, out);
    for (const QString& part : qAsConst(errParts)) {
        QVERIFY2(run.err.contains(part), qPrintable(describe(run)));
    }
    QCOMPARE(lifecycleIn(dir.path()), fullLifecycle);
}

void TestHeadless::endsInOrder_data()
{
    QTest::addColumn<QByteArray>("input");

    QTest::newRow("quit") << QByteArray("quit\n");
    QTest::newRow("end of input") << QByteArray();
    QTest::newRow("end of input after a wait") << QByteArray("wait 50\n");
}

void TestHeadless::endsInOrder()
{
    QFETCH(QByteArray, input);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run = runHmi(fakeArgs(dir.path()), input);
    QVERIFY2(run.finished && run.status == QProcess::NormalExit && run.code == 0,
             qPrintable(describe(run)));
    QCOMPARE(lifecycleIn(dir.path()), fullLifecycle);
}

void TestHeadless::terminationSignalDetaches()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QProcess process;
    process.setProcessEnvironment(childEnvironment());
    process.start(QStringLiteral(ZARVO_HMI_EXECUTABLE), fakeArgs(dir.path()));
    QVERIFY(process.waitForStarted(runTimeoutMs));
    // Standard input stays open: the host is idle, waiting for a line.
    process.write("fake.echo ready\n");
    QByteArray seen;
    QTRY_VERIFY2_WITH_TIMEOUT((seen += process.readAllStandardOutput()).contains("ready"),
                              process.readAllStandardError().constData(), runTimeoutMs);
    process.terminate();
    QVERIFY(process.waitForFinished(runTimeoutMs));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(lifecycleIn(dir.path()), fullLifecycle);
}

void TestHeadless::manyLinesKeepTheirOrder()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    // More than one read() worth, so that lines span reads and reading pauses.
    QByteArray input;
    QStringList expected;
    for (int i = 0; i < 6000; ++i) {
        input += "fake.echo line " + QByteArray::number(i) + " of a long script\n";
        expected << QStringLiteral("line %1 of a long script").arg(i);
    }
    const Run run = runHmi(fakeArgs(dir.path()), input);
    QVERIFY2(run.finished && run.code == 0, qPrintable(run.err));
    QCOMPARE(run.out, expected);
}

void TestHeadless::inputFromFile()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString script = dir.filePath(QStringLiteral("script.txt"));
    QFile file(script);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("fake.echo from a file\nwait 10\nfake.echo done\n");
    file.close();

    for (const QString& input : {script, QProcess::nullDevice()}) {
        QProcess process;
        process.setProcessEnvironment(childEnvironment());
        process.setStandardInputFile(input);
        process.start(QStringLiteral(ZARVO_HMI_EXECUTABLE), fakeArgs(dir.path()));
        QVERIFY(process.waitForStarted(runTimeoutMs));
        QVERIFY2(process.waitForFinished(runTimeoutMs), qPrintable(input));
        QCOMPARE(process.exitCode(), 0);
        const QStringList out = linesOf(process.readAllStandardOutput());
        if (input == script) {
            QCOMPARE(out, QStringList({"from a file", "done"}));
        } else {
            QVERIFY(out.isEmpty());
        }
    }
}

void TestHeadless::failures_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("envPlugin");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("errParts");

    const QString none;
    QTest::newRow("missing plug-in")
        << QStringList{"--headless", "--plugin", "/nonexistent/libzarvo.so"} << none << 3
        << QStringList{"zarvo-hmi: cannot load plug-in /nonexistent/libzarvo.so: no such file"};
    QTest::newRow("missing plug-in from the environment")
        << QStringList{"--headless"} << "/nowhere/libenv.so" << 3
        << QStringList{"/nowhere/libenv.so", "no such file"};
    QTest::newRow("option beats the environment")
        << QStringList{"--headless", "--plugin", "/opt/none.so"} << "/nowhere/libenv.so" << 3
        << QStringList{"/opt/none.so"};
    QTest::newRow("no symbol") << QStringList{"--headless", "--plugin", FAKE_NOSYMBOL_PLUGIN}
                               << none << 4 << QStringList{"does not export newModule()"};
    QTest::newRow("null factory") << QStringList{"--headless", "--plugin", FAKE_NULLFACTORY_PLUGIN}
                                  << none << 5 << QStringList{"newModule() returned no module"};
    QTest::newRow("bad usage") << QStringList{"--headles"} << none << 2
                               << QStringList{"headles", "--help"};
    QTest::newRow("stray argument")
        << QStringList{"--headless", "script.txt"} << none << 2 << QStringList{"script.txt"};
    QTest::newRow("working directory is a file")
        << QStringList{"--headless", "--plugin", FAKE_GOOD_PLUGIN, "--workdir",
                       QStringLiteral(ZARVO_HMI_EXECUTABLE)}
        << none << 6 << QStringList{"is not a directory"};
}

void TestHeadless::failures()
{
    QFETCH(QStringList, args);
    QFETCH(QString, envPlugin);
    QFETCH(int, code);
    QFETCH(QStringList, errParts);

    QProcessEnvironment env = childEnvironment();
    if (!envPlugin.isEmpty()) {
        env.insert(QStringLiteral("ZARVO_PLUGIN"), envPlugin);
    }
    const Run run = runHmi(args, "fake.echo never\n", env);
    QVERIFY2(run.finished && run.status == QProcess::NormalExit, qPrintable(describe(run)));
    QVERIFY2(run.code == code, qPrintable(describe(run)));
    QVERIFY(run.out.isEmpty());
    // The reason stands on one line.
    const QStringList lines = run.err.split(QLatin1Char('\n'));
    bool found = false;
    for (const QString& line : lines) {
        bool all = line.startsWith(QLatin1String("zarvo-hmi: "));
        for (const QString& part : qAsConst(errParts)) {
            all = all && line.contains(part);
        }
        found = found || all;
    }
    QVERIFY2(found, qPrintable(describe(run)));
}

void TestHeadless::helpAndVersion()
{
    Run run = runHmi({QStringLiteral("--help")}, QByteArray());
    QVERIFY(run.finished);
    QCOMPARE(run.code, 0);
    QVERIFY(run.out.contains(QStringLiteral("Exit codes:")));

    run = runHmi({QStringLiteral("--version")}, QByteArray());
    QCOMPARE(run.code, 0);
    QCOMPARE(run.out.size(), 1);
    QVERIFY(run.out.first().startsWith(QLatin1String("zarvo-hmi ")));

    // Without a display the window cannot be shown: a clear refusal, no abort.
    QProcessEnvironment env = childEnvironment();
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        env.remove(QLatin1String(name));
    }
    run = runHmi({QStringLiteral("--plugin"), QStringLiteral(FAKE_GOOD_PLUGIN)}, QByteArray(), env);
    QVERIFY2(run.finished && run.status == QProcess::NormalExit && run.code == 7,
             qPrintable(describe(run)));
    QVERIFY(run.err.contains(QLatin1String("--headless")));
}

void TestHeadless::workdirIsCreated()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString workdir = dir.filePath(QStringLiteral("new/deeper"));
    const Run run = runHmi(fakeArgs(workdir), "fake.echo x\n");
    QVERIFY2(run.finished && run.code == 0, qPrintable(describe(run)));
    QCOMPARE(lifecycleIn(workdir), fullLifecycle);
}

void TestHeadless::realPlugin()
{
    const QString plugin = QStringLiteral(ZARVO_REAL_PLUGIN);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run = runHmi({QStringLiteral("--headless"), QStringLiteral("--plugin"), plugin,
                            QStringLiteral("--workdir"), dir.path()},
                           "help\nwait 200\nquit\n");
    QVERIFY2(run.finished && run.status == QProcess::NormalExit, qPrintable(describe(run)));
    QVERIFY2(run.code == 0, qPrintable(describe(run)));
    QVERIFY2(run.out.join(QLatin1Char('\n')).contains(QLatin1String("wait <ms>")),
             qPrintable(describe(run)));
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("config/setting.json"))).isFile());
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("log"))).isDir());
}

QTEST_GUILESS_MAIN(TestHeadless)
#include "tst_headless.moc"
