#pragma once

#include <zarvo/zarvo_global.h>

#include <QHash>
#include <QString>

// Lets a burst of log lines of one kind through per window and counts the
// rest, so that a peer repeating a fault cannot push the history out of the
// rotated log files. Time comes from the caller (a monotonic clock in ms).
class ZARVO_EXPORT LogThrottle
{
public:
    explicit LogThrottle(int burst = 10, qint64 windowMs = 10000);

    // Whether a line of `kind` may be written at `nowMs`. When it opens a new
    // window after lines were held back, `*suppressed` receives their number
    // (else 0), for a summary line before it.
    bool allow(const QString& kind, qint64 nowMs, int* suppressed = nullptr);

    // Closes every window: the kinds that held lines back, with their numbers.
    QHash<QString, int> flush();

    qint64 window() const;

private:
    struct Window
    {
        qint64 start = 0;
        int written = 0;
        int suppressed = 0;
    };
    QHash<QString, Window> m_windows;
    int m_burst;
    qint64 m_window;
};
