#pragma once

#include <QtGlobal>
#include <vector>

// An ascending list of entry positions, kept as the differences between neighbours in groups of
// seven bits: the long lists of frequent characters take about a byte per entry.
class PostingList {
public:
    quint32 size() const { return m_count; }
    // Positions arrive in ascending order; adding the last one again does nothing.
    void add(quint32 position)
    {
        if (m_count > 0 && position == m_last)
            return;
        quint32 delta = position - m_last;
        while (delta >= 0x80) {
            m_bytes.push_back(static_cast<unsigned char>(delta | 0x80));
            delta >>= 7;
        }
        m_bytes.push_back(static_cast<unsigned char>(delta));
        m_last = position;
        ++m_count;
    }
    void shrink() { m_bytes.shrink_to_fit(); }
    template <typename Visit> void forEach(Visit visit) const
    {
        quint32 position = 0;
        quint32 delta = 0;
        int shift = 0;
        for (const unsigned char byte : m_bytes) {
            delta |= static_cast<quint32>(byte & 0x7f) << shift;
            if (byte & 0x80) {
                shift += 7;
                continue;
            }
            position += delta;
            visit(position);
            delta = 0;
            shift = 0;
        }
    }

private:
    std::vector<unsigned char> m_bytes;
    quint32 m_last = 0;
    quint32 m_count = 0;
};
