#pragma once

// zarvo-hmi and zarvo-rcsim as child processes of a test: output collected as
// it comes, the process killed when the test leaves, settings that point the
// HMI at a simulator on loopback.

#include "testfiles.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

class ChildProcess : public QProcess
{
public:
    ChildProcess()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("ZARVO_PLUGIN"));
        env.insert(QStringLiteral("ZARVO_BROADCAST_ADDRESS"), QStringLiteral("127.0.0.1"));
        setProcessEnvironment(env);
        connect(this, &QProcess::readyReadStandardError, this,
                [this] { err += QString::fromUtf8(readAllStandardError()); });
        connect(this, &QProcess::readyReadStandardOutput, this,
                [this] { out += QString::fromUtf8(readAllStandardOutput()); });
    }
    ~ChildProcess() override
    {
        if (state() != QProcess::NotRunning) {
            kill();
            waitForFinished(5000);
        }
    }
    void say(const QByteArray& line) { write(line + '\n'); }
    // Until `part` shows in standard error, at most `ms`.
    bool waitForErr(const QString& part, int ms)
    {
        return QTest::qWaitFor([&] { return err.contains(part); }, ms);
    }

    QString out;
    QString err;
};

#ifdef ZARVO_RCSIM_EXECUTABLE
// The simulator on `port` (0: any free one); the port it took, 0 on failure.
inline int startSimulator(ChildProcess* sim, int port)
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
#endif

// config/setting.json below `dir` for a controller on 127.0.0.1:`port`, with
// discovery and the upgrade server kept on loopback too.
inline bool writeSettings(const QString& dir, int port, const QString& language = "en")
{
    const QJsonObject server{{"ip", "127.0.0.1"}, {"port", port}};
    const QJsonObject settings{{"language", language},
                               {"server", server},
                               {"upgrade_server", QJsonObject{{"ip", "127.0.0.1"}, {"port", 1}}},
                               {"udp", QJsonObject{{"local_port", 0}, {"server_port", 1}}},
                               {"local", QJsonObject{{"ip", ""}}}};
    return writeFile(QDir(dir).filePath(QStringLiteral("config/setting.json")),
                     QJsonDocument(settings).toJson());
}
