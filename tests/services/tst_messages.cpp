#include "services/messages.h"

#include <pomr/shell.h>
#include <pomr/statusbar.h>

#include <QStatusBar>
#include <QtTest>

class tst_Messages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorStr_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("expected");
        auto row = [](const char* tag, int type, const QStringList& args, const char* expected) {
            QTest::newRow(tag) << type << args << QString(expected);
        };
        // Empty arguments leave every placeholder standing.
        row("no arguments", 6, {}, "The %1 name is occupied with %2");
        row("out of range", 13, {"a", "b", "c"}, "");
        row("negative", -1, {}, "");
        row("two of three", 5, {"user", "16"}, "The length of user is longer than 16 characters");
        row("second only", 5, {"", "16"}, "The length of %1 is longer than 16 characters");
        // One replacement after the other, as plain text.
        row("first carries %2", 6, {"a%2b", "X"}, "The aXb name is occupied with X");
        row("second carries %1", 7, {"tool", "%1"}, "The tool name is already defined as %1");
        row("third through the first", 0, {"the %3 field", "", "speed"},
            "Please input the speed field");
        row("unused arguments", 2, {"a", "b", "c"}, "Operation is not allowed for operator");
    }

    void errorStr()
    {
        QFETCH(int, type);
        QFETCH(QStringList, args);
        QFETCH(QString, expected);
        QCOMPARE(::errorStr(zarvo::ErrorType(type), args.value(0), args.value(1), args.value(2)),
                 expected);
    }

    void toastReachesStatusBar()
    {
        QTemporaryDir dir; // toast() goes through the helper, which reads ./config
        QVERIFY(QDir::setCurrent(dir.path()));
        QStatusBar* bar = pomr::instantiatedStatusBar(this)->getStatusbar();
        toast("stays", 0);
        QCOMPARE(bar->currentMessage(), QString("stays"));
        toast("briefly", 50);
        QCOMPARE(bar->currentMessage(), QString("briefly"));
        QTRY_VERIFY_WITH_TIMEOUT(bar->currentMessage().isEmpty(), 5000);
        pomr::destroyShell();
    }
};

QTEST_MAIN(tst_Messages)

#include "tst_messages.moc"
