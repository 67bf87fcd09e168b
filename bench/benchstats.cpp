#include "benchstats.h"

#include <QFile>

#include <algorithm>
#include <cmath>

namespace benchstats {

double percentile(QVector<double> samples, double p)
{
    if (samples.isEmpty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    const int index = std::min(samples.size() - 1, int(std::ceil(p * samples.size())) - 1);
    return samples.at(std::max(0, index));
}

Spread spread(const QVector<double>& runs)
{
    Spread s;
    if (runs.isEmpty()) {
        return s;
    }
    QVector<double> sorted = runs;
    std::sort(sorted.begin(), sorted.end());
    s.min = sorted.first();
    s.max = sorted.last();
    const int n = sorted.size();
    s.median = n % 2 ? sorted.at(n / 2) : (sorted.at(n / 2 - 1) + sorted.at(n / 2)) / 2;
    return s;
}

namespace {

qint64 statusKib(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    // A file of /proc has no size: read it whole rather than asking for its end.
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(key)) {
            return line.mid(int(qstrlen(key))).simplified().split(' ').value(0).toLongLong();
        }
    }
    return 0;
}

} // namespace

qint64 rssKib()
{
    return statusKib("VmRSS:");
}

qint64 peakRssKib()
{
    return statusKib("VmHWM:");
}

bool resetPeakRss()
{
    QFile refs(QStringLiteral("/proc/self/clear_refs"));
    return refs.open(QIODevice::WriteOnly) && refs.write("5") == 1;
}

bool result(const char* name, const Spread& value, const char* unit, bool atMost, double target,
            int runs)
{
    const bool met = atMost ? value.median <= target : value.median >= target;
    std::printf("RESULT %-28s %12.2f %-8s target %s %-10g %s", name, value.median, unit,
                atMost ? "<=" : ">=", target, met ? "met" : "MISSED");
    if (runs > 1) {
        std::printf("   (median of %d, %.2f .. %.2f)", runs, value.min, value.max);
    }
    std::printf("\n");
    std::fflush(stdout);
    return met;
}

void info(const char* name, double value, const char* unit)
{
    std::printf("INFO   %-28s %12.2f %s\n", name, value, unit);
    std::fflush(stdout);
}

} // namespace benchstats
