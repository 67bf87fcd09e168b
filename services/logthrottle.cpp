#include "services/logthrottle.h"

LogThrottle::LogThrottle(int burst, qint64 windowMs)
    : m_burst(qMax(1, burst))
    , m_window(qMax<qint64>(1, windowMs))
{
}

bool LogThrottle::allow(const QString& kind, qint64 nowMs, int* suppressed)
{
    if (suppressed) {
        *suppressed = 0;
    }
    auto it = m_windows.find(kind);
    if (it == m_windows.end() || nowMs - it->start >= m_window || nowMs < it->start) {
        const int held = it == m_windows.end() ? 0 : it->suppressed;
        if (suppressed) {
            *suppressed = held;
        }
        m_windows.insert(kind, Window{nowMs, 1, 0});
        return true;
    }
    if (it->written < m_burst) {
        ++it->written;
        return true;
    }
    ++it->suppressed;
    return false;
}

QHash<QString, int> LogThrottle::flush()
{
    QHash<QString, int> held;
    for (auto it = m_windows.cbegin(); it != m_windows.cend(); ++it) {
        if (it->suppressed > 0) {
            held.insert(it.key(), it->suppressed);
        }
    }
    m_windows.clear();
    return held;
}

qint64 LogThrottle::window() const
{
    return m_window;
}
