#pragma once

// Measures the controller link against the simulated controller running as a
// separate process on loopback, and the floor the link is compared with: a
// bare client (QTcpSocket + QJsonDocument, same framing, same simulator).

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QVector>

class LinkBench : public QObject
{
    Q_OBJECT

public:
    explicit LinkBench(const QString& simulatorPath, QObject* parent = nullptr);
    ~LinkBench() override;

    // Starts the simulator and the plug-in, and waits for the link. False
    // (with errorString()) when any of it fails.
    bool start();
    QString errorString() const { return m_error; }

    // Round trips in nanoseconds, one request after the other.
    QVector<qint64> linkRoundTrips(int count);
    QVector<qint64> floorRoundTrips(int count);

private:
    QString m_simulatorPath;
    QString m_error;
    QTemporaryDir m_dir;
    QProcess m_simulator;
    quint16 m_tcpPort = 0;
    quint16 m_discoveryPort = 0;
    quint16 m_upgradePort = 0;
};
