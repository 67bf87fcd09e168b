// The ui.* console commands on a real widget tree, offscreen: what a script
// reads, what a click really does, and the errors that keep a script honest.

#include "host/uicommand.h"

#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QtTest>
#include <QtWidgets>

using hmi::UiCommand;

class TestUiCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void click_data();
    void click();
    void refusals_data();
    void refusals();
    void dump_data();
    void dump();
    void grab_data();
    void grab();
    void clickAnswersADialog();

private:
    // Runs one console line; returns (output lines, error lines).
    QPair<QStringList, QStringList> run(const QString& line);
    QWidget* named(const QString& name) const;

    QWidget* m_window = nullptr;
    QTemporaryDir m_dir;
    QList<UiCommand*> m_commands;
};

void TestUiCommand::initTestCase()
{
    m_window = new QWidget;
    m_window->setObjectName(QStringLiteral("wgtMainWindow"));
    auto* rows = new QVBoxLayout(m_window);
    auto add = [&](QWidget* widget, const char* name) {
        widget->setObjectName(QString::fromLatin1(name));
        rows->addWidget(widget);
        return widget;
    };
    add(new QPushButton(QStringLiteral("&Go")), "btnGo");
    add(new QPushButton(QStringLiteral("Stop")), "btnGo");
    add(new QPushButton(QStringLiteral("Off")), "btnOff")->setEnabled(false);
    add(new QPushButton(QStringLiteral("Gone")), "btnHidden")->hide();
    auto* check = new QCheckBox(QStringLiteral("On"));
    check->setChecked(true);
    add(check, "chkOn");
    add(new QLabel(QStringLiteral("Title")), "lblTitle");
    auto* inner = add(new QWidget, "wgtInner");
    auto* edit = new QLineEdit(QStringLiteral("robot \"one\""), inner);
    edit->setObjectName(QStringLiteral("edtName"));
    m_window->resize(320, 400);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window));

    for (UiCommand::Kind kind :
         {UiCommand::Dump, UiCommand::Click, UiCommand::Grab, UiCommand::Check}) {
        m_commands.append(new UiCommand(kind, m_window));
        QVERIFY(velk::command().regist(m_commands.constLast()));
    }
}

void TestUiCommand::cleanupTestCase()
{
    qDeleteAll(m_commands);
    delete m_window;
}

QPair<QStringList, QStringList> TestUiCommand::run(const QString& line)
{
    QSignalSpy out(&velk::command(), &velk::CommandManager::output);
    QSignalSpy err(&velk::command(), &velk::CommandManager::error);
    velk::command().execute(line);
    QPair<QStringList, QStringList> result;
    for (const QList<QVariant>& args : qAsConst(out)) {
        result.first.append(args.at(0).toString());
    }
    for (const QList<QVariant>& args : qAsConst(err)) {
        result.second.append(args.at(0).toString());
    }
    return result;
}

QWidget* TestUiCommand::named(const QString& name) const
{
    return name == m_window->objectName() ? m_window : m_window->findChild<QWidget*>(name);
}

void TestUiCommand::click_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("clicked"); // index among the btnGo buttons; -1: the check box

    QTest::newRow("first of a name") << "ui.click btnGo" << 0;
    QTest::newRow("name and text") << "ui.click btnGo Stop" << 1;
    QTest::newRow("text without its mnemonic mark") << "ui.click btnGo Go" << 0;
    QTest::newRow("a check box toggles") << "ui.click chkOn" << -1;
}

void TestUiCommand::click()
{
    QFETCH(QString, line);
    QFETCH(int, clicked);

    const QList<QAbstractButton*> go = m_window->findChildren<QAbstractButton*>("btnGo");
    auto* check = m_window->findChild<QCheckBox*>("chkOn");
    const bool wasChecked = check->isChecked();
    QSignalSpy first(go.at(0), &QAbstractButton::clicked);
    QSignalSpy second(go.at(1), &QAbstractButton::clicked);

    const auto result = run(line);

    QVERIFY2(result.second.isEmpty(), qPrintable(result.second.join('\n')));
    QCOMPARE(first.count(), clicked == 0 ? 1 : 0);
    QCOMPARE(second.count(), clicked == 1 ? 1 : 0);
    QCOMPARE(check->isChecked(), clicked == -1 ? !wasChecked : wasChecked);
}

void TestUiCommand::refusals_data()
{
    QTest::addColumn<QString>("line"); // %1 stands for the temporary folder
    QTest::addColumn<QString>("errorPart");

    QTest::newRow("click: text nobody shows") << "ui.click btnGo Pause"
                                              << "no widget named 'btnGo' with the text 'Pause'";
    QTest::newRow("click: unknown name") << "ui.click btnNowhere"
                                         << "no widget named 'btnNowhere'";
    QTest::newRow("click: disabled") << "ui.click btnOff"
                                     << "the widget 'btnOff' is disabled";
    QTest::newRow("click: hidden") << "ui.click btnHidden"
                                   << "the widget 'btnHidden' is hidden";
    QTest::newRow("click: no name") << "ui.click   "
                                    << "usage: ui.click";
    QTest::newRow("dump: unknown name") << "ui.dump wgtNowhere"
                                        << "no widget named 'wgtNowhere'";
    QTest::newRow("dump: two names") << "ui.dump wgtInner btnGo"
                                     << "one object name at most";
    QTest::newRow("grab: folder that does not exist") << "ui.grab %1/no/such/x.png"
                                                      << "cannot write";
    QTest::newRow("grab: not a png name") << "ui.grab %1/x.jpg"
                                          << "must end in .png";
    QTest::newRow("grab: unknown widget") << "ui.grab %1/x.png wgtNowhere"
                                          << "no widget named";
    QTest::newRow("grab: no file") << "ui.grab"
                                   << "usage: ui.grab";
    QTest::newRow("check: not a size") << "ui.check 1280"
                                       << "not a screen size: '1280'";
    QTest::newRow("check: a size past the screen") << "ui.check 100x100"
                                                   << "outside the screen 100x100";
}

// A refused line does nothing else: no click, no file, no output.
void TestUiCommand::refusals()
{
    QFETCH(QString, line);
    QFETCH(QString, errorPart);

    QSignalSpy clicks(m_window->findChild<QAbstractButton*>("btnOff"), &QAbstractButton::clicked);
    QSignalSpy hidden(m_window->findChild<QAbstractButton*>("btnHidden"),
                      &QAbstractButton::clicked);
    const auto result = run(line.contains("%1") ? line.arg(m_dir.path()) : line);

    QVERIFY(!result.second.isEmpty());
    QVERIFY2(result.second.at(0).contains(errorPart), qPrintable(result.second.at(0)));
    QVERIFY(result.first.isEmpty());
    QCOMPARE(clicks.count() + hidden.count(), 0);
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files), QStringList());
}

void TestUiCommand::dump_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("rootName");

    QTest::newRow("the window") << "ui.dump"
                                << "wgtMainWindow";
    QTest::newRow("below a name") << "ui.dump wgtInner"
                                  << "wgtInner";
}

void TestUiCommand::dump()
{
    QFETCH(QString, line);
    QFETCH(QString, rootName);

    const auto result = run(line);
    QCOMPARE(result.first.size(), 1);
    QVERIFY(!result.first.at(0).contains('\n'));
    QJsonParseError parse;
    const QJsonObject root = QJsonDocument::fromJson(result.first.at(0).toUtf8(), &parse).object();
    QCOMPARE(parse.error, QJsonParseError::NoError);
    QCOMPARE(root.value("name").toString(), rootName);

    // Every widget below the root is described once, with the facts of the live widget.
    QWidget* rootWidget = named(rootName);
    int seen = 0;
    std::function<void(const QJsonObject&, const QWidget*)> walk = [&](const QJsonObject& node,
                                                                       const QWidget* widget) {
        ++seen;
        QCOMPARE(node.value("class").toString(), QString(widget->metaObject()->className()));
        QCOMPARE(node.value("visible").toBool(), widget->isVisible());
        QCOMPARE(node.value("enabled").toBool(), widget->isEnabled());
        const QRect g = widget->geometry();
        QCOMPARE(node.value("geometry").toArray(),
                 QJsonArray({g.x(), g.y(), g.width(), g.height()}));
        const auto* button = qobject_cast<const QAbstractButton*>(widget);
        QCOMPARE(node.contains("checked"), button && button->isCheckable());
        if (const auto* edit = qobject_cast<const QLineEdit*>(widget)) {
            QCOMPARE(node.value("text").toString(), edit->text());
        } else if (button) {
            QCOMPARE(node.value("text").toString(), button->text());
        }
        const QJsonArray children = node.value("children").toArray();
        const QList<QWidget*> direct =
            widget->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(children.size(), direct.size());
        for (int i = 0; i < children.size(); ++i) {
            walk(children.at(i).toObject(), direct.at(i));
        }
    };
    walk(root, rootWidget);
    QCOMPARE(seen, rootWidget->findChildren<QWidget*>().size() + 1);
}

void TestUiCommand::grab_data()
{
    QTest::addColumn<QString>("args");
    QTest::addColumn<QString>("widget");

    QTest::newRow("the window") << "window.png"
                                << "wgtMainWindow";
    QTest::newRow("one widget") << "label.PNG lblTitle"
                                << "lblTitle";
}

void TestUiCommand::grab()
{
    QFETCH(QString, args);
    QFETCH(QString, widget);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto result = run(QStringLiteral("ui.grab %1/%2").arg(dir.path(), args));
    QVERIFY2(result.second.isEmpty(), qPrintable(result.second.join('\n')));
    QImage image;
    QVERIFY(image.load(dir.filePath(args.section(' ', 0, 0)), "PNG"));
    QCOMPARE(image.size(), named(widget)->size() * named(widget)->devicePixelRatioF());
}

void TestUiCommand::clickAnswersADialog()
{
    // A box that a page opens is a window of its own: a script must reach it.
    QDialog dialog(m_window);
    auto* ok = new QPushButton(QStringLiteral("OK"), &dialog);
    ok->setObjectName(QStringLiteral("btnOk"));
    connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    const auto result = run(QStringLiteral("ui.click btnOk OK"));

    QVERIFY2(result.second.isEmpty(), qPrintable(result.second.join('\n')));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(TestUiCommand)
#include "tst_uicommand.moc"
