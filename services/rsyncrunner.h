#pragma once

#include "module/zarvo_global.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QStringList>

// Runs the external rsync program against the controller's rsync daemon
// (module "hmi", user "zarvo"), one transfer at a time, and reports each
// result to the object that asked for it, in order of request.
//
// The daemon's secret reaches rsync only through the process environment
// (RSYNC_PASSWORD): a value the site set in the environment is kept,
// otherwise the built-in one is used. It never appears in arguments or logs.
class RsyncRunner : public QObject
{
    Q_OBJECT

public:
    explicit RsyncRunner(QObject* parent = nullptr);
    ~RsyncRunner() override;

    // Both queue the requester first, then start the transfer if none runs.
    // A refused request (false) therefore stays queued and receives the
    // result of a later transfer; callers that get false must expect that.
    bool push(QObject* requester, const QString& localPath, const QString& remotePath,
              bool deleteExtraneous, const QStringList& extraArgs);
    bool pull(QObject* requester, const QString& localPath, const QString& remotePath,
              bool deleteExtraneous, const QStringList& extraArgs);

    QProcess* process() const;
    int queuedRequesters() const;

    // The forms rsync is given: the local path relative to the working
    // directory (another drive as /cygdrive/<d>/...), and the daemon address
    // zarvo@<server ip>::hmi/<remote>.
    //
    // Blanks are escaped ("a\ b") only where rsync parses its command line
    // again (the POSIX layer of Windows). Elsewhere it receives argv as it is,
    // and an escaped blank would name another file.
#ifdef Q_OS_WIN
    static constexpr bool EscapeBlanks = true;
#else
    static constexpr bool EscapeBlanks = false;
#endif
    static QString localForm(const QString& localPath, bool escapeBlanks = EscapeBlanks);
    static QString remoteForm(const QString& host, const QString& remotePath);
    static QStringList arguments(bool push, bool deleteExtraneous, const QString& local,
                                 const QString& remote, const QStringList& extraArgs);

Q_SIGNALS:
    void finished(QObject* requester, const QString& output);

private:
    bool start(bool push, QObject* requester, const QString& localPath, const QString& remotePath,
               bool deleteExtraneous, const QStringList& extraArgs);
    void onFinished(int exitCode);
    void onErrorOccurred(QProcess::ProcessError error);
    // Take the first requester off the queue; null when the queue is empty or
    // the requester has since been destroyed.
    bool takeRequester(QObject** requester);

    QProcess* m_process;
    // Guarded: a page may be closed while its transfer runs.
    QList<QPointer<QObject>> m_requesters;
    QList<bool> m_requesterWasNull;
};
