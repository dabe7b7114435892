#pragma once

#include <QtGlobal>
#include <vector>

// Which list holds a pair of adjacent UTF-16 units, looked up for every pair of every name while
// an index is built: open addressing in one array, a few times quicker there than QHash.
class UnitPairLists {
public:
    // The list of `pair`, or 0 when it has none.
    quint32 find(quint32 pair) const
    {
        if (m_slots.empty())
            return 0;
        for (size_t at = slot(pair);; at = (at + 1) & (m_slots.size() - 1)) {
            const quint64 s = m_slots[at];
            if (s == 0)
                return 0;
            if (static_cast<quint32>(s >> 32) == pair)
                return static_cast<quint32>(s);
        }
    }
    // `list` must not be 0, and `pair` not yet present.
    void insert(quint32 pair, quint32 list)
    {
        if ((m_count + 1) * 2 > m_slots.size())
            grow();
        place(static_cast<quint64>(pair) << 32 | list);
        ++m_count;
    }

    // Calls visit(pair, list) for every pair that has a list, in no particular order.
    template <typename Visit> void forEach(Visit visit) const
    {
        for (const quint64 s : m_slots) {
            if (s != 0)
                visit(static_cast<quint32>(s >> 32), static_cast<quint32>(s));
        }
    }

private:
    size_t slot(quint32 pair) const
    {
        // Fibonacci hashing spreads the pairs of neighbouring characters.
        return static_cast<size_t>((pair * 0x9E3779B97F4A7C15ull) >> 32) & (m_slots.size() - 1);
    }
    void place(quint64 entry)
    {
        size_t at = slot(static_cast<quint32>(entry >> 32));
        while (m_slots[at] != 0)
            at = (at + 1) & (m_slots.size() - 1);
        m_slots[at] = entry;
    }
    void grow()
    {
        std::vector<quint64> old(std::max<size_t>(1024, m_slots.size() * 2));
        old.swap(m_slots);
        for (const quint64 entry : old) {
            if (entry != 0)
                place(entry);
        }
    }

    std::vector<quint64> m_slots; // pair << 32 | list; 0 is free
    size_t m_count = 0;
};
