#include "data/PinyinMatcher.h"

#include "data/PinyinReadings.h"

#include <algorithm>
#include <bit>

namespace {

// The first letters of c's readings, a bit each.
quint32 computeReadingLetters(char32_t c)
{
    quint32 symbols = 0;
    for (const quint16 id : PinyinReadings::of(c)) {
        const std::string_view reading = PinyinReadings::syllable(id);
        if (!reading.empty())
            symbols |= quint32(1) << PinyinMatcher::symbol(static_cast<char32_t>(reading[0]));
    }
    return symbols;
}

void computeReadingStarts(char32_t c, std::vector<quint16>& out)
{
    out.clear();
    if (PinyinMatcher::symbol(c) >= 0)
        return;
    for (const quint16 id : PinyinReadings::of(c)) {
        const std::string_view reading = PinyinReadings::syllable(id);
        if (reading.size() < 2)
            continue;
        const auto start = static_cast<quint16>((reading[0] - 'a') * 26 + (reading[1] - 'a'));
        if (std::find(out.begin(), out.end(), start) == out.end())
            out.push_back(start);
    }
}

bool isWhitespace(char32_t c)
{
    return c <= 0xFFFF && QChar(static_cast<char16_t>(c)).isSpace();
}

} // namespace

PinyinMatcher::PinyinMatcher(QStringView foldedQuery)
{
    if (foldedQuery.isEmpty() || foldedQuery.size() > kMaxLength)
        return;
    for (const QChar c : foldedQuery) {
        if (symbol(c.unicode()) < 0)
            return;
    }
    m_query = foldedQuery.toLatin1();
    m_length = static_cast<int>(m_query.size());
    m_done = quint64(1) << m_length;

    for (int k = 0; k < m_length; ++k)
        m_letterAt[static_cast<size_t>(symbol(static_cast<char32_t>(m_query[k])))] |= quint64(1)
                                                                                      << k;

    // The common characters with a reading that starts with the query's first letter, a bit
    // each: most characters of a name start no run and continue none, and are ruled out here, in
    // a few kilobytes, rather than through the reading tables.
    const quint32* table = readingLettersTable();
    const int first = symbol(static_cast<char32_t>(m_query[0]));
    for (char32_t u = kCommonFirst; u <= kCommonLast; ++u) {
        if ((table[u] >> first) & 1)
            m_startsRun[(u - kCommonFirst) / 64] |= quint64(1) << ((u - kCommonFirst) % 64);
    }

    m_oneLetterEach = true;
    for (int k = 0; m_oneLetterEach && k + 1 < m_length; ++k)
        m_oneLetterEach = !isReadingStart(query().substr(static_cast<size_t>(k), 2));

    // A syllable read from offset k takes any non-empty start of the letters they share.
    const int syllables = PinyinReadings::syllableCount();
    m_afterReading.assign(static_cast<size_t>(syllables) * static_cast<size_t>(m_length), 0);
    for (int s = 0; s < syllables; ++s) {
        const std::string_view reading = PinyinReadings::syllable(static_cast<quint16>(s));
        for (int k = 0; k < m_length; ++k) {
            int shared = 0;
            while (shared < static_cast<int>(reading.size()) && k + shared < m_length &&
                   reading[static_cast<size_t>(shared)] == m_query[k + shared])
                ++shared;
            m_afterReading[static_cast<size_t>(s * m_length + k)] = ((quint64(1) << shared) - 1)
                                                                    << (k + 1);
        }
    }
}

bool PinyinMatcher::isReadingStart(std::string_view text)
{
    const auto [first, last] = PinyinReadings::startingWith(text);
    return first != last;
}

const quint32* PinyinMatcher::readingLettersTable()
{
    static const std::vector<quint32> table = [] {
        std::vector<quint32> t(0x10000);
        for (char32_t u = 0; u < 0x10000; ++u)
            t[u] = symbol(u) >= 0 ? 0 : computeReadingLetters(u);
        return t;
    }();
    return table.data();
}

std::span<const quint16> PinyinMatcher::readingStarts(char32_t c, std::vector<quint16>& spill)
{
    if (c > 0xFFFF) {
        computeReadingStarts(c, spill);
        return spill;
    }
    // Indexing needs them for every character of every name: the BMP's are worked out once.
    struct Table {
        std::vector<quint32> from; // per unit, one extra at the end
        std::vector<quint16> starts;
    };
    static const Table table = [] {
        Table t;
        t.from.reserve(0x10001);
        std::vector<quint16> starts;
        for (char32_t u = 0; u <= 0xFFFF; ++u) {
            t.from.push_back(static_cast<quint32>(t.starts.size()));
            computeReadingStarts(u, starts);
            t.starts.insert(t.starts.end(), starts.begin(), starts.end());
        }
        t.from.push_back(static_cast<quint32>(t.starts.size()));
        return t;
    }();
    return std::span(table.starts).subspan(table.from[c], table.from[c + 1] - table.from[c]);
}

quint64 PinyinMatcher::startSymbols(char32_t c)
{
    if (const int own = symbol(c); own >= 0)
        return quint64(1) << own;
    return c > 0xFFFF ? computeReadingLetters(c) : readingLettersTable()[c];
}

quint64 PinyinMatcher::step(quint64 at, char32_t c) const
{
    if (const int own = symbol(c); own >= 0)
        return (at & m_letterAt[static_cast<size_t>(own)]) << 1;
    if ((at & (m_done - 1)) <= 1 && !mayStartRun(c))
        return 0;
    // A character without a reading ends every run, unless it is whitespace, which is passed over.
    if (m_oneLetterEach) {
        // No reading can take two letters, so only the characters' first letters count.
        quint64 starts = startSymbols(c);
        if (starts == 0)
            return isWhitespace(c) ? at : 0;
        quint64 next = 0;
        for (; starts != 0; starts &= starts - 1)
            next |= (at & m_letterAt[static_cast<size_t>(std::countr_zero(starts))]) << 1;
        return next;
    }
    const std::span<const quint16> readings = PinyinReadings::of(c);
    if (readings.empty())
        return isWhitespace(c) ? at : 0;
    quint64 next = 0;
    for (quint64 open = at & (m_done - 1); open != 0; open &= open - 1) {
        const auto offset = static_cast<size_t>(std::countr_zero(open));
        for (const quint16 s : readings)
            next |= m_afterReading[s * static_cast<size_t>(m_length) + offset];
    }
    return next;
}

bool PinyinMatcher::matches(QStringView foldedName) const
{
    if (m_length == 0)
        return false;
    if (m_oneLetterEach) {
        // The same steps as step() takes, in one loop over the units: a search checks thousands
        // of names this way.
        const quint32* table = readingLettersTable();
        quint64 at = 0;
        for (qsizetype i = 0; i < foldedName.size(); ++i) {
            const char16_t u = foldedName[i].unicode();
            if (const int own = u < 0x80 ? symbol(u) : -1; own >= 0) {
                at = ((at | 1) & m_letterAt[static_cast<size_t>(own)]) << 1;
            } else if (QChar::isSurrogate(u)) {
                // Rare enough for the general step, which reads the pair as one character.
                const bool pair = i + 1 < foldedName.size() && QChar::isHighSurrogate(u) &&
                                  foldedName[i + 1].isLowSurrogate();
                at = step(at | 1, pair ? QChar::surrogateToUcs4(u, foldedName[i + 1].unicode())
                                       : char32_t(u));
                i += pair;
            } else if (at == 0 && !mayStartRun(u)) {
                // No run is open and none starts here.
            } else if (quint32 starts = table[u]; starts != 0) {
                quint64 next = 0;
                for (; starts != 0; starts &= starts - 1)
                    next |= ((at | 1) & m_letterAt[static_cast<size_t>(std::countr_zero(starts))])
                            << 1;
                at = next;
            } else if (!isWhitespace(u)) {
                at = 0;
            }
            if (at & m_done)
                return true;
        }
        return false;
    }
    bool found = false;
    quint64 at = 0;
    forEachCodePoint(foldedName, [&](char32_t c) {
        at = step(at | 1, c);
        found = (at & m_done) != 0;
        return !found;
    });
    return found;
}

PinyinMatcher::Fit PinyinMatcher::fit(QStringView foldedName) const
{
    const Fit atStart = fitAtStart(foldedName);
    if (atStart != Fit::None)
        return atStart;
    return matches(foldedName) ? Fit::Inside : Fit::None;
}

PinyinMatcher::Fit PinyinMatcher::fitAtStart(QStringView foldedName) const
{
    if (m_length == 0)
        return Fit::None;
    bool read = false;
    quint64 at = 1;
    forEachCodePoint(foldedName, [&](char32_t c) {
        at = step(at, c);
        read = read || (at & m_done) != 0;
        return at != 0;
    });
    if (at & m_done)
        return Fit::Whole;
    return read ? Fit::Prefix : Fit::None;
}
