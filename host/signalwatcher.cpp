#include "signalwatcher.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace hmi {

namespace {

// [0] is written by the handler, [1] read by the event loop.
int g_fds[2] = {-1, -1};

extern "C" void onTerminationSignal(int signalNumber)
{
    // Only async-signal-safe calls here: one write, errno preserved.
    const int saved = errno;
    const char byte = char(signalNumber);
    if (g_fds[0] >= 0) {
        [[maybe_unused]] const ssize_t n = ::write(g_fds[0], &byte, 1);
    }
    errno = saved;
}

void closeFds()
{
    for (int& fd : g_fds) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
}

} // namespace

SignalWatcher::SignalWatcher(QObject* parent)
    : QObject(parent)
{
    if (g_fds[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_fds) != 0) {
        return;
    }
    // The handler must never block, even with a full buffer.
    ::fcntl(g_fds[0], F_SETFL, ::fcntl(g_fds[0], F_GETFL) | O_NONBLOCK);

    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    if (::sigaction(SIGINT, &action, nullptr) != 0 || ::sigaction(SIGTERM, &action, nullptr) != 0) {
        restoreDefaults();
        closeFds();
        return;
    }
    m_notifier = new QSocketNotifier(g_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::readSignal);
}

SignalWatcher::~SignalWatcher()
{
    if (m_notifier) {
        restoreDefaults();
        delete m_notifier;
        m_notifier = nullptr;
        closeFds();
    }
}

void SignalWatcher::readSignal()
{
    char byte = 0;
    if (::read(g_fds[1], &byte, 1) != 1) {
        return;
    }
    restoreDefaults();
    m_notifier->setEnabled(false);
    Q_EMIT terminationRequested(int(byte));
}

void SignalWatcher::restoreDefaults()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

} // namespace hmi
