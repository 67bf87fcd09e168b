// The log dock: records of every module, filtered by level, bounded.

#include "host/logdock.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QCheckBox>
#include <QJsonObject>
#include <QListWidget>
#include <QtTest>

using hmi::LogDock;

class TestLogDock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filters_data();
    void filters();
    void oldestDropped();
};

void TestLogDock::filters_data()
{
    QTest::addColumn<QStringList>("unchecked"); // filter boxes switched off
    QTest::addColumn<QStringList>("checked");   // filter boxes switched on
    QTest::addColumn<QStringList>("shown");     // titles still listed

    QTest::newRow("defaults: no debug")
        << QStringList() << QStringList() << QStringList{"i", "w", "e", "in"};
    QTest::newRow("errors only") << QStringList{"chkLogInfo", "chkLogWarning"} << QStringList()
                                 << QStringList{"e"};
    QTest::newRow("debug asked for: capital letters are debug")
        << QStringList() << QStringList{"chkLogDebug"}
        << QStringList{"i", "w", "e", "Info", "in", ""};
}

void TestLogDock::filters()
{
    QFETCH(QStringList, unchecked);
    QFETCH(QStringList, checked);
    QFETCH(QStringList, shown);

    LogDock dock;
    QObject sender;
    // The level string is the title too, so that the list says which passed.
    for (const QString level : {"i", "w", "e", "Info", "in", ""}) {
        velk::resource().set(&sender, QStringLiteral("log"), QStringLiteral("cur_hmi_log"),
                             QJsonObject{{"level", level}, {"title", level}, {"date_time", "t"}},
                             true);
    }
    for (const QString& name : unchecked) {
        dock.findChild<QCheckBox*>(name)->setChecked(false);
    }
    for (const QString& name : checked) {
        dock.findChild<QCheckBox*>(name)->setChecked(true);
    }
    auto* list = dock.findChild<QListWidget*>(QStringLiteral("lstLog"));
    QStringList titles;
    for (int i = 0; i < list->count(); ++i) {
        if (!list->item(i)->isHidden()) {
            titles.append(list->item(i)->text().section(QLatin1Char(' '), 2));
        }
    }
    QCOMPARE(titles, shown);
}

void TestLogDock::oldestDropped()
{
    LogDock dock;
    for (int i = 0; i < LogDock::maximumRecords + 5; ++i) {
        dock.addRecord(QStringLiteral("info"), QStringLiteral("t"), QString::number(i));
    }
    auto* list = dock.findChild<QListWidget*>(QStringLiteral("lstLog"));
    QCOMPARE(list->count(), LogDock::maximumRecords);
    QCOMPARE(list->item(0)->text(), QStringLiteral("t [I] 5"));
}

QTEST_MAIN(TestLogDock)
#include "tst_logdock.moc"
