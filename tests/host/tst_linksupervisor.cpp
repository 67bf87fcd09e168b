// Automatic reconnection against a stand-in controller link on loopback: a
// fake "rc" module with the link's signals, the real "rc_tcp" channel, the
// "setting" resource and the rc.connect / rc.disconnect commands.

#include "host/linksupervisor.h"

#include <velk/basecommand.h>
#include <velk/commandmanager.h>
#include <velk/modulemanager.h>
#include <velk/networkmanager.h>
#include <velk/networkobject.h>
#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using hmi::LinkSupervisor;

namespace {

const QString kChannel = QStringLiteral("rc_tcp");

// Announces the controller as the real manager does: after the socket
// connects, and gone when it disconnects.
class FakeRc : public QObject
{
    Q_OBJECT

public:
    FakeRc()
    {
        QAbstractSocket* socket = velk::net(kChannel)->socket();
        connect(socket, &QAbstractSocket::connected, this, [this] { Q_EMIT rcConnected(); });
        connect(socket, &QAbstractSocket::disconnected, this, [this] { Q_EMIT rcDisconnected(); });
    }

Q_SIGNALS:
    void rcConnected();
    void rcDisconnected();
};

class LinkCommand : public velk::BaseCommand
{
public:
    LinkCommand(const QString& name, int* port)
        : velk::BaseCommand(name, true)
        , m_port(port)
    {
    }
    void execute(const QString&) override
    {
        if (name() == QLatin1String("rc.connect")) {
            velk::net(kChannel)->tryConnectToHost(QHostAddress::LocalHost, *m_port);
        } else {
            velk::net(kChannel)->tryDisconnectFromHost();
        }
    }

private:
    int* m_port;
};

} // namespace

class TestLinkSupervisor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();
    void afterALoss_data();
    void afterALoss();
    void restartedControllerIsFoundAgain();

private:
    // Accept one connection and return the server's side of it.
    QTcpSocket* accept();
    void startSupervising(bool enabled);

    QObject m_settingOwner;
    FakeRc* m_rc = nullptr;
    QTcpServer m_server;
    int m_port = 0;
    LinkCommand* m_connect = nullptr;
    LinkCommand* m_disconnect = nullptr;
    LinkSupervisor* m_link = nullptr;
    QPointer<QTcpSocket> m_peer;
};

void TestLinkSupervisor::initTestCase()
{
    QVERIFY(velk::net().regist(kChannel, velk::TCP, velk::NetworkChannel()));
    m_rc = new FakeRc;
    QVERIFY(velk::m().regist(m_rc, QStringLiteral("rc")));
    QVERIFY(velk::resource().regist(&m_settingOwner, QStringLiteral("setting"), true));
    QVERIFY(m_server.listen(QHostAddress::LocalHost, 0));
    m_port = m_server.serverPort();
    velk::resource().set(&m_settingOwner, QStringLiteral("setting"), QStringLiteral("server"),
                         QJsonObject{{"ip", "127.0.0.1"}, {"port", m_port}}, true);
    m_connect = new LinkCommand(QStringLiteral("rc.connect"), &m_port);
    m_disconnect = new LinkCommand(QStringLiteral("rc.disconnect"), &m_port);
    QVERIFY(velk::command().regist(m_connect));
    QVERIFY(velk::command().regist(m_disconnect));
}

void TestLinkSupervisor::cleanupTestCase()
{
    delete m_connect;
    delete m_disconnect;
    velk::m().cancel(m_rc, QStringLiteral("rc"));
    delete m_rc;
    velk::net().cancel(kChannel);
}

void TestLinkSupervisor::cleanup()
{
    delete m_link;
    m_link = nullptr;
    velk::resource().set(&m_settingOwner, QStringLiteral("setting"),
                         QStringLiteral("auto_reconnect"), QJsonValue(QJsonValue::Undefined), true);
    velk::net(kChannel)->socket()->abort();
    while (m_server.hasPendingConnections()) {
        delete m_server.nextPendingConnection();
    }
}

QTcpSocket* TestLinkSupervisor::accept()
{
    // The client's timers need the event loop: wait by turning it.
    for (int i = 0; i < 500 && !m_server.hasPendingConnections(); ++i) {
        QTest::qWait(10);
    }
    QTcpSocket* peer = m_server.nextPendingConnection();
    if (peer) {
        peer->setParent(this);
        m_peer = peer;
    }
    return peer;
}

void TestLinkSupervisor::startSupervising(bool enabled)
{
    m_link = new LinkSupervisor;
    m_link->setDelays(20, 80);
    m_link->setEnabled(enabled);
    QVERIFY(m_link->attach());
    velk::command().execute(QStringLiteral("rc.connect"));
    QVERIFY(accept());
    QTRY_COMPARE(m_link->state(), LinkSupervisor::Connected);
    QCOMPARE(m_link->statusText(), QStringLiteral("connected to 127.0.0.1:%1").arg(m_port));
}

void TestLinkSupervisor::afterALoss_data()
{
    QTest::addColumn<bool>("enabled");         // the host option
    QTest::addColumn<QJsonValue>("setting");   // "auto_reconnect"
    QTest::addColumn<bool>("operatorStopped"); // rc.disconnect instead of a lost peer
    QTest::addColumn<bool>("reconnects");

    const QJsonValue unset(QJsonValue::Undefined);
    QTest::newRow("peer gone") << true << unset << false << true;
    QTest::newRow("setting on") << true << QJsonValue(true) << false << true;
    QTest::newRow("setting off") << true << QJsonValue(false) << false << false;
    QTest::newRow("option off") << false << unset << false << false;
    QTest::newRow("operator disconnect") << true << unset << true << false;
}

void TestLinkSupervisor::afterALoss()
{
    QFETCH(bool, enabled);
    QFETCH(QJsonValue, setting);
    QFETCH(bool, operatorStopped);
    QFETCH(bool, reconnects);

    velk::resource().set(&m_settingOwner, QStringLiteral("setting"),
                         QStringLiteral("auto_reconnect"), setting, true);
    startSupervising(enabled);
    QSignalSpy states(m_link, &LinkSupervisor::stateChanged);

    if (operatorStopped) {
        velk::command().execute(QStringLiteral("rc.disconnect"));
    } else {
        m_peer->close();
    }

    if (reconnects) {
        QVERIFY(accept());
        QTRY_COMPARE(m_link->state(), LinkSupervisor::Connected);
        QVERIFY(states.count() >= 2);
        QCOMPARE(states.at(0).at(0).value<LinkSupervisor::State>(), LinkSupervisor::Reconnecting);
        return;
    }
    QTRY_COMPARE(m_link->state(), LinkSupervisor::Disconnected);
    QCOMPARE(m_link->statusText(), QStringLiteral("disconnected"));
    // Several of the longest delays pass without an attempt.
    QTest::qWait(400);
    QVERIFY(!m_server.hasPendingConnections());
    QCOMPARE(m_link->state(), LinkSupervisor::Disconnected);

    if (operatorStopped) {
        // The operator's rc.connect ends the hold: later losses heal again.
        velk::command().execute(QStringLiteral("rc.connect"));
        QTcpSocket* peer = accept();
        QVERIFY(peer);
        QTRY_COMPARE(m_link->state(), LinkSupervisor::Connected);
        QVERIFY(!m_link->isHeldOff());
        peer->close();
        QVERIFY(accept());
        QTRY_COMPARE(m_link->state(), LinkSupervisor::Connected);
    }
}

void TestLinkSupervisor::restartedControllerIsFoundAgain()
{
    startSupervising(true);
    // The controller goes away entirely: its port refuses for a while.
    m_server.close();
    qDeleteAll(findChildren<QTcpSocket*>());
    QTRY_COMPARE(m_link->state(), LinkSupervisor::Reconnecting);
    // Several refused attempts, each waiting twice as long, up to the cap.
    QTRY_VERIFY(m_link->currentDelay() == 80);
    QVERIFY(m_server.listen(QHostAddress::LocalHost, quint16(m_port)));
    QVERIFY(accept());
    QTRY_COMPARE(m_link->state(), LinkSupervisor::Connected);
    // A good connection starts the delays afresh.
    QCOMPARE(m_link->currentDelay(), 20);
}

QTEST_MAIN(TestLinkSupervisor)
#include "tst_linksupervisor.moc"
