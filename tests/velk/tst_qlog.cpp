#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>

#include <QtTest>

#include <ctime>

#include <functional>

using velk::QFLog;
using velk::QLog;

using Feed = std::function<void(QLog&)>;
Q_DECLARE_METATYPE(Feed)

namespace {

const QString kGreen = QStringLiteral("\033[32m");
const QString kCyan = QStringLiteral("\033[36m");

// A line to ./log/zarvo.log, the host's log file.
void fileLine(const QString& prefix, const QString& text)
{
    QFLog(kCyan, prefix, QString(), "./log/zarvo", "log") << text;
}

} // namespace

class tst_QLog : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_startDir = QDir::currentPath();

private Q_SLOTS:
    void init()
    {
        // Each case logs relative to its own folder, as the host does.
        const QString dir =
            m_dir.filePath(QString(QTest::currentTestFunction()) + '-' + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir) && QDir::setCurrent(dir));
        QLog::setConsoleEnabled(true);
        // Captured standard error is no terminal; the cases below want the codes.
        QLog::setColourEnabled(true);
    }

    void cleanup()
    {
        QDir::setCurrent(m_startDir);
        QFLog::setRotation(8 * 1024 * 1024, 4); // as shipped
        QLog::setConsoleEnabled(true);
    }

    void items_data()
    {
        QTest::addColumn<Feed>("feed");
        QTest::addColumn<QString>("expected");
        // clang-format off
        QTest::newRow("text as it is") << Feed([](QLog& l) { l << QStringLiteral("say \"hi\"\\n"); }) << "say \"hi\"\\n";
        QTest::newRow("chinese string, literal, variant") << Feed([](QLog& l) { l << QStringLiteral("机器人已连接") << "急停" << QVariant("中文"); }) << "机器人已连接 急停 中文";
        QTest::newRow("spaced, then not") << Feed([](QLog& l) { l << "a" << QChar('b'); l.nospace() << 3 << "c"; l.space() << "d"; }) << "a b3c d";
        QTest::newRow("numbers and bool") << Feed([](QLog& l) { l << true << -7 << 7u << qint64(1) << 2.5 << 0.1; }) << "true -7 7 1 2.5 0.1";
        QTest::newRow("json compact") << Feed([](QLog& l) { l << QJsonObject{{"a", 1}, {"b", "中"}} << QJsonArray{1, "x"}; }) << "{\"a\":1,\"b\":\"中\"} [1,\"x\"]";
        QTest::newRow("json values") << Feed([](QLog& l) { l << QJsonValue("plain") << QJsonValue() << QVariant(QJsonObject{{"k", true}}); }) << "plain null {\"k\":true}";
        QTest::newRow("null sender") << Feed([](QLog& l) { l << static_cast<QObject*>(nullptr); }) << "QObject(0x0)";
        QTest::newRow("line break, CR, tab, NUL") << Feed([](QLog& l) { l << QString::fromUtf8("a\nb\rc\td\0e", 9); }) << "a\\nb\\rc\\td\\x00e";
        QTest::newRow("terminal escape in a variant") << Feed([](QLog& l) { l << QVariant("\x1b[2Jx"); }) << "\\x1b[2Jx";
        QTest::newRow("C1, separators, bidi") << Feed([](QLog& l) { l << QString(QChar(0x85)) + QChar(0x2028) + QChar(0x202e) + QChar(0x2067) + "z"; }) << "\\x85\\u2028\\u202e\\u2067z";
        QTest::newRow("over the item limit") << Feed([](QLog& l) { l.nospace() << QString(QLog::MaxItemLength + 5, 'x') << "|"; }) << QString(QLog::MaxItemLength, 'x') + " ...(4101 characters)|";
        QTest::newRow("cut after escapes") << Feed([](QLog& l) { l << QString(QLog::MaxItemLength - 1, 'x') + "\n\n"; }) << QString(QLog::MaxItemLength - 1, 'x') + "\\n ...(4097 characters)";
        // clang-format on
    }

    void items()
    {
        QFETCH(Feed, feed);
        QFETCH(QString, expected);
        QLog::setConsoleEnabled(false);
        QLog log(kGreen, "[d|p]", QString());
        feed(log);
        QCOMPARE(log.text(), "[d|p] " + expected);
    }

    void consoleInColourFileWithout()
    {
        QCOMPARE(QFLog::fileName("./log/zarvo", "log"), QStringLiteral("./log/zarvo.log"));
        QCOMPARE(QFLog::fileName("./log/zarvo.txt", QString()), QStringLiteral("./log/zarvo.txt"));
        QVERIFY(writeFile("log/zarvo.log", "earlier line\n"));
        StderrCapture capture;
        QLog(kGreen, "[d|06/01 10:00:00.000]", "<velk>") << "n:" << QStringLiteral("名字") << 7;
        fileLine("[I|t]", "控制器已连接");
        // A file that cannot be opened, or none at all, still leaves the console line.
        QVERIFY(writeFile("blocker", "a file where a folder should be"));
        QFLog(kCyan, "[E|t]", QString(), "./blocker/zarvo", "log") << "still shown";
        QFLog(kCyan, "[E|t]", QString(), QString(), "log") << "no file";
        QCOMPARE(capture.take(),
                 QByteArray("\033[32m[d|06/01 10:00:00.000] <velk> n: 名字 7\033[0m\n"
                            "\033[36m[I|t] 控制器已连接\033[0m\n"
                            "\033[36m[E|t] still shown\033[0m\n\033[36m[E|t] no file\033[0m\n"));
        QCOMPARE(readFile("log/zarvo.log"), QByteArray("earlier line\n[I|t] 控制器已连接\n"));
    }

    void rotationKeepsNFiles()
    {
        const int lines = 60;
        const auto text = [](int i) {
            return QStringLiteral("line %1 ........").arg(i, 3, 10, QChar('0'));
        };
        QFLog::setRotation(256, 2);
        QLog::setConsoleEnabled(false);
        for (int i = 0; i < lines; ++i) {
            fileLine("[I|t]", text(i));
        }
        QCOMPARE(QDir("log").entryList(QDir::Files, QDir::Name),
                 QStringList({"zarvo.log", "zarvo.log.1", "zarvo.log.2"}));
        QByteArray all;
        for (const char* name : {"log/zarvo.log.2", "log/zarvo.log.1", "log/zarvo.log"}) {
            const QByteArray data = readFile(name);
            QVERIFY2(data.size() <= 256 && data.endsWith('\n'), name);
            all += data;
        }
        // Oldest to newest, no line lost between the kept files, the last one last.
        const QList<QByteArray> kept = all.trimmed().split('\n');
        const int first = lines - kept.size();
        QVERIFY(first > 0);
        for (int i = 0; i < kept.size(); ++i) {
            QCOMPARE(kept.at(i), ("[I|t] " + text(first + i)).toUtf8());
        }
    }

    void switchedOffOutput()
    {
        StderrCapture capture;
        QLog(kGreen, "[d|t]", QString()).setEnabled(false) << "n:" << QJsonObject{{"a", 1}} << 5;
        QFLog(kCyan, "[I|t]", QString(), "./log/zarvo", "log").setEnabled(false) << "dropped";
        // Without the console the file still gets its line.
        QLog::setConsoleEnabled(false);
        QLog(kGreen, "[d|t]", QString()) << "hidden";
        fileLine("[I|t]", "file only");
        QLog::setConsoleEnabled(true);
        QLog(kGreen, "[d|t]", QString()) << "shown";
        QLog::setColourEnabled(false);
        QLog(kGreen, "[d|t]", QString()) << "plain";
        QCOMPARE(capture.take(), QByteArray("\033[32m[d|t] shown\033[0m\n[d|t] plain\n"));
        QCOMPARE(readFile("log/zarvo.log"), QByteArray("[I|t] file only\n"));
    }

    void timeStamp_data()
    {
        // Rows run in this order: later ones reuse or replace the minute
        // remembered from earlier ones, across both changes of the clock.
        QTest::addColumn<qint64>("msecs");
        QTest::addColumn<QString>("expected");
        QTest::addRow("winter") << Q_INT64_C(1768472430045) << "01/15 11:20:30.045";
        QTest::addRow("same minute") << Q_INT64_C(1768472459999) << "01/15 11:20:59.999";
        QTest::addRow("before spring forward") << Q_INT64_C(1774745999999) << "03/29 01:59:59.999";
        QTest::addRow("after spring forward") << Q_INT64_C(1774746000000) << "03/29 03:00:00.000";
        QTest::addRow("first 02:30 in autumn") << Q_INT64_C(1792888200000) << "10/25 02:30:00.000";
        QTest::addRow("second 02:30 in autumn") << Q_INT64_C(1792891800000) << "10/25 02:30:00.000";
        QTest::addRow("year end") << Q_INT64_C(1798757999999) << "12/31 23:59:59.999";
        QTest::addRow("new year") << Q_INT64_C(1798758000000) << "01/01 00:00:00.000";
        QTest::addRow("before 1970") << Q_INT64_C(-1) << "01/01 00:59:59.999";
        QTest::addRow("back in winter") << Q_INT64_C(1768472430045) << "01/15 11:20:30.045";
    }

    void timeStamp()
    {
        QFETCH(qint64, msecs);
        QFETCH(QString, expected);
        const bool hadZone = qEnvironmentVariableIsSet("TZ");
        const QByteArray zone = qgetenv("TZ");
        qputenv("TZ", "Europe/Berlin");
        tzset();
        const QString stamp = QLog::timeStamp(msecs);
        if (hadZone) {
            qputenv("TZ", zone);
        } else {
            qunsetenv("TZ");
        }
        tzset();
        QCOMPARE(stamp, expected);
    }
};

QTEST_GUILESS_MAIN(tst_QLog)
#include "tst_qlog.moc"
