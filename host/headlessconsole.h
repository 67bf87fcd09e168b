#pragma once

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QString>
#include <QTimer>

#include <cstdio>

class QSocketNotifier;

namespace hmi {

// The console without a window: reads command lines from a file descriptor
// (standard input: a pipe, a file or a terminal), runs them one per turn of
// the event loop through the console engine, and prints what the engine
// answers, results to `out` and errors to `err`, one flushed line each.
//
// Reading never blocks the event loop: one read() per readiness report. It
// pauses while read lines are still waiting, while a command runs and while
// a wait is in progress, so input is never dropped and memory stays bounded.
class HeadlessConsole : public QObject
{
    Q_OBJECT

public:
    explicit HeadlessConsole(int inputFd = 0, FILE* out = stdout, FILE* err = stderr,
                             QObject* parent = nullptr);
    ~HeadlessConsole() override;

    // A longer line is reported and skipped, up to its end.
    static constexpr int maximumLineBytes = 1 << 20;

    // Start reading (from the event loop on).
    void start();
    // Stop reading and running lines; finished() is not emitted.
    void stop();
    bool isFinished() const { return m_finished; }

public Q_SLOTS:
    // Run nothing for `ms` milliseconds; lines are read on afterwards.
    void pause(int ms);

Q_SIGNALS:
    // The input ended and every line of it was handled.
    void finished();

private:
    void readInput();
    void takeLines();
    void scheduleNext();
    void runNext();
    void resume();
    void updateReading();
    void finish();
    void print(FILE* stream, const QString& text);

    int m_fd;
    FILE* m_out;
    FILE* m_err;
    QSocketNotifier* m_notifier = nullptr;
    QTimer m_waitTimer;
    QByteArray m_buffer;
    QQueue<QString> m_lines;
    bool m_started = false;
    bool m_eof = false;
    bool m_discarding = false;
    bool m_waiting = false;
    bool m_busy = false;
    bool m_scheduled = false;
    bool m_stopped = false;
    bool m_finished = false;
};

} // namespace hmi
