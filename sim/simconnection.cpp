#include "simconnection.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QTimer>

namespace zarvo::sim {

SimConnection::SimConnection(QTcpSocket* socket, QObject* parent)
    : QObject(parent)
    , m_socket(socket)
{
    m_socket->setParent(this);
    m_peer =
        QStringLiteral("%1:%2").arg(m_socket->peerAddress().toString()).arg(m_socket->peerPort());
    connect(m_socket, &QTcpSocket::readyRead, this, &SimConnection::onReadyRead);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &SimConnection::onBytesWritten);
    connect(m_socket, &QTcpSocket::disconnected, this, &SimConnection::closed);
}

SimConnection::~SimConnection()
{
    // Quietly: the owner already knows it is dropping us.
    m_socket->disconnect(this);
    m_socket->abort();
}

bool SimConnection::isOpen() const
{
    return m_socket->state() == QAbstractSocket::ConnectedState;
}

qint64 SimConnection::bytesToWrite() const
{
    return m_socket->bytesToWrite();
}

bool SimConnection::send(const QJsonObject& packet)
{
    QByteArray line = QJsonDocument(packet).toJson(QJsonDocument::Compact);
    line.append('\n');
    return sendRaw(line);
}

bool SimConnection::sendRaw(const QByteArray& bytes)
{
    if (!isOpen())
        return false;
    if (m_socket->write(bytes) != bytes.size())
        return false;
    Q_EMIT bytesSent(bytes);
    return true;
}

void SimConnection::close()
{
    m_burstLeft = 0;
    m_burstDraining = false;
    m_socket->disconnectFromHost();
    // A client that has stopped reading would hold the close open forever.
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        QTimer::singleShot(CloseGraceMs, m_socket, [socket = m_socket]() { socket->abort(); });
}

void SimConnection::onReadyRead()
{
    m_reader.append(m_socket->readAll());
    QJsonObject object;
    QByteArray skipped;
    for (;;) {
        const SimFrameReader::Result result = m_reader.next(&object, &skipped);
        if (result == SimFrameReader::NeedMore)
            break;
        if (result == SimFrameReader::Object)
            Q_EMIT packetReceived(object);
        else
            Q_EMIT malformedReceived(skipped);
        // A handler may have closed us.
        if (!isOpen())
            break;
    }
}

void SimConnection::startBurst(qint64 count, std::function<QByteArray(qint64)> make)
{
    m_burstMake = std::move(make);
    m_burstLeft = qMax<qint64>(0, count);
    m_burstSent = 0;
    m_burstDraining = false;
    if (m_burstLeft == 0 || !isOpen()) {
        m_burstLeft = 0;
        Q_EMIT burstFinished(0);
        return;
    }
    fillBurst();
}

void SimConnection::fillBurst()
{
    while (m_burstLeft > 0 && m_socket->bytesToWrite() < BurstHighWater) {
        const QByteArray line = m_burstMake(m_burstSent);
        if (m_socket->write(line) != line.size()) {
            m_burstLeft = 0;
            break;
        }
        ++m_burstSent;
        --m_burstLeft;
        Q_EMIT bytesSent(line);
    }
    if (m_burstLeft == 0) {
        m_burstDraining = true;
        if (m_socket->bytesToWrite() == 0) {
            m_burstDraining = false;
            Q_EMIT burstFinished(m_burstSent);
        }
    }
}

void SimConnection::onBytesWritten()
{
    if (m_burstLeft > 0 || m_burstDraining)
        fillBurst();
}

} // namespace zarvo::sim
