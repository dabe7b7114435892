#pragma once

#include <QtGlobal>
#include <limits>
#include <vector>

// A column of 64-bit values held in 32 bits while every value fits, as the ids and category ids
// of a table almost always do: half the memory, and half the bytes a pass over many hits reads.
class NarrowColumn {
public:
    size_t size() const { return m_wide ? m_wideValues.size() : m_values.size(); }
    bool empty() const { return size() == 0; }
    qint64 operator[](size_t i) const { return m_wide ? m_wideValues[i] : m_values[i]; }
    qint64 back() const { return (*this)[size() - 1]; }
    void reserve(size_t n) { m_wide ? m_wideValues.reserve(n) : m_values.reserve(n); }
    void shrink() { m_wide ? m_wideValues.shrink_to_fit() : m_values.shrink_to_fit(); }
    void push_back(qint64 value)
    {
        if (!m_wide && value >= 0 && value <= std::numeric_limits<quint32>::max()) {
            m_values.push_back(static_cast<quint32>(value));
            return;
        }
        if (!m_wide) {
            m_wideValues.assign(m_values.begin(), m_values.end());
            m_values = std::vector<quint32>();
            m_wide = true;
        }
        m_wideValues.push_back(value);
    }

private:
    std::vector<quint32> m_values;
    std::vector<qint64> m_wideValues;
    bool m_wide = false;
};
