// Workspace synchronisation against a real rsync daemon that the test runs
// on loopback, plus the argument forms and the failures a panel PC meets:
// no daemon, a wrong secret, no rsync at all, a transfer already running.

#include "linkfixture.h"

#include "services/rsyncrunner.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

#include <unistd.h>

namespace {

const QString kSecret = QStringLiteral("480917");

quint16 freeLoopbackPort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        return false;
    }
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(content) == content.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Relative paths of all files below `root`, sorted.
QStringList filesBelow(const QString& path)
{
    const QString root = QDir(path).absolutePath();
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.append(QDir(root).relativeFilePath(it.next()));
    }
    files.sort();
    return files;
}

// The last log record `requester` published.
QJsonObject lastLog(QObject* requester)
{
    return velk::resource()
        .get(requester, QStringLiteral("log"), QStringLiteral("cur_hmi_log"))
        .toObject();
}

// An rsync daemon with the module "hmi" (user "zarvo") on a free loopback
// port, its files in a temporary directory; stopped with the object.
class RsyncDaemon
{
public:
    QTemporaryDir dir;
    QProcess process;
    quint16 port = 0;

    ~RsyncDaemon() { stop(); }

    QString modulePath() const { return dir.filePath(QStringLiteral("module")); }
    QString portArgument() const { return QStringLiteral("--port=%1").arg(port); }

    bool start(const QByteArray& secret)
    {
        if (!dir.isValid() || !QDir().mkpath(modulePath())) {
            return false;
        }
        const QString secrets = dir.filePath(QStringLiteral("secrets"));
        if (!writeFile(secrets, "zarvo:" + secret + "\n") ||
            !QFile::setPermissions(secrets, QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
            return false;
        }
        QByteArray config;
        config += "pid file = " + dir.filePath(QStringLiteral("rsyncd.pid")).toUtf8() + "\n";
        config += "log file = " + dir.filePath(QStringLiteral("rsyncd.log")).toUtf8() + "\n";
        config += "use chroot = false\n";
        if (::geteuid() == 0) {
            // A daemon started by root would otherwise become "nobody" and
            // could not write into our temporary directory.
            config += "uid = 0\ngid = 0\n";
        }
        config += "[hmi]\n";
        config += "    path = " + modulePath().toUtf8() + "\n";
        config += "    read only = false\n";
        config += "    auth users = zarvo\n";
        config += "    secrets file = " + secrets.toUtf8() + "\n";
        const QString configPath = dir.filePath(QStringLiteral("rsyncd.conf"));
        if (!writeFile(configPath, config)) {
            return false;
        }

        // The port may be taken between our probe and the daemon's bind:
        // then the daemon ends at once and another port is tried.
        for (int attempt = 0; attempt < 3; ++attempt) {
            port = freeLoopbackPort();
            QFile::remove(dir.filePath(QStringLiteral("rsyncd.pid")));
            process.start(QStringLiteral("rsync"),
                          {QStringLiteral("--daemon"), QStringLiteral("--no-detach"),
                           QStringLiteral("--config=") + configPath,
                           QStringLiteral("--port=%1").arg(port),
                           QStringLiteral("--address=127.0.0.1")});
            if (!process.waitForStarted(5000)) {
                return false;
            }
            if (waitListening()) {
                return true;
            }
            stop();
        }
        return false;
    }

    void stop()
    {
        if (process.state() == QProcess::NotRunning) {
            return;
        }
        process.terminate();
        if (!process.waitForFinished(3000)) {
            process.kill();
            process.waitForFinished(3000);
        }
    }

private:
    bool waitListening()
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 5000 && process.state() == QProcess::Running) {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress::LocalHost, port);
            if (probe.waitForConnected(200)) {
                probe.abort();
                return true;
            }
            process.waitForFinished(50); // returns early only if it ended
        }
        return false;
    }
};

} // namespace

class tst_RsyncRunner : public QObject
{
    Q_OBJECT

    LinkFixture fixture;
    RsyncDaemon daemon;
    bool haveRsync = false;

    // Waits (bounded) for the result addressed to `requester`.
    static bool waitFor(QSignalSpy& spy, QObject* requester, QString* output = nullptr)
    {
        QElapsedTimer clock;
        clock.start();
        for (;;) {
            for (const QList<QVariant>& args : qAsConst(spy)) {
                if (args.at(0).value<QObject*>() == requester) {
                    if (output) {
                        *output = args.at(1).toString();
                    }
                    return true;
                }
            }
            if (clock.elapsed() > 30000) {
                return false;
            }
            spy.wait(1000);
        }
    }

    QString logFile() const { return fixture.dir.filePath(QStringLiteral("log/zarvo.log")); }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void localForm_data();
    void localForm();
    void remoteForm();
    void argumentOrder_data();
    void argumentOrder();
    void secretOnlyInEnvironment();

    void pushTree();
    void pullTree();
    void deleteExtraneous();
    void localPathWithSpaces();
    void busyRefusal();
    void noDaemon();
    void wrongPassword();
    void rsyncMissing();
    void transferKilled();
    void requesterGoneOrNull();
    void secretNeverLogged();
};

void tst_RsyncRunner::initTestCase()
{
    // The helper takes the secret from the environment when the site set
    // one: for these tests it must be the built-in one.
    qunsetenv("RSYNC_PASSWORD");
    qRegisterMetaType<QProcess::ExitStatus>();
    haveRsync = !QStandardPaths::findExecutable(QStringLiteral("rsync")).isEmpty();
    QVERIFY(fixture.start(QJsonObject(), false));
    if (haveRsync) {
        QVERIFY2(daemon.start(kSecret.toUtf8()), qPrintable(daemon.process.errorString()));
    }
}

void tst_RsyncRunner::cleanupTestCase()
{
    daemon.stop();
    fixture.stop();
}

void tst_RsyncRunner::localForm_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("escapeBlanks");
    QTest::addColumn<QString>("expected");

    // The working directory is a temporary one, so these are elsewhere.
    QTest::newRow("other drive with a blank, escaped")
        << "C:/Program Files/x" << true << QStringLiteral("/cygdrive/c/Program\\ Files/x");
    QTest::newRow("other drive") << "D:/data" << true << "/cygdrive/d/data";
    QTest::newRow("below, absolute")
        << QDir::current().filePath(QStringLiteral("project/a")) << true << "project/a";
    QTest::newRow("below, relative") << "project/a" << false << "project/a";
    QTest::newRow("below, with blanks, escaped") << "my project/a b" << true
                                                 << "my\\ project/a\\ b";
    QTest::newRow("below, with blanks, as argv") << "my project/a b" << false
                                                 << "my project/a b";
}

void tst_RsyncRunner::localForm()
{
    QFETCH(QString, path);
    QFETCH(bool, escapeBlanks);
    QFETCH(QString, expected);
    QCOMPARE(RsyncRunner::localForm(path, escapeBlanks), expected);
}

void tst_RsyncRunner::remoteForm()
{
    QCOMPARE(RsyncRunner::remoteForm(QStringLiteral("127.0.0.1"), QStringLiteral("prj")),
             QStringLiteral("zarvo@127.0.0.1::hmi/prj"));
    // The remote path is passed as given.
    QCOMPARE(RsyncRunner::remoteForm(QStringLiteral("10.0.0.1"), QStringLiteral("my prj/")),
             QStringLiteral("zarvo@10.0.0.1::hmi/my prj/"));
}

void tst_RsyncRunner::argumentOrder_data()
{
    QTest::addColumn<bool>("push");
    QTest::addColumn<bool>("deleteExtraneous");
    QTest::addColumn<QStringList>("extra");
    QTest::addColumn<QStringList>("expected");

    const QString local = QStringLiteral("/cygdrive/c/Program\\ Files/x");
    const QString remote = QStringLiteral("zarvo@127.0.0.1::hmi/prj");
    const QStringList head{"-rogDltvzP", "--timeout=60", "--contimeout=10"};
    QTest::newRow("push with deletion")
        << true << true << QStringList() << (head + QStringList{"--delete", local, remote});
    QTest::newRow("push with extras")
        << true << false << QStringList{"--exclude=*.tmp", "--port=8873"}
        << (head + QStringList{local, remote, "--exclude=*.tmp", "--port=8873"});
    QTest::newRow("pull") << false << false << QStringList() << (head + QStringList{remote, local});
    QTest::newRow("pull with deletion and extras")
        << false << true << QStringList{"--port=8873"}
        << (head + QStringList{"--delete", remote, local, "--port=8873"});
}

void tst_RsyncRunner::argumentOrder()
{
    QFETCH(bool, push);
    QFETCH(bool, deleteExtraneous);
    QFETCH(QStringList, extra);
    QFETCH(QStringList, expected);
    QCOMPARE(
        RsyncRunner::arguments(
            push, deleteExtraneous,
            RsyncRunner::localForm(QStringLiteral("C:/Program Files/x"), true),
            RsyncRunner::remoteForm(QStringLiteral("127.0.0.1"), QStringLiteral("prj")), extra),
        expected);
}

void tst_RsyncRunner::secretOnlyInEnvironment()
{
    QCOMPARE(helper().rsyncProcess()->processEnvironment().value(QStringLiteral("RSYNC_PASSWORD")),
             kSecret);
    // A secret the site put into the environment is kept.
    qputenv("RSYNC_PASSWORD", "site-secret");
    RsyncRunner site;
    qunsetenv("RSYNC_PASSWORD");
    QCOMPARE(site.process()->processEnvironment().value(QStringLiteral("RSYNC_PASSWORD")),
             QStringLiteral("site-secret"));
    // The rest of the environment (PATH above all) is passed on.
    QCOMPARE(site.process()->processEnvironment().value(QStringLiteral("PATH")),
             QString::fromLocal8Bit(qgetenv("PATH")));
}

void tst_RsyncRunner::pushTree()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    QVERIFY(writeFile(QStringLiteral("project/a.txt"), "alpha\n"));
    QVERIFY(writeFile(QStringLiteral("project/sub/b.txt"), "beta\n"));

    QObject requester;
    QSignalSpy finished(&helper(), &ManagerHelper::rsyncFinished);
    QVERIFY(helper().rsyncPush(&requester, QDir::current().filePath(QStringLiteral("project")),
                               QStringLiteral("prj"), false, {daemon.portArgument()}));
    const QStringList arguments = helper().rsyncProcess()->arguments();
    QCOMPARE(helper().rsyncProcess()->program(), QStringLiteral("rsync"));
    QCOMPARE(arguments.mid(arguments.size() - 3),
             (QStringList{"project", "zarvo@127.0.0.1::hmi/prj", daemon.portArgument()}));

    QString output;
    QVERIFY(waitFor(finished, &requester, &output));
    QVERIFY2(!output.isEmpty(), qPrintable(lastLog(&requester).value("title").toString()));
    QVERIFY(lastLog(&requester).isEmpty());
    const QString landed = daemon.modulePath() + QStringLiteral("/prj/project");
    QCOMPARE(filesBelow(landed), (QStringList{"a.txt", "sub/b.txt"}));
    QCOMPARE(readFile(landed + QStringLiteral("/sub/b.txt")), QByteArray("beta\n"));
}

void tst_RsyncRunner::pullTree()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    const QString remote = daemon.modulePath() + QStringLiteral("/outgoing");
    QVERIFY(writeFile(remote + QStringLiteral("/program.rl"), "MOVE p1\n"));
    QVERIFY(writeFile(remote + QStringLiteral("/data/points.json"), "{}\n"));

    QObject requester;
    QSignalSpy finished(&helper(), &ManagerHelper::rsyncFinished);
    QVERIFY(helper().rsyncPull(&requester, QStringLiteral("incoming"), QStringLiteral("outgoing/"),
                               false, {daemon.portArgument()}));
    const QStringList arguments = helper().rsyncProcess()->arguments();
    QCOMPARE(arguments.mid(arguments.size() - 3),
             (QStringList{"zarvo@127.0.0.1::hmi/outgoing/", "incoming", daemon.portArgument()}));
    QString output;
    QVERIFY(waitFor(finished, &requester, &output));
    QVERIFY2(!output.isEmpty(), qPrintable(lastLog(&requester).value("title").toString()));
    QCOMPARE(filesBelow(QStringLiteral("incoming")),
             (QStringList{"data/points.json", "program.rl"}));
    QCOMPARE(readFile(QStringLiteral("incoming/program.rl")), QByteArray("MOVE p1\n"));
}

void tst_RsyncRunner::deleteExtraneous()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    QVERIFY(writeFile(QStringLiteral("mirror/kept.txt"), "kept\n"));
    const QString remote = daemon.modulePath() + QStringLiteral("/mirror");
    QVERIFY(writeFile(remote + QStringLiteral("/extra.txt"), "extra\n"));

    QSignalSpy finished(&helper(), &ManagerHelper::rsyncFinished);
    QObject keep;
    QVERIFY(helper().rsyncPush(&keep, QStringLiteral("mirror/"), QStringLiteral(""), false,
                               {daemon.portArgument()}));
    QVERIFY(waitFor(finished, &keep));
    QCOMPARE(filesBelow(remote), (QStringList{"extra.txt", "kept.txt"}));

    QObject mirror;
    QVERIFY(helper().rsyncPush(&mirror, QStringLiteral("mirror"), QStringLiteral(""), true,
                               {daemon.portArgument()}));
    QVERIFY(helper().rsyncProcess()->arguments().contains(QStringLiteral("--delete")));
    QVERIFY(waitFor(finished, &mirror));
    QCOMPARE(filesBelow(remote), (QStringList{"kept.txt"}));

    // And the other way: a pull with deletion drops what the controller lacks.
    QVERIFY(writeFile(QStringLiteral("mirror/stale.txt"), "stale\n"));
    QObject pull;
    QVERIFY(helper().rsyncPull(&pull, QStringLiteral("mirror"), QStringLiteral("mirror/"), true,
                               {daemon.portArgument()}));
    QVERIFY(waitFor(finished, &pull));
    QCOMPARE(filesBelow(QStringLiteral("mirror")), (QStringList{"kept.txt"}));
}

void tst_RsyncRunner::localPathWithSpaces()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    QVERIFY(writeFile(QStringLiteral("my project/a.txt"), "spaced\n"));

    QSignalSpy finished(&helper(), &ManagerHelper::rsyncFinished);
    QObject push;
    QVERIFY(helper().rsyncPush(&push, QStringLiteral("my project"), QStringLiteral("spaces"), false,
                               {daemon.portArgument()}));
    QString output;
    QVERIFY(waitFor(finished, &push, &output));
    QVERIFY(!output.isEmpty());
    QCOMPARE(filesBelow(daemon.modulePath() + QStringLiteral("/spaces")),
             QStringList{"my project/a.txt"});

    QObject pull;
    QVERIFY(helper().rsyncPull(&pull, QStringLiteral("my copy"), QStringLiteral("prj/"), false,
                               {daemon.portArgument()}));
    QVERIFY(waitFor(finished, &pull));
    QVERIFY(QFileInfo::exists(QStringLiteral("my copy/project/a.txt")));
}

void tst_RsyncRunner::busyRefusal()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    QVERIFY(writeFile(QStringLiteral("busy/a.txt"), "a\n"));
    RsyncRunner runner;
    QSignalSpy finished(&runner, &RsyncRunner::finished);
    QObject first, second, third;

    QVERIFY(runner.push(&first, QStringLiteral("busy"), QStringLiteral("busy"), false,
                        {daemon.portArgument()}));
    QVERIFY(!runner.push(&second, QStringLiteral("busy"), QStringLiteral("busy"), false,
                         {daemon.portArgument()}));
    QCOMPARE(runner.queuedRequesters(), 2);
    QCOMPARE(lastLog(&second).value("level").toString(), QStringLiteral("warning"));
    QCOMPARE(lastLog(&second).value("title").toString(),
             QStringLiteral("rsync has been running..."));

    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).value<QObject*>(), &first);
    QVERIFY(!finished.at(0).at(1).toString().isEmpty());
    // The refused requester is still queued...
    QCOMPARE(runner.queuedRequesters(), 1);
    QCOMPARE(runner.process()->state(), QProcess::NotRunning);

    // ... and receives the result of the next transfer, which is why callers
    // that were refused must expect a stray result.
    QVERIFY(runner.push(&third, QStringLiteral("busy"), QStringLiteral("busy"), false,
                        {daemon.portArgument()}));
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 2);
    QCOMPARE(finished.at(1).at(0).value<QObject*>(), &second);
    QCOMPARE(runner.queuedRequesters(), 1);
}

void tst_RsyncRunner::noDaemon()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    const quint16 closed = freeLoopbackPort();
    QVERIFY(closed != 0);
    QObject requester;
    QSignalSpy finished(&helper(), &ManagerHelper::rsyncFinished);
    QVERIFY(helper().rsyncPush(&requester, QStringLiteral("project"), QStringLiteral("prj"), false,
                               {QStringLiteral("--port=%1").arg(closed)}));
    QString output = QStringLiteral("unset");
    QVERIFY(waitFor(finished, &requester, &output));
    QCOMPARE(output, QString());
    const QJsonObject record = lastLog(&requester);
    QCOMPARE(record.value("level").toString(), QStringLiteral("error"));
    const QString title = record.value("title").toString();
    QVERIFY2(title.startsWith(QStringLiteral("rsync exits with 10: ")), qPrintable(title));
    QVERIFY2(title.contains(QStringLiteral("refused")), qPrintable(title));
    QVERIFY(readFile(logFile()).contains("rsync exits with 10: "));
}

void tst_RsyncRunner::wrongPassword()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    qputenv("RSYNC_PASSWORD", "not-the-secret");
    RsyncRunner runner;
    qunsetenv("RSYNC_PASSWORD");
    QSignalSpy finished(&runner, &RsyncRunner::finished);
    QObject requester;
    QVERIFY(runner.push(&requester, QStringLiteral("project"), QStringLiteral("denied"), false,
                        {daemon.portArgument()}));
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.at(0).at(0).value<QObject*>(), &requester);
    QCOMPARE(finished.at(0).at(1).toString(), QString());
    const QString title = lastLog(&requester).value("title").toString();
    QVERIFY2(title.startsWith(QStringLiteral("rsync exits with 5: ")), qPrintable(title));
    QVERIFY2(title.contains(QStringLiteral("auth failed")), qPrintable(title));
    QVERIFY(!QFileInfo::exists(daemon.modulePath() + QStringLiteral("/denied")));
    QCOMPARE(runner.queuedRequesters(), 0);
}

void tst_RsyncRunner::rsyncMissing()
{
    QTemporaryDir empty;
    QVERIFY(empty.isValid());
    RsyncRunner runner;
    QSignalSpy finished(&runner, &RsyncRunner::finished);
    QObject requester;

    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(empty.path()));
    runner.push(&requester, QStringLiteral("project"), QStringLiteral("prj"), false, {});
    qputenv("PATH", path);
    QVERIFY(finished.count() == 1 || finished.wait(10000));
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).value<QObject*>(), &requester);
    QCOMPARE(finished.at(0).at(1).toString(), QString());
    const QJsonObject record = lastLog(&requester);
    QCOMPARE(record.value("level").toString(), QStringLiteral("error"));
    QVERIFY2(record.value("title").toString().startsWith(QStringLiteral("rsync cannot be started")),
             qPrintable(record.value("title").toString()));
    QCOMPARE(runner.queuedRequesters(), 0);
    QCOMPARE(runner.process()->state(), QProcess::NotRunning);

    // Nothing is left behind: the next transfer answers its own requester.
    if (!haveRsync) {
        return;
    }
    QObject next;
    QVERIFY(runner.push(&next, QStringLiteral("project"), QStringLiteral("after-missing"), false,
                        {daemon.portArgument()}));
    QVERIFY(finished.wait(30000));
    QCOMPARE(finished.count(), 2);
    QCOMPARE(finished.at(1).at(0).value<QObject*>(), &next);
    QVERIFY(!finished.at(1).at(1).toString().isEmpty());
    QCOMPARE(runner.queuedRequesters(), 0);
}

void tst_RsyncRunner::transferKilled()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    RsyncRunner runner;
    QSignalSpy finished(&runner, &RsyncRunner::finished);
    QObject requester;
    QVERIFY(runner.push(&requester, QStringLiteral("project"), QStringLiteral("killed"), false,
                        {daemon.portArgument()}));
    QVERIFY(runner.process()->waitForStarted(5000));
    runner.process()->kill();
    QVERIFY(finished.wait(10000));
    QCOMPARE(finished.at(0).at(0).value<QObject*>(), &requester);
    QCOMPARE(finished.at(0).at(1).toString(), QString());
    const QString title = lastLog(&requester).value("title").toString();
    QVERIFY2(title.startsWith(QStringLiteral("rsync exits with ")), qPrintable(title));
    QVERIFY2(!title.startsWith(QStringLiteral("rsync exits with 0:")), qPrintable(title));
    QCOMPARE(runner.queuedRequesters(), 0);
}

void tst_RsyncRunner::requesterGoneOrNull()
{
    if (!haveRsync) {
        QSKIP("no rsync program on this machine");
    }
    RsyncRunner runner;
    QSignalSpy finished(&runner, &RsyncRunner::finished);

    // A page closed while its transfer runs is told nothing.
    auto* page = new QObject;
    QVERIFY(runner.push(page, QStringLiteral("project"), QStringLiteral("gone"), false,
                        {daemon.portArgument()}));
    delete page;
    QSignalSpy done(runner.process(),
                    QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished));
    QVERIFY(done.wait(30000));
    QCOMPARE(finished.count(), 0);
    QCOMPARE(runner.queuedRequesters(), 0);

    // Nobody asked by name: the result is still announced.
    QVERIFY(runner.push(nullptr, QStringLiteral("project"), QStringLiteral("anonymous"), false,
                        {daemon.portArgument()}));
    QVERIFY(finished.wait(30000));
    QVERIFY(finished.at(0).at(0).value<QObject*>() == nullptr);
    QCOMPARE(runner.queuedRequesters(), 0);
}

void tst_RsyncRunner::secretNeverLogged()
{
    const QByteArray log = readFile(logFile());
    QVERIFY(!log.isEmpty());
    QVERIFY(log.contains("push:"));
    QVERIFY(!log.contains(kSecret.toUtf8()));
    QVERIFY(!log.contains("not-the-secret"));
    QVERIFY(!log.contains("site-secret"));
    QVERIFY(!helper().rsyncProcess()->arguments().join(' ').contains(kSecret));
}

QTEST_MAIN(tst_RsyncRunner)
#include "tst_rsyncrunner.moc"
