// What the operation recorder costs the whole process: it filters every event
// of every object. Ordinary events (paint, move, timer, key) are dispatched to
// a tree of widgets without any button, once with and once without the
// recorder installed on the application, in alternating rounds; the best
// round of each is compared. Target: at most 1.05.
//
//   bench_recorder [--widgets N] [--events N] [--rounds N]

#include "widgets/operationrecorder.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QPaintEvent>
#include <QTextStream>
#include <QTimerEvent>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <limits>

#ifdef Q_OS_UNIX
#include <time.h>
#endif

namespace {

// A widget that accepts keys, so that a key event costs one delivery and
// does not wander up the tree.
class Leaf : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {}
    void keyPressEvent(QKeyEvent* event) override { event->accept(); }
    void timerEvent(QTimerEvent*) override {}
};

QList<QWidget*> buildTree(QWidget* root, int count)
{
    QList<QWidget*> out;
    // Containers of ten leaves each, three levels deep, as a page would nest them.
    QWidget* container = nullptr;
    for (int i = 0; i < count; ++i) {
        if (i % 10 == 0) {
            auto* group = new QWidget(root);
            new QVBoxLayout(group);
            container = new QWidget(group);
            group->layout()->addWidget(container);
            new QVBoxLayout(container);
        }
        auto* leaf = new Leaf(container);
        leaf->setObjectName(QStringLiteral("leaf%1").arg(i));
        container->layout()->addWidget(leaf);
        out.append(leaf);
    }
    return out;
}

// CPU time of this thread where the system keeps it: on a loaded machine the
// time spent descheduled would otherwise swamp a difference of a few percent.
qint64 nowNs()
{
#ifdef Q_OS_UNIX
    timespec ts{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts) == 0) {
        return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
    }
#endif
    static QElapsedTimer wall;
    if (!wall.isValid()) {
        wall.start();
    }
    return wall.nsecsElapsed();
}

// Nanoseconds of CPU time to dispatch `events` events round-robin over the widgets.
qint64 dispatch(const QList<QWidget*>& widgets, qint64 events)
{
    QPaintEvent paint(QRect(0, 0, 10, 10));
    QMoveEvent move(QPoint(1, 1), QPoint(0, 0));
    QTimerEvent timer(1);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
    QEvent* kinds[] = {&paint, &move, &timer, &key};

    const qint64 start = nowNs();
    const int count = widgets.size();
    for (qint64 i = 0; i < events; ++i) {
        QApplication::sendEvent(widgets.at(int(i % count)), kinds[i % 4]);
    }
    return nowNs() - start;
}

// The least any application-wide filter can cost: Qt's own filter dispatch.
class EmptyFilter : public QObject
{
public:
    bool eventFilter(QObject*, QEvent*) override { return false; }
};

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);

    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption widgetsOption("widgets", "Widgets in the tree.", "n", "200");
    const QCommandLineOption eventsOption("events", "Events per round.", "n", "200000");
    const QCommandLineOption roundsOption("rounds", "Rounds of each kind.", "n", "40");
    parser.addOptions({widgetsOption, eventsOption, roundsOption});
    parser.process(app);
    const int widgetCount = qBound(1, parser.value(widgetsOption).toInt(), 100000);
    const qint64 events = qBound<qint64>(1, parser.value(eventsOption).toLongLong(), 1000000000);
    const int rounds = qBound(1, parser.value(roundsOption).toInt(), 1000);

    QWidget root;
    root.setObjectName(QStringLiteral("root"));
    const QList<QWidget*> widgets = buildTree(&root, widgetCount);
    OperationRecorder recorder;
    EmptyFilter empty;

    // Warm caches and the allocator before anything is measured.
    dispatch(widgets, qMin<qint64>(events, 100000));

    qint64 bestWithout = std::numeric_limits<qint64>::max();
    qint64 bestWith = std::numeric_limits<qint64>::max();
    qint64 bestEmpty = std::numeric_limits<qint64>::max();
    auto measure = [&](QObject* filter, qint64* best) {
        if (filter) {
            app.installEventFilter(filter);
        }
        *best = std::min(*best, dispatch(widgets, events));
        if (filter) {
            app.removeEventFilter(filter);
        }
    };
    // Many short rounds in turn, the order rotating: on a shared machine a
    // burst of load then spoils single rounds of every kind alike, and the
    // best round of each is one that ran undisturbed.
    for (int round = 0; round < rounds; ++round) {
        const int first = round % 3;
        for (int k = 0; k < 3; ++k) {
            switch ((first + k) % 3) {
            case 0:
                measure(nullptr, &bestWithout);
                break;
            case 1:
                measure(&recorder, &bestWith);
                break;
            default:
                measure(&empty, &bestEmpty);
                break;
            }
        }
    }

    const double ratio = double(bestWith) / double(qMax<qint64>(1, bestWithout));
    QTextStream out(stdout);
    out << "events per round:   " << events << " over " << widgetCount << " widgets, " << rounds
        << " rounds\n";
    out << "without recorder:   " << double(bestWithout) / events << " ns/event (best round)\n";
    out << "with recorder:      " << double(bestWith) / events << " ns/event (best round)\n";
    out << "empty filter:       " << double(bestEmpty) / events
        << " ns/event (best round; Qt's own cost of any application filter)\n";
    out << "recorder vs empty:  "
        << QString::number(double(bestWith) / double(qMax<qint64>(1, bestEmpty)), 'f', 3)
        << " (the recorder's own share)\n";
    out << "ratio:              " << QString::number(ratio, 'f', 3) << " (target <= 1.05)\n";
    return 0;
}
