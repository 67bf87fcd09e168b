#include "services/rsyncrunner.h"

#include "module/managerhelper.h"
#include "services/modulelog.h"
#include "settings/settingmanager.h"

#include <QDir>
#include <QJsonObject>
#include <QProcessEnvironment>

namespace {
const char* const kPasswordVariable = "RSYNC_PASSWORD";
const char* const kBuiltInPassword = "480917";
} // namespace

RsyncRunner::RsyncRunner(QObject* parent)
    : QObject(parent)
    , m_process(new QProcess(this))
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!env.contains(QLatin1String(kPasswordVariable))) {
        env.insert(QLatin1String(kPasswordVariable), QLatin1String(kBuiltInPassword));
    }
    m_process->setProcessEnvironment(env);
    connect(m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this](int exitCode, QProcess::ExitStatus status) {
                // A crash carries no meaningful exit code; it is a failure all the same.
                onFinished(status == QProcess::CrashExit && exitCode == 0 ? -1 : exitCode);
            });
    connect(m_process, &QProcess::errorOccurred, this, &RsyncRunner::onErrorOccurred);
}

RsyncRunner::~RsyncRunner()
{
    if (m_process->state() != QProcess::NotRunning) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(3000);
    }
}

QProcess* RsyncRunner::process() const
{
    return m_process;
}

int RsyncRunner::queuedRequesters() const
{
    return m_requesters.size();
}

QString RsyncRunner::localForm(const QString& localPath, bool escapeBlanks)
{
    QString path = QDir::current().relativeFilePath(QDir::fromNativeSeparators(localPath));
    if (path.contains(QLatin1String(":/"))) {
        // Another drive: rsync runs in a POSIX layer that sees it there.
        path.replace(QLatin1String(":/"), QLatin1String("/"));
        if (!path.isEmpty()) {
            path[0] = path.at(0).toLower();
        }
        path.prepend(QLatin1String("/cygdrive/"));
    }
    if (escapeBlanks) {
        path.replace(QLatin1Char(' '), QLatin1String("\\ "));
    }
    return path;
}

QString RsyncRunner::remoteForm(const QString& host, const QString& remotePath)
{
    return QStringLiteral("zarvo@%1::hmi/%2").arg(host, remotePath);
}

QStringList RsyncRunner::arguments(bool push, bool deleteExtraneous, const QString& local,
                                   const QString& remote, const QStringList& extraArgs)
{
    QStringList args{QStringLiteral("-rogDltvzP"), QStringLiteral("--timeout=60"),
                     QStringLiteral("--contimeout=10")};
    if (deleteExtraneous) {
        args.append(QStringLiteral("--delete"));
    }
    if (push) {
        args << local << remote;
    } else {
        args << remote << local;
    }
    args << extraArgs;
    return args;
}

bool RsyncRunner::push(QObject* requester, const QString& localPath, const QString& remotePath,
                       bool deleteExtraneous, const QStringList& extraArgs)
{
    return start(true, requester, localPath, remotePath, deleteExtraneous, extraArgs);
}

bool RsyncRunner::pull(QObject* requester, const QString& localPath, const QString& remotePath,
                       bool deleteExtraneous, const QStringList& extraArgs)
{
    return start(false, requester, localPath, remotePath, deleteExtraneous, extraArgs);
}

bool RsyncRunner::start(bool push, QObject* requester, const QString& localPath,
                        const QString& remotePath, bool deleteExtraneous,
                        const QStringList& extraArgs)
{
    const QString host =
        setting()->getObj(QStringLiteral("server")).value(QStringLiteral("ip")).toString();
    const QString local = localForm(localPath);
    const QString remote = remoteForm(host, remotePath);
    zarvo::infoLog() << (push ? "push:" : "pull:") << local << remote;

    m_requesters.append(requester);
    m_requesterWasNull.append(requester == nullptr);

    if (m_process->state() != QProcess::NotRunning) {
        ManagerHelper::throwLog(requester, QStringLiteral("warning"),
                                QStringLiteral("rsync has been running..."));
        return false;
    }
    m_process->start(QStringLiteral("rsync"),
                     arguments(push, deleteExtraneous, local, remote, extraArgs),
                     QIODevice::ReadWrite);
    return true;
}

bool RsyncRunner::takeRequester(QObject** requester)
{
    if (m_requesters.isEmpty()) {
        return false;
    }
    const QPointer<QObject> first = m_requesters.takeFirst();
    const bool wasNull = m_requesterWasNull.takeFirst();
    // A requester destroyed meanwhile has nobody left to tell.
    if (first.isNull() && !wasNull) {
        return false;
    }
    *requester = first.data();
    return true;
}

void RsyncRunner::onFinished(int exitCode)
{
    QObject* requester = nullptr;
    const bool hasRequester = !m_requesters.isEmpty();
    if (!hasRequester) {
        return;
    }
    const bool deliver = takeRequester(&requester);
    QString output;
    if (exitCode != 0) {
        const QString error = QString::fromLocal8Bit(m_process->readAllStandardError());
        ManagerHelper::throwLog(requester, QStringLiteral("error"),
                                QStringLiteral("rsync exits with %1: %2").arg(exitCode).arg(error));
    } else {
        output = QString::fromLocal8Bit(m_process->readAllStandardOutput());
    }
    if (deliver) {
        Q_EMIT finished(requester, output);
    }
}

void RsyncRunner::onErrorOccurred(QProcess::ProcessError error)
{
    // Without a started process no finished() follows: answer the requester
    // here so that nobody waits for ever.
    if (error != QProcess::FailedToStart) {
        return;
    }
    QObject* requester = nullptr;
    if (m_requesters.isEmpty()) {
        return;
    }
    const bool deliver = takeRequester(&requester);
    ManagerHelper::throwLog(
        requester, QStringLiteral("error"),
        QStringLiteral("rsync cannot be started: %1").arg(m_process->errorString()));
    if (deliver) {
        Q_EMIT finished(requester, QString());
    }
}
