#include <pomr/centerwidget.h>
#include <pomr/shell.h>

#include <QLabel>
#include <QtTest>

class tst_Shell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void centerPagesByKey_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("exists");
        QTest::newRow("registered") << "home" << true;
        QTest::newRow("nested") << "setting.robot" << true;
        QTest::newRow("unknown") << "nowhere" << false;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("page destroyed") << "gone" << false;
    }

    void centerPagesByKey()
    {
        QFETCH(QString, key);
        QFETCH(bool, exists);
        pomr::destroyShell();
        pomr::CenterWidget* center = pomr::instantiatedCenterWidget(this);
        QCOMPARE(pomr::instantiatedCenterWidget(nullptr), center);
        QVERIFY(center->addPage(this, "home", new QLabel));
        QVERIFY(center->addPage(this, "setting.robot", new QLabel));
        QVERIFY(!center->addPage(this, "home", new QLabel(center)));
        QVERIFY(!center->addPage(this, "null", nullptr));
        auto* gone = new QLabel;
        QVERIFY(center->addPage(this, "gone", gone));
        delete gone;

        QSignalSpy switched(center, &pomr::CenterWidget::switched);
        QCOMPARE(center->switchTo(this, key), exists);
        QCOMPARE(center->getItemWgt(key) != nullptr, exists);
        QCOMPARE(switched.count(), int(exists));
        QCOMPARE(center->currentKey(), exists ? key : QString());
    }
};

QTEST_MAIN(tst_Shell)
#include "tst_shell.moc"
