#include "floodpeer.h"
#include "floodpeer_p.h"

#include "simrobot.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace {

constexpr int kRingPackets = 1024;
// Enough queued to keep the kernel fed; little enough that an answer waits
// behind it for a fraction of a millisecond of the consumer's time.
constexpr qint64 kHighWater = 256 * 1024;
constexpr int kPacketsPerWrite = 256;

QByteArray line(const QJsonObject& json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

FloodPeerWorker::FloodPeerWorker()
{
    m_offsets.reserve(kRingPackets + 1);
    for (int i = 0; i < kRingPackets; ++i) {
        m_offsets.append(m_ring.size());
        m_ring += line({{"module", "motion"},
                        {"command", "move.monitor"},
                        {"data", zarvo::sim::SimRobot::pose(i * 0.01)}});
    }
    m_offsets.append(m_ring.size());
    packetBytes = double(m_ring.size()) / kRingPackets;
}

void FloodPeerWorker::listen()
{
    m_server = new QTcpServer(this);
    m_timer = new QTimer(this);
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer, &QTimer::timeout, this, [this] { tick(); });
    connect(m_server, &QTcpServer::newConnection, this, [this] { accept(); });
    if (m_server->listen(QHostAddress::LocalHost, 0)) {
        port = m_server->serverPort();
    }
    listened = true;
}

void FloodPeerWorker::accept()
{
    while (QTcpSocket* socket = m_server->nextPendingConnection()) {
        socket->setParent(this);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] {
            if (socket == m_target) {
                pump();
            }
        });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            if (socket == m_target) {
                m_left = 0;
                m_target = nullptr;
                m_timer->stop();
                busy = false;
            }
            m_hmi = m_hmi == socket ? nullptr : m_hmi;
            if (m_floor == socket) {
                m_floor = nullptr;
                hasFloor = false;
            }
            socket->deleteLater();
        });
    }
}

void FloodPeerWorker::read(QTcpSocket* socket)
{
    while (socket->canReadLine()) {
        const QJsonObject request = QJsonDocument::fromJson(socket->readLine()).object();
        if (request.value("floor").toBool()) {
            m_floor = socket;
            hasFloor = true;
            continue;
        }
        if (!request.contains("id")) {
            continue;
        }
        QJsonObject answer{{"id", request.value("id")}};
        if (request.value("command") == QLatin1String("controller.heart")) {
            m_hmi = socket;
            answer.insert("data", QJsonObject{{"name", "Zarvo"}});
        }
        socket->write(line(answer));
        ++answered;
    }
}

QTcpSocket* FloodPeerWorker::socketFor(FloodPeer::Target target) const
{
    return target == FloodPeer::Hmi ? m_hmi : m_floor;
}

void FloodPeerWorker::burst(FloodPeer::Target target, qint64 count)
{
    m_target = socketFor(target);
    m_left = m_target ? count : 0;
    busy = m_left > 0;
    pump();
}

void FloodPeerWorker::pump()
{
    if (!m_target || m_timer->isActive()) {
        return;
    }
    while (m_left > 0 && m_target->bytesToWrite() < kHighWater) {
        m_left -= writePackets(m_target, qMin<qint64>(m_left, kPacketsPerWrite));
    }
    finishWhenDrained();
}

void FloodPeerWorker::finishWhenDrained()
{
    if (m_left == 0 && m_target && m_target->bytesToWrite() == 0) {
        m_target = nullptr;
        busy = false;
    }
}

qint64 FloodPeerWorker::writePackets(QTcpSocket* socket, qint64 count)
{
    const int first = m_next;
    const int last = int(qMin<qint64>(kRingPackets, first + count));
    socket->write(m_ring.constData() + m_offsets.at(first),
                  m_offsets.at(last) - m_offsets.at(first));
    m_next = last == kRingPackets ? 0 : last;
    return last - first;
}

void FloodPeerWorker::stream(FloodPeer::Target target, int hertz, qint64 count)
{
    m_target = socketFor(target);
    m_left = m_target ? count : 0;
    busy = m_left > 0;
    if (busy) {
        m_timer->start(qMax(1, 1000 / qMax(1, hertz)));
    }
}

void FloodPeerWorker::tick()
{
    if (!m_target || m_left <= 0) {
        m_timer->stop();
        finishWhenDrained();
        return;
    }
    m_left -= writePackets(m_target, 1);
    if (m_left <= 0) {
        m_timer->stop();
        m_target->flush();
        finishWhenDrained();
    }
}

FloodPeer::FloodPeer()
    : m_worker(new FloodPeerWorker)
{
    m_worker->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
}

FloodPeer::~FloodPeer()
{
    m_thread.quit();
    m_thread.wait(5000);
}

bool FloodPeer::start()
{
    m_thread.start();
    QMetaObject::invokeMethod(
        m_worker, [w = m_worker] { w->listen(); }, Qt::QueuedConnection);
    QElapsedTimer clock;
    clock.start();
    while (!m_worker->listened && clock.elapsed() < 5000) {
        QThread::msleep(1);
    }
    return m_worker->port != 0;
}

quint16 FloodPeer::port() const
{
    return m_worker->port;
}

double FloodPeer::packetBytes() const
{
    return m_worker->packetBytes;
}

void FloodPeer::burst(Target target, qint64 count)
{
    m_worker->busy = true;
    QMetaObject::invokeMethod(
        m_worker, [w = m_worker, target, count] { w->burst(target, count); }, Qt::QueuedConnection);
}

void FloodPeer::stream(Target target, int hertz, qint64 count)
{
    m_worker->busy = true;
    QMetaObject::invokeMethod(
        m_worker, [w = m_worker, target, hertz, count] { w->stream(target, hertz, count); },
        Qt::QueuedConnection);
}

bool FloodPeer::busy() const
{
    return m_worker->busy;
}

bool FloodPeer::hasFloor() const
{
    return m_worker->hasFloor;
}

qint64 FloodPeer::answered() const
{
    return m_worker->answered;
}
