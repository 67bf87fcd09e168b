#include "testfiles.h"

#include <velk/jsonfile.h>

#include <QtTest>

#include <csignal>
#include <sys/resource.h>

class TestJsonFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedWriteKeepsOldFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("setting.json");
        QVERIFY(velk::JsonFile::write(path, QJsonObject{{"old", true}}));
        const QByteArray before = readFile(path);
        // A file-size limit fails the write part-way as a full disk does, and
        // holds for root as well, where folder permissions would not.
        rlimit saved{};
        QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 4096;
        QVERIFY(setrlimit(RLIMIT_FSIZE, &small) == 0);
        QString error;
        const bool written =
            velk::JsonFile::write(path, QJsonObject{{"data", QString(64 * 1024, 'x')}}, &error);
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, oldHandler);
        QVERIFY(!written && error.contains(path));
        QCOMPARE(readFile(path), before);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"setting.json"});
    }
};

QTEST_GUILESS_MAIN(TestJsonFile)
#include "tst_jsonfile.moc"
