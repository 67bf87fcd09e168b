#pragma once

#include <QByteArray>
#include <QJsonObject>

namespace zarvo::sim {

// Cuts the byte stream of one TCP client into JSON objects. Written apart from
// the HMI's own reader on purpose, so that the two check each other.
//
// Accepts one object per line, CR LF, blank lines and objects back to back.
// Everything else is skipped and handed back as malformed bytes: text outside
// an object, an object broken by a line break, a balanced object that does not
// parse, and an object that grows past the size limit (dropped up to the next
// line break, so that a client cannot make the buffer grow without bound).
class SimFrameReader
{
public:
    static constexpr int DefaultMaxObjectSize = 4 * 1024 * 1024;

    explicit SimFrameReader(int maxObjectSize = DefaultMaxObjectSize);

    void append(const QByteArray& bytes);

    enum Result {
        NeedMore,  // nothing complete in the buffer
        Object,    // *object holds the next object
        Malformed, // *skipped holds what was dropped; call next() again
    };
    Result next(QJsonObject* object, QByteArray* skipped);

    int pendingBytes() const { return int(m_buffer.size()); }
    void clear();

private:
    Result drop(int end, QByteArray* skipped);
    void resetScan();

    QByteArray m_buffer;
    int m_maxSize;
    int m_pos = 0;    // scan position
    int m_start = -1; // start of the open object, -1 outside one
    int m_depth = 0;
    bool m_inString = false;
    bool m_escaped = false;
    bool m_oversize = false; // dropping until the next line break
};

} // namespace zarvo::sim
