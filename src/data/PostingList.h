#pragma once

#include <QtGlobal>
#include <bit>
#include <cstring>
#include <vector>

// An ascending list of entry positions, kept as the differences between neighbours in groups of
// seven bits: the long lists of frequent characters take about a byte per entry. Once an index
// is loaded its lists are frozen into one buffer the index owns, as a bitmap of positions where
// that is smaller (lists holding more than about one entry in eight); positions added later
// follow in a list's own bytes.
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
    // The most bytes freezeBits() writes for `count` words: the bitmap's.
    static size_t frozenBitsBound(size_t count) { return count * 8; }
    // Makes an empty list hold the positions of the bits set in `words` (bit b of word w is
    // position 64 * w + b), written at `at` in `to` as if frozen there, as a bitmap or as
    // differences, whichever is smaller: a list worked out whole needs no adding one by one.
    // Returns the bytes written.
    size_t freezeBits(const quint64* words, size_t count, unsigned char* to, size_t at)
    {
        size_t differenceBytes = 0;
        forEachBit(words, count, [&](quint32 p) {
            differenceBytes += bytesOf(p - m_last);
            m_last = p;
            ++m_count;
        });
        m_frozenAt = static_cast<quint32>(at);
        const quint64 bitmapBytes = m_last / 8 + 1;
        if (m_count > 0 && bitmapBytes < differenceBytes) {
            std::memcpy(to + at, words, bitmapBytes);
            m_frozenSize = static_cast<quint32>(bitmapBytes) | Bitmap;
            return bitmapBytes;
        }
        unsigned char* out = to + at;
        quint32 last = 0;
        forEachBit(words, count, [&](quint32 p) {
            out = encode(p - last, out);
            last = p;
        });
        m_frozenSize = static_cast<quint32>(differenceBytes);
        return differenceBytes;
    }
    // Appends the list's positions, the frozen ones in `from` (null while there are none) and
    // those added since, to `to`, which is then where they are read from.
    void freeze(const unsigned char* from, std::vector<unsigned char>& to)
    {
        const size_t at = to.size();
        const quint64 bitmapBytes = m_last / 8 + 1;
        // A bitmap's differences would take a byte each at least.
        const quint64 differenceBytes =
            (m_frozenSize & Bitmap) ? m_count : frozenBytes() + m_bytes.size();
        if ((m_frozenSize & Bitmap) && m_bytes.empty() && bitmapBytes < differenceBytes) {
            to.insert(to.end(), from + m_frozenAt, from + m_frozenAt + bitmapBytes);
        } else if (m_count > 0 && bitmapBytes < differenceBytes) {
            to.resize(at + bitmapBytes);
            forEach(from,
                    [&](quint32 p) { to[at + p / 8] |= static_cast<unsigned char>(1 << (p % 8)); });
            m_frozenSize = static_cast<quint32>(bitmapBytes) | Bitmap;
        } else if (m_frozenSize & Bitmap) {
            // A bitmap that no longer pays is written out as differences again.
            PostingList plain;
            forEach(from, [&](quint32 p) { plain.add(p); });
            to.insert(to.end(), plain.m_bytes.begin(), plain.m_bytes.end());
            m_frozenSize = static_cast<quint32>(plain.m_bytes.size());
        } else {
            to.insert(to.end(), from + m_frozenAt, from + m_frozenAt + m_frozenSize);
            to.insert(to.end(), m_bytes.begin(), m_bytes.end());
            m_frozenSize += static_cast<quint32>(m_bytes.size());
        }
        m_frozenAt = static_cast<quint32>(at);
        m_bytes = std::vector<unsigned char>();
    }
    // An upper bound of the bytes freeze() appends, bitmaps aside.
    quint64 unfrozenBytes() const { return frozenBytes() + m_bytes.size(); }
    // Asks for the memory the next add() writes, for callers that add to many lists in turn;
    // prefetch() asks for any address.
    void prefetchEnd() const { prefetch(m_bytes.data() + m_bytes.size()); }
    static void prefetch(const void* address)
    {
#if defined(__GNUC__)
        __builtin_prefetch(address);
#else
        Q_UNUSED(address);
#endif
    }
    // Calls visit(position) in ascending order; `frozen` is the buffer the list was frozen into.
    template <typename Visit> void forEach(const unsigned char* frozen, Visit visit) const
    {
        quint32 position = 0;
        const unsigned char* bytes = frozen + m_frozenAt;
        if (m_frozenSize & Bitmap) {
            const quint32 size = m_frozenSize & ~Bitmap;
            quint32 at = 0;
            for (; at + 8 <= size; at += 8) {
                quint64 word = 0;
                std::memcpy(&word, bytes + at, 8);
                for (; word != 0; word &= word - 1) {
                    position = at * 8 + static_cast<quint32>(std::countr_zero(word));
                    visit(position);
                }
            }
            for (; at < size; ++at) {
                for (unsigned bits = bytes[at]; bits != 0; bits &= bits - 1) {
                    position = at * 8 + static_cast<quint32>(std::countr_zero(bits));
                    visit(position);
                }
            }
        } else {
            position = decode(bytes, bytes + m_frozenSize, 0, visit);
        }
        decode(m_bytes.data(), m_bytes.data() + m_bytes.size(), position, visit);
    }

private:
    static constexpr quint32 Bitmap = 0x80000000u;

    quint64 frozenBytes() const
    {
        return m_frozenSize & ~Bitmap;
    }

    template <typename Visit>
    static void forEachBit(const quint64* words, size_t count, Visit visit)
    {
        for (size_t w = 0; w < count; ++w) {
            for (quint64 word = words[w]; word != 0; word &= word - 1)
                visit(static_cast<quint32>(w * 64) + static_cast<quint32>(std::countr_zero(word)));
        }
    }
    static size_t bytesOf(quint32 delta)
    {
        return delta < (1u << 7)    ? 1
               : delta < (1u << 14) ? 2
               : delta < (1u << 21) ? 3
               : delta < (1u << 28) ? 4
                                    : 5;
    }
    static unsigned char* encode(quint32 delta, unsigned char* out)
    {
        for (; delta >= 0x80; delta >>= 7)
            *out++ = static_cast<unsigned char>(delta | 0x80);
        *out++ = static_cast<unsigned char>(delta);
        return out;
    }

    template <typename Visit>
    static quint32 decode(const unsigned char* from, const unsigned char* to, quint32 position,
                          Visit& visit)
    {
        quint32 delta = 0;
        int shift = 0;
        for (; from != to; ++from) {
            const unsigned char byte = *from;
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
        return position;
    }

    std::vector<unsigned char> m_bytes; // added since the last freeze
    quint32 m_last = 0;
    quint32 m_count = 0;
    quint32 m_frozenAt = 0;
    quint32 m_frozenSize = 0; // bytes, with Bitmap set for a bitmap
};
