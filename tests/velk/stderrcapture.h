#pragma once

// Sends everything written to standard error into a temporary file while it
// lives, so that tests can check console lines byte for byte.

#include <QByteArray>
#include <QFile>
#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

class StderrCapture
{
public:
    StderrCapture()
    {
        if (!m_file.open()) {
            return;
        }
        std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        if (m_saved >= 0) {
            ::dup2(m_file.handle(), STDERR_FILENO);
        }
    }

    ~StderrCapture() { restore(); }

    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    // Everything written so far; stops the capture.
    QByteArray take()
    {
        restore();
        QFile in(m_file.fileName());
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }

private:
    void restore()
    {
        if (m_saved < 0) {
            return;
        }
        std::fflush(stderr);
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
        m_saved = -1;
    }

    QTemporaryFile m_file;
    int m_saved = -1;
};
