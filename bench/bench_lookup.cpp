// The module-object tree against the plain Qt it is built on: lookups by full
// name at depths 1, 3 and 6 against a nested QHash of the same keys (fan-out
// 8 at every level), a set() with one listener against a plain signal emit
// of the same arguments, and a lookup through a joined name against the same
// lookup written as a literal, m("a.b.c") (and, stricter, through a string
// made once beforehand).
//
//   bench_lookup [--iterations N] [--rounds N] [--strict]
//
// Targets: lookup at most 2 times the QHash at each depth, set at most 1.2
// times the emit, m(mName(a, b, c)) at most 1.5 times m("a.b.c").
// --strict exits 3 when one is missed.

#include "benchstats.h"

#include <velk/modulemanager.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHash>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int kFanOut = 8;
constexpr int kDepth = 6;

volatile quintptr g_sink = 0;

// The plain floor: a node is nothing but its children by name.
struct Node
{
    QHash<QString, Node*> children;
};

QString key(int level, int i)
{
    return QStringLiteral("key%1_%2").arg(level).arg(i);
}

// Builds both trees: every node has kFanOut children down to kDepth, except
// that only the first child of a level goes deeper (the rest are leaves).
void build(velk::ModuleObject* mobj, Node* node, int level,
           std::vector<std::unique_ptr<Node>>& nodes)
{
    if (level > kDepth) {
        return;
    }
    for (int i = 0; i < kFanOut; ++i) {
        const QString name = key(level, i);
        velk::ModuleObject* childMobj = mobj->insert(nullptr, name, false);
        nodes.push_back(std::make_unique<Node>());
        Node* child = nodes.back().get();
        node->children.insert(name, child);
        if (i == 0) {
            build(childMobj, child, level + 1, nodes);
        }
    }
}

// Nanoseconds per call of `op` over `n` calls.
double nsPerOp(const std::function<void(int)>& op, int n)
{
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < n; ++i) {
        op(i);
    }
    return double(clock.nsecsElapsed()) / n;
}

struct Pair
{
    double ratio = 0; // median of the rounds' ratios
    double a = 0;     // the fastest of each side, for the record
    double b = 0;
};

// `a` against `b`, run alternately `rounds` times, so that a neighbour's load
// falls on both sides alike; the median ratio counts.
Pair compare(const std::function<void(int)>& a, const std::function<void(int)>& b, int n,
             int rounds)
{
    Pair p;
    QVector<double> ratios;
    for (int r = 0; r < rounds; ++r) {
        const double ta = nsPerOp(a, n);
        const double tb = nsPerOp(b, n);
        ratios << ta / tb;
        p.a = r == 0 ? ta : std::min(p.a, ta);
        p.b = r == 0 ? tb : std::min(p.b, tb);
    }
    p.ratio = benchstats::percentile(ratios, 0.5);
    return p;
}

class Emitter : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void changed(const QVariant& value, const QVariant& old, QObject* sender);
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {"iterations", "Calls per timed run.", "n", "1000000"},
        {"rounds", "Alternating timed runs per figure; the median ratio counts.", "n", "7"},
        {"repeat", "Whole measurements; the median is reported.", "n", "3"},
        {"strict", "Exit with 3 when a target is missed."},
    });
    parser.process(app);
    const int n = std::max(1, parser.value("iterations").toInt());
    const int rounds = std::max(1, parser.value("rounds").toInt());
    const int repeat = std::max(1, parser.value("repeat").toInt());

    // The manager's root holds the top level, as in the HMI.
    velk::ModuleObject* root = velk::m().root();
    Node plainRoot;
    std::vector<std::unique_ptr<Node>> nodes;
    build(root, &plainRoot, 1, nodes);

    velk::ModuleObject* value = velk::m().ensure(QStringLiteral("bench.value"));
    qint64 heard = 0;
    QObject::connect(value, &velk::ModuleObject::changed, &app,
                     [&heard](const QVariant& v) { heard += v.toInt(); });
    Emitter emitter;
    QObject::connect(&emitter, &Emitter::changed, &app,
                     [&heard](const QVariant& v) { heard += v.toInt(); });
    QVariant last;

    QVector<double> ratios[kDepth + 1];
    QVector<double> setRatio, nameRatio, readyRatio;
    for (int rep = 0; rep < repeat; ++rep) {
        for (int depth : {1, 3, 6}) {
            QStringList keys;
            for (int level = 1; level <= depth; ++level) {
                keys << key(level, level == depth ? kFanOut - 1 : 0);
            }
            const QString path = keys.join(velk::ModuleManager::separator());
            if (velk::m(path)->isEmptyMobj()) {
                std::fprintf(stderr, "bench_lookup: %s is missing\n", qPrintable(path));
                return 1;
            }
            const Pair p = compare([&](int) { g_sink = quintptr(velk::m(path)); },
                                   [&](int) {
                                       const Node* node = &plainRoot;
                                       for (const QString& k : qAsConst(keys)) {
                                           node = node->children.value(k);
                                       }
                                       g_sink = quintptr(node);
                                   },
                                   n, rounds);
            ratios[depth] << p.ratio;
            std::printf("       lookup depth %d: velk %.1f ns, QHash %.1f ns\n", depth, p.a, p.b);
        }

        const Pair set = compare([&](int i) { value->set(nullptr, QVariant(i)); },
                                 [&](int i) {
                                     const QVariant now(i);
                                     Q_EMIT emitter.changed(now, std::exchange(last, now), nullptr);
                                 },
                                 n, rounds);
        setRatio << set.ratio;

        const QString a = key(1, 0), b = key(2, 0), c = key(3, kFanOut - 1);
        if (velk::m(velk::mName(a, b, c)) != velk::m("key1_0.key2_0.key3_7")) {
            std::fprintf(stderr, "bench_lookup: the literal names another node\n");
            return 1;
        }
        const QString joined = velk::mName(a, b, c);
        const auto built = [&](int) { g_sink = quintptr(velk::m(velk::mName(a, b, c))); };
        const Pair name = compare(
            built, [&](int) { g_sink = quintptr(velk::m("key1_0.key2_0.key3_7")); }, n, rounds);
        const Pair ready = compare(
            built, [&](int) { g_sink = quintptr(velk::m(joined)); }, n, rounds);
        nameRatio << name.ratio;
        readyRatio << ready.ratio;
        std::printf("       set %.1f ns, emit %.1f ns; m(mName) %.1f ns, m(literal) %.1f ns, "
                    "m(ready-made) %.1f ns\n",
                    set.a, set.b, name.a, name.b, ready.b);
    }
    g_sink = quintptr(heard);

    bool ok = true;
    ok &= benchstats::result("lookup_depth1_vs_qhash", benchstats::spread(ratios[1]), "x", true,
                             2.0, repeat);
    ok &= benchstats::result("lookup_depth3_vs_qhash", benchstats::spread(ratios[3]), "x", true,
                             2.0, repeat);
    ok &= benchstats::result("lookup_depth6_vs_qhash", benchstats::spread(ratios[6]), "x", true,
                             2.0, repeat);
    ok &= benchstats::result("set_vs_emit", benchstats::spread(setRatio), "x", true, 1.2, repeat);
    ok &= benchstats::result("mname_lookup_vs_literal", benchstats::spread(nameRatio), "x", true,
                             1.5, repeat);
    benchstats::info("mname_lookup_vs_ready_made", benchstats::spread(readyRatio).median, "x");
    if (parser.isSet("strict") && !ok) {
        return 3;
    }
    return 0;
}

#include "bench_lookup.moc"
