#include "host/headlessconsole.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QEventLoop>
#include <QtTest>

#include <unistd.h>

namespace {

// Records what the console ran, in order.
class RecordCommand : public velk::BaseCommand
{
public:
    RecordCommand(const QString& name, QStringList* log)
        : velk::BaseCommand(name, true)
        , m_log(log)
    {
    }
    std::function<void(const QString&)> body;
    void execute(const QString& args) override
    {
        m_log->append(name() + QLatin1Char(':') + args);
        if (body) {
            body(args);
        }
    }

private:
    QStringList* m_log;
};

QByteArray readAll(FILE* file)
{
    std::fflush(file);
    std::rewind(file);
    QByteArray bytes;
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        bytes.append(chunk, int(n));
    }
    return bytes;
}

} // namespace

class TestHeadlessConsole : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void linesSplitAcrossWrites();
    void waitPausesReading();
    void nestedEventLoopDoesNotStartTheNextLine();
    void overlongLineIsSkipped();
    void closedInputFinishesAtOnce();
    void stopEndsEverything();
    void outputGoesToItsStream();

private:
    int feed(const QByteArray& bytes); // a pipe's read end, `bytes` written, write end open
    QStringList m_ran;
    RecordCommand m_rec{QStringLiteral("t.rec"), &m_ran};
    RecordCommand m_pause{QStringLiteral("t.pause"), &m_ran};
    RecordCommand m_nest{QStringLiteral("t.nest"), &m_ran};
    int m_fds[2] = {-1, -1};
    FILE* m_out = nullptr;
    FILE* m_err = nullptr;
};

void TestHeadlessConsole::initTestCase()
{
    QVERIFY(velk::command().regist(&m_rec));
    QVERIFY(velk::command().regist(&m_pause));
    QVERIFY(velk::command().regist(&m_nest));
}

void TestHeadlessConsole::init()
{
    m_ran.clear();
    m_out = std::tmpfile();
    m_err = std::tmpfile();
    QVERIFY(m_out && m_err);
    QCOMPARE(::pipe(m_fds), 0);
}

void TestHeadlessConsole::cleanup()
{
    for (int& fd : m_fds) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
    std::fclose(m_out);
    std::fclose(m_err);
}

int TestHeadlessConsole::feed(const QByteArray& bytes)
{
    if (!bytes.isEmpty()) {
        [[maybe_unused]] const ssize_t n =
            ::write(m_fds[1], bytes.constData(), size_t(bytes.size()));
    }
    return m_fds[0];
}

void TestHeadlessConsole::linesSplitAcrossWrites()
{
    hmi::HeadlessConsole console(feed("t.rec a"), m_out, m_err);
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    console.start();
    QTest::qWait(50);
    QVERIFY(m_ran.isEmpty()); // half a line is not a line
    feed(" b\nt.rec c\n");
    QTRY_COMPARE(m_ran, QStringList({"t.rec:a b", "t.rec:c"}));
    QVERIFY(finished.isEmpty()); // the input is still open
    ::close(m_fds[1]);
    m_fds[1] = -1;
    QVERIFY(finished.wait(5000));
}

void TestHeadlessConsole::waitPausesReading()
{
    hmi::HeadlessConsole console(feed("t.pause\nt.rec after\n"), m_out, m_err);
    m_pause.body = [&console](const QString&) { console.pause(300); };
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    ::close(m_fds[1]);
    m_fds[1] = -1;
    QElapsedTimer clock;
    clock.start();
    console.start();
    QTRY_COMPARE(m_ran.size(), 2);
    m_pause.body = nullptr;
    QVERIFY(clock.elapsed() >= 290);
    QCOMPARE(m_ran, QStringList({"t.pause:", "t.rec:after"}));
    QTRY_COMPARE(finished.count(), 1);
}

void TestHeadlessConsole::nestedEventLoopDoesNotStartTheNextLine()
{
    hmi::HeadlessConsole console(feed("t.nest\n"), m_out, m_err);
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    // The next line arrives while the command still runs its own event loop.
    m_pause.body = [this](const QString&) {
        feed("t.rec next\n");
        ::close(m_fds[1]);
        m_fds[1] = -1;
    };
    m_nest.body = [this](const QString&) {
        m_pause.execute(QString());
        QEventLoop loop;
        QTimer::singleShot(100, &loop, &QEventLoop::quit);
        loop.exec();
        m_ran.append(QStringLiteral("nest done"));
    };
    console.start();
    QVERIFY(finished.wait(5000));
    m_pause.body = nullptr;
    QCOMPARE(m_ran, QStringList({"t.nest:", "t.pause:", "nest done", "t.rec:next"}));
}

void TestHeadlessConsole::overlongLineIsSkipped()
{
    // A regular file: more than a pipe holds, and files must work as input.
    QTemporaryFile input;
    QVERIFY(input.open());
    input.write("t.rec before\n");
    input.write(QByteArray(hmi::HeadlessConsole::maximumLineBytes + 100000, 'x'));
    input.write("\nt.rec after\n");
    input.flush();
    input.seek(0);

    hmi::HeadlessConsole console(int(input.handle()), m_out, m_err);
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    console.start();
    QVERIFY(finished.wait(10000));
    QCOMPARE(m_ran, QStringList({"t.rec:before", "t.rec:after"}));
    QVERIFY(readAll(m_err).contains("longer than"));
}

void TestHeadlessConsole::closedInputFinishesAtOnce()
{
    hmi::HeadlessConsole console(-1, m_out, m_err);
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    console.start();
    QVERIFY(finished.wait(5000));
    QVERIFY(console.isFinished());
}

void TestHeadlessConsole::stopEndsEverything()
{
    hmi::HeadlessConsole console(feed("t.pause\nt.rec never\n"), m_out, m_err);
    m_pause.body = [&console](const QString&) { console.stop(); };
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    ::close(m_fds[1]);
    m_fds[1] = -1;
    console.start();
    QTRY_COMPARE(m_ran.size(), 1);
    QTest::qWait(100);
    m_pause.body = nullptr;
    QCOMPARE(m_ran, QStringList{"t.pause:"});
    QVERIFY(finished.isEmpty());
}

void TestHeadlessConsole::outputGoesToItsStream()
{
    hmi::HeadlessConsole console(feed(""), m_out, m_err);
    m_rec.output(QStringLiteral("result"));
    m_rec.error(QStringLiteral("trouble"));
    m_rec.input(QStringLiteral("completion"));
    m_rec.output(QStringLiteral("ends with newline\n"));
    QCOMPARE(readAll(m_out), QByteArray("result\ncompletion\nends with newline\n"));
    QCOMPARE(readAll(m_err), QByteArray("trouble\n"));
}

QTEST_GUILESS_MAIN(TestHeadlessConsole)
#include "tst_headlessconsole.moc"
