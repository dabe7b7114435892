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
constexpr quint32 TripleLists = PairLists + Symbols * Symbols;
constexpr quint32 ReadingStartLists = TripleLists + Symbols * Symbols * Symbols;
constexpr quint32 UnitLists = ReadingStartLists + Letters * Letters;
constexpr quint32 Keys = UnitLists + 0x10000;

inline quint32 bigram(QChar first, QChar second)
{
    return static_cast<quint32>(first.unicode()) << 16 | second.unicode();
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
