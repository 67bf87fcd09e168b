#include "simframereader.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace zarvo::sim {

SimFrameReader::SimFrameReader(int maxObjectSize)
    : m_maxSize(maxObjectSize > 0 ? maxObjectSize : DefaultMaxObjectSize)
{
}

void SimFrameReader::append(const QByteArray& bytes)
{
    m_buffer.append(bytes);
}

void SimFrameReader::clear()
{
    m_buffer.clear();
    resetScan();
    m_oversize = false;
}

void SimFrameReader::resetScan()
{
    m_pos = 0;
    m_start = -1;
    m_depth = 0;
    m_inString = false;
    m_escaped = false;
}

// Removes the first `end` bytes; they go to *skipped.
SimFrameReader::Result SimFrameReader::drop(int end, QByteArray* skipped)
{
    if (skipped)
        *skipped = m_buffer.left(end);
    m_buffer.remove(0, end);
    resetScan();
    return Malformed;
}

SimFrameReader::Result SimFrameReader::next(QJsonObject* object, QByteArray* skipped)
{
    if (m_oversize) {
        const int nl = m_buffer.indexOf('\n');
        if (nl < 0) {
            // Keep nothing of an object we are throwing away.
            m_buffer.clear();
            resetScan();
            return NeedMore;
        }
        m_oversize = false;
        return drop(nl + 1, skipped);
    }

    while (m_pos < int(m_buffer.size())) {
        const int size = int(m_buffer.size());
        const char c = m_buffer.at(m_pos);
        if (m_start < 0) {
            if (c == '{') {
                if (m_pos > 0) {
                    // Garbage before the object: hand it back first.
                    return drop(m_pos, skipped);
                }
                m_start = 0;
                m_depth = 1;
                ++m_pos;
                continue;
            }
            if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
                // Whitespace between objects is fine; drop it silently when it
                // stands alone at the front.
                if (m_pos == 0) {
                    m_buffer.remove(0, 1);
                    continue;
                }
                ++m_pos;
                continue;
            }
            // Garbage: skip to the next line break or object start.
            int end = m_pos;
            while (end < size && m_buffer.at(end) != '\n' && m_buffer.at(end) != '{')
                ++end;
            if (end == size) {
                // Wait for the end of the garbage, unless it is already long.
                if (size > m_maxSize)
                    return drop(size, skipped);
                m_pos = size;
                return NeedMore;
            }
            return drop(m_buffer.at(end) == '\n' ? end + 1 : end, skipped);
        }

        // Inside an object.
        if (m_inString) {
            if (m_escaped)
                m_escaped = false;
            else if (c == '\\')
                m_escaped = true;
            else if (c == '"')
                m_inString = false;
            else if (c == '\n')
                return drop(m_pos + 1, skipped);
            ++m_pos;
            continue;
        }
        if (c == '"') {
            m_inString = true;
        } else if (c == '{' || c == '[') {
            ++m_depth;
        } else if (c == '}' || c == ']') {
            --m_depth;
            if (m_depth == 0) {
                const int end = m_pos + 1;
                QJsonParseError error;
                const QJsonDocument doc = QJsonDocument::fromJson(m_buffer.left(end), &error);
                if (error.error != QJsonParseError::NoError || !doc.isObject())
                    return drop(end, skipped);
                if (object)
                    *object = doc.object();
                m_buffer.remove(0, end);
                m_pos = 0;
                m_start = -1;
                return Object;
            }
        } else if (c == '\n') {
            // Compact JSON never breaks a line inside an object.
            return drop(m_pos + 1, skipped);
        }
        ++m_pos;
    }

    if (m_start >= 0 && m_buffer.size() > m_maxSize) {
        m_oversize = true;
        return next(object, skipped);
    }
    return NeedMore;
}

} // namespace zarvo::sim
