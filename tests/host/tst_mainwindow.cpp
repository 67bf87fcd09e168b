// The window's layout of the last run comes back, but never out of sight.

#include "host/mainwindow.h"

#include <pomr/shell.h>

#include <QScreen>
#include <QtTest>

using hmi::MainWindow;

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanupTestCase() { pomr::destroyShell(); }
    void restoredInsideTheScreen_data();
    void restoredInsideTheScreen();
};

void TestMainWindow::restoredInsideTheScreen_data()
{
    // The saved window as fractions of the screen's available area.
    QTest::addColumn<QRectF>("saved");

    QTest::newRow("inside: as it was") << QRectF(0.1, 0.1, 0.5, 0.5);
    QTest::newRow("below the bottom edge") << QRectF(0.1, 0.6, 0.5, 0.6);
    QTest::newRow("larger than the screen") << QRectF(0, 0, 1.5, 1.5);
}

void TestMainWindow::restoredInsideTheScreen()
{
    QFETCH(QRectF, saved);

    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect placed(available.x() + int(saved.x() * available.width()),
                       available.y() + int(saved.y() * available.height()),
                       int(saved.width() * available.width()),
                       int(saved.height() * available.height()));
    QTemporaryDir dir;
    const QString file = dir.filePath("hmi.ini");
    {
        MainWindow before;
        before.setGeometry(placed);
        before.saveLayout(file);
    }
    MainWindow after;
    QVERIFY(after.restoreLayout(file));
    QVERIFY2(available.contains(after.geometry()), qPrintable(QStringLiteral("%1,%2 %3x%4")
                                                                  .arg(after.x())
                                                                  .arg(after.y())
                                                                  .arg(after.width())
                                                                  .arg(after.height())));
    if (available.contains(placed)) {
        QCOMPARE(after.geometry(), placed);
    }
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
