#pragma once

#include "velk_global.h"

#include <QByteArray>
#include <QJsonObject>

namespace velk {

// Cuts a byte stream into JSON objects. The wire form is one compact object per
// line, but the reader is lenient: it keeps partial data across reads, accepts
// CR LF, blank lines and objects back to back, and counts braces outside
// strings, so an object is taken when its closing brace arrives.
//
// Malformed input is skipped and reported without losing what follows: text
// outside an object is skipped up to the next "{"; a line break inside an open
// object (never valid in compact JSON) abandons that object; a balanced object
// that does not parse, that repeats a key within one object, or that is
// valid JSON but not an object, is dropped.
// An object growing past maxPackageSize() is dropped up to the next line break,
// so the buffer never grows without bound.
class VELK_EXPORT JsonStreamReader
{
public:
    static constexpr int DefaultMaxPackageSize = 16 * 1024 * 1024;

    explicit JsonStreamReader(int maxPackageSize = DefaultMaxPackageSize);

    void append(const QByteArray& data);

    enum Result {
        NeedMoreData, // nothing complete yet
        Object,       // *object holds the next object
        Error,        // *error describes what was skipped; call next() again
    };
    Result next(QJsonObject* object, QString* error);

    // Bytes held for an incomplete object.
    int pendingBytes() const;
    int maxPackageSize() const;
    void reset();

private:
    QByteArray m_buffer;
    int m_maxSize;
    int m_scan = 0;  // where scanning resumes
    int m_start = -1; // start of the open object, -1 when none
    int m_depth = 0;
    bool m_inString = false;
    bool m_escape = false;
    bool m_discarding = false; // oversize: drop until the next line break
};

} // namespace velk
