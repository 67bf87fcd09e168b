// zarvo-hmi --headless end to end: started as scripts start it, fed through
// standard input, judged by its output, exit code and the plug-in's lifecycle.

#include "testfiles.h"

#include <QtTest>

namespace {

constexpr int runTimeoutMs = 30000;

struct Run
{
    bool finished = false;
    int code = -1;
    QStringList out; // stdout lines
    QString err;
    QString describe() const
    {
        return QStringLiteral("exit %1\n--- stdout:\n%2\n--- stderr:\n%3")
            .arg(finished ? QString::number(code) : QStringLiteral("timed out or crashed"),
                 out.join(QLatin1Char('\n')), err);
    }
};

QStringList linesOf(const QByteArray& bytes)
{
    QStringList lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    if (lines.constLast().isEmpty()) {
        lines.removeLast();
    }
    return lines;
}

Run runHmi(const QStringList& args, const QByteArray& input)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ZARVO_PLUGIN"));
    env.insert(QStringLiteral("ZARVO_BROADCAST_ADDRESS"), QStringLiteral("127.0.0.1"));
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(ZARVO_HMI_EXECUTABLE), args);
    Run run;
    if (!process.waitForStarted(runTimeoutMs)) {
        return run;
    }
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(runTimeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.finished = process.exitStatus() == QProcess::NormalExit;
    run.code = process.exitCode();
    run.out = linesOf(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

// Whether a line of `text` starts with `start` and contains `part` further on.
bool hasLine(const QString& text, const QString& start, const QString& part = {})
{
    const QRegularExpression line(QLatin1Char('^') + QRegularExpression::escape(start) +
                                      QStringLiteral(".*") + QRegularExpression::escape(part),
                                  QRegularExpression::MultilineOption);
    return text.contains(line);
}

// Every hook the fake module records, in order: detached and destroyed at the end.
const QStringList fullLifecycle = {"setup",        "init",   "render",   "idle",
                                   "beforeDetach", "detach", "destroyed"};

QStringList lifecycleIn(const QString& dir)
{
    return linesOf(readFile(QDir(dir).filePath(QStringLiteral("fake-lifecycle.txt"))));
}

QStringList fakeArgs(const QString& workdir)
{
    return {QStringLiteral("--headless"), QStringLiteral("--plugin"),
            QStringLiteral(FAKE_GOOD_PLUGIN), QStringLiteral("--workdir"), workdir};
}

} // namespace

class TestHeadless : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void script_data();
    void script();
    void nestedLoopThenTerminationSignal();
    void failures_data();
    void failures();
    void realPluginInEmptyDirectory();
    void furtherModulesAndBrokenOnes();
    void kitVersions_data();
    void kitVersions();
};

void TestHeadless::script_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QStringList>("out");
    QTest::addColumn<QStringList>("errParts");

    QTest::newRow("output on stdout, end of input")
        << QByteArray("fake.echo hi\n") << QStringList{"hi"} << QStringList{};
    QTest::newRow("unknown command, then on")
        << QByteArray("no.such.command 1 2\nfake.echo still here\n") << QStringList{"still here"}
        << QStringList{"no.such.command"};
    QTest::newRow("wait lets timers fire")
        << QByteArray("fake.after 100 X\nwait 400\nfake.echo Y\n") << QStringList{"X", "Y"}
        << QStringList{};
    // Lines after quit once ran while the event loop wound down.
    QTest::newRow("quit stops at once") << QByteArray("fake.echo one\nquit\nfake.echo two\n")
                                        << QStringList{"one"} << QStringList{};
    // More than one read() worth: lines span reads and reading pauses.
    QByteArray many;
    QStringList manyOut;
    for (int i = 0; i < 6000; ++i) {
        many += "fake.echo line " + QByteArray::number(i) + " of a long script\n";
        manyOut << QStringLiteral("line %1 of a long script").arg(i);
    }
    QTest::newRow("many lines keep their order") << many << manyOut << QStringList{};
}

void TestHeadless::script()
{
    QFETCH(QByteArray, input);
    QFETCH(QStringList, out);
    QFETCH(QStringList, errParts);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run = runHmi(fakeArgs(dir.path()), input);
    QVERIFY2(run.finished && run.code == 0, qPrintable(run.describe()));
    QCOMPARE(run.out, out);
    for (const QString& part : qAsConst(errParts)) {
        QVERIFY2(run.err.contains(part), qPrintable(run.describe()));
    }
    QCOMPARE(lifecycleIn(dir.path()), fullLifecycle);
}

void TestHeadless::nestedLoopThenTerminationSignal()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QProcess process;
    process.start(QStringLiteral(ZARVO_HMI_EXECUTABLE), fakeArgs(dir.path()));
    QVERIFY(process.waitForStarted(runTimeoutMs));
    // Standard input stays open. A line that arrives while a command runs an event loop of
    // its own waits for that command to end.
    process.write("fake.nest 500 X\n");
    QByteArray seen; // the macro evaluates its condition more than once
    QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAllStandardOutput()).contains("nesting"),
                             runTimeoutMs);
    process.write("fake.echo Y\n");
    QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAllStandardOutput()).contains("Y"), runTimeoutMs);
    QCOMPARE(seen, QByteArray("nesting\nX\nY\n"));
    // Then the host idles, waiting for a line, until it is told to stop.
    process.terminate();
    QVERIFY(process.waitForFinished(runTimeoutMs));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(lifecycleIn(dir.path()), fullLifecycle);
}

void TestHeadless::failures_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");

    QTest::newRow("missing plug-in")
        << QStringList{"--headless", "--plugin", "/nonexistent/libzarvo.so"} << 3
        << "cannot load plug-in /nonexistent/libzarvo.so: no such file";
    // This very source file stands in for a file that is no library.
    QTest::newRow("not a library") << QStringList{"--headless", "--plugin", HEADLESS_SOURCE} << 3
                                   << "tst_headless.cpp: Cannot load library";
    QTest::newRow("no symbol") << QStringList{"--headless", "--plugin", FAKE_NOSYMBOL_PLUGIN} << 4
                               << "does not export newModule()";
    QTest::newRow("null factory") << QStringList{"--headless", "--plugin", FAKE_NULLFACTORY_PLUGIN}
                                  << 5 << "newModule() returned no module";
    QTest::newRow("bad usage") << QStringList{"--headles"} << 2 << "headles";
    // A regular file stands where a folder of the path should be.
    QTest::newRow("working directory impossible")
        << QStringList{"--headless", "--workdir", ZARVO_HMI_EXECUTABLE "/sub"} << 6
        << "cannot create working directory";
}

void TestHeadless::failures()
{
    QFETCH(QStringList, args);
    QFETCH(int, code);
    QFETCH(QString, message);

    const Run run = runHmi(args, "fake.echo never\n");
    QVERIFY2(run.finished && run.code == code, qPrintable(run.describe()));
    QVERIFY(run.out.isEmpty());
    QVERIFY2(hasLine(run.err, QStringLiteral("zarvo-hmi: "), message), qPrintable(run.describe()));
}

void TestHeadless::realPluginInEmptyDirectory()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run =
        runHmi({QStringLiteral("--headless"), QStringLiteral("--plugin"),
                QStringLiteral(ZARVO_REAL_PLUGIN), QStringLiteral("--workdir"), dir.path()},
               "help\nwait 200\nquit\n");
    QVERIFY2(run.finished && run.code == 0, qPrintable(run.describe()));
    // help lists every command by its usage.
    for (const char* usage : {"help [<command>]", "wait <ms>", "quit"}) {
        QVERIFY2(hasLine(run.out.join(QLatin1Char('\n')), QLatin1String(usage)), usage);
    }
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("config/setting.json"))).isFile());
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("log"))).isDir());
}

void TestHeadless::furtherModulesAndBrokenOnes()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString missing = QStringLiteral("/nonexistent/libextra.so");
    QStringList args = fakeArgs(dir.path());
    for (const QString& file :
         {QStringLiteral(FAKE_SECOND_PLUGIN), missing, QStringLiteral(FAKE_NOSYMBOL_PLUGIN),
          QStringLiteral(FAKE_NULLFACTORY_PLUGIN), QStringLiteral(FAKE_SECOND_PLUGIN)}) {
        args << QStringLiteral("--module") << file;
    }
    const Run run = runHmi(args, "fake2.echo second\nfake.echo core\nquit\n");

    // Every broken module is named with its reason; the HMI runs on with the good ones.
    QVERIFY2(run.finished && run.code == 0, qPrintable(run.describe()));
    QCOMPARE(run.out, (QStringList{"second", "core"}));
    for (const QString& part : {QStringLiteral("cannot load plug-in ") + missing,
                                QStringLiteral("does not export newModule()"),
                                QStringLiteral("newModule() returned no module")}) {
        QVERIFY2(hasLine(run.err, QStringLiteral("zarvo-hmi: module left out: "), part),
                 qPrintable(run.describe()));
        QVERIFY2(QString::fromUtf8(readFile(dir.filePath(QStringLiteral("log/zarvo.log"))))
                     .contains(part),
                 qPrintable(part));
    }
    // The core module first, the further ones in the order given, each once; torn down
    // in reverse.
    QCOMPARE(linesOf(readFile(dir.filePath(QStringLiteral("modules-order.txt")))),
             (QStringList{"fake setup", "fake2 setup", "fake init", "fake2 init", "fake render",
                          "fake2 render", "fake idle", "fake2 idle", "fake beforeDetach",
                          "fake2 beforeDetach", "fake detach", "fake2 detach", "fake2 destroyed",
                          "fake destroyed"}));
}

void TestHeadless::kitVersions_data()
{
    QTest::addColumn<QString>("module");
    QTest::addColumn<QString>("command"); // its echo command, when it must load
    QTest::addColumn<QString>("refusal");

    QTest::newRow("same kit") << QStringLiteral(FAKE_SAMEKIT_PLUGIN)
                              << QStringLiteral("samekit.echo") << QString();
    QTest::newRow("other kit") << QStringLiteral(FAKE_OLDKIT_PLUGIN) << QString()
                               << QStringLiteral("was built with kit 0.0.1, the core module is "
                                                 "kit " ZARVO_KIT_VERSION_OF_BUILD);
    QTest::newRow("kit unknown") << QStringLiteral(FAKE_SECOND_PLUGIN) << QString()
                                 << QStringLiteral("does not say which kit it was built with");
}

// Against the real core module, which names its kit version.
void TestHeadless::kitVersions()
{
    QFETCH(QString, module);
    QFETCH(QString, command);
    QFETCH(QString, refusal);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QByteArray input = command.isEmpty() ? QByteArray("quit\n")
                                               : (command + QStringLiteral(" up\nquit\n")).toUtf8();
    const Run run = runHmi({QStringLiteral("--headless"), QStringLiteral("--plugin"),
                            QStringLiteral(ZARVO_REAL_PLUGIN), QStringLiteral("--workdir"),
                            dir.path(), QStringLiteral("--module"), module},
                           input);
    QVERIFY2(run.finished && run.code == 0, qPrintable(run.describe()));
    if (refusal.isEmpty()) {
        QCOMPARE(run.out, QStringList{"up"});
    } else {
        QVERIFY2(hasLine(run.err, QStringLiteral("zarvo-hmi: module left out: module ") + module,
                         refusal),
                 qPrintable(run.describe()));
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("modules-order.txt"))));
    }
}

QTEST_GUILESS_MAIN(TestHeadless)
#include "tst_headless.moc"
