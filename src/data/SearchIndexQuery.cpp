// How a SearchIndex answers a query: which lists to read for it, and which names to check.
#include "data/PinyinReadings.h"
#include "data/SearchIndex.h"
#include "data/SearchKeys.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <system_error>
#include <thread>

namespace {

// Fewer names than this are checked on one thread: starting another costs about as much.
constexpr size_t ParallelChecks = 4096;
// The longest reading ("zhuang") bounds how many query letters one character can take.
constexpr int LongestReading = 6;

std::u16string_view units(QStringView text)
{
    return {text.utf16(), static_cast<size_t>(text.size())};
}

int symbolOf(char c)
{
    return PinyinMatcher::symbol(static_cast<unsigned char>(c));
}

// Appends two ascending runs of positions to `hits` as one.
void appendMerged(std::vector<quint32>& hits, const std::vector<quint32>& a,
                  const std::vector<quint32>& b)
{
    const size_t from = hits.size();
    hits.resize(from + a.size() + b.size());
    std::merge(a.begin(), a.end(), b.begin(), b.end(),
               hits.begin() + static_cast<std::ptrdiff_t>(from));
}

// How many letters from offset k of a query one character may take: one always (a Latin letter
// or an initial), more while they begin a reading.
std::vector<int> partLengths(std::string_view query, int k)
{
    std::vector<int> out{1};
    const auto m = static_cast<int>(query.size());
    for (int l = 2; l <= LongestReading && k + l <= m; ++l) {
        if (!PinyinMatcher::isReadingStart(query.substr(static_cast<size_t>(k), size_t(l))))
            break;
        out.push_back(l);
    }
    return out;
}

} // namespace

using namespace SearchKeys;

std::vector<quint32> SearchIndex::match(QStringView needle, const PinyinMatcher& pinyin) const
{
    std::vector<quint32> hits;
    if (needle.isEmpty()) {
        hits.reserve(static_cast<size_t>(m_positions.size()));
        for (size_t i = 0; i < m_ids.size(); ++i) {
            if (alive(static_cast<quint32>(i)))
                hits.push_back(static_cast<quint32>(i));
        }
        return hits;
    }
    // A name holding a query of letters and digits also reads as it, one character each: the
    // pinyin hits include the literal ones.
    if (pinyin.isUsable())
        matchPinyin(pinyin, hits);
    else
        matchNames(needle, hits);
    return hits;
}

int SearchIndex::rank(quint32 position, QStringView needle, const PinyinMatcher& pinyin) const
{
    const QStringView name = foldedName(position);
    const PinyinMatcher::Fit fit = pinyin.fitAtStart(name);
    if (name == needle || fit == PinyinMatcher::Fit::Whole)
        return 0;
    if (name.startsWith(needle) || fit == PinyinMatcher::Fit::Prefix)
        return 1;
    return units(name).find(units(needle)) != std::u16string_view::npos ? 2 : 3;
}

const PostingList* SearchIndex::literalList(QStringView key) const
{
    if (m_lists.empty())
        return nullptr;
    if (key.size() == 1) {
        const quint32 list = listFor(UnitLists + key[0].unicode());
        return list == 0 ? nullptr : &m_lists[list];
    }
    const quint32 list = m_pairLists.find(bigram(key[0], key[1]));
    return list == 0 ? nullptr : &m_lists[list];
}

std::vector<quint32> SearchIndex::inAll(std::vector<const PostingList*> lists, quint64 marks) const
{
    // The shortest list first: the others only thin it out. Reading a list costs less per entry
    // than a mark, which lies elsewhere in memory, but a list much longer than the candidates left
    // costs more than their marks. With every list read, the marks would rule out only the few
    // entries that have all the keys but not together, and are left to the caller's check.
    std::sort(lists.begin(), lists.end(),
              [](const PostingList* a, const PostingList* b) { return a->size() < b->size(); });
    std::vector<quint32> out;
    lists.front()->forEach(m_frozen.data(), [&](quint32 p) { out.push_back(p); });
    size_t read = 1;
    for (; read < lists.size() && (marks == 0 || lists[read]->size() / 4 <= out.size()); ++read)
        narrow(out, *lists[read]);
    return read < lists.size() ? marked(std::move(out), marks) : out;
}

void SearchIndex::sortUnique(std::vector<quint32>& positions) const
{
    // Many positions are put in order through a bit each: a pass over the bits of the whole index
    // costs less than sorting a few thousand of them.
    const size_t count = m_ids.size();
    if (positions.size() < count / 256) {
        std::sort(positions.begin(), positions.end());
        positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
        return;
    }
    std::vector<quint64> bits((count + 63) / 64);
    for (const quint32 p : positions)
        bits[p / 64] |= quint64(1) << (p % 64);
    positions.clear();
    for (size_t w = 0; w < bits.size(); ++w)
        forEachBit(bits[w], [&](int b) { positions.push_back(static_cast<quint32>(w * 64) + b); });
}

void SearchIndex::narrow(std::vector<quint32>& positions, const PostingList& list) const
{
    size_t at = 0;
    size_t kept = 0;
    list.forEach(m_frozen.data(), [&](quint32 p) {
        while (at < positions.size() && positions[at] < p)
            ++at;
        if (at < positions.size() && positions[at] == p)
            positions[kept++] = p;
    });
    positions.resize(kept);
}

std::vector<quint32> SearchIndex::marked(std::vector<quint32> candidates, quint64 marks) const
{
    std::erase_if(candidates, [&](quint32 p) { return (m_marks[p] & marks) != marks; });
    return candidates;
}

template <typename Check>
void SearchIndex::keepIf(const std::vector<quint32>& candidates, Check check,
                         std::vector<quint32>& hits) const
{
    // Each name lies somewhere else in memory: fetching those a few candidates ahead while one is
    // checked keeps a check from waiting on memory, which is most of its cost.
    constexpr size_t Ahead = 8;
    auto keep = [&](size_t from, size_t to, std::vector<quint32>& kept) {
        kept.reserve(kept.size() + (to - from));
        for (size_t i = from; i < to; ++i) {
            if (i + 2 * Ahead < to)
                PostingList::prefetch(&m_foldedStart[candidates[i + 2 * Ahead]]);
            if (i + Ahead < to)
                PostingList::prefetch(m_folded.constData() + m_foldedStart[candidates[i + Ahead]]);
            const quint32 p = candidates[i];
            if (alive(p) && check(foldedName(p)))
                kept.push_back(p);
        }
    };
    // Many candidates are checked in two halves side by side: waiting on memory, not work, is
    // what a check costs, and two cores wait for twice as many names at once.
    static const bool severalCores = std::thread::hardware_concurrency() > 1;
    const size_t n = candidates.size();
    std::vector<quint32> later;
    std::thread helper;
    if (n >= ParallelChecks && severalCores) {
        try {
            helper = std::thread([&] { keep(n / 2, n, later); });
        } catch (const std::system_error&) {
            // Out of threads: this one checks them all.
        }
    }
    keep(0, helper.joinable() ? n / 2 : n, hits);
    if (helper.joinable()) {
        helper.join();
        hits.insert(hits.end(), later.begin(), later.end());
    }
}

void SearchIndex::keepAlive(const PostingList& list, std::vector<quint32>& hits) const
{
    // Written through a pointer into room made first: push_back's check of the room left cost
    // more than zeroing it, on lists of most of a million positions.
    const size_t from = hits.size();
    hits.resize(from + list.size());
    quint32* out = hits.data() + from;
    if (m_dead == 0) {
        list.forEach(m_frozen.data(), [&](quint32 p) { *out++ = p; });
    } else {
        list.forEach(m_frozen.data(), [&](quint32 p) {
            *out = p;
            out += m_alive[p];
        });
    }
    hits.resize(static_cast<size_t>(out - hits.data()));
}

void SearchIndex::matchNames(QStringView needle, std::vector<quint32>& hits) const
{
    std::vector<const PostingList*> lists;
    if (needle.size() == 1)
        lists.push_back(literalList(needle));
    for (qsizetype i = 0; i + 1 < needle.size(); ++i)
        lists.push_back(literalList(needle.sliced(i, 2)));
    // A character or pair that no name contains rules out every name.
    if (std::find(lists.begin(), lists.end(), nullptr) != lists.end())
        return;
    // A list of one character or one pair holds exactly the entries that contain it.
    if (lists.size() == 1) {
        keepAlive(*lists.front(), hits);
        return;
    }
    keepHolding(inAll(std::move(lists), 0), units(needle), hits);
}

void SearchIndex::keepHolding(const std::vector<quint32>& candidates, std::u16string_view text,
                              std::vector<quint32>& hits) const
{
    std::vector<quint32> sure;
    std::vector<quint32> toRead;
    for (const quint32 p : candidates) {
        if (alive(p))
            (m_unrepeated[p] ? sure : toRead).push_back(p);
    }
    // Names are short: a plain search beats the set-up of QStringView's.
    std::vector<quint32> read;
    keepIf(
        toRead, [&](QStringView name) { return units(name).find(text) != text.npos; }, read);
    appendMerged(hits, sure, read);
}

void SearchIndex::matchPinyin(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const
{
    if (m_lists.empty())
        return;
    const std::string_view q = pinyin.query();
    const auto m = static_cast<int>(q.size());
    auto lengths = [&](int k) { return partLengths(q, k); };
    auto sym = [&](int k) { return symbolOf(q[static_cast<size_t>(k)]); };
    auto pair = [&](int a, int b) {
        return &m_lists[listFor(PairLists + static_cast<quint32>(sym(a) * Symbols + sym(b)))];
    };
    auto reads = [&](QStringView name) { return pinyin.matches(name); };

    // When no two adjacent letters begin a reading, each letter is a character of its own: the
    // candidates have every two adjacent letters as a key and every three in their mark.
    bool singles = m >= 3;
    for (int k = 0; singles && k + 1 < m; ++k)
        singles = lengths(k).size() == 1;
    const quint32 firstThree = singles ? threeKey(sym(0), sym(1), sym(2)) : 0;
    const std::vector<quint32>* known = singles ? knownThree(firstThree) : nullptr;
    if (known != nullptr && m == 3) {
        for (const quint32 p : *known) {
            if (alive(p))
                hits.push_back(p);
        }
        return;
    }
    const size_t from = hits.size();
    if (m >= 3 && matchRuns(pinyin, hits)) {
        if (singles && m == 3)
            rememberThree(firstThree,
                          {hits.begin() + static_cast<std::ptrdiff_t>(from), hits.end()});
        return;
    }
    if (singles) {
        quint64 marks = 0;
        for (int k = 0; k + 2 < m; ++k)
            marks |= tripleMark(threeKey(sym(k), sym(k + 1), sym(k + 2)));
        std::vector<quint32> candidates;
        if (known != nullptr) {
            candidates = marked(*known, marks);
        } else {
            std::vector<const PostingList*> pairs;
            for (int k = 0; k + 1 < m; ++k)
                pairs.push_back(pair(k, k + 1));
            candidates = inAll(std::move(pairs), marks);
        }
        keepIf(candidates, reads, hits);
        if (m == 3)
            rememberThree(firstThree,
                          {hits.begin() + static_cast<std::ptrdiff_t>(from), hits.end()});
        return;
    }

    // Every way of reading the query's first characters picks one list, or for three characters,
    // the entries in the lists of both pairs that have the three in their mark, whose names are
    // then checked. A list is exact when its key is the whole query, one letter per character.
    // A query read whole by one or two characters is found through the lists of the units or pairs
    // of units that read it when they are few, which hold exactly the hits: every name with both
    // initials of "tuihuo" next to each other would otherwise be checked.
    struct Way {
        const PostingList* list;
        const PostingList* second = nullptr;
        quint64 marks = 0;
        int firstLetters = 0; // for readAsUnits(): the first character's part of the query
        bool exact = false;
        bool operator==(const Way&) const = default;
    };
    std::vector<Way> ways;
    auto take = [&](Way way) {
        if (std::find(ways.begin(), ways.end(), way) == ways.end())
            ways.push_back(way);
    };
    for (const int first : lengths(0)) {
        if (first == m) {
            if (m == 1)
                take({.list = &m_lists[listFor(SymbolLists + static_cast<quint32>(sym(0)))],
                      .exact = true});
            else
                take({.list = &m_lists[listFor(
                          ReadingStartLists +
                          static_cast<quint32>((q[0] - 'a') * Letters + (q[1] - 'a')))],
                      .firstLetters = m > 2 ? m : 0,
                      .exact = m == 2});
            continue;
        }
        for (const int second : lengths(first)) {
            const int third = first + second;
            if (third == m)
                take({.list = pair(0, first), .firstLetters = m > 2 ? first : 0, .exact = m == 2});
            else
                take({.list = pair(0, first),
                      .second = pair(first, third),
                      .marks = tripleMark(threeKey(sym(0), sym(first), sym(third)))});
        }
    }

    if (ways.size() == 1 && ways.front().exact) {
        keepAlive(*ways.front().list, hits);
        return;
    }
    std::vector<quint32> sure;  // hits
    std::vector<quint32> maybe; // names to check
    int sureWays = 0;
    int maybeWays = 0;
    auto add = [](std::vector<quint32>& to, const std::vector<quint32>& found, int& lists) {
        to.insert(to.end(), found.begin(), found.end());
        lists += !found.empty();
    };
    for (const Way& way : ways) {
        if (way.firstLetters > 0) {
            const auto first = static_cast<size_t>(way.firstLetters);
            if (const auto read = readAsUnits(q.substr(0, first), q.substr(first))) {
                add(sure, *read, sureWays);
                // The names readAsUnits() cannot see are checked among the way's list.
                if (!m_oddNames.empty()) {
                    std::vector<quint32> odd = m_oddNames;
                    narrow(odd, *way.list);
                    add(maybe, odd, maybeWays);
                }
                continue;
            }
        }
        const std::vector<quint32> found =
            way.second == nullptr ? inAll({way.list}, 0) : inAll({way.list, way.second}, way.marks);
        add(way.exact ? sure : maybe, found, way.exact ? sureWays : maybeWays);
    }
    if (sureWays > 1)
        sortUnique(sure);
    if (maybeWays > 1)
        sortUnique(maybe);
    if (!sure.empty() && !maybe.empty()) {
        // What is found already needs no check.
        std::erase_if(maybe,
                      [&](quint32 p) { return std::binary_search(sure.begin(), sure.end(), p); });
    }
    std::erase_if(sure, [&](quint32 p) { return !alive(p); });
    std::vector<quint32> checked;
    keepIf(maybe, reads, checked);
    appendMerged(hits, sure, checked);
}

std::optional<std::vector<quint32>> SearchIndex::readAsUnits(std::string_view first,
                                                             std::string_view second) const
{
    // Of the thousand or so characters that read a letter, or the hundred that read a syllable,
    // a library holds a few: only their pairs are looked up.
    auto occurring = [&](std::string_view letters) {
        std::vector<std::pair<char16_t, quint32>> out; // (unit, its list)
        for (const char16_t u : heldReaders(letters))
            out.emplace_back(u, listFor(UnitLists + u));
        return out;
    };
    const std::vector<std::pair<char16_t, quint32>> firsts = occurring(first);
    std::vector<const PostingList*> lists;
    if (second.empty()) {
        for (const auto& [u, list] : firsts)
            lists.push_back(&m_lists[list]);
    } else {
        const std::vector<std::pair<char16_t, quint32>> seconds = occurring(second);
        if (firsts.size() * seconds.size() > static_cast<size_t>(m_mostLookups))
            return std::nullopt;
        for (const auto& [a, aList] : firsts) {
            for (const auto& [b, bList] : seconds) {
                if (const quint32 list = m_pairLists.find(bigram(QChar(a), QChar(b))); list != 0)
                    lists.push_back(&m_lists[list]);
            }
        }
    }
    std::vector<quint32> out;
    for (const PostingList* list : lists)
        list->forEach(m_frozen.data(), [&](quint32 p) { out.push_back(p); });
    if (lists.size() > 1)
        sortUnique(out);
    return out;
}

std::vector<char16_t> SearchIndex::heldReaders(std::string_view letters) const
{
    std::vector<char16_t> out;
    if (letters.size() == 1 && holds(static_cast<char16_t>(letters[0])))
        out.push_back(static_cast<char16_t>(letters[0]));
    const auto [first, last] = PinyinReadings::startingWith(letters);
    for (quint16 id = first; id != last; ++id) {
        for (const char16_t u : PinyinReadings::charactersOf(id)) {
            if (holds(u))
                out.push_back(u);
        }
    }
    // A character may have two of the readings.
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

bool SearchIndex::matchRuns(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const
{
    constexpr size_t MostRuns = 1024;
    // Names that the runs cannot see are checked one by one: many of them, and the lists of
    // initials do better.
    if (m_oddNames.size() + m_spacedNames.size() > static_cast<size_t>(m_mostLookups))
        return false;
    const std::string_view q = pinyin.query();
    const auto m = static_cast<int>(q.size());
    // The characters that may stand for the part of the query at an offset, of a length, worked
    // out when first needed.
    std::vector<std::optional<std::vector<char16_t>>> standIns(
        static_cast<size_t>(m * (LongestReading + 1)));
    auto standInsFor = [&](int k, int l) -> const std::vector<char16_t>& {
        std::optional<std::vector<char16_t>>& known =
            standIns[static_cast<size_t>(k * (LongestReading + 1) + l)];
        if (!known)
            known = heldReaders(q.substr(static_cast<size_t>(k), size_t(l)));
        return *known;
    };
    // The first two characters' pairs alone are looked up in full: when they pass the bound,
    // the runs are not tried at all rather than given up on half way.
    size_t firstPairs = 0;
    for (const int first : partLengths(q, 0)) {
        for (const int second : first < m ? partLengths(q, first) : std::vector<int>{}) {
            firstPairs += standInsFor(0, first).size() * standInsFor(first, second).size();
        }
    }
    if (firstPairs > static_cast<size_t>(m_mostLookups))
        return false;
    // Every run of characters that reads the query and whose adjacent pairs some name holds,
    // depth first from the query's start.
    std::vector<std::u16string> runs;
    std::u16string run;
    int lookups = 0;
    auto extend = [&](auto& self, int k) -> bool {
        if (k == m) {
            runs.push_back(run);
            return runs.size() <= MostRuns;
        }
        for (const int l : partLengths(q, k)) {
            for (const char16_t c : standInsFor(k, l)) {
                if (!run.empty()) {
                    if (++lookups > m_mostLookups)
                        return false;
                    if (m_pairLists.find(bigram(QChar(run.back()), QChar(c))) == 0)
                        continue;
                }
                run.push_back(c);
                const bool more = self(self, k + l);
                run.pop_back();
                if (!more)
                    return false;
            }
        }
        return true;
    };
    if (!extend(extend, 0))
        return false;
    // Two ways of reading may give the same run, Latin letters above all.
    std::sort(runs.begin(), runs.end());
    runs.erase(std::unique(runs.begin(), runs.end()), runs.end());

    std::vector<quint32> found;
    for (const std::u16string& r : runs) {
        const QStringView text(r.data(), static_cast<qsizetype>(r.size()));
        if (text.size() <= 2) {
            literalList(text)->forEach(m_frozen.data(), [&](quint32 p) { found.push_back(p); });
            continue;
        }
        std::vector<const PostingList*> pairs;
        for (qsizetype i = 0; i + 1 < text.size(); ++i)
            pairs.push_back(literalList(text.sliced(i, 2)));
        keepHolding(inAll(std::move(pairs), 0), r, found);
    }
    if (runs.size() > 1)
        sortUnique(found);
    std::erase_if(found, [&](quint32 p) { return !alive(p); });

    // The runs are read through pairs of adjacent units: the names with a pair that is not are
    // checked among those with a character that starts the query.
    std::vector<quint32> checked;
    if (!m_oddNames.empty() || !m_spacedNames.empty()) {
        std::vector<quint32> odd(m_oddNames.size() + m_spacedNames.size());
        std::merge(m_oddNames.begin(), m_oddNames.end(), m_spacedNames.begin(), m_spacedNames.end(),
                   odd.begin());
        narrow(odd, m_lists[listFor(SymbolLists + static_cast<quint32>(symbolOf(q[0])))]);
        std::erase_if(odd,
                      [&](quint32 p) { return std::binary_search(found.begin(), found.end(), p); });
        keepIf(
            odd, [&](QStringView name) { return pinyin.matches(name); }, checked);
    }
    appendMerged(hits, found, checked);
    return true;
}
