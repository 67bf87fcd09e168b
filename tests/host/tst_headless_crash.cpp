// zarvo-hmi killed with SIGKILL at random moments while it saves its
// settings: every time the file on disk is complete, valid JSON, and no
// temporary file of a save survives the next start.

#include "testfiles.h"

#include <QtTest>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

namespace {

constexpr int kWaitMs = 60000;

// 200 in CI; a quick round elsewhere; ZARVO_CRASH_ITERATIONS overrides both.
int iterations()
{
    bool ok = false;
    const int n = qEnvironmentVariableIntValue("ZARVO_CRASH_ITERATIONS", &ok);
    if (ok && n > 0) {
        return qMin(n, 10000);
    }
    return qEnvironmentVariableIsSet("CI") ? 200 : 25;
}

QStringList temporaries(const QString& folder)
{
    return QDir(folder)
        .entryList(QDir::Files | QDir::Hidden)
        .filter(QRegularExpression("^.+\\.json\\.[A-Za-z0-9]{6}$"));
}

// Empty when the file is whole: a JSON object with a "server" object.
QString damage(const QString& path)
{
    QByteArray data = readFile(path);
    if (data.startsWith("\xEF\xBB\xBF")) {
        data = data.mid(3);
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        return error.errorString();
    }
    return doc.object().value("server").isObject() ? QString() : QStringLiteral("no server");
}

} // namespace

class TestHeadlessCrash : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    void start(QProcess& hmi)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("ZARVO_DEBUG_LOG", "0");
        env.insert("VELK_LOG_CONSOLE", "0");
        env.insert("ZARVO_BROADCAST_ADDRESS", "127.0.0.1");
        hmi.setProcessEnvironment(env);
        hmi.setStandardOutputFile(QProcess::nullDevice());
        hmi.setStandardErrorFile(QProcess::nullDevice());
        hmi.start(ZARVO_HMI_EXECUTABLE,
                  {"--headless", "--plugin", ZARVO_REAL_PLUGIN, "--workdir", m_dir.path()});
    }

private Q_SLOTS:
    void killedWhileSaving()
    {
        // Every line saves the settings (a new address each time).
        QByteArray script;
        for (int i = 0; i < 100; ++i) {
            script += QStringLiteral("rc.connect -ip=127.0.0.%1 -port=%2\n")
                          .arg(i % 250 + 1)
                          .arg(1024 + i)
                          .toUtf8();
        }
        const QString config = m_dir.filePath("config");
        const QString file = m_dir.filePath("config/setting.json");

        // One run to the end tells how long the saves take on this machine:
        // the kills fall anywhere from start-up to the last save.
        QElapsedTimer clock;
        clock.start();
        {
            QProcess hmi;
            start(hmi);
            hmi.write(script + "quit\n");
            QVERIFY(hmi.waitForFinished(kWaitMs) && hmi.exitCode() == 0);
        }
        const int window = int(qMax<qint64>(50, clock.elapsed()));
        QVERIFY2(damage(file).isEmpty(), qPrintable(damage(file)));

        const quint32 seed = QRandomGenerator::global()->generate();
        QRandomGenerator random(seed);
        const int n = iterations();
        int leftBehind = 0;
        for (int i = 0; i < n; ++i) {
            QProcess hmi;
            start(hmi);
            QVERIFY(hmi.waitForStarted(kWaitMs));
            hmi.write(script);
            QTest::qWait(int(random.bounded(quint32(window))));
            hmi.kill();
            QVERIFY(hmi.waitForFinished(kWaitMs));
            const QString broken = damage(file);
            QVERIFY2(
                broken.isEmpty(),
                qPrintable(QStringLiteral("kill %1 (seed %2): %3").arg(i).arg(seed).arg(broken)));
            leftBehind += temporaries(config).isEmpty() ? 0 : 1;
        }
        qInfo("%d of %d kills (window %d ms, seed %u) left a temporary file", leftBehind, n, window,
              seed);

        QProcess last;
        start(last);
        last.write("quit\n");
        QVERIFY(last.waitForFinished(kWaitMs) && last.exitCode() == 0);
        QCOMPARE(temporaries(config), QStringList());
        QVERIFY(damage(file).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestHeadlessCrash)
#include "tst_headless_crash.moc"
