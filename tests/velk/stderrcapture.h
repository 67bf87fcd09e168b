#pragma once

// Sends everything written to standard error into a temporary file while it
// lives, so that tests can check console lines byte for byte.

#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

class StderrCapture
{
public:
    StderrCapture()
    {
        std::fflush(stderr);
        if (m_file.open() && (m_saved = ::dup(STDERR_FILENO)) >= 0) {
            ::dup2(m_file.handle(), STDERR_FILENO);
        }
    }
    ~StderrCapture() { take(); }
    Q_DISABLE_COPY(StderrCapture)

    // Everything written so far; stops the capture.
    QByteArray take()
    {
        if (m_saved >= 0) {
            std::fflush(stderr);
            ::dup2(m_saved, STDERR_FILENO);
            ::close(m_saved);
            m_saved = -1;
        }
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};
