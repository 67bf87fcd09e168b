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
    add(new QPushButton(QStringLiteral("Stop")), "btnGo")->setProperty("second", true);
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

    for (UiCommand::Kind kind : {UiCommand::Dump, UiCommand::Click, UiCommand::Grab}) {
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
    return m_window->findChild<QWidget*>(name);
}

void TestUiCommand::click_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("clicked"); // "first", "second", "check" or "" for none
    QTest::addColumn<QString>("errorPart");

    QTest::newRow("first of a name") << "ui.click btnGo"
                                     << "first"
                                     << "";
    QTest::newRow("name and text") << "ui.click btnGo Stop"
                                   << "second"
                                   << "";
    QTest::newRow("text without its mnemonic mark") << "ui.click btnGo Go"
                                                    << "first"
                                                    << "";
    QTest::newRow("a check box toggles") << "ui.click chkOn"
                                         << "check"
                                         << "";
    QTest::newRow("text nobody shows") << "ui.click btnGo Pause"
                                       << ""
                                       << "no widget named";
    QTest::newRow("unknown name") << "ui.click btnNowhere"
                                  << ""
                                  << "no widget named";
    QTest::newRow("disabled") << "ui.click btnOff"
                              << ""
                              << "is disabled";
    QTest::newRow("hidden") << "ui.click btnHidden"
                            << ""
                            << "is hidden";
    QTest::newRow("no name") << "ui.click   "
                             << ""
                             << "usage: ui.click";
}

void TestUiCommand::click()
{
    QFETCH(QString, line);
    QFETCH(QString, clicked);
    QFETCH(QString, errorPart);

    const QList<QAbstractButton*> goButtons = m_window->findChildren<QAbstractButton*>("btnGo");
    QCOMPARE(goButtons.size(), 2);
    auto* check = m_window->findChild<QCheckBox*>("chkOn");
    const bool wasChecked = check->isChecked();
    QSignalSpy first(goButtons.at(0), &QAbstractButton::clicked);
    QSignalSpy second(goButtons.at(1), &QAbstractButton::clicked);
    QSignalSpy off(m_window->findChild<QAbstractButton*>("btnOff"), &QAbstractButton::clicked);
    QSignalSpy hidden(m_window->findChild<QAbstractButton*>("btnHidden"),
                      &QAbstractButton::clicked);

    const auto result = run(line);

    QCOMPARE(first.count(), clicked == "first" ? 1 : 0);
    QCOMPARE(second.count(), clicked == "second" ? 1 : 0);
    QCOMPARE(check->isChecked(), clicked == "check" ? !wasChecked : wasChecked);
    QCOMPARE(off.count() + hidden.count(), 0);
    if (errorPart.isEmpty()) {
        QVERIFY2(result.second.isEmpty(), qPrintable(result.second.join('\n')));
    } else {
        QCOMPARE(result.second.size(), 1);
        QVERIFY2(result.second.at(0).contains(errorPart), qPrintable(result.second.at(0)));
    }
}

void TestUiCommand::dump_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("rootName");
    QTest::addColumn<QString>("errorPart");

    QTest::newRow("the window") << "ui.dump"
                                << "wgtMainWindow"
                                << "";
    QTest::newRow("below a name") << "ui.dump wgtInner"
                                  << "wgtInner"
                                  << "";
    QTest::newRow("unknown name") << "ui.dump wgtNowhere"
                                  << ""
                                  << "no widget named 'wgtNowhere'";
    QTest::newRow("two names") << "ui.dump wgtInner btnGo"
                               << ""
                               << "one object name at most";
}

void TestUiCommand::dump()
{
    QFETCH(QString, line);
    QFETCH(QString, rootName);
    QFETCH(QString, errorPart);

    const auto result = run(line);
    if (!errorPart.isEmpty()) {
        QVERIFY(result.first.isEmpty());
        QCOMPARE(result.second.size(), 1);
        QVERIFY2(result.second.at(0).contains(errorPart), qPrintable(result.second.at(0)));
        return;
    }
    QCOMPARE(result.first.size(), 1);
    QVERIFY(!result.first.at(0).contains('\n'));
    QJsonParseError parse;
    const QJsonObject root = QJsonDocument::fromJson(result.first.at(0).toUtf8(), &parse).object();
    QCOMPARE(parse.error, QJsonParseError::NoError);
    QCOMPARE(root.value("name").toString(), rootName);

    // Every widget below the root is described once, with the facts of the live widget.
    QWidget* rootWidget = rootName == m_window->objectName() ? m_window : named(rootName);
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
        if (button) {
            QCOMPARE(node.value("text").toString(), button->text());
        }
        if (const auto* edit = qobject_cast<const QLineEdit*>(widget)) {
            QCOMPARE(node.value("text").toString(), edit->text());
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
    QTest::addColumn<QString>("args"); // %1 stands for the temporary folder
    QTest::addColumn<QString>("widget");
    QTest::addColumn<QString>("errorPart");

    QTest::newRow("the window") << "%1/window.png"
                                << "wgtMainWindow"
                                << "";
    QTest::newRow("one widget") << "%1/label.PNG lblTitle"
                                << "lblTitle"
                                << "";
    QTest::newRow("folder that does not exist") << "%1/no/such/x.png"
                                                << ""
                                                << "cannot write";
    QTest::newRow("not a png name") << "%1/x.jpg"
                                    << ""
                                    << "must end in .png";
    QTest::newRow("unknown widget") << "%1/x.png wgtNowhere"
                                    << ""
                                    << "no widget named";
    QTest::newRow("no file") << ""
                             << ""
                             << "usage: ui.grab";
}

void TestUiCommand::grab()
{
    QFETCH(QString, args);
    QFETCH(QString, widget);
    QFETCH(QString, errorPart);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto result =
        run(QStringLiteral("ui.grab ") + (args.contains("%1") ? args.arg(dir.path()) : args));
    const QStringList files = QDir(dir.path()).entryList(QDir::Files);
    if (!errorPart.isEmpty()) {
        QCOMPARE(result.second.size(), 1);
        QVERIFY2(result.second.at(0).contains(errorPart), qPrintable(result.second.at(0)));
        QVERIFY2(files.isEmpty(), qPrintable(files.join(' ')));
        return;
    }
    QVERIFY2(result.second.isEmpty(), qPrintable(result.second.join('\n')));
    QCOMPARE(files.size(), 1);
    QImage image;
    QVERIFY(image.load(dir.filePath(files.at(0)), "PNG"));
    const QWidget* shown = widget == m_window->objectName() ? m_window : named(widget);
    QCOMPARE(image.size(), shown->size() * shown->devicePixelRatioF());
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
