#include "host/consolewidget.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QtTest>

namespace {

class SayCommand : public velk::BaseCommand
{
public:
    SayCommand()
        : velk::BaseCommand(QStringLiteral("t.say"), true)
    {
    }
    void execute(const QString& args) override { output(QStringLiteral("said ") + args); }
};

} // namespace

class TestConsoleWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tabCompletesEnterRuns();
};

void TestConsoleWidget::tabCompletesEnterRuns()
{
    SayCommand say;
    QVERIFY(velk::command().regist(&say));
    hmi::ConsoleWidget console;
    console.show();
    QVERIFY(QTest::qWaitForWindowExposed(&console));
    QLineEdit* edit = console.lineEdit();

    QTest::keyClicks(edit, QStringLiteral("t.s"));
    QTest::keyClick(edit, Qt::Key_Tab);
    QCOMPARE(edit->text(), QStringLiteral("t.say "));
    QTest::keyClicks(edit, QStringLiteral("hello"));
    QTest::keyClick(edit, Qt::Key_Return);
    QVERIFY(edit->text().isEmpty());
    QCOMPARE(console.logView()->toPlainText(), QStringLiteral("> t.say hello\nsaid hello"));
}

QTEST_MAIN(TestConsoleWidget)
#include "tst_consolewidget.moc"
