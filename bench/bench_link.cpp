// Round trips through the whole controller link against the floor of a bare
// client, and the rate at which streamed notifications reach the tree.
//
//   bench_link [--requests N] [--warmup N] [--notifications N] [--strict]
//
// Targets: the link's median round trip at most 1.3 times the floor's, and at
// least 100,000 notifications a second. --strict exits 3 when one is missed.

#include "linkbench.h"

#include "services/modulelog.h"

#include <QApplication>
#include <QCommandLineParser>

#include <algorithm>
#include <cstdio>

namespace {

struct Figures
{
    double median = 0;
    double p99 = 0;
};

Figures figures(QVector<qint64> samples)
{
    Figures f;
    if (samples.isEmpty()) {
        return f;
    }
    std::sort(samples.begin(), samples.end());
    f.median = samples.at(samples.size() / 2) / 1000.0;
    f.p99 = samples.at(std::min(samples.size() - 1, int(samples.size() * 0.99))) / 1000.0;
    return f;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // The link traces every packet as a debug line; a benchmark measures the
    // link, not the terminal.
    zarvo::setDebugLogEnabled(false);
    QApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {"requests", "Round trips measured per side.", "n", "2000"},
        {"warmup", "Round trips before measuring.", "n", "200"},
        {"notifications", "Notifications streamed for the import rate.", "n", "200000"},
        {"strict", "Exit with 3 when a target is missed."},
    });
    parser.process(app);
    const int requests = std::max(1, parser.value("requests").toInt());
    const int warmup = std::max(0, parser.value("warmup").toInt());
    const int notifications = std::max(2, parser.value("notifications").toInt());

    LinkBench bench(QStringLiteral(ZARVO_RCSIM_PATH));
    if (!bench.start()) {
        std::fprintf(stderr, "bench_link: %s\n", qPrintable(bench.errorString()));
        return 1;
    }

    bench.linkRoundTrips(warmup);
    bench.floorRoundTrips(warmup);
    const QVector<qint64> link = bench.linkRoundTrips(requests);
    const QVector<qint64> floor = bench.floorRoundTrips(requests);
    if (link.size() < requests || floor.size() < requests) {
        std::fprintf(stderr, "bench_link: round trips incomplete (link %d, floor %d of %d)\n",
                     link.size(), floor.size(), requests);
        return 1;
    }
    const double rate = bench.notificationRate(notifications);
    if (rate <= 0) {
        std::fprintf(stderr, "bench_link: the notification stream did not arrive\n");
        return 1;
    }

    const Figures l = figures(link);
    const Figures f = figures(floor);
    const double ratio = f.median > 0 ? l.median / f.median : 0;
    const bool ratioOk = ratio <= 1.3;
    const bool rateOk = rate >= 100000;
    std::printf("link  round trip: median %8.1f us   p99 %8.1f us   (n=%d)\n", l.median, l.p99,
                requests);
    std::printf("floor round trip: median %8.1f us   p99 %8.1f us   (n=%d)\n", f.median, f.p99,
                requests);
    std::printf("ratio of medians: %.2f (target <= 1.30) %s\n", ratio, ratioOk ? "met" : "MISSED");
    std::printf("notification import: %.0f /s (n=%d, target >= 100000) %s\n", rate, notifications,
                rateOk ? "met" : "MISSED");
    std::fflush(stdout);
    if (parser.isSet("strict") && !(ratioOk && rateOk)) {
        return 3;
    }
    return 0;
}
