#include "host/headlessconsole.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QEventLoop>
#include <QtTest>

#include <functional>
#include <unistd.h>

namespace {

// Records that it ran, then runs its body.
class RecordCommand : public velk::BaseCommand
{
public:
    RecordCommand(const QString& name, QStringList* log, std::function<void()> body = {})
        : velk::BaseCommand(name, true)
        , m_log(log)
        , m_body(std::move(body))
    {
    }
    void execute(const QString& args) override
    {
        m_log->append(name() + QLatin1Char(':') + args);
        if (m_body) {
            m_body();
        }
    }

private:
    QStringList* m_log;
    std::function<void()> m_body;
};

} // namespace

class TestHeadlessConsole : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nestedEventLoopDoesNotStartTheNextLine();
};

void TestHeadlessConsole::nestedEventLoopDoesNotStartTheNextLine()
{
    int fds[2];
    QCOMPARE(::pipe(fds), 0);
    QStringList ran;
    RecordCommand rec(QStringLiteral("t.rec"), &ran);
    // The next line arrives while this command still runs an event loop of its own.
    RecordCommand nest(QStringLiteral("t.nest"), &ran, [&] {
        QCOMPARE(::write(fds[1], "t.rec next\n", 11), ssize_t(11));
        ::close(fds[1]);
        QEventLoop loop;
        QTimer::singleShot(100, &loop, &QEventLoop::quit);
        loop.exec();
        ran.append(QStringLiteral("nest done"));
    });
    QVERIFY(velk::command().regist(&rec));
    QVERIFY(velk::command().regist(&nest));
    QCOMPARE(::write(fds[1], "t.nest\n", 7), ssize_t(7));

    hmi::HeadlessConsole console(fds[0]);
    QSignalSpy finished(&console, &hmi::HeadlessConsole::finished);
    console.start();
    QVERIFY(finished.wait(5000));
    QCOMPARE(ran, QStringList({"t.nest:", "nest done", "t.rec:next"}));
    ::close(fds[0]);
}

QTEST_GUILESS_MAIN(TestHeadlessConsole)
#include "tst_headlessconsole.moc"
