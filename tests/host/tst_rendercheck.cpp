// What the rendering check calls broken, on small widget trees; then the real
// window with the robot pages against the simulator, both themes, at zoom 1
// and 1.5 on a 1280x800 screen, must have none of it.

#include "hmiprocess.h"
#include "host/rendercheck.h"

#include <QtWidgets>

#include <functional>

using hmi::RenderCheck;

using Build = std::function<void(QWidget* window)>;
Q_DECLARE_METATYPE(Build)

namespace {

constexpr int kStartMs = 20000;

template <typename W>
W* place(QWidget* parent, W* widget, const QRect& geometry)
{
    widget->setParent(parent);
    widget->setGeometry(geometry);
    return widget;
}

QStackedWidget* stackWith(QWidget* window, QWidget* page)
{
    auto* stack = place(window, new QStackedWidget, QRect(0, 0, 300, 200));
    stack->addWidget(page);
    return stack;
}

} // namespace

class TestRenderCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void problems_data();
    void problems();
    void realWindow_data();
    void realWindow();
};

void TestRenderCheck::problems_data()
{
    QTest::addColumn<Build>("build");
    QTest::addColumn<QString>("found"); // part of the last problem, or empty

    const QString longText = QStringLiteral("Reset the safety stop of the robot");
    QTest::newRow("label that fits")
        << Build([](QWidget* w) { place(w, new QLabel("Mode: auto"), QRect(0, 0, 200, 30)); })
        << "";
    QTest::newRow("label cut") << Build([=](QWidget* w) {
        place(w, new QLabel(longText), QRect(0, 0, 60, 30));
    }) << "text overflows: QLabel '" + longText + "'";
    QTest::newRow("label that wraps") << Build([=](QWidget* w) {
        place(w, new QLabel(longText), QRect(0, 0, 60, 120))->setWordWrap(true);
    }) << "";
    QTest::newRow("button cut") << Build([=](QWidget* w) {
        place(w, new QPushButton(longText), QRect(0, 0, 80, 30));
    }) << "text overflows: QPushButton";
    QTest::newRow("button, mnemonic mark not counted") << Build([](QWidget* w) {
        auto* button = place(w, new QPushButton("&Go"), QRect(0, 0, 10, 30));
        // Room for "Go" but not for "&Go".
        button->setFixedWidth(button->fontMetrics().horizontalAdvance("Go") + 8);
    }) << "";
    QTest::newRow("widget past the screen's edge") << Build([](QWidget* w) {
        place(w, new QLabel("x"), QRect(380, 0, 40, 20))->setObjectName("lblEdge");
    }) << "outside the screen 400x300 at [380,0 40x20]: QLabel lblEdge 'x'";
    QTest::newRow("scrolled content larger than the screen") << Build([](QWidget* w) {
        auto* area = place(w, new QScrollArea, QRect(0, 0, 200, 100));
        auto* content = new QWidget;
        content->resize(1000, 1000);
        place(content, new QLabel("far"), QRect(900, 900, 50, 20));
        area->setWidget(content);
    }) << "";
    QTest::newRow("page that draws nothing") << Build([](QWidget* w) {
        stackWith(w, new QWidget)->widget(0)->setObjectName("wgtEmpty");
    }) << "blank page: QWidget wgtEmpty";
    QTest::newRow("page with a text") << Build([](QWidget* w) {
        auto* page = new QWidget;
        place(page, new QLabel("Motor power: on"), QRect(10, 10, 200, 30));
        stackWith(w, page);
    }) << "";
    QTest::newRow("page that makes the window taller than the screen") << Build([](QWidget* w) {
        auto* page = new QWidget;
        page->setObjectName("wgtTall");
        page->setMinimumHeight(500);
        (new QVBoxLayout(w))->addWidget(stackWith(w, page));
    }) << "QWidget wgtTall";
    QTest::newRow("hidden widgets are not looked at")
        << Build([=](QWidget* w) { place(w, new QLabel(longText), QRect(390, 0, 20, 30))->hide(); })
        << "";
}

void TestRenderCheck::problems()
{
    QFETCH(Build, build);
    QFETCH(QString, found); // in the one problem, or in the line naming the culprit

    QWidget window;
    window.resize(400, 300);
    build(&window);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    const QStringList problems = RenderCheck::problems(&window, QRect(0, 0, 400, 300));
    if (found.isEmpty()) {
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    } else {
        QVERIFY2(problems.size() == 1 || problems.constLast().startsWith("makes the window"),
                 qPrintable(problems.join('\n')));
        QVERIFY2(problems.constLast().contains(found), qPrintable(problems.join('\n')));
    }
}

void TestRenderCheck::realWindow_data()
{
    QTest::addColumn<QString>("theme");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QColor>("background");

    QTest::newRow("default theme, Chinese") << "zvtheme_default"
                                            << "cn" << QColor("#ffffff");
    QTest::newRow("dark theme, English") << "zvtheme_dark"
                                         << "en" << QColor("#1e1f22");
}

void TestRenderCheck::realWindow()
{
    QFETCH(QString, theme);
    QFETCH(QString, language);
    QFETCH(QColor, background);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    ChildProcess sim;
    const int port = startSimulator(&sim, 0);
    QVERIFY2(port > 0, qPrintable(sim.err));
    QVERIFY(writeSettings(dir.path(), port, language));

    ChildProcess hmi;
    hmi.start(QStringLiteral(ZARVO_HMI_EXECUTABLE),
              {"--headless", "--workdir", dir.path(), "--plugin", ZARVO_REAL_PLUGIN, "--module",
               ROBOTPAGES_PLUGIN});
    // The pages show the robot's state, not the look before the first answer.
    QVERIFY2(QTest::qWaitFor(
                 [&] {
                     return hmi.err.contains("controller link up") ||
                            hmi.err.contains(QStringLiteral("控制器连接已建立"));
                 },
                 kStartMs),
             qPrintable(hmi.err));
    hmi.say("theme.set " + theme.toUtf8());
    // A page of the module loaded beside the core module follows the switch.
    const QString page = dir.filePath(QStringLiteral("status.png"));
    hmi.say("ui.grab " + page.toUtf8() + " StatusPage");
    int checks = 0;
    for (const char* zoom : {"1", "1.5"}) {
        hmi.say(QByteArray("theme.zoom ") + zoom + ' ' + zoom);
        for (const char* root : {"robot", "settings"}) {
            hmi.say(QByteArray("mobj.set zarvo.sidetree.cur_root ") + root);
            hmi.say("wait 100");
            hmi.say("ui.check 1280x800");
            ++checks;
        }
        hmi.say("ui.click btnFold");
        hmi.say("wait 100");
        hmi.say("ui.check 1280x800");
        hmi.say("ui.click btnFold");
        ++checks;
    }
    // The pages of a module loaded beside the core module are in the window.
    hmi.say("ui.dump StatusPage");
    hmi.say("quit");
    QVERIFY(hmi.waitForFinished(kStartMs));
    QCOMPARE(hmi.exitCode(), 0);
    QCOMPARE(QImage(page).pixelColor(1, 1), background);

    // Errors of every ui.* line, in either language ("ui.check: ...", "ui.click：...").
    const QRegularExpression problem(QStringLiteral("^ui\\.\\w+\\W.*$"),
                                     QRegularExpression::MultilineOption);
    QStringList problems;
    for (auto it = problem.globalMatch(hmi.err); it.hasNext();) {
        problems.append(it.next().captured());
    }
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    QCOMPARE(
        hmi.out.count(QRegularExpression("^ui\\.check\\W", QRegularExpression::MultilineOption)),
        checks);
}

QTEST_MAIN(TestRenderCheck)
#include "tst_rendercheck.moc"
