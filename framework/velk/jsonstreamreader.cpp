#include "jsonstreamreader.h"
#include "jsonstreamreader_p.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QVarLengthArray>

#include <algorithm>
#include <cstring>

namespace velk {

namespace {

// m_depth while text outside a package is being skipped (m_start is -1 then).
// Lets a run of junk that spans several reads be reported once.
constexpr int kSkippingText = -1;

// How much of a dropped text goes into a report.
constexpr int kSnippetBytes = 60;

const QLatin1String kOversizePrefix("refused a JSON package over ");

inline bool isBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

// Objects are what the protocol carries; arrays are taken as whole values too,
// so that "[{...}]" is dropped as a non-object instead of yielding its insides.
inline bool opensValue(char c)
{
    return c == '{' || c == '[';
}

QString snippet(const char* data, int size)
{
    const int shown = qMin(size, kSnippetBytes);
    QString text = QString::fromUtf8(data, shown).simplified();
    if (shown < size) {
        text += QStringLiteral("...");
    }
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

// FNV-1a over UTF-16 code units, so that a key spelt with escapes or in
// plain UTF-8 hashes the same as it will be stored.
struct KeyHash
{
    quint64 value = 14695981039346656037ULL;
    void add(char16_t unit) { value = (value ^ unit) * 1099511628211ULL; }
};

int hexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The hash of the key text between the quotes, with escapes resolved.
quint64 hashKey(const char* p, int size)
{
    KeyHash hash;
    int plain = 0;
    bool ascii = true;
    for (int i = 0; i < size; ++i) {
        ascii &= static_cast<unsigned char>(p[i]) < 0x80 && p[i] != '\\';
    }
    if (ascii) {
        for (int i = 0; i < size; ++i) {
            hash.add(char16_t(p[i]));
        }
        return hash.value;
    }
    const auto flush = [&](int end) {
        if (end <= plain) {
            return; // an escape at the very end stepped past it
        }
        const QString text = QString::fromUtf8(p + plain, end - plain);
        for (const QChar c : text) {
            hash.add(c.unicode());
        }
    };
    for (int i = 0; i < size; ++i) {
        if (p[i] != '\\' || i + 1 >= size) {
            continue;
        }
        flush(i);
        const char e = p[i + 1];
        char16_t unit = char16_t(e);
        int skip = 1;
        switch (e) {
        case 'b':
            unit = '\b';
            break;
        case 'f':
            unit = '\f';
            break;
        case 'n':
            unit = '\n';
            break;
        case 'r':
            unit = '\r';
            break;
        case 't':
            unit = '\t';
            break;
        case 'u':
            unit = 0;
            for (int k = 0; k < 4 && i + 2 + k < size; ++k) {
                unit = char16_t(unit * 16 + qMax(0, hexValue(p[i + 2 + k])));
            }
            skip = 5;
            break;
        default:
            break;
        }
        hash.add(unit);
        i += skip;
        plain = i + 1;
    }
    flush(size);
    return hash.value;
}

// The bytes the key scan must look at: everything else (numbers, literals,
// blanks, commas, colons) is passed over a table look-up at a time.
struct Structural
{
    bool at[256] = {};
    constexpr Structural()
    {
        for (const char c : {'"', '{', '}', '[', ']'}) {
            at[static_cast<unsigned char>(c)] = true;
        }
    }
};
constexpr Structural kStructural;

// The closing quote of the string whose opening quote is p[open], or `size`.
int stringEnd(const char* p, int open, int size)
{
    int from = open + 1;
    for (;;) {
        const void* quote = std::memchr(p + from, '"', size_t(size - from));
        if (!quote) {
            return size;
        }
        const int at = int(static_cast<const char*>(quote) - p);
        int backslashes = 0;
        while (at - backslashes - 1 > open && p[at - backslashes - 1] == '\\') {
            ++backslashes;
        }
        if (backslashes % 2 == 0) {
            return at;
        }
        from = at + 1;
    }
}

// The hash of a key: the common plain ASCII key is hashed in place, anything
// with escapes or other characters the careful way.
quint64 keyHash(const char* p, int size)
{
    KeyHash hash;
    for (int i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(p[i]);
        if (c >= 0x80 || c == '\\') {
            return hashKey(p, size);
        }
        hash.add(char16_t(c));
    }
    return hash.value;
}

// Whether two of `hashes` are equal. Objects are small as a rule; a large one
// is sorted rather than compared pair by pair.
bool hasEqualPair(quint64* hashes, int count)
{
    constexpr int kPairwise = 16;
    if (count <= kPairwise) {
        for (int i = 1; i < count; ++i) {
            for (int j = 0; j < i; ++j) {
                if (hashes[i] == hashes[j]) {
                    return true;
                }
            }
        }
        return false;
    }
    std::sort(hashes, hashes + count);
    return std::adjacent_find(hashes, hashes + count) != hashes + count;
}

// Qt's parser loses the memory of an object or array that a later member of
// the same name replaces: a peer repeating keys could grow the process
// without end. Such a package is refused before it is parsed. The package
// is balanced (the reader found its end); malformed ones fail the parser.
bool hasRepeatedKey(const char* p, int size)
{
    // Where each open object's keys start in `keys`; -1 for an array.
    QVarLengthArray<int, 32> stack;
    // The keys of the objects open now, innermost last: an object's keys are
    // checked and dropped when it closes.
    QVarLengthArray<quint64, 64> keys;
    const auto closes = [&] {
        const int first = stack.last();
        stack.removeLast();
        if (first < 0) {
            return false;
        }
        const bool repeated = hasEqualPair(keys.data() + first, keys.size() - first);
        keys.resize(first);
        return repeated;
    };
    for (int i = 0; i < size; ++i) {
        while (i < size && !kStructural.at[static_cast<unsigned char>(p[i])]) {
            ++i;
        }
        if (i == size) {
            break;
        }
        const char c = p[i];
        if (c == '"') {
            const int end = stringEnd(p, i, size);
            // In an object, the strings followed by a colon are its keys.
            if (!stack.isEmpty() && stack.last() >= 0) {
                int next = end + 1;
                while (next < size && isBlank(p[next])) {
                    ++next;
                }
                if (next < size && p[next] == ':') {
                    keys.append(keyHash(p + i + 1, end - i - 1));
                }
            }
            i = end;
        } else if (c == '{') {
            stack.append(keys.size());
        } else if (c == '[') {
            stack.append(-1);
        } else if (!stack.isEmpty() && closes()) {
            return true;
        }
    }
    while (!stack.isEmpty()) {
        if (closes()) {
            return true;
        }
    }
    return false;
}

inline void setError(QString* error, const QString& text)
{
    if (error) {
        *error = text;
    }
}

} // namespace

namespace internal {

QString oversizePackageError(int maxPackageSize)
{
    return kOversizePrefix + QStringLiteral("%1 bytes").arg(maxPackageSize);
}

bool isOversizePackageError(const QString& error)
{
    return error.startsWith(kOversizePrefix);
}

} // namespace internal

JsonStreamReader::JsonStreamReader(int maxPackageSize)
    : m_maxSize(maxPackageSize > 0 ? maxPackageSize : DefaultMaxPackageSize)
{
}

void JsonStreamReader::append(const QByteArray& data)
{
    if (data.isEmpty()) {
        return;
    }
    const int consumed = m_start >= 0 ? m_start : m_scan;
    if (consumed == m_buffer.size()) {
        // Nothing held: an empty QByteArray shares the appended data instead of copying it.
        m_buffer.clear();
        m_scan = 0;
        if (m_start >= 0) {
            m_start = 0;
        }
    } else if (consumed > 0) {
        m_buffer.remove(0, consumed);
        m_scan -= consumed;
        if (m_start >= 0) {
            m_start = 0;
        }
    }
    m_buffer.append(data);
}

JsonStreamReader::Result JsonStreamReader::next(QJsonObject* object, QString* error)
{
    for (;;) {
        const char* const data = m_buffer.constData();
        const int size = m_buffer.size();

        if (m_discarding) {
            const void* lineBreak = std::memchr(data + m_scan, '\n', size_t(size - m_scan));
            if (!lineBreak) {
                m_buffer.clear();
                m_scan = 0;
                return NeedMoreData;
            }
            m_scan = int(static_cast<const char*>(lineBreak) - data) + 1;
            m_discarding = false;
            continue;
        }

        if (m_start < 0) {
            int i = m_scan;
            if (m_depth == kSkippingText) {
                while (i < size && !opensValue(data[i])) {
                    ++i;
                }
                if (i == size) {
                    m_buffer.clear();
                    m_scan = 0;
                    return NeedMoreData;
                }
                m_depth = 0;
            }
            while (i < size && isBlank(data[i])) {
                ++i;
            }
            if (i == size) {
                m_buffer.clear();
                m_scan = 0;
                return NeedMoreData;
            }
            if (!opensValue(data[i])) {
                int end = i;
                while (end < size && !opensValue(data[end])) {
                    ++end;
                }
                setError(error, QStringLiteral("skipped text outside a JSON package: %1")
                                    .arg(snippet(data + i, end - i)));
                if (end == size) {
                    m_depth = kSkippingText;
                    m_buffer.clear();
                    m_scan = 0;
                } else {
                    m_scan = end;
                }
                return Error;
            }
            // The wire form is one object per line: a whole line that parses
            // as an object is taken at once, without counting its braces.
            // Anything else (objects back to back, a broken package) takes
            // the careful road below, which reports what it skips.
            if (data[i] == '{') {
                const void* lineBreak = std::memchr(data + i, '\n', size_t(size - i));
                const int length =
                    lineBreak ? int(static_cast<const char*>(lineBreak) - data) - i : -1;
                // A repeated key takes the careful road too, which refuses it.
                if (length > 0 && length <= m_maxSize && !hasRepeatedKey(data + i, length)) {
                    QJsonParseError parseError;
                    const QJsonDocument doc = QJsonDocument::fromJson(
                        QByteArray::fromRawData(data + i, length), &parseError);
                    if (parseError.error == QJsonParseError::NoError && doc.isObject()) {
                        m_scan = i + length + 1;
                        if (object) {
                            *object = doc.object();
                        }
                        return Object;
                    }
                }
            }
            m_start = i;
            m_scan = i;
            m_depth = 0;
            m_inString = false;
            m_escape = false;
        }

        // Resume inside the open package; locals keep the hot loop in registers.
        int i = m_scan;
        int depth = m_depth;
        bool inString = m_inString;
        bool escape = m_escape;
        int end = -1;
        bool lineBreak = false;
        for (; i < size; ++i) {
            const char c = data[i];
            if (c == '\n') {
                // Never valid inside compact JSON, not even in a string: the
                // sender lost bytes, and the next line starts afresh.
                lineBreak = true;
                break;
            }
            if (inString) {
                if (escape) {
                    escape = false;
                } else if (c == '\\') {
                    escape = true;
                } else if (c == '"') {
                    inString = false;
                }
            } else if (c == '"') {
                inString = true;
            } else if (c == '{' || c == '[') {
                ++depth;
            } else if (c == '}' || c == ']') {
                if (--depth == 0) {
                    end = i;
                    break;
                }
            }
        }

        const int start = m_start;
        if (lineBreak) {
            m_start = -1;
            m_scan = i + 1;
            m_depth = 0;
            setError(error, QStringLiteral("abandoned an unfinished JSON package at a line "
                                           "break: %1")
                                .arg(snippet(data + start, i - start)));
            return Error;
        }

        if (end >= 0) {
            m_start = -1;
            m_scan = end + 1;
            m_depth = 0;
            const int length = end - start + 1;
            if (length > m_maxSize) {
                setError(error, internal::oversizePackageError(m_maxSize));
                return Error;
            }
            if (hasRepeatedKey(data + start, length)) {
                setError(error, QStringLiteral("dropped a JSON package with a repeated key: %1")
                                    .arg(snippet(data + start, length)));
                return Error;
            }
            QJsonParseError parseError;
            // The document copies what it keeps, so the buffer need not be copied first.
            const QJsonDocument doc =
                QJsonDocument::fromJson(QByteArray::fromRawData(data + start, length), &parseError);
            if (parseError.error != QJsonParseError::NoError) {
                setError(error, QStringLiteral("dropped a malformed JSON package (%1 at offset "
                                               "%2): %3")
                                    .arg(parseError.errorString())
                                    .arg(parseError.offset)
                                    .arg(snippet(data + start, length)));
                return Error;
            }
            if (!doc.isObject()) {
                setError(error, QStringLiteral("dropped a JSON package that is not an object: %1")
                                    .arg(snippet(data + start, length)));
                return Error;
            }
            if (object) {
                *object = doc.object();
            }
            return Object;
        }

        m_scan = i;
        m_depth = depth;
        m_inString = inString;
        m_escape = escape;
        if (size - start > m_maxSize) {
            m_buffer.clear();
            m_start = -1;
            m_scan = 0;
            m_depth = 0;
            m_discarding = true;
            setError(error, internal::oversizePackageError(m_maxSize));
            return Error;
        }
        if (start > 0) {
            // Only the unfinished tail moves; everything before it was handed out.
            m_buffer.remove(0, start);
            m_scan -= start;
            m_start = 0;
        }
        return NeedMoreData;
    }
}

int JsonStreamReader::pendingBytes() const
{
    return m_buffer.size() - (m_start >= 0 ? m_start : m_scan);
}

int JsonStreamReader::maxPackageSize() const
{
    return m_maxSize;
}

void JsonStreamReader::reset()
{
    m_buffer.clear();
    m_scan = 0;
    m_start = -1;
    m_depth = 0;
    m_inString = false;
    m_escape = false;
    m_discarding = false;
}

} // namespace velk
