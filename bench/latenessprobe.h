#pragma once

// How late a 1 ms timer on the calling (GUI) thread fires while something
// else keeps the event loop busy: what an operator feels as a stutter.

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <QVector>

class LatenessProbe : public QObject
{
public:
    explicit LatenessProbe(QObject* parent = nullptr);

    void start();
    void stop();

    // Lateness of each tick in milliseconds: the gap since the previous tick
    // beyond the 1 ms period.
    double p50() const;
    double p99() const;
    double max() const;
    int ticks() const { return m_lateness.size(); }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0;
    QVector<double> m_lateness;
};
