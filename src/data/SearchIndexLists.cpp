// How a SearchIndex fills its lists: the keys of each name, gathered and then added list by list,
// the lists worked out from others after a whole kind has been loaded, and the entries of the
// threes remembered from queries, kept up as entries are added.
#include "data/PageBuffer.h"
#include "data/SearchIndex.h"
#include "data/SearchKeys.h"

#include <algorithm>

using namespace SearchKeys;

void SearchIndex::beginLoad()
{
    clear();
    m_loading = true;
}

void SearchIndex::addLiteralKeys(quint32 position, QStringView foldedName)
{
    if (m_unitsHeld.empty())
        m_unitsHeld.resize(0x10000 / 64);
    // Which units this name has had so far, by the mark of the name being added: an array per
    // thread, since kinds are indexed side by side, that needs no clearing between names. A
    // mark left by another index only makes a name count as repeating, which costs a check.
    thread_local std::vector<quint32> seenIn(0x10000);
    thread_local quint32 nameMark = 0;
    if (++nameMark == 0)
        std::fill(seenIn.begin(), seenIn.end(), nameMark++);
    bool repeats = false;
    for (qsizetype i = 0; i < foldedName.size(); ++i) {
        const char16_t u = foldedName[i].unicode();
        repeats = repeats || seenIn[u] == nameMark;
        seenIn[u] = nameMark;
        m_unitsHeld[u / 64] |= quint64(1) << (u % 64);
        m_pendingKeys.push_back(keyed(UnitLists + u, position));
        if (i + 1 < foldedName.size()) {
            const quint32 pair = bigram(foldedName[i], foldedName[i + 1]);
            quint32 pairList = m_pairLists.find(pair);
            if (pairList == 0) {
                pairList = static_cast<quint32>(m_lists.size());
                m_pairLists.insert(pair, pairList);
                m_lists.emplace_back();
            }
            m_pendingKeys.push_back(keyed(Keys + pairList, position));
        }
    }
    m_unrepeated.push_back(!repeats);
}

void SearchIndex::addPinyinKeys(quint32 position, QStringView foldedName)
{
    // The start symbols of the two characters before this one; whitespace is passed over, as the
    // matcher does. While loading, the keys deriveLists() works out are left out: those of a
    // character in the BMP, and of a pair of them with nothing between.
    quint64 before = 0;
    quint64 last = 0;
    bool lastDerived = false;
    // Whether the entry has a pair that no pair of adjacent units holds: across whitespace, or
    // with a character beyond the BMP; and whether it has one only of two letters or digits
    // across whitespace, which are many in English and matter to fewer queries.
    bool lastInBmp = false; // and nothing passed over since
    bool lastOwn = false;   // a letter or digit
    bool odd = false;
    bool spaced = false;
    quint64 marks = 0;
    std::vector<quint16> spill;
    PinyinMatcher::forEachCodePoint(foldedName, [&](char32_t c) {
        const quint64 starts = PinyinMatcher::startSymbols(c);
        if (starts == 0 && QChar::isSpace(c)) {
            lastDerived = false;
            lastInBmp = false;
            return true;
        }
        const bool inBmp = c <= 0xFFFF;
        const bool own = PinyinMatcher::symbol(c) >= 0;
        if (starts != 0 && (!inBmp || (last != 0 && !lastInBmp))) {
            const bool letters = inBmp && own && lastOwn;
            odd = odd || !letters;
            spaced = spaced || letters;
        }
        lastInBmp = inBmp;
        lastOwn = own;
        const bool derived = m_loading && inBmp;
        const bool pairDerived = derived && lastDerived;
        forEachBit(starts, [&](int a) {
            if (!derived)
                m_pendingKeys.push_back(keyed(SymbolLists + static_cast<quint32>(a), position));
            forEachBit(last, [&](int b) {
                if (!pairDerived)
                    m_pendingKeys.push_back(
                        keyed(PairLists + static_cast<quint32>(b * Symbols + a), position));
                forEachBit(before, [&](int x) {
                    const quint32 three = threeKey(x, b, a);
                    marks |= tripleMark(three);
                    if (!m_knownThrees.empty())
                        keepUpThree(three, position);
                });
            });
        });
        if (!derived) {
            for (const quint16 start : PinyinMatcher::readingStarts(c, spill))
                m_pendingKeys.push_back(keyed(ReadingStartLists + start, position));
        }
        before = last;
        last = starts;
        lastDerived = derived;
        return true;
    });
    m_marks.push_back(marks);
    if (odd)
        m_oddNames.push_back(position);
    else if (spaced)
        m_spacedNames.push_back(position);
}

void SearchIndex::keepUpThree(quint32 three, quint32 position)
{
    for (KnownThree& known : m_knownThrees) {
        if (known.three == three && (known.positions.empty() || known.positions.back() != position))
            known.positions.push_back(position);
    }
}

const std::vector<quint32>* SearchIndex::knownThree(quint32 three) const
{
    for (KnownThree& known : m_knownThrees) {
        if (known.three == three) {
            known.lastUse = ++m_threeUses;
            return &known.positions;
        }
    }
    return nullptr;
}

void SearchIndex::rememberThree(quint32 three, std::vector<quint32> positions) const
{
    if (m_knownThrees.size() < KnownThrees) {
        m_knownThrees.push_back({three, std::move(positions), ++m_threeUses});
        return;
    }
    KnownThree& oldest = *std::min_element(
        m_knownThrees.begin(), m_knownThrees.end(),
        [](const KnownThree& a, const KnownThree& b) { return a.lastUse < b.lastUse; });
    oldest = {three, std::move(positions), ++m_threeUses};
}

quint32 SearchIndex::listOf(quint32 key)
{
    if (m_keyLists.empty()) {
        m_keyLists.assign(Keys, 0);
        for (const auto& [occurring, list] : m_occurringKeys)
            m_keyLists[occurring] = list;
        m_occurringKeys = {};
    }
    quint32& list = m_keyLists[key];
    if (list == 0) {
        list = static_cast<quint32>(m_lists.size());
        m_lists.emplace_back();
    }
    return list;
}

void SearchIndex::flushKeys()
{
    // The pending items hold keys, or Keys + the list for a pair of units. One pass deals them
    // out to groups of neighbouring keys, keeping their order, which is by position. Finding the
    // lists of a group's keys and adding to them then works on a few kilobytes, where taking the
    // items as they came would jump between megabytes.
    constexpr int GroupBits = 8;
    const size_t groups = ((Keys + m_lists.size()) >> GroupBits) + 1;
    std::vector<quint64>& dealt = m_dealtKeys;
    if (m_pendingKeys.size() >= 1024) {
        std::vector<quint32> at(groups + 1);
        for (const quint64 item : m_pendingKeys)
            ++at[(item >> (32 + GroupBits)) + 1];
        for (size_t g = 1; g < groups; ++g)
            at[g] += at[g - 1];
        dealt.resize(m_pendingKeys.size());
        for (const quint64 item : m_pendingKeys)
            dealt[at[item >> (32 + GroupBits)]++] = item;
        m_pendingKeys.swap(dealt);
    }
    for (quint64& item : m_pendingKeys) {
        const auto key = static_cast<quint32>(item >> 32);
        item = keyed(key < Keys ? listOf(key) : key - Keys, static_cast<quint32>(item));
    }
    // The lists of keys a little ahead are fetched while this one is added, the list itself
    // first, then the end of its bytes.
    constexpr size_t Ahead = 16;
    auto list = [&](size_t i) -> PostingList& {
        return m_lists[static_cast<size_t>(m_pendingKeys[i] >> 32)];
    };
    const size_t n = m_pendingKeys.size();
    for (size_t i = 0; i < n; ++i) {
        if (i + Ahead < n)
            PostingList::prefetch(&list(i + Ahead));
        if (i + Ahead / 2 < n)
            list(i + Ahead / 2).prefetchEnd();
        list(i).add(static_cast<quint32>(m_pendingKeys[i]));
    }
    m_pendingKeys.clear();
}

void SearchIndex::deriveLists(Derived& derived)
{
    // Which lists each derived key is the union of: a character's start letters and its readings'
    // first two letters come from the lists of the units that have them; two adjacent characters'
    // start letters from the lists of the pairs of units that have them.
    if (m_lists.empty())
        return;
    std::vector<std::pair<quint32, quint32>> links; // (key, list)
    std::vector<quint16> spill;
    for (char32_t u = 0; u < 0x10000; ++u) {
        const quint32 list = listFor(UnitLists + u);
        if (list == 0)
            continue;
        forEachBit(PinyinMatcher::startSymbols(u),
                   [&](int a) { links.emplace_back(SymbolLists + static_cast<quint32>(a), list); });
        for (const quint16 start : PinyinMatcher::readingStarts(u, spill))
            links.emplace_back(ReadingStartLists + start, list);
    }
    m_pairLists.forEach([&](quint32 pair, quint32 list) {
        const quint64 second = PinyinMatcher::startSymbols(pair & 0xFFFF);
        forEachBit(PinyinMatcher::startSymbols(pair >> 16), [&](int a) {
            forEachBit(second, [&](int b) {
                links.emplace_back(PairLists + static_cast<quint32>(a * Symbols + b), list);
            });
        });
    });
    addUnions(links, derived);
}

void SearchIndex::addUnions(std::vector<std::pair<quint32, quint32>>& links, Derived& derived)
{
    // The keys are worked out 64 at a time, each as a bitmap of positions while it is: 8 MB at a
    // million entries. Each list a round reads is read once however many of its keys it feeds.
    // The large buffers come from the system: see PageBuffer.
    constexpr size_t RoundKeys = 64;
    std::sort(links.begin(), links.end());
    const size_t words = (m_ids.size() + 63) / 64;
    const PageBuffer bitmaps(RoundKeys * words * sizeof(quint64));
    auto* const bits = reinterpret_cast<quint64*>(bitmaps.data());
    const PageBuffer room(m_ids.size() * sizeof(quint32));
    auto* const positions = reinterpret_cast<quint32*>(room.data());
    size_t count = 0; // of positions
    auto read = [&](quint32 list) {
        count = 0;
        m_lists[list].forEach(m_frozen.data(), [&](quint32 p) { positions[count++] = p; });
    };
    auto setAll = [&](quint64* bitmap) {
        for (size_t i = 0; i < count; ++i)
            bitmap[positions[i] >> 6] |= quint64(1) << (positions[i] & 63);
    };
    std::vector<quint32> keys;
    std::vector<std::pair<quint32, quint64>> sources; // (list, the round's keys it feeds)
    for (size_t from = 0; from < links.size();) {
        keys.clear();
        sources.clear();
        size_t to = from;
        for (; to < links.size(); ++to) {
            if (keys.empty() || keys.back() != links[to].first) {
                if (keys.size() == RoundKeys)
                    break;
                keys.push_back(links[to].first);
            }
            sources.emplace_back(links[to].second, quint64(1) << (keys.size() - 1));
        }
        std::sort(sources.begin(), sources.end());
        if (from > 0)
            std::fill_n(bits, keys.size() * words, 0);
        for (size_t i = 0; i < sources.size();) {
            quint64 feeds = 0;
            size_t j = i;
            for (; j < sources.size() && sources[j].first == sources[i].first; ++j)
                feeds |= sources[j].second;
            read(sources[i].first);
            forEachBit(feeds, [&](int k) { setAll(bits + static_cast<size_t>(k) * words); });
            i = j;
        }
        const PageBuffer& part =
            derived.parts.emplace_back(keys.size() * PostingList::frozenBitsBound(words));
        size_t written = 0;
        for (size_t k = 0; k < keys.size(); ++k) {
            quint64* bitmap = bits + k * words;
            const quint32 list = listOf(keys[k]);
            // What the key has already: characters beyond the BMP, pairs across whitespace.
            read(list);
            setAll(bitmap);
            m_lists[list] = PostingList();
            written += m_lists[list].freezeBits(bitmap, words, part.data(), written);
            derived.partOf.resize(std::max<size_t>(derived.partOf.size(), list + 1));
            derived.partOf[list] = static_cast<quint32>(derived.parts.size());
        }
        from = to;
    }
}
