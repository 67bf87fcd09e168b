#include "qlog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QMutex>
#include <QMutexLocker>

#include <cstdio>
#include <limits>
#include <memory>
#include <unistd.h>

namespace velk {

namespace {

const char* const kReset = "\033[0m";

bool consoleDefault()
{
    const QByteArray env = qgetenv("VELK_LOG_CONSOLE").toLower();
    return !(env == "0" || env == "off" || env == "false");
}

bool& consoleFlag()
{
    static bool on = consoleDefault();
    return on;
}

bool& colourFlag()
{
    static bool on = qEnvironmentVariableIsEmpty("NO_COLOR") && ::isatty(STDERR_FILENO) == 1;
    return on;
}

QString jsonText(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Object:
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    case QJsonValue::Array:
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 15);
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Undefined:
        break;
    }
    return QStringLiteral("undefined");
}

// Open log files, kept open between lines: a panel PC logs for months, and
// reopening the file for every line costs more than the line itself. Keyed by
// absolute path because tests and hosts may change the working directory.
struct LogFiles
{
    QMutex mutex;
    QHash<QString, std::shared_ptr<QFile>> files;
    qint64 maxBytes = 8 * 1024 * 1024;
    int keep = 4;
};

LogFiles& logFiles()
{
    static LogFiles files;
    return files;
}

void rotate(const QString& path, int keep)
{
    if (keep < 1) {
        QFile::remove(path);
        return;
    }
    QFile::remove(QStringLiteral("%1.%2").arg(path).arg(keep));
    for (int i = keep - 1; i >= 1; --i) {
        QFile::rename(QStringLiteral("%1.%2").arg(path).arg(i),
                      QStringLiteral("%1.%2").arg(path).arg(i + 1));
    }
    QFile::rename(path, path + QStringLiteral(".1"));
}

void appendToFile(const QString& fileName, const QByteArray& line)
{
    LogFiles& lf = logFiles();
    QMutexLocker lock(&lf.mutex);
    const QString path = QFileInfo(fileName).absoluteFilePath();
    std::shared_ptr<QFile> file = lf.files.value(path);
    if (file && !file->exists()) {
        // Removed or rotated away behind our back: start a new one.
        lf.files.remove(path);
        file.reset();
    }
    if (!file) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        file = std::make_shared<QFile>(path);
        if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) {
            return;
        }
        lf.files.insert(path, file);
    }
    if (lf.maxBytes > 0 && file->size() + line.size() > lf.maxBytes && file->size() > 0) {
        file->close();
        lf.files.remove(path);
        rotate(path, lf.keep);
        file = std::make_shared<QFile>(path);
        if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) {
            return;
        }
        lf.files.insert(path, file);
    }
    file->write(line);
    file->flush();
}

} // namespace

QLog::QLog(const QString& colour, const QString& prefix, const QString& extra, bool enabled)
    : m_enabled(enabled)
    , m_colour(colour)
    , m_head(prefix)
{
    if (!extra.isEmpty()) {
        m_head += QLatin1Char(' ') + extra;
    }
}

QLog::~QLog()
{
    if (!m_written) {
        writeConsole();
    }
}

QLog& QLog::space()
{
    m_space = true;
    return *this;
}

QLog& QLog::nospace()
{
    m_space = false;
    return *this;
}

QLog& QLog::setEnabled(bool on)
{
    m_enabled = on;
    return *this;
}

bool QLog::isEnabled() const
{
    return m_enabled;
}

namespace {

inline bool needsEscape(char16_t c)
{
    return c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == 0x2028 || c == 0x2029 ||
           (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

void appendEscape(QString& out, char16_t c)
{
    switch (c) {
    case '\n':
        out += QLatin1String("\\n");
        return;
    case '\r':
        out += QLatin1String("\\r");
        return;
    case '\t':
        out += QLatin1String("\\t");
        return;
    default:
        break;
    }
    if (c < 0x100) {
        out += QStringLiteral("\\x%1").arg(uint(c), 2, 16, QLatin1Char('0'));
    } else {
        out += QStringLiteral("\\u%1").arg(uint(c), 4, 16, QLatin1Char('0'));
    }
}

} // namespace

QString QLog::escaped(const QString& text, int max)
{
    const int size = text.size();
    const char16_t* data = reinterpret_cast<const char16_t*>(text.constData());
    int clean = 0;
    while (clean < size && !needsEscape(data[clean])) {
        ++clean;
    }
    if (clean == size && (max < 0 || size <= max)) {
        return text;
    }
    // The cut counts what is shown, escapes included.
    const int limit = max < 0 ? std::numeric_limits<int>::max() : max;
    QString out = text.left(qMin(clean, limit));
    out.reserve(qMin(size, limit) + 32);
    int i = out.size();
    for (; i < size && out.size() < limit; ++i) {
        if (needsEscape(data[i])) {
            appendEscape(out, data[i]);
        } else {
            out += QChar(data[i]);
        }
    }
    if (i < size) {
        out += QStringLiteral(" ...(%1 characters)").arg(size);
    }
    return out;
}

QLog& QLog::appendItem(const QString& item)
{
    if (!m_enabled) {
        return *this;
    }
    if (m_space && !m_first) {
        m_items += QLatin1Char(' ');
    }
    m_items += escaped(item, MaxItemLength);
    m_first = false;
    return *this;
}

// Each item is converted only for a line that is written: a debug line on a
// hot path that nobody asked for makes no strings at all.
QLog& QLog::operator<<(const QString& text)
{
    return appendItem(text);
}
QLog& QLog::operator<<(const char* text)
{
    return m_enabled ? appendItem(QString::fromUtf8(text)) : *this;
}
QLog& QLog::operator<<(QChar c)
{
    return m_enabled ? appendItem(QString(c)) : *this;
}
QLog& QLog::operator<<(bool value)
{
    return m_enabled ? appendItem(value ? QStringLiteral("true") : QStringLiteral("false")) : *this;
}
QLog& QLog::operator<<(int value)
{
    return m_enabled ? appendItem(QString::number(value)) : *this;
}
QLog& QLog::operator<<(unsigned int value)
{
    return m_enabled ? appendItem(QString::number(value)) : *this;
}
QLog& QLog::operator<<(qint64 value)
{
    return m_enabled ? appendItem(QString::number(value)) : *this;
}
QLog& QLog::operator<<(quint64 value)
{
    return m_enabled ? appendItem(QString::number(value)) : *this;
}
QLog& QLog::operator<<(double value)
{
    return m_enabled ? appendItem(QString::number(value, 'g', 15)) : *this;
}
QLog& QLog::operator<<(const QJsonObject& json)
{
    return m_enabled ? appendItem(jsonText(json)) : *this;
}
QLog& QLog::operator<<(const QJsonArray& json)
{
    return m_enabled ? appendItem(jsonText(json)) : *this;
}
QLog& QLog::operator<<(const QJsonValue& json)
{
    return m_enabled ? appendItem(jsonText(json)) : *this;
}

QLog& QLog::operator<<(const QVariant& value)
{
    if (!m_enabled) {
        return *this;
    }
    switch (value.userType()) {
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::QChar:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return appendItem(value.toString());
    case QMetaType::QVariantList:
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
    case QMetaType::QStringList:
        return appendItem(jsonText(QJsonValue::fromVariant(value)));
    // Module-object values often hold JSON: print it as JSON, not QDebug's
    // "QVariant(QJsonObject, ...)" wrapping.
    case QMetaType::QJsonValue:
        return appendItem(jsonText(value.toJsonValue()));
    case QMetaType::QJsonObject:
        return appendItem(jsonText(value.toJsonObject()));
    case QMetaType::QJsonArray:
        return appendItem(jsonText(value.toJsonArray()));
    case QMetaType::QJsonDocument: {
        const QJsonDocument doc = value.toJsonDocument();
        return appendItem(doc.isArray() ? jsonText(doc.array()) : jsonText(doc.object()));
    }
    case QMetaType::UnknownType:
        return appendItem(QStringLiteral("null"));
    default:
        break;
    }
    QString text;
    QDebug(&text).noquote().nospace() << value;
    return appendItem(text);
}

QString QLog::text() const
{
    if (m_items.isEmpty()) {
        return m_head;
    }
    return m_head + QLatin1Char(' ') + m_items;
}

void QLog::writeConsole()
{
    m_written = true;
    if (!m_enabled || !consoleFlag()) {
        return;
    }
    const QByteArray line =
        colourFlag() ? (m_colour + text()).toUtf8() + kReset + '\n' : text().toUtf8() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
}

QString QLog::timeStamp()
{
    return timeStamp(QDateTime::currentMSecsSinceEpoch());
}

QString QLog::timeStamp(qint64 msecsSinceEpoch)
{
    // Zones change their offset only at whole minutes, so the local text of
    // a minute's start serves every line of that minute.
    struct Minute
    {
        qint64 start = std::numeric_limits<qint64>::min();
        QString head; // "MM/dd hh:mm:"
    };
    static thread_local Minute minute;
    qint64 within = msecsSinceEpoch % 60000;
    if (within < 0) {
        within += 60000;
    }
    const qint64 start = msecsSinceEpoch - within;
    if (start != minute.start) {
        minute.start = start;
        minute.head = QDateTime::fromMSecsSinceEpoch(start, Qt::LocalTime)
                          .toString(QStringLiteral("MM/dd hh:mm:"));
    }
    const int seconds = int(within / 1000);
    const int millis = int(within % 1000);
    const QChar tail[] = {
        QLatin1Char(char('0' + seconds / 10)),
        QLatin1Char(char('0' + seconds % 10)),
        QLatin1Char('.'),
        QLatin1Char(char('0' + millis / 100)),
        QLatin1Char(char('0' + millis / 10 % 10)),
        QLatin1Char(char('0' + millis % 10)),
    };
    QString text;
    text.reserve(minute.head.size() + 6);
    text += minute.head;
    text.append(tail, 6);
    return text;
}

void QLog::setConsoleEnabled(bool on)
{
    consoleFlag() = on;
}
bool QLog::isConsoleEnabled()
{
    return consoleFlag();
}

void QLog::setColourEnabled(bool on)
{
    colourFlag() = on;
}

bool QLog::isColourEnabled()
{
    return colourFlag();
}

QFLog::QFLog(const QString& colour, const QString& prefix, const QString& extra,
             const QString& filePath, const QString& logName)
    : QLog(colour, prefix, extra)
    , m_file(fileName(filePath, logName))
{
}

QFLog::~QFLog()
{
    if (m_enabled && !m_file.isEmpty()) {
        appendToFile(m_file, text().toUtf8() + '\n');
    }
    writeConsole();
}

QString QFLog::fileName(const QString& filePath, const QString& logName)
{
    if (filePath.isEmpty()) {
        return QString();
    }
    if (logName.isEmpty()) {
        return filePath;
    }
    return filePath + QLatin1Char('.') + logName;
}

void QFLog::setRotation(qint64 maxBytes, int keep)
{
    LogFiles& lf = logFiles();
    QMutexLocker lock(&lf.mutex);
    lf.maxBytes = maxBytes;
    lf.keep = keep;
}

qint64 QFLog::rotationSize()
{
    LogFiles& lf = logFiles();
    QMutexLocker lock(&lf.mutex);
    return lf.maxBytes;
}

int QFLog::rotationKeep()
{
    LogFiles& lf = logFiles();
    QMutexLocker lock(&lf.mutex);
    return lf.keep;
}

} // namespace velk
