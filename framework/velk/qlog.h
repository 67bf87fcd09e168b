#pragma once

#include "velk_global.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QVariant>

namespace velk {

// A log line built as a stream and written when the object is destroyed:
//   <colour><prefix>[ <extra>] <item> <item> ...\033[0m
// on standard error. Text items (QString, const char*, string variants) are
// written without quotes, so Chinese stays readable, but with control
// characters escaped (see escaped()) and cut after MaxItemLength: whatever an
// item holds, it cannot forge a line of its own or steer a terminal. JSON
// values are written as compact JSON; anything else in QDebug's form.
//
//   velk::QLog("\033[32m", "[d|06/01 10:00:00.000]", "").space() << "n:" << name;
class VELK_EXPORT QLog
{
public:
    // A disabled stream (`enabled` false) formats and writes nothing.
    QLog(const QString& colour, const QString& prefix, const QString& extra, bool enabled = true);
    virtual ~QLog();

    QLog(const QLog&) = delete;
    QLog& operator=(const QLog&) = delete;

    // Items are separated by one blank (the default), or joined directly.
    QLog& space();
    QLog& nospace();

    QLog& operator<<(const QString& text);
    QLog& operator<<(const char* text);
    QLog& operator<<(QChar c);
    QLog& operator<<(const QVariant& value);
    QLog& operator<<(const QJsonObject& json);
    QLog& operator<<(const QJsonArray& json);
    QLog& operator<<(const QJsonValue& json);
    QLog& operator<<(bool value);
    QLog& operator<<(int value);
    QLog& operator<<(unsigned int value);
    QLog& operator<<(qint64 value);
    QLog& operator<<(quint64 value);
    QLog& operator<<(double value);

    // Everything else QDebug knows how to print.
    template <typename T>
    QLog& operator<<(const T& value)
    {
        if (!m_enabled) {
            return *this;
        }
        QString text;
        QDebug(&text).noquote().nospace() << value;
        return appendItem(text);
    }

    // The line as built so far, without colour codes.
    QString text() const;

    // The longest item a line takes whole.
    static constexpr int MaxItemLength = 4096;

    // `text` with C0 and C1 control characters, DEL, the line and paragraph
    // separators and the bidirectional controls written as escapes ("\n",
    // "\t", "\x1b", "\u202e"), cut after `max` characters (a negative
    // `max`: no cut) with " ...(N characters)" giving the full length.
    static QString escaped(const QString& text, int max = -1);

    // A disabled stream formats nothing and writes nothing, so a filtered-out
    // line costs next to nothing on a hot path.
    QLog& setEnabled(bool on);
    bool isEnabled() const;

    // The local time as log lines show it, "MM/dd hh:mm:ss.zzz": now, or at
    // `msecsSinceEpoch`. The time zone is consulted once a minute, not for
    // every line (the C library re-reads the zone file at each local-time
    // query), so a zone change shows within a minute.
    static QString timeStamp();
    static QString timeStamp(qint64 msecsSinceEpoch);

    // Process-wide switch for console output (file output is unaffected).
    // Starts on unless $VELK_LOG_CONSOLE is "0" or "off".
    static void setConsoleEnabled(bool on);
    static bool isConsoleEnabled();

    // Process-wide switch for the colour codes of console lines. Starts on
    // only when standard error is a terminal and $NO_COLOR is unset or empty:
    // codes in a file or a pipe are noise to whoever reads it.
    static void setColourEnabled(bool on);
    static bool isColourEnabled();

protected:
    QLog& appendItem(const QString& item);
    void writeConsole();
    // Set by subclasses that wrote the line themselves.
    bool m_written = false;
    bool m_enabled = true;

private:
    QString m_colour;
    QString m_head;
    QString m_items;
    bool m_space = true;
    bool m_first = true;
};

// A QLog that also appends the line, without colour codes, to a log file.
//
// File name: `filePath` + "." + `logName` when a log name is given, else
// `filePath` ("./log/zarvo" and "log" give ./log/zarvo.log). The folder is
// created when missing. Each line is appended and flushed at once. When the
// file reaches the rotation size it becomes <file>.1 (older ones shift up to
// <file>.<keep>, the oldest is removed), so logs never fill the disk.
// A file that cannot be opened leaves the console line.
class VELK_EXPORT QFLog : public QLog
{
public:
    QFLog(const QString& colour, const QString& prefix, const QString& extra,
          const QString& filePath, const QString& logName);
    ~QFLog() override;

    static QString fileName(const QString& filePath, const QString& logName);

    // Defaults: 8 MiB a file, 4 rotated files kept.
    static void setRotation(qint64 maxBytes, int keep);
    static qint64 rotationSize();
    static int rotationKeep();

private:
    QString m_file;
};

} // namespace velk
