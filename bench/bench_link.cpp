// Round trips through the whole controller link against the floor of a bare
// client on the same simulator. (How fast the link takes in a flood is
// bench_ingest's part, with a producer that is never the limit.)
//
//   bench_link [--requests N] [--warmup N] [--strict]
//
// Target: the link's median round trip at most 1.3 times the floor's.
// --strict exits 3 when it is missed.

#include "benchhmi.h"
#include "benchstats.h"
#include "linkbench.h"

#include <QApplication>
#include <QCommandLineParser>

#include <algorithm>
#include <cstdio>

namespace {

QVector<double> micros(const QVector<qint64>& nanos)
{
    QVector<double> out;
    out.reserve(nanos.size());
    for (qint64 ns : nanos) {
        out << ns / 1000.0;
    }
    return out;
}

} // namespace

int main(int argc, char* argv[])
{
    benchhmi::prepare();
    QApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {"requests", "Round trips measured per side and round.", "n", "2000"},
        {"warmup", "Round trips before measuring.", "n", "200"},
        {"rounds", "Alternating rounds; the median ratio counts.", "n", "3"},
        {"strict", "Exit with 3 when the target is missed."},
    });
    parser.process(app);
    const int requests = std::max(1, parser.value("requests").toInt());
    const int warmup = std::max(0, parser.value("warmup").toInt());
    const int rounds = std::max(1, parser.value("rounds").toInt());

    LinkBench bench(QStringLiteral(ZARVO_RCSIM_PATH));
    if (!bench.start()) {
        std::fprintf(stderr, "bench_link: %s\n", qPrintable(bench.errorString()));
        return 1;
    }
    bench.linkRoundTrips(warmup);
    bench.floorRoundTrips(warmup);
    QVector<double> ratios, linkMedians, floorMedians, linkP99;
    for (int r = 0; r < rounds; ++r) {
        const QVector<double> link = micros(bench.linkRoundTrips(requests));
        const QVector<double> floor = micros(bench.floorRoundTrips(requests));
        if (link.size() < requests || floor.size() < requests) {
            std::fprintf(stderr, "bench_link: round trips incomplete (link %d, floor %d of %d)\n",
                         link.size(), floor.size(), requests);
            return 1;
        }
        linkMedians << benchstats::percentile(link, 0.5);
        floorMedians << benchstats::percentile(floor, 0.5);
        linkP99 << benchstats::percentile(link, 0.99);
        ratios << linkMedians.last() / floorMedians.last();
    }
    benchstats::info("link_rtt_median", benchstats::spread(linkMedians).median, "us");
    benchstats::info("link_rtt_p99", benchstats::spread(linkP99).median, "us");
    benchstats::info("floor_rtt_median", benchstats::spread(floorMedians).median, "us");
    const bool ok =
        benchstats::result("link_rtt_vs_floor", benchstats::spread(ratios), "x", true, 1.3, rounds);
    return parser.isSet("strict") && !ok ? 3 : 0;
}
