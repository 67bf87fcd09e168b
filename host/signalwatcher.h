#pragma once

#include <QObject>

class QSocketNotifier;

namespace hmi {

// Turns SIGINT and SIGTERM into a Qt signal, so that the program ends in
// order (modules detach, settings are written) instead of dying where it
// stands. After the first one the default action is back in place: a second
// Ctrl+C still ends a shutdown that got stuck. One instance at a time.
class SignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    // False when the signals could not be hooked (they keep their defaults).
    bool isActive() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void terminationRequested(int signalNumber);

private:
    void readSignal();
    static void restoreDefaults();

    QSocketNotifier* m_notifier = nullptr;
};

} // namespace hmi
