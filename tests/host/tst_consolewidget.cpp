#include "host/consolewidget.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QtTest>

namespace {

// Answers on every channel, so the widget's handling of each shows.
class SayCommand : public velk::BaseCommand
{
public:
    SayCommand()
        : velk::BaseCommand(QStringLiteral("t.say"), true)
    {
    }
    QString usage() const override { return QStringLiteral("t.say <text>"); }
    void execute(const QString& args) override { output(QStringLiteral("said ") + args); }
    void complete(velk::ModuleObject*, const QString&) override { input(QStringLiteral("tail")); }
    void hint(velk::ModuleObject*, const QString& text) override
    {
        output(QStringLiteral("hint for [%1]").arg(text));
    }
};

} // namespace

class TestConsoleWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void enterRunsTheLine();
    void errorsAreShown();
    void tabCompletes_data();
    void tabCompletes();
    void hint_data();
    void hint();
    void history();

private:
    void type(const QString& text) { QTest::keyClicks(m_console->lineEdit(), text); }
    void press(int key) { QTest::keyClick(m_console->lineEdit(), Qt::Key(key)); }
    QString log() const { return m_console->logView()->toPlainText(); }

    SayCommand m_say;
    std::unique_ptr<hmi::ConsoleWidget> m_console;
};

void TestConsoleWidget::initTestCase()
{
    QVERIFY(velk::command().regist(&m_say));
}

void TestConsoleWidget::init()
{
    m_console = std::make_unique<hmi::ConsoleWidget>();
    m_console->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_console.get()));
}

void TestConsoleWidget::enterRunsTheLine()
{
    type(QStringLiteral("t.say hello there"));
    press(Qt::Key_Return);
    QVERIFY(m_console->lineEdit()->text().isEmpty());
    QCOMPARE(log(), QStringLiteral("> t.say hello there\nsaid hello there"));
    QCOMPARE(m_console->history(), QStringList{"t.say hello there"});

    // A blank line runs nothing and is not remembered.
    type(QStringLiteral("   "));
    press(Qt::Key_Enter);
    QCOMPARE(m_console->history().size(), 1);
}

void TestConsoleWidget::errorsAreShown()
{
    type(QStringLiteral("no.such.thing"));
    press(Qt::Key_Return);
    QVERIFY2(log().contains(QLatin1String("no.such.thing")), qPrintable(log()));
    QVERIFY(log().count(QLatin1Char('\n')) >= 1); // the echo, then the error
}

void TestConsoleWidget::tabCompletes_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("completed");

    QTest::newRow("command name") << "t.s"
                                  << "t.say ";
    QTest::newRow("arguments") << "t.say x"
                               << "t.say xtail";
}

void TestConsoleWidget::tabCompletes()
{
    QFETCH(QString, typed);
    QFETCH(QString, completed);

    type(typed);
    press(Qt::Key_Tab);
    QCOMPARE(m_console->lineEdit()->text(), completed);
    QCOMPARE(m_console->lineEdit()->cursorPosition(), completed.size());
    QVERIFY(log().isEmpty());
}

void TestConsoleWidget::hint_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("cursorBack"); // moves left before the key
    QTest::addColumn<QString>("keys");   // "F1" or the text typed
    QTest::addColumn<QString>("line");   // afterwards
    QTest::addColumn<QString>("logged");

    QTest::newRow("F1") << "t.say ab" << 0 << "F1"
                        << "t.say ab"
                        << "hint for [t.say ab]";
    QTest::newRow("? at the end") << "t.say ab" << 0 << "?"
                                  << "t.say ab"
                                  << "hint for [t.say ab]";
    QTest::newRow("? inside is text") << "t.say ab" << 1 << "?"
                                      << "t.say a?b"
                                      << "";
}

void TestConsoleWidget::hint()
{
    QFETCH(QString, typed);
    QFETCH(int, cursorBack);
    QFETCH(QString, keys);
    QFETCH(QString, line);
    QFETCH(QString, logged);

    type(typed);
    for (int i = 0; i < cursorBack; ++i) {
        press(Qt::Key_Left);
    }
    if (keys == QLatin1String("F1")) {
        press(Qt::Key_F1);
    } else {
        type(keys);
    }
    QCOMPARE(m_console->lineEdit()->text(), line);
    QCOMPARE(log(), logged);
}

void TestConsoleWidget::history()
{
    for (const char* line : {"t.say 1", "t.say 2", "t.say 2"}) {
        type(QLatin1String(line));
        press(Qt::Key_Return);
    }
    // Repeating the last line does not repeat it in the history.
    QCOMPARE(m_console->history(), QStringList({"t.say 1", "t.say 2"}));

    type(QStringLiteral("draft"));
    QLineEdit* edit = m_console->lineEdit();
    press(Qt::Key_Up);
    QCOMPARE(edit->text(), QStringLiteral("t.say 2"));
    press(Qt::Key_Up);
    QCOMPARE(edit->text(), QStringLiteral("t.say 1"));
    press(Qt::Key_Up);
    QCOMPARE(edit->text(), QStringLiteral("t.say 1"));
    press(Qt::Key_Down);
    QCOMPARE(edit->text(), QStringLiteral("t.say 2"));
    press(Qt::Key_Down);
    QCOMPARE(edit->text(), QStringLiteral("draft"));
    press(Qt::Key_Down);
    QCOMPARE(edit->text(), QStringLiteral("draft"));

    // A recalled line runs again and goes to the end of the history.
    press(Qt::Key_Up);
    press(Qt::Key_Up);
    press(Qt::Key_Return);
    QCOMPARE(m_console->history(), QStringList({"t.say 1", "t.say 2", "t.say 1"}));
    QVERIFY(log().endsWith(QLatin1String("> t.say 1\nsaid 1")));
}

QTEST_MAIN(TestConsoleWidget)
#include "tst_consolewidget.moc"
