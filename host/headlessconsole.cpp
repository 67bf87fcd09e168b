#include "headlessconsole.h"

#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QPointer>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hmi {

HeadlessConsole::HeadlessConsole(int inputFd, FILE* out, FILE* err, QObject* parent)
    : QObject(parent)
    , m_fd(inputFd)
    , m_out(out)
    , m_err(err)
{
    m_waitTimer.setSingleShot(true);
    connect(&m_waitTimer, &QTimer::timeout, this, &HeadlessConsole::resume);

    velk::CommandManager& engine = velk::command();
    connect(&engine, &velk::CommandManager::output, this,
            [this](const QString& text) { print(m_out, text); });
    connect(&engine, &velk::CommandManager::input, this,
            [this](const QString& text) { print(m_out, text); });
    connect(&engine, &velk::CommandManager::error, this,
            [this](const QString& text) { print(m_err, text); });
}

HeadlessConsole::~HeadlessConsole() = default;

void HeadlessConsole::start()
{
    if (m_started || m_stopped) {
        return;
    }
    m_started = true;
    struct stat info;
    if (m_fd < 0 || ::fstat(m_fd, &info) != 0) {
        // No input at all (closed descriptor): the same as an empty one.
        m_eof = true;
        scheduleNext();
        return;
    }
    // Regular files and /dev/null always poll readable, pipes and terminals
    // when data or the end arrived; in every case one read() does not block.
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &HeadlessConsole::readInput);
    updateReading();
}

void HeadlessConsole::stop()
{
    m_stopped = true;
    m_waitTimer.stop();
    updateReading();
}

void HeadlessConsole::pause(int ms)
{
    if (m_stopped || m_finished) {
        return;
    }
    m_waiting = true;
    m_waitTimer.start(qMax(0, ms));
    updateReading();
}

void HeadlessConsole::resume()
{
    m_waiting = false;
    updateReading();
    scheduleNext();
}

void HeadlessConsole::readInput()
{
    if (m_eof || m_stopped) {
        updateReading();
        return;
    }
    // A readiness report can be stale (another reader of a shared terminal
    // took the data); asking again costs nothing and keeps read() from blocking.
    struct pollfd ready = {m_fd, POLLIN, 0};
    int polled;
    do {
        polled = ::poll(&ready, 1, 0);
    } while (polled < 0 && errno == EINTR);
    if (polled == 0) {
        return;
    }
    char chunk[65536];
    ssize_t n;
    do {
        n = ::read(m_fd, chunk, sizeof chunk);
    } while (n < 0 && errno == EINTR);

    if (n < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return;
        }
        print(m_err, QStringLiteral("zarvo-hmi: cannot read standard input: %1")
                         .arg(QString::fromLocal8Bit(std::strerror(errno))));
        m_eof = true;
    } else if (n == 0) {
        m_eof = true;
    } else {
        m_buffer.append(chunk, int(n));
    }
    takeLines();
    updateReading();
    scheduleNext();
}

void HeadlessConsole::takeLines()
{
    int newline;
    while ((newline = m_buffer.indexOf('\n')) >= 0) {
        QByteArray line = m_buffer.left(newline);
        m_buffer.remove(0, newline + 1);
        if (m_discarding) {
            // The tail of an over-long line.
            m_discarding = false;
            continue;
        }
        if (line.endsWith('\r')) {
            line.chop(1);
        }
        m_lines.enqueue(QString::fromUtf8(line));
    }
    if (m_buffer.size() > maximumLineBytes) {
        if (!m_discarding) {
            print(m_err, QStringLiteral("zarvo-hmi: input line longer than %1 bytes skipped")
                             .arg(maximumLineBytes));
        }
        m_buffer.clear();
        m_discarding = true;
    }
    if (m_eof) {
        // A last line without a line end still counts.
        if (!m_buffer.isEmpty() && !m_discarding) {
            QByteArray line = m_buffer;
            if (line.endsWith('\r')) {
                line.chop(1);
            }
            m_lines.enqueue(QString::fromUtf8(line));
        }
        m_buffer.clear();
        m_discarding = false;
    }
}

// One line per turn of the event loop: whatever the previous line queued
// (signals, posted events) is delivered before the next line runs.
void HeadlessConsole::scheduleNext()
{
    if (m_scheduled || m_stopped || m_finished) {
        return;
    }
    m_scheduled = true;
    QMetaObject::invokeMethod(this, &HeadlessConsole::runNext, Qt::QueuedConnection);
}

void HeadlessConsole::runNext()
{
    m_scheduled = false;
    // A command that runs a nested event loop must not see the next line
    // start underneath it.
    if (m_stopped || m_busy || m_waiting || m_finished) {
        return;
    }
    if (m_lines.isEmpty()) {
        if (m_eof) {
            finish();
        } else {
            updateReading();
        }
        return;
    }
    const QString line = m_lines.dequeue().trimmed();
    if (!line.isEmpty() && !line.startsWith(QLatin1Char('#'))) {
        m_busy = true;
        updateReading();
        QPointer<HeadlessConsole> alive(this);
        velk::command().execute(line);
        if (!alive) {
            return;
        }
        m_busy = false;
    }
    updateReading();
    if (!m_waiting && (!m_lines.isEmpty() || m_eof)) {
        scheduleNext();
    }
}

void HeadlessConsole::updateReading()
{
    if (!m_notifier) {
        return;
    }
    const bool wanted =
        !m_stopped && !m_finished && !m_eof && !m_busy && !m_waiting && m_lines.isEmpty();
    if (m_notifier->isEnabled() != wanted) {
        m_notifier->setEnabled(wanted);
    }
}

void HeadlessConsole::finish()
{
    if (m_finished) {
        return;
    }
    m_finished = true;
    updateReading();
    Q_EMIT finished();
}

void HeadlessConsole::print(FILE* stream, const QString& text)
{
    if (!stream) {
        return;
    }
    QByteArray bytes = text.toUtf8();
    if (!bytes.endsWith('\n')) {
        bytes.append('\n');
    }
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace hmi
