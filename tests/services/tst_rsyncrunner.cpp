// Workspace synchronisation against a real rsync daemon that the test runs on
// loopback, and the failures a panel PC meets: no daemon, no rsync, a busy runner.

#include "testfiles.h"

#include "services/rsyncrunner.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <unistd.h>

namespace {

const QString kSecret = QStringLiteral("480917"); // the built-in one
const QStringList kTree{"a.txt", "sub/b.txt"};

quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
}

QStringList filesBelow(const QString& root)
{
    QStringList files;
    const QDir base(QDir(root).absolutePath());
    QDirIterator it(base.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.append(base.relativeFilePath(it.next()));
    }
    files.sort();
    return files;
}

// "<level> <title>" of the last log record of `requester`.
QString lastLog(QObject* requester)
{
    const QJsonObject record = velk::resource().get(requester, "log", "cur_hmi_log").toObject();
    return record.value("level").toString() + ' ' + record.value("title").toString();
}

// An rsync daemon with the module "hmi" (user "zarvo") on a free loopback port.
class RsyncDaemon
{
public:
    QTemporaryDir dir;
    QProcess process;
    quint16 port = 0;

    ~RsyncDaemon() { stop(); }
    QString module() const { return dir.filePath("module"); }
    QString portArg() const { return QString("--port=%1").arg(port); }

    bool start()
    {
        const QString secrets = dir.filePath("secrets"), config = dir.filePath("rsyncd.conf");
        // Started by root it would become "nobody" and could not write here.
        const QString text =
            QString("pid file = %1/rsyncd.pid\nlog file = %1/rsyncd.log\n"
                    "use chroot = false\n%2[hmi]\npath = %3\nread only = false\n"
                    "auth users = zarvo\nsecrets file = %4\n")
                .arg(dir.path(), ::geteuid() == 0 ? "uid = 0\ngid = 0\n" : "", module(), secrets);
        if (!QDir().mkpath(module()) || !writeFile(secrets, "zarvo:" + kSecret.toUtf8() + "\n") ||
            !QFile::setPermissions(secrets, QFile::ReadOwner | QFile::WriteOwner) ||
            !writeFile(config, text.toUtf8())) {
            return false;
        }
        // The port may be taken between the probe and the daemon's bind.
        for (int attempt = 0; attempt < 3; ++attempt) {
            port = freePort();
            process.start("rsync", {"--daemon", "--no-detach", "--config=" + config, portArg(),
                                    "--address=127.0.0.1"});
            for (int i = 0; i < 50 && process.waitForStarted(5000) && !process.waitForFinished(50);
                 ++i) {
                QTcpSocket probe;
                probe.connectToHost(QHostAddress::LocalHost, port);
                if (probe.waitForConnected(200)) {
                    return true;
                }
            }
            stop();
        }
        return false;
    }

    void stop()
    {
        process.kill();
        process.waitForFinished(3000);
    }
};

} // namespace

class tst_RsyncRunner : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    RsyncDaemon m_daemon;
    RsyncRunner* m_runner = nullptr;

    // One whole transfer: its output, empty when it failed.
    QString transfer(bool push, const QString& local, const QString& remote, bool del)
    {
        QSignalSpy done(m_runner, &RsyncRunner::finished);
        QObject requester;
        const QStringList extra{m_daemon.portArg()};
        const bool started = push ? m_runner->push(&requester, local, remote, del, extra)
                                  : m_runner->pull(&requester, local, remote, del, extra);
        return started && done.wait(30000) && done.at(0).at(0).value<QObject*>() == &requester
                   ? done.at(0).at(1).toString()
                   : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        qunsetenv("RSYNC_PASSWORD");
        m_runner = new RsyncRunner(this);
        QVERIFY(QDir::setCurrent(m_dir.path()));
        QVERIFY(writeFile("config/setting.json", R"({"server":{"ip":"127.0.0.1"}})"));
        QVERIFY(writeFile("my project/a.txt", "alpha\n") && writeFile("my project/sub/b.txt", "b"));
        QVERIFY2(m_daemon.start(), qPrintable(m_daemon.process.errorString()));
    }

    // The local path as rsync gets it; push, pull and deletion run for real below.
    // clang-format off
    void localForm_data()
    {
        QTest::addColumn<QString>("local");
        QTest::addColumn<bool>("escape");
        QTest::addColumn<QString>("expected");
        QTest::newRow("other drive, escaped") << "C:/Program Files/x" << true << "/cygdrive/c/Program\\ Files/x";
        QTest::newRow("below, absolute, escaped") << QDir::current().filePath("my project/a b") << true << "my\\ project/a\\ b";
        QTest::newRow("blanks kept for argv") << "my project" << false << "my project";
    }
    // clang-format on

    void localForm()
    {
        QFETCH(QString, local);
        QFETCH(bool, escape);
        QFETCH(QString, expected);
        QCOMPARE(RsyncRunner::localForm(local, escape), expected);
    }

    void transfers()
    {
        // Local paths with blanks both ways: an escaped blank once named another file.
        QVERIFY(!transfer(true, "my project", "prj", false).isEmpty());
        QCOMPARE(filesBelow(m_daemon.module() + "/prj/my project"), kTree);
        QVERIFY(!transfer(false, "my copy", "prj/", false).isEmpty());
        QCOMPARE(readFile("my copy/my project/a.txt"), QByteArray("alpha\n"));
        // Deletion drops what the other side lacks, in both directions.
        QVERIFY(writeFile(m_daemon.module() + "/prj/my project/extra.txt", "x"));
        QVERIFY(!transfer(true, "my project", "prj", true).isEmpty());
        QCOMPARE(filesBelow(m_daemon.module() + "/prj/my project"), kTree);
        QVERIFY(writeFile("my copy/my project/stale.txt", "x"));
        QVERIFY(!transfer(false, "my copy", "prj/", true).isEmpty());
        QCOMPARE(filesBelow("my copy/my project"), kTree);

        // The built-in secret reaches rsync through the environment only.
        QCOMPARE(m_runner->process()->processEnvironment().value("RSYNC_PASSWORD"), kSecret);
        QVERIFY(!m_runner->process()->arguments().join(' ').contains(kSecret));
        const QByteArray log = readFile("log/zarvo.log");
        QVERIFY(log.contains("push:") && !log.contains(kSecret.toUtf8()));
    }

    void busyRefusal()
    {
        RsyncRunner runner;
        QSignalSpy finished(&runner, &RsyncRunner::finished);
        QObject first, second, third;
        const QStringList extra{m_daemon.portArg()};
        QVERIFY(runner.push(&first, "my project", "busy", false, extra));
        QVERIFY(!runner.push(&second, "my project", "busy", false, extra));
        QCOMPARE(runner.queuedRequesters(), 2);
        QCOMPARE(lastLog(&second), QString("warning rsync has been running..."));
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.at(0).at(0).value<QObject*>(), &first);
        // The refused requester stays queued and receives the next result.
        QCOMPARE(runner.queuedRequesters(), 1);
        QVERIFY(runner.push(&third, "my project", "busy", false, extra));
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.at(1).at(0).value<QObject*>(), &second);
    }

    void failures()
    {
        RsyncRunner runner;
        QSignalSpy finished(&runner, &RsyncRunner::finished);
        QObject noDaemon, noRsync;
        const QString closedPort = QString("--port=%1").arg(freePort());
        QVERIFY(runner.push(&noDaemon, "my project", "prj", false, {closedPort}));
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.at(0).at(1).toString(), QString());
        const QString title = lastLog(&noDaemon);
        QVERIFY2(title.startsWith("error rsync exits with 10: ") && title.contains("refused"),
                 qPrintable(title));

        QTemporaryDir empty;
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(empty.path()));
        runner.push(&noRsync, "my project", "prj", false, {});
        qputenv("PATH", path);
        QVERIFY(finished.count() == 2 || finished.wait(10000));
        QCOMPARE(finished.at(1).at(0).value<QObject*>(), &noRsync);
        QCOMPARE(finished.at(1).at(1).toString(), QString());
        QVERIFY(lastLog(&noRsync).startsWith("error rsync cannot be started"));
        QCOMPARE(runner.queuedRequesters(), 0);
    }
};

QTEST_MAIN(tst_RsyncRunner)
#include "tst_rsyncrunner.moc"
