#pragma once

#include <QAbstractSocket>
#include <QObject>
#include <QPointer>
#include <QTimer>

namespace hmi {

class CommandProxy;

// Keeps the controller link up without the operator: after a refused, lost
// or dead connection it connects again with a growing delay (1 s doubling to
// 30 s, back to 1 s after a good connection), until the operator's
// rc.disconnect, which holds it off until rc.connect. It reaches the link
// only through what the frameworks publish: the "rc" module's signals, the
// "rc_tcp" channel, the "setting" resource and the rc.* console commands.
class LinkSupervisor : public QObject
{
    Q_OBJECT

public:
    enum State {
        Disconnected, // and nothing will happen by itself
        Connecting,   // a connect or its first heartbeat is under way
        Connected,    // the controller answered and was announced
        Reconnecting, // waiting for the next attempt
    };
    Q_ENUM(State)

    static constexpr int firstDelayMs = 1000;
    static constexpr int maximumDelayMs = 30000;
    // A connect that neither succeeds nor fails within this time is given up.
    static constexpr int connectTimeoutMs = 5000;

    explicit LinkSupervisor(QObject* parent = nullptr);
    ~LinkSupervisor() override;

    // Find the link (call after the modules started). False, with nothing
    // supervised, when the plug-in has no "rc" module or channel.
    bool attach();
    void detach();

    // Automatic reconnection on or off (a host option); the setting
    // "auto_reconnect": false turns it off too.
    void setEnabled(bool enabled);
    bool isEnabled() const;
    // Shorter delays for tests; `first` doubles up to `maximum`.
    void setDelays(int first, int maximum);

    // The delay after `current`: doubled, at most `maximum`.
    static int nextDelay(int current, int maximum);

    State state() const { return m_state; }
    // "connected to 127.0.0.1:5050", "connecting to ...", "disconnected",
    // "reconnecting in 4 s": the words the status bar shows.
    QString statusText() const;
    // Whether retries are held off by the operator's rc.disconnect.
    bool isHeldOff() const { return m_heldOff; }
    int currentDelay() const { return m_delay; }

Q_SIGNALS:
    void stateChanged(hmi::LinkSupervisor::State state);
    // Each change of statusText(), the countdown included.
    void statusChanged(const QString& text);

private Q_SLOTS:
    // Connected by name to the "rc" module's rcConnected() and rcDisconnected().
    void onRcConnectedSlot();
    void onRcDisconnectedSlot();

private:
    void onSocketState(QAbstractSocket::SocketState socketState);
    void onSocketError(QAbstractSocket::SocketError socketError);
    void onOperatorConnect();
    void onOperatorDisconnect();
    void linkDown();
    void attempt();
    void setState(State state);
    void emitStatus();
    bool settingAllows() const;
    QString savedAddress(QString* ip, int* port) const;

    QPointer<QObject> m_rc;
    QPointer<QAbstractSocket> m_socket;
    QPointer<CommandProxy> m_connectProxy;
    QPointer<CommandProxy> m_disconnectProxy;
    QTimer m_retry;
    QTimer m_tick;
    QTimer m_connectTimer;
    State m_state = Disconnected;
    bool m_enabled = true;
    bool m_heldOff = false;
    bool m_timedOut = false;
    int m_first = firstDelayMs;
    int m_maximum = maximumDelayMs;
    int m_delay = firstDelayMs;
    QString m_address;
    QString m_reason;
    // The reason last written to the log, so that a controller refusing for
    // an hour leaves one line, not one per attempt.
    QString m_loggedReason;
};

} // namespace hmi
