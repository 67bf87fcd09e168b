#pragma once

// The packets a handle has framed but not yet handed out, and the rule by
// which newer packets supersede older ones while it is behind.

#include <QJsonObject>
#include <QSet>
#include <QString>

#include <deque>
#include <utility>

namespace velk {
namespace internal {

class PacketQueue
{
public:
    bool isEmpty() const { return m_packets.empty(); }
    int size() const { return int(m_packets.size()); }
    void push(const QJsonObject& packet) { m_packets.push_back(packet); }
    // The oldest packet, taken off the queue.
    QJsonObject take()
    {
        QJsonObject packet = std::move(m_packets.front());
        m_packets.pop_front();
        return packet;
    }
    void clear() { m_packets.clear(); }

    // Of the packets that `key` gives the same non-empty key, only the newest
    // stays, in its place; the others keep their order. Returns how many were
    // dropped.
    template <typename Key>
    qint64 coalesce(const Key& key)
    {
        // From the newest back, so that the first packet of a key met is the one kept.
        QSet<QString> seen;
        std::deque<QJsonObject> kept;
        qint64 dropped = 0;
        for (auto it = m_packets.rbegin(); it != m_packets.rend(); ++it) {
            const QString k = key(*it);
            if (!k.isEmpty()) {
                if (seen.contains(k)) {
                    ++dropped;
                    continue;
                }
                seen.insert(k);
            }
            kept.push_front(std::move(*it));
        }
        m_packets.swap(kept);
        return dropped;
    }

private:
    std::deque<QJsonObject> m_packets;
};

} // namespace internal
} // namespace velk
