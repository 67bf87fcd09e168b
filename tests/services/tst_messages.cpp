#include "module/managerhelper.h"
#include "services/messages.h"

#include <pomr/shell.h>
#include <pomr/statusbar.h>

#include <QDir>
#include <QFile>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(zarvo::ErrorType)

class tst_Messages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void errorStrTemplates_data();
    void errorStrTemplates();
    void errorStrReplacement_data();
    void errorStrReplacement();
    void toastReachesStatusBar();

private:
    QString m_startDir;
    QTemporaryDir m_dir;
};

void tst_Messages::initTestCase()
{
    // toast() goes through the helper, whose settings manager reads ./config.
    QVERIFY(m_dir.isValid());
    m_startDir = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir.path()));
}

void tst_Messages::cleanupTestCase()
{
    pomr::destroyShell();
    QDir::setCurrent(m_startDir);
}

void tst_Messages::errorStrTemplates_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("expected");
    QTest::newRow("NeedInput") << 0 << "Please input %1";
    QTest::newRow("NeedSelect") << 1 << "Please select %1";
    QTest::newRow("OperatorNotAllowed") << 2 << "Operation is not allowed for operator";
    QTest::newRow("DisabledBySystemFailure")
        << 3 << "The function has been disabled due to system failure";
    QTest::newRow("NameEmpty") << 4 << "The %1 name is empty";
    QTest::newRow("NameTooLong") << 5 << "The length of %1 is longer than %2 characters";
    QTest::newRow("NameOccupied") << 6 << "The %1 name is occupied with %2";
    QTest::newRow("NameDefined") << 7 << "The %1 name is already defined as %2";
    QTest::newRow("NameInvalid") << 8 << "The %1 name does not match the naming conventions";
    QTest::newRow("TaskRunning") << 9 << "Not allowed to %1 when there is a task running";
    QTest::newRow("MotorOn") << 10
                             << "Not allowed to %1 when the motor is on. Please motor off first";
    QTest::newRow("ReadFileFailed") << 11 << "Cannot read file %1";
    QTest::newRow("WriteFileFailed") << 12 << "Cannot write file %1";
    QTest::newRow("13 out of range") << 13 << "";
    QTest::newRow("-1 out of range") << -1 << "";
}

void tst_Messages::errorStrTemplates()
{
    QFETCH(int, type);
    QFETCH(QString, expected);
    // Empty arguments leave every placeholder standing.
    QCOMPARE(errorStr(zarvo::ErrorType(type)), expected);
    QCOMPARE(errorStr(zarvo::ErrorType(type), QString(), QString(), QString()), expected);
}

void tst_Messages::errorStrReplacement_data()
{
    QTest::addColumn<zarvo::ErrorType>("type");
    QTest::addColumn<QString>("a1");
    QTest::addColumn<QString>("a2");
    QTest::addColumn<QString>("a3");
    QTest::addColumn<QString>("expected");
    QTest::newRow("two arguments, empty third")
        << zarvo::NameTooLong << "user"
        << "16"
        << ""
        << "The length of user is longer than 16 characters";
    QTest::newRow("first only") << zarvo::NameTooLong << "user"
                                << ""
                                << ""
                                << "The length of user is longer than %2 characters";
    QTest::newRow("second only") << zarvo::NameTooLong << ""
                                 << "16"
                                 << ""
                                 << "The length of %1 is longer than 16 characters";
    QTest::newRow("every occurrence") << zarvo::ReadFileFailed << "%1%1"
                                      << ""
                                      << ""
                                      << "Cannot read file %1%1";
    QTest::newRow("first argument carries %2") << zarvo::NameOccupied << "a%2b"
                                               << "X"
                                               << ""
                                               << "The aXb name is occupied with X";
    QTest::newRow("second argument carries %1 unchanged")
        << zarvo::NameDefined << "tool"
        << "%1"
        << ""
        << "The tool name is already defined as %1";
    QTest::newRow("third argument only through earlier ones") << zarvo::NeedInput << "the %3 field"
                                                              << ""
                                                              << "speed"
                                                              << "Please input the speed field";
    QTest::newRow("unused arguments") << zarvo::OperatorNotAllowed << "a"
                                      << "b"
                                      << "c"
                                      << "Operation is not allowed for operator";
    QTest::newRow("out of range ignores arguments") << zarvo::ErrorType(13) << "a"
                                                    << "b"
                                                    << "c"
                                                    << "";
    QTest::newRow("chinese argument") << zarvo::NeedSelect << QString::fromUtf8("工具") << ""
                                      << "" << QString::fromUtf8("Please select 工具");
}

void tst_Messages::errorStrReplacement()
{
    QFETCH(zarvo::ErrorType, type);
    QFETCH(QString, a1);
    QFETCH(QString, a2);
    QFETCH(QString, a3);
    QFETCH(QString, expected);
    QCOMPARE(errorStr(type, a1, a2, a3), expected);
}

void tst_Messages::toastReachesStatusBar()
{
    QStatusBar* bar = pomr::instantiatedStatusBar(this)->getStatusbar();
    QVERIFY(bar);

    toast(QStringLiteral("stays"), 0);
    QCOMPARE(bar->currentMessage(), QStringLiteral("stays"));

    toast(QStringLiteral("briefly"), 50);
    QCOMPARE(bar->currentMessage(), QStringLiteral("briefly"));
    QTRY_VERIFY_WITH_TIMEOUT(bar->currentMessage().isEmpty(), 5000);

    // The default time-out keeps the text up for a while.
    toast(QStringLiteral("default"));
    QCOMPARE(bar->currentMessage(), QStringLiteral("default"));
}

QTEST_MAIN(tst_Messages)

#include "tst_messages.moc"
