#include "linkfixture.h"

class tst_LinkFixtureSmoke : public QObject
{
    Q_OBJECT

    LinkFixture fixture;

private Q_SLOTS:
    void initTestCase() { QVERIFY(fixture.start()); }
    void connects() { QVERIFY(rc()->isConnected()); }
    void cleanupTestCase() { fixture.stop(); }
};

QTEST_MAIN(tst_LinkFixtureSmoke)
#include "tst_linkfixture_smoke.moc"
