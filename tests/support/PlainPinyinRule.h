#pragma once

#include "data/PinyinReadings.h"
#include "data/SearchIndex.h"

#include <QList>
#include <QString>
#include <algorithm>

// The search rule written plainly, as the reference the index and the matcher are checked
// against: slow, recursive, with nothing precomputed.
namespace PlainPinyinRule {

// Whether the characters from `from` on begin with a run that reads as `query`, trying every
// way: a letter or digit as itself, any other character as any start of any of its readings.
inline bool readsAs(const QList<uint>& chars, qsizetype from, QStringView query)
{
    if (query.isEmpty())
        return true;
    if (from == chars.size())
        return false;
    const uint c = chars[from];
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
        return query[0].unicode() == c && readsAs(chars, from + 1, query.mid(1));
    for (const quint16 id : PinyinReadings::of(c)) {
        const std::string_view reading = PinyinReadings::syllable(id);
        for (qsizetype n = 1; n <= qsizetype(reading.size()) && n <= query.size(); ++n) {
            if (query[n - 1] != QLatin1Char(reading[size_t(n - 1)]))
                break;
            if (readsAs(chars, from + 1, query.mid(n)))
                return true;
        }
    }
    return false;
}

// The folded name contains the folded needle, or a run of its characters, whitespace passed
// over, reads as a needle of letters and digits.
inline bool matches(const QString& name, const QString& needle)
{
    const QString foldedName = SearchIndex::fold(name), folded = SearchIndex::fold(needle);
    if (foldedName.contains(folded))
        return true;
    const bool pinyin = std::all_of(folded.begin(), folded.end(), [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9');
    });
    if (!pinyin)
        return false;
    QList<uint> chars;
    for (const uint c : foldedName.toUcs4()) {
        if (!QChar::isSpace(c))
            chars << c;
    }
    for (qsizetype from = 0; from < chars.size(); ++from) {
        if (readsAs(chars, from, folded))
            return true;
    }
    return false;
}

} // namespace PlainPinyinRule
