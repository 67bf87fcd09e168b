// zarvo-hmi against a controller that sends one example of every kind of
// malformed input: afterwards the HMI must still be up, answer a normal
// request, and have kept its memory and its log within bounds.

#include "hmiprocess.h"

#include <QtTest>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

constexpr int kWaitMs = 60000;
// GCC says so with a macro, clang with a feature test.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZARVO_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(ZARVO_ASAN)
// The sanitizer holds freed memory back in its quarantine.
constexpr long kRssGrowthKb = 400 * 1024;
#else
constexpr long kRssGrowthKb = 64 * 1024;
#endif
constexpr qint64 kLogGrowth = 64 * 1024;

long rssKb(qint64 pid)
{
    const QList<QByteArray> lines =
        readFile(QStringLiteral("/proc/%1/status").arg(pid)).split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    return -1;
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray notification(const QString& module, const QString& command, const QByteArray& data)
{
    return "{\"module\":\"" + module.toUtf8() + "\",\"command\":\"" + command.toUtf8() +
           "\",\"data\":" + data + "}\n";
}

// One example of every kind, each on its own; the last one marks the end.
QList<QByteArray> hostileLines()
{
    QByteArray keys = "{";
    for (int i = 0; i < 100000; ++i) {
        keys += (i ? ",\"k" : "\"k") + QByteArray::number(i) + "\":1";
    }
    keys += "}";
    return {
        "{\"id\": oops}\n",                                                       // invalid JSON
        "{\"module\":\"system\",\"command\":\"state.change\",\"data\":{\"x\":\n", // truncated
        "{\"module\":\"system\",\"command\":\"state.change\",\"data\":{}}{\"id\":\"two\"}\n",
        "{\"id\":\"" + QByteArray(20 * 1024 * 1024, 'x') + "\"}\n", // a 20 MB line
        notification("motion", "move.monitor",
                     QByteArray(10000, '[') + QByteArray(10000, ']')), // depth 10,000
        "[1,2,3]\n\"text\"\n42\n",                                     // not objects
        "{\"id\":42}\n",                                               // id not a string
        notification("no", "such.command", "{}"),                      // unknown command
        "{\"id\":\"0123456789abcdef0123456789abcdef\"}\n",             // unknown id
        // Invalid UTF-8 and NUL bytes (sized: the literal holds a NUL).
        QByteArray("{\"id\":\"\xff\xfe\x00\x01\"}\n{\"module\":\"\xc3\x28\",\"command\":\"x\"}\n",
                   44),
        compact({{"module", "\x1b[2J\x1b[H"}, {"command", "a\nb\r[E|01/01] forged"}}),
        notification("system", "state.change", keys), // 100,000 unique keys
        notification("marker", "end", "{}"),
    };
}

// A controller that answers every request, proves itself as "Zarvo", and
// sends the hostile lines once the link is announced (the first request
// that is not a heartbeat).
class HostilePeer
{
public:
    HostilePeer()
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [=] { read(socket); });
            }
        });
    }
    quint16 port() const { return m_server.serverPort(); }

    std::function<void()> beforeBurst;
    std::function<void()> onMotor;
    bool burstSent = false;

private:
    void read(QTcpSocket* socket)
    {
        while (socket->canReadLine()) {
            const QJsonObject packet = QJsonDocument::fromJson(socket->readLine()).object();
            const QString id = packet.value("id").toString();
            const QString command = packet.value("command").toString();
            QJsonObject answer{{"id", id}};
            if (command == "controller.heart") {
                answer.insert("data", QJsonObject{{"name", "Zarvo"}});
            } else if (command == "state.get_motor" && id.startsWith('#')) {
                onMotor();
                answer.insert("data", QJsonObject{{"power", "off"}});
            }
            socket->write(compact(answer));
            if (command != "controller.heart" && !burstSent) {
                burstSent = true;
                beforeBurst();
                for (const QByteArray& line : m_lines) {
                    socket->write(line);
                }
            }
        }
    }

    QTcpServer m_server;
    const QList<QByteArray> m_lines = hostileLines();
};

} // namespace

class TestHeadlessHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void survivesEveryKindOfMalformedInput()
    {
        QTemporaryDir dir;
        HostilePeer peer;
        QVERIFY(writeSettings(dir.path(), peer.port()));

        QProcess hmi;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("ZARVO_DEBUG_LOG", "0");
        env.insert("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
        hmi.setProcessEnvironment(env);
        hmi.start(ZARVO_HMI_EXECUTABLE,
                  {"--headless", "--plugin", ZARVO_REAL_PLUGIN, "--workdir", dir.path()});
        QVERIFY(hmi.waitForStarted(kWaitMs));
        long before = -1;
        long after = -1;
        qint64 logBefore = 0;
        const QString log = dir.filePath("log/zarvo.log");
        peer.beforeBurst = [&] {
            before = rssKb(hmi.processId());
            logBefore = QFileInfo(log).size();
        };
        peer.onMotor = [&] { after = rssKb(hmi.processId()); };

        // A loaded machine may miss the first heartbeat's 1.6 s: connect again.
        for (int attempt = 0; attempt < 5 && !peer.burstSent; ++attempt) {
            if (!QTest::qWaitFor([&] { return peer.burstSent; }, 10000)) {
                hmi.write("rc.connect\n");
            }
        }
        QVERIFY(peer.burstSent);
        QVERIFY2(
            QTest::qWaitFor(
                [&] { return readFile(log).contains("Unrecognized notification: marker.end!"); },
                kWaitMs),
            qPrintable(hmi.readAllStandardError().right(2000)));
        QCOMPARE(hmi.state(), QProcess::Running);

        // Still answering, with the answer and nothing else.
        QByteArray out;
        hmi.write("rc.request system.state.get_motor -s\n");
        QVERIFY(QTest::qWaitFor(
            [&] {
                out += hmi.readAllStandardOutput();
                return out.contains('\n');
            },
            kWaitMs));
        QCOMPARE(out, QByteArray("{\"power\":\"off\"}\n"));
        hmi.write("quit\n");
        QVERIFY(hmi.waitForFinished(kWaitMs));
        QCOMPARE(hmi.exitStatus(), QProcess::NormalExit);
        QCOMPARE(hmi.exitCode(), 0);

        QVERIFY(before > 0 && after > 0);
        qInfo("RSS %ld kB -> %ld kB", before, after);
        QVERIFY2(after - before < kRssGrowthKb,
                 qPrintable(QStringLiteral("RSS %1 kB -> %2 kB").arg(before).arg(after)));
        const QByteArray written = readFile(log).mid(int(logBefore));
        qInfo("log grew by %d bytes", written.size());
        QVERIFY2(written.size() < kLogGrowth, qPrintable(QString::number(written.size())));
        for (const char c : written) {
            QVERIFY2(c == '\n' || static_cast<unsigned char>(c) >= 0x20,
                     qPrintable(QStringLiteral("control character %1 in the log").arg(int(c))));
        }
    }
};

QTEST_GUILESS_MAIN(TestHeadlessHostile)
#include "tst_headless_hostile.moc"
