// The operator's button presses as the log keeps them, read back from the
// log file; the buttons must behave exactly as without the recorder.

#include "testfiles.h"

#include "module/zarvo.h"
#include "widgets/operationrecorder.h"

#include <pomr/lifecycledriver.h>

#include <QCheckBox>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtTest>

namespace {

class ChildButton : public QPushButton
{
public:
    using QPushButton::QPushButton;
};

// The records written since `from` (bytes of the log), without time prefixes.
QStringList recordsSince(qint64 from)
{
    const QByteArray all = readFile(QStringLiteral("log/zarvo.log"));
    QStringList out;
    const QList<QByteArray> lines = all.mid(int(from)).split('\n');
    for (const QByteArray& line : lines) {
        const int at = line.indexOf("] ");
        const QString item = QString::fromUtf8(at >= 0 ? line.mid(at + 2) : line);
        if (item.startsWith(QLatin1String("p(")) || item.startsWith(QLatin1String("d("))) {
            out.append(item);
        }
    }
    return out;
}

qint64 logSize()
{
    return QFileInfo(QStringLiteral("log/zarvo.log")).size();
}

QString at(QWidget* widget, const QPoint& local)
{
    const QPoint global = widget->mapToGlobal(local);
    return QStringLiteral("(%1,%2)").arg(global.x()).arg(global.y());
}

} // namespace

class tst_OperationRecorder : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    OperationRecorder* m_recorder = nullptr;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        m_recorder = new OperationRecorder(this);
        qApp->installEventFilter(m_recorder);
    }

    void records_data()
    {
        QTest::addColumn<QString>("input");   // button kind and action
        QTest::addColumn<QString>("records"); // first letters, in order
        QTest::addColumn<int>("clicks");

        QTest::newRow("press") << "push click" << QString("p") << 1;
        QTest::newRow("double click") << "push double" << QString("pd") << 2;
        QTest::newRow("subclass") << "subclass click" << QString("p") << 1;
        QTest::newRow("tool button") << "tool click" << QString() << 1;
        QTest::newRow("check box") << "check click" << QString() << 1;
        QTest::newRow("release alone") << "push release" << QString() << 0;
        QTest::newRow("key press") << "push key" << QString() << 1;
    }

    void records()
    {
        QFETCH(QString, input);
        QFETCH(QString, records);
        QFETCH(int, clicks);
        const QString kind = input.section(' ', 0, 0);
        const QString action = input.section(' ', 1);

        QWidget window;
        window.setObjectName("window");
        auto* layout = new QVBoxLayout(&window);
        QAbstractButton* button = nullptr;
        if (kind == "push") {
            button = new QPushButton("Start \"job\"\nnow");
        } else if (kind == "subclass") {
            button = new ChildButton("Start \"job\"\nnow");
        } else if (kind == "tool") {
            button = new QToolButton;
        } else {
            button = new QCheckBox("Start");
        }
        button->setObjectName("btnStart");
        layout->addWidget(button);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QSignalSpy clicked(button, &QAbstractButton::clicked);

        const qint64 from = logSize();
        const QPoint point(5, 6);
        if (action == "click") {
            QTest::mouseClick(button, Qt::LeftButton, {}, point);
        } else if (action == "double") {
            // As the window system delivers it: the second press comes as the double click.
            QTest::mouseClick(button, Qt::LeftButton, {}, point);
            QMouseEvent second(QEvent::MouseButtonDblClick, point, button->mapToGlobal(point),
                               Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(button, &second);
            QTest::mouseRelease(button, Qt::LeftButton, {}, point);
        } else if (action == "release") {
            QTest::mouseRelease(button, Qt::LeftButton, {}, point);
        } else {
            button->setFocus();
            QTest::keyClick(button, Qt::Key_Space);
        }
        QCOMPARE(clicked.size(), clicks);

        QStringList expected;
        for (const QChar prefix : records) {
            // One line per record, whatever the button's text holds.
            expected.append(prefix + at(button, point) +
                            " \"Start \\\"job\\\"\\nnow\": btnStart.window");
        }
        QCOMPARE(recordsSince(from), expected);
    }

    void pathStopsAfterFiveAncestors()
    {
        QWidget top;
        top.setObjectName("l1");
        QWidget* parent = &top;
        for (int level = 2; level <= 7; ++level) {
            auto* child = new QWidget(parent);
            child->setObjectName(QStringLiteral("l%1").arg(level));
            parent = child;
        }
        auto* button = new QPushButton("Go", parent);
        button->setObjectName("btnGo");
        auto* unnamed = new QPushButton("Stop", &top);
        top.show();
        QVERIFY(QTest::qWaitForWindowExposed(&top));

        const qint64 from = logSize();
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(1, 1));
        QTest::mouseClick(unnamed, Qt::LeftButton, {}, QPoint(1, 1));
        QCOMPARE(recordsSince(from),
                 (QStringList{"p" + at(button, QPoint(1, 1)) + " \"Go\": btnGo.l7.l6.l5.l4.l3",
                              "p" + at(unnamed, QPoint(1, 1)) + " \"Stop\": .l1"}));
    }

    void buttonDeletedByItsPress()
    {
        QWidget window;
        window.setObjectName("window");
        QPointer<QPushButton> button = new QPushButton("Close", &window);
        button->setObjectName("btnClose");
        connect(button, &QPushButton::pressed, button, &QObject::deleteLater);
        QSignalSpy pressed(button, &QPushButton::pressed);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        const qint64 from = logSize();
        QTest::mousePress(button, Qt::LeftButton, {}, QPoint(2, 2));
        QCOMPARE(pressed.size(), 1);
        QTRY_VERIFY(!button);
        QCOMPARE(recordsSince(from).size(), 1);
    }

    void moduleInstallsOneRecorder()
    {
        qApp->removeEventFilter(m_recorder);
        Zarvo module;
        pomr::LifecycleDriver driver;
        driver.runPhase(&module, pomr::LifecycleDriver::AfterInit);
        driver.runPhase(&module, pomr::LifecycleDriver::AfterInit);

        QPushButton button("Home");
        button.setObjectName("btnHome");
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        const qint64 from = logSize();
        QTest::mouseClick(&button, Qt::LeftButton, {}, QPoint(3, 3));
        QCOMPARE(recordsSince(from),
                 QStringList{"p" + at(&button, QPoint(3, 3)) + " \"Home\": btnHome"});
        qApp->installEventFilter(m_recorder);
    }
};

QTEST_MAIN(tst_OperationRecorder)
#include "tst_operationrecorder.moc"
