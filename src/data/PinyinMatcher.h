#pragma once

#include <QByteArray>
#include <QStringView>
#include <QtGlobal>
#include <array>
#include <span>
#include <string_view>
#include <vector>

// A typed query read the way agents type pinyin: it matches a run of a name's characters when
// each character in turn is written as itself (Latin letters and digits), as one of its readings,
// or as the start of one, mixed freely: "cd", "changdu", "chdu" and "changd" all read 长度.
// Whitespace in a name is passed over; any other character without a reading ends a run.
class PinyinMatcher {
public:
    // How a match sits in the name, for ranking.
    enum class Fit { None, Inside, Prefix, Whole };

    // `foldedQuery` as SearchIndex::fold gives it. A query that is not all ASCII letters and
    // digits, or is longer than kMaxLength, is not pinyin: it matches nothing here.
    explicit PinyinMatcher(QStringView foldedQuery);

    static constexpr int kMaxLength = 63;

    bool isUsable() const { return m_length > 0; }
    std::string_view query() const { return {m_query.constData(), size_t(m_query.size())}; }

    bool matches(QStringView foldedName) const;
    // Whole: a run that is the whole name; Prefix: one that starts at the first character.
    Fit fit(QStringView foldedName) const;
    // As fit(), but None for a run that starts further in: ranking needs no more.
    Fit fitAtStart(QStringView foldedName) const;

    // Whether `text` (lower-case letters) begins some reading, and so may be one character's part
    // of a query.
    static bool isReadingStart(std::string_view text);
    // The index of a letter or digit among the 36 symbols a character may start with, or -1.
    static int symbol(char32_t c)
    {
        if (c >= U'a' && c <= U'z')
            return static_cast<int>(c - U'a');
        if (c >= U'0' && c <= U'9')
            return 26 + static_cast<int>(c - U'0');
        return -1;
    }
    static constexpr int kSymbols = 36;
    // The symbols a name character may start with, one bit each: its own for a letter or digit,
    // the first letters of its readings for others.
    static quint64 startSymbols(char32_t c);

    // The first two letters of each of a character's readings, as (first - 'a') * 26 + second -
    // 'a', each pair once; none for a letter or digit. `spill` holds them beyond the BMP.
    static std::span<const quint16> readingStarts(char32_t c, std::vector<quint16>& spill);

    // Calls visit(code point) for each character of text until it returns false.
    template <typename Visit> static void forEachCodePoint(QStringView text, Visit visit)
    {
        for (qsizetype i = 0; i < text.size(); ++i) {
            char32_t c = text[i].unicode();
            if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
                c = QChar::surrogateToUcs4(text[i], text[i + 1]);
                ++i;
            }
            if (!visit(c))
                return;
        }
    }

private:
    // Where a run may be after the character: bit k set means the query's first k letters are
    // read. The two steps differ only in whether a run may begin at every character.
    quint64 step(quint64 at, char32_t c) const;
    // The first letters of the readings of each BMP unit, a bit per letter: half the size of
    // startSymbols() values, so that more of it stays in the processor's caches.
    static const quint32* readingLettersTable();
    // False for a common character (a CJK unified ideograph) none of whose readings starts with
    // the query's first letter; such a character is no whitespace either.
    bool mayStartRun(char32_t c) const
    {
        if (c < kCommonFirst || c > kCommonLast)
            return true;
        const char32_t i = c - kCommonFirst;
        return (m_startsRun[i / 64] >> (i % 64)) & 1;
    }
    static constexpr char32_t kCommonFirst = 0x4E00;
    static constexpr char32_t kCommonLast = 0x9FFF;

    QByteArray m_query;
    int m_length = 0;
    quint64 m_done = 0;                         // the bit of a run that has read the whole query
    bool m_oneLetterEach = false;               // no two adjacent letters begin a reading
    std::array<quint64, kSymbols> m_letterAt{}; // per symbol: the query offsets that hold it
    std::vector<quint64> m_afterReading;        // per syllable and offset: the offsets it can reach
    std::array<quint64, (kCommonLast - kCommonFirst) / 64 + 1> m_startsRun{}; // see mayStartRun()
};
