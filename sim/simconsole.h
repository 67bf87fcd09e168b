#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class QSocketNotifier;

namespace zarvo::sim {

class RcSimulator;

// Text commands that drive a running simulator, one a line, typed on the
// simulator's standard input (or handed to execute() by a test):
//   estop WORD          activate a safety stop ("NStop" ends it)
//   state WORD          set the robot state ("idle", "running", ...)
//   operate manual|auto force the operating mode
//   power on|off        force the motor power
//   fault NAME [PARAM]  inject a fault ("NAME:PARAM" works too)
//   clear [NAME]        clear one fault, or all of them
//   monitor HZ          monitor stream rate (0 = off)
//   burst N             send N monitor notifications as fast as possible
//   notify MODULE COMMAND [JSON]  send a notification to every client
//   status              print the state, faults and clients
//   help, quit
class SimConsole : public QObject
{
    Q_OBJECT

public:
    explicit SimConsole(RcSimulator* simulator, QObject* parent = nullptr);

    // Runs one command line; *reply gets the text to show. False for an
    // unknown command or bad arguments (then *reply says why).
    bool execute(const QString& line, QString* reply);

    // Reads commands from file descriptor 0 until end of input; replies go
    // to stderr, so that stdout stays a clean packet trace.
    void readStandardInput();

    static QString help();

Q_SIGNALS:
    void quitRequested();

private:
    void onStdinReadable();

    RcSimulator* m_sim;
    QSocketNotifier* m_notifier = nullptr;
    QByteArray m_pending;
};

} // namespace zarvo::sim
