#pragma once

#include "data/PinyinMatcher.h"

#include <QChar>
#include <QtGlobal>
#include <bit>

// The keys of a search index's lists, shared by the code that fills them and the code that reads
// them: pinyin keys by kind, then the UTF-16 units of literal ones. Pairs of units are too many to
// number in advance; theirs are found through UnitPairLists.
namespace SearchKeys {

constexpr int Symbols = PinyinMatcher::kSymbols;
constexpr int Letters = 26;

constexpr quint32 SymbolLists = 0;
constexpr quint32 PairLists = SymbolLists + Symbols;
constexpr quint32 ReadingStartLists = PairLists + Symbols * Symbols;
constexpr quint32 UnitLists = ReadingStartLists + Letters * Letters;
constexpr quint32 Keys = UnitLists + 0x10000;

inline quint32 bigram(QChar first, QChar second)
{
    return static_cast<quint32>(first.unicode()) << 16 | second.unicode();
}

// Three adjacent characters starting with the symbols x, b and a, in that order.
inline quint32 threeKey(int x, int b, int a)
{
    return static_cast<quint32>((x * Symbols + b) * Symbols + a);
}

// The two bits an entry's mark has for a three. Threes are too many to keep a list of each: a mark
// of 64 bits per entry rules out most entries that have both pairs but not the three together.
inline quint64 tripleMark(quint32 three)
{
    const quint64 mixed = (static_cast<quint64>(three) + 1) * 0x9E3779B97F4A7C15ull;
    return quint64(1) << (mixed >> 58) | quint64(1) << (mixed >> 52 & 63);
}

// A key (or a list) with a position, as the pending keys of an index hold them.
inline quint64 keyed(quint32 key, quint32 position)
{
    return static_cast<quint64>(key) << 32 | position;
}

template <typename Visit> void forEachBit(quint64 bits, Visit visit)
{
    for (; bits != 0; bits &= bits - 1)
        visit(std::countr_zero(bits));
}

} // namespace SearchKeys
