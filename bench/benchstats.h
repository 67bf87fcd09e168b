#pragma once

// Figures shared by the benchmarks: percentiles, median and spread of
// repeated runs, the process's memory, and the result lines that
// scripts/bench gathers into its summary.

#include <QVector>

#include <cstdio>

namespace benchstats {

// The p-th percentile (0..1) of `samples`, sorted on the way.
double percentile(QVector<double> samples, double p);

struct Spread
{
    double median = 0;
    double min = 0;
    double max = 0;
};
Spread spread(const QVector<double>& runs);

// Resident memory now and at its peak, in KiB (0 when unknown).
qint64 rssKib();
qint64 peakRssKib();
// Starts the peak over from the present; false when the kernel cannot.
bool resetPeakRss();

// One result line: "RESULT <name> <value> <unit> target <op> <target> met|MISSED",
// with the spread of repeated runs when there were several. Returns whether
// the target is met; `atMost` chooses the comparison.
bool result(const char* name, const Spread& value, const char* unit, bool atMost, double target,
            int runs = 1);
// A figure without a target.
void info(const char* name, double value, const char* unit);

} // namespace benchstats
