#include <pomr/centerwidget.h>
#include <pomr/shell.h>
#include <pomr/sidebar.h>
#include <pomr/statusbar.h>

#include <QLabel>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>

class tst_Shell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneInstancePerProcess();
    void sideBarCreateFlag();
    void centerPagesByKey_data();
    void centerPagesByKey();
    void destroyedPageIsForgotten();
    void sideBarItems();
    void statusBarShowsMessages();
};

void tst_Shell::oneInstancePerProcess()
{
    QObject requesterA;
    QObject requesterB;
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(&requesterA);
    QVERIFY(center);
    QCOMPARE(pomr::instantiatedCenterWidget(&requesterB), center);
    QCOMPARE(pomr::instantiatedStatusBar(nullptr), pomr::instantiatedStatusBar(&requesterA));
}

void tst_Shell::sideBarCreateFlag()
{
    pomr::destroyShell();
    QVERIFY(!pomr::instantiatedSideBar(this, false));
    pomr::SideBar* bar = pomr::instantiatedSideBar(this, true);
    QVERIFY(bar);
    QCOMPARE(pomr::instantiatedSideBar(this, false), bar);
}

void tst_Shell::centerPagesByKey_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("exists");
    QTest::newRow("registered") << QStringLiteral("home") << true;
    QTest::newRow("registered nested") << QStringLiteral("setting.robot") << true;
    QTest::newRow("unknown") << QStringLiteral("nowhere") << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_Shell::centerPagesByKey()
{
    QFETCH(QString, key);
    QFETCH(bool, exists);

    pomr::destroyShell();
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
    auto* home = new QLabel(QStringLiteral("home"));
    auto* robot = new QLabel(QStringLiteral("robot"));
    QVERIFY(center->addPage(this, QStringLiteral("home"), home));
    QVERIFY(center->addPage(this, QStringLiteral("setting.robot"), robot));
    QVERIFY(!center->addPage(this, QStringLiteral("home"), new QLabel(center)));
    QVERIFY(!center->addPage(this, QStringLiteral("null"), nullptr));

    QSignalSpy switched(center, &pomr::CenterWidget::switched);
    QCOMPARE(center->switchTo(this, key), exists);
    QCOMPARE(center->getItemWgt(key) != nullptr, exists);
    QCOMPARE(switched.count(), exists ? 1 : 0);
    QCOMPARE(center->currentKey(), exists ? key : QString());
}

void tst_Shell::destroyedPageIsForgotten()
{
    pomr::destroyShell();
    pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
    auto* page = new QLabel;
    QVERIFY(center->addPage(this, QStringLiteral("p"), page));
    delete page;
    QVERIFY(!center->getItemWgt(QStringLiteral("p")));
    QVERIFY(!center->switchTo(this, QStringLiteral("p")));
    // The key can be used again by a new page.
    QVERIFY(center->addPage(this, QStringLiteral("p"), new QLabel));
    QVERIFY(center->switchTo(this, QStringLiteral("p")));
}

void tst_Shell::sideBarItems()
{
    pomr::destroyShell();
    pomr::SideBar* bar = pomr::instantiatedSideBar(this, true);
    auto* a = new QLabel;
    auto* b = new QLabel;
    QVERIFY(bar->addItem(this, QStringLiteral("a"), a, true, -1));
    QVERIFY(bar->addItem(this, QStringLiteral("b"), b, false, 0));
    QVERIFY(!bar->addItem(this, QStringLiteral("a"), new QLabel(bar), true, -1));
    QCOMPARE(bar->getItemWgt(QStringLiteral("a")), a);
    QVERIFY(!bar->getItemWgt(QStringLiteral("c")));
    QCOMPARE(bar->itemKeys(), QStringList({"a", "b"}));
    QVERIFY(b->isHidden());
    QCOMPARE(a->parentWidget(), bar);
}

void tst_Shell::statusBarShowsMessages()
{
    pomr::StatusBar* bar = pomr::instantiatedStatusBar(this);
    QVERIFY(bar->getStatusbar());
    bar->getStatusbar()->showMessage(QStringLiteral("hello"), 0);
    QCOMPARE(bar->getStatusbar()->currentMessage(), QStringLiteral("hello"));
}

QTEST_MAIN(tst_Shell)
#include "tst_shell.moc"
