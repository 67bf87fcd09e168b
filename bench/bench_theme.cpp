// Re-rendering a realistic page on a zoom change: the setting page's render
// description expanded by the theme and spread through the widget tree, set
// against the floor of Qt's own restyling (the same setStyleSheet calls on the
// same containers with the sheet already expanded), in the same run.
//
//   bench_theme [--widgets N] [--iterations N]

#include "module/managerhelper.h"
#include "services/paths.h"
#include "services/stylesheet.h"
#include "theme/thememanager.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QTextStream>
#include <QVBoxLayout>

#include <algorithm>

namespace {

struct Counts
{
    int labels = 0, edits = 0, combos = 0, groups = 0, areas = 0, containers = 0;
    int total() const { return labels + edits + combos + groups + areas + containers; }
};

// A settings page as pages build them: a scroll area around a column of group
// boxes, each with rows of a label and an editor, some rows in their own
// container, and now and then a nested scroll area.
QWidget* buildPage(int widgets, Counts* n)
{
    auto* top = new QWidget;
    auto* topLayout = new QVBoxLayout(top);
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    area->setWidget(content);
    topLayout->addWidget(area);
    n->areas = 1;
    n->containers = 2;
    int row = 0;
    while (n->total() < widgets) {
        auto* group = new QGroupBox(QStringLiteral("Group %1").arg(n->groups));
        auto* groupLayout = new QVBoxLayout(group);
        ++n->groups;
        for (int i = 0; i < 12 && n->total() < widgets; ++i, ++row) {
            auto* line = new QHBoxLayout;
            line->setContentsMargins(9, 3, 9, 3);
            line->setSpacing(6);
            line->addWidget(new QLabel(QStringLiteral("Setting %1").arg(row)));
            ++n->labels;
            if (row % 3 == 0) {
                auto* combo = new QComboBox;
                combo->addItems({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
                line->addWidget(combo);
                ++n->combos;
            } else {
                line->addWidget(new QLineEdit(QStringLiteral("value")));
                ++n->edits;
            }
            if (row % 4 == 0) {
                auto* holder = new QWidget;
                holder->setLayout(line);
                groupLayout->addWidget(holder);
                ++n->containers;
            } else {
                groupLayout->addLayout(line);
            }
            if (row % 50 == 49) {
                auto* inner = new QScrollArea;
                auto* innerContent = new QWidget;
                auto* innerLayout = new QVBoxLayout(innerContent);
                innerLayout->addWidget(new QLabel(QStringLiteral("Nested %1").arg(row)));
                inner->setWidget(innerContent);
                groupLayout->addWidget(inner);
                ++n->areas;
                ++n->containers;
                ++n->labels;
            }
        }
        column->addWidget(group);
    }
    return top;
}

// Children before their container, as the walk sets them.
void styledInOrder(QWidget* widget, QList<QWidget*>* out)
{
    const QList<QWidget*> children =
        widget->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    for (QWidget* child : children) {
        styledInOrder(child, out);
    }
    if (!widget->styleSheet().isEmpty()) {
        out->append(widget);
    }
}

double median(QVector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.isEmpty() ? 0.0 : v.at(v.size() / 2);
}

void setZoom(double zoom)
{
    velk::m(QStringLiteral("zvtheme.size_zoom"))->set(nullptr, zoom);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qputenv("VELK_LOG_CONSOLE", "0");
    QApplication app(argc, argv);
    int widgets = 1000;
    int iterations = 20;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        const int value = args.at(i + 1).toInt();
        if (args.at(i) == QLatin1String("--widgets")) {
            widgets = qBound(10, value, 100000);
        } else if (args.at(i) == QLatin1String("--iterations")) {
            iterations = qBound(1, value, 10000);
        }
    }

    QTemporaryDir dir;
    if (!dir.isValid() || !QDir::setCurrent(dir.path())) {
        QTextStream(stderr) << "bench_theme: no temporary working directory\n";
        return 1;
    }
    helper().registRootQrcAlias(QStringLiteral("zarvo"));
    theme()->init();
    const QString render = getRenderPath(QStringLiteral("robot"), QStringLiteral("setting_page"));

    Counts n;
    QScopedPointer<QWidget> page(buildPage(widgets, &n));
    page->resize(800, 600);
    page->show();
    app.processEvents();

    // Our way: expand, then walk. Three zooms in turn, so that every pass is a
    // real change; the first three passes warm up and record the sheets.
    QVector<double> ours, floor, plain;
    const double zooms[3] = {1.5, 1.25, 1.0};
    QString sheets[3];
    QElapsedTimer timer;
    auto ourPass = [&](int z) {
        setZoom(zooms[z]);
        timer.start();
        sheets[z] = theme()->genStyleSheet(render);
        setRecursiveWidgetStyleSheet(page.data(), sheets[z]);
        app.processEvents();
        return timer.nsecsElapsed() / 1e6;
    };
    for (int z = 0; z < 3; ++z) {
        ourPass(z);
    }
    QList<QWidget*> containers;
    styledInOrder(page.data(), &containers);

    // The floor: the same containers, a final sheet, nothing else. The two
    // kinds of pass alternate so that neither gains from running later, and
    // each pass applies a sheet other than the one in force.
    for (int i = 0; i < iterations; ++i) {
        ours.append(ourPass(i % 3));
        timer.start();
        const QString& sheet = sheets[(i + 2) % 3];
        for (QWidget* w : qAsConst(containers)) {
            w->setStyleSheet(sheet);
        }
        app.processEvents();
        floor.append(timer.nsecsElapsed() / 1e6);
    }

    // For reference: one sheet on the top widget only, left to cascade.
    for (QWidget* w : qAsConst(containers)) {
        w->setStyleSheet(QString());
    }
    app.processEvents();
    for (int i = 0; i < iterations + 1; ++i) {
        timer.start();
        page->setStyleSheet(sheets[i % 3]);
        app.processEvents();
        if (i > 0) {
            plain.append(timer.nsecsElapsed() / 1e6);
        }
    }

    const int calls = qMax(100, iterations * 20);
    timer.start();
    int length = 0;
    for (int i = 0; i < calls; ++i) {
        length += theme()->genStyleSheet(render).size();
    }
    const double genUs = timer.nsecsElapsed() / 1e3 / calls;

    QTextStream out(stdout);
    out << "widgets: " << n.total() << " (labels " << n.labels << ", line edits " << n.edits
        << ", combo boxes " << n.combos << ", group boxes " << n.groups << ", scroll areas "
        << n.areas << ", containers " << n.containers << "); styled containers "
        << containers.size() << "; iterations " << iterations << "\n";
    const double o = median(ours), f = median(floor);
    out << "restyle on a zoom change, genStyleSheet + walk: median " << QString::number(o, 'f', 2)
        << " ms\n";
    out << "floor, setStyleSheet on the same containers:    median " << QString::number(f, 'f', 2)
        << " ms\n";
    out << "ratio: " << QString::number(f > 0 ? o / f : 0.0, 'f', 3) << " (target at most 1.2)\n";
    out << "one setStyleSheet on the top widget:            median "
        << QString::number(median(plain), 'f', 2) << " ms\n";
    out << "genStyleSheet(setting_page.json): " << QString::number(genUs, 'f', 1)
        << " us per call (" << length / calls << " characters)\n";
    return 0;
}
