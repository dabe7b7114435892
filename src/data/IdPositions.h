#pragma once

#include <QHash>
#include <QtGlobal>
#include <limits>
#include <vector>

// Where each id's entry sits in an index. The ids of a table count up from 1, so most are found
// by indexing an array of four bytes per id, a tenth of what a hash takes per entry; an id far
// beyond the number of entries (or below zero) goes to a hash instead.
class IdPositions {
public:
    static constexpr quint32 None = std::numeric_limits<quint32>::max();

    qsizetype size() const { return m_count; }
    void reserve(qsizetype ids) { m_direct.reserve(static_cast<size_t>(ids) + 1); }

    quint32 find(qint64 id) const
    {
        if (id >= 0 && static_cast<quint64>(id) < m_direct.size()) {
            if (const quint32 p = m_direct[static_cast<size_t>(id)]; p != None)
                return p;
        }
        return m_far.isEmpty() ? None : m_far.value(id, None);
    }

    void set(qint64 id, quint32 position)
    {
        if (find(id) == None)
            ++m_count;
        const auto at = static_cast<quint64>(id);
        if (id >= 0 && (at < m_direct.size() || at < directLimit())) {
            if (at >= m_direct.size()) {
                // Room grows by half, but only the slots up to this id are written: the pages
                // beyond stay untouched until ids reach them.
                if (at >= m_direct.capacity())
                    m_direct.reserve(static_cast<size_t>(at) + 1 + m_direct.size() / 2);
                m_direct.resize(static_cast<size_t>(at) + 1, None);
            }
            // An id kept in the hash before the array reached it stays there, shadowed, until
            // erase() removes both.
            m_direct[static_cast<size_t>(at)] = position;
        } else {
            m_far.insert(id, position);
        }
    }

    void erase(qint64 id)
    {
        if (find(id) == None)
            return;
        --m_count;
        if (id >= 0 && static_cast<quint64>(id) < m_direct.size())
            m_direct[static_cast<size_t>(id)] = None;
        m_far.remove(id);
    }

private:
    // The array may grow to eight ids per entry, and always to 65,536.
    quint64 directLimit() const
    {
        return std::max<quint64>(quint64(1) << 16, 8 * static_cast<quint64>(m_count + 1));
    }

    std::vector<quint32> m_direct;
    QHash<qint64, quint32> m_far;
    qsizetype m_count = 0;
};
