#include "latenessprobe.h"

#include "benchstats.h"

#include <algorithm>

LatenessProbe::LatenessProbe(QObject* parent)
    : QObject(parent)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(1);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        const qint64 now = m_clock.nsecsElapsed();
        m_lateness.append(std::max(0.0, (now - m_last) / 1e6 - 1.0));
        m_last = now;
    });
}

void LatenessProbe::start()
{
    m_lateness.clear();
    m_lateness.reserve(1 << 16);
    m_clock.start();
    m_last = 0;
    m_timer.start();
}

void LatenessProbe::stop()
{
    m_timer.stop();
}

double LatenessProbe::p50() const
{
    return benchstats::percentile(m_lateness, 0.50);
}

double LatenessProbe::p99() const
{
    return benchstats::percentile(m_lateness, 0.99);
}

double LatenessProbe::max() const
{
    return m_lateness.isEmpty() ? 0 : *std::max_element(m_lateness.begin(), m_lateness.end());
}
