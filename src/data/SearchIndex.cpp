#include "data/SearchIndex.h"

#include "data/PinyinReadings.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace {

constexpr QChar FieldSeparator(u'\u0001');
constexpr QChar EntrySeparator(u'\u0002');
constexpr int Symbols = PinyinMatcher::kSymbols;
constexpr int Letters = 26;
// The longest reading ("zhuang") bounds how many query letters one character can take.
constexpr int LongestReading = 6;

quint32 bigram(QChar first, QChar second)
{
    return static_cast<quint32>(first.unicode()) << 16 | second.unicode();
}

std::u16string_view units(QStringView text)
{
    return {text.utf16(), static_cast<size_t>(text.size())};
}

template <typename Visit> void forEachBit(quint64 bits, Visit visit)
{
    for (; bits != 0; bits &= bits - 1)
        visit(std::countr_zero(bits));
}

int symbolOf(char c)
{
    return PinyinMatcher::symbol(static_cast<unsigned char>(c));
}

} // namespace

QString SearchIndex::fold(QStringView text)
{
    QString folded = text.toString().toCaseFolded();
    // The separators must never occur inside indexed text or a query.
    for (QChar& c : folded) {
        if (c == FieldSeparator || c == EntrySeparator)
            c = u' ';
    }
    return folded;
}

void SearchIndex::clear()
{
    *this = SearchIndex();
}

void SearchIndex::reserve(qsizetype entries, qsizetype characters)
{
    const auto n = static_cast<size_t>(entries);
    m_entries.reserve(n);
    m_ids.reserve(n);
    m_alive.reserve(n);
    m_folded.reserve(characters);
    m_foldedStart.reserve(n + 1);
    m_positions.reserve(entries);
}

void SearchIndex::squeeze()
{
    for (auto* lists : {&m_symbolLists, &m_pairLists, &m_tripleLists, &m_readingStartLists}) {
        for (PostingList& list : *lists)
            list.shrink();
    }
    for (PostingList& list : m_nameUnigrams)
        list.shrink();
    for (PostingList& list : m_nameBigrams)
        list.shrink();
    m_names.squeeze();
    m_folded.squeeze();
}

void SearchIndex::upsert(const Source& source)
{
    remove(source.id);

    Entry e;
    e.id = source.id;
    e.typeId = source.typeId;
    e.usetime = source.usetime;
    e.serial = source.serial;
    e.typeSerial = source.typeSerial;
    e.commonSerial = source.commonSerial;
    e.common = source.common;
    // Names are at most a few hundred characters; a longer one is searched by its start.
    const QStringView name =
        QStringView(source.name)
            .first(std::min<qsizetype>(source.name.size(), std::numeric_limits<quint16>::max()));
    append(e, name, fold(name));
}

void SearchIndex::append(const Entry& entry, QStringView name, QStringView foldedName)
{
    if (m_foldedStart.empty())
        m_foldedStart.push_back(0);
    const auto position = static_cast<quint32>(m_entries.size());
    Entry e = entry;
    e.nameLength = static_cast<quint16>(name.size());
    // Most names, Chinese ones above all, fold to themselves and need no second copy.
    e.nameIsFolded = name == foldedName;
    if (e.nameIsFolded) {
        e.nameStart = static_cast<quint32>(m_folded.size());
    } else {
        e.nameStart = static_cast<quint32>(m_names.size());
        m_names += name;
    }

    m_folded += foldedName;
    m_foldedStart.push_back(static_cast<quint32>(m_folded.size()));
    for (qsizetype i = 0; i < foldedName.size(); ++i) {
        m_nameUnigrams[foldedName[i].unicode()].add(position);
        if (i + 1 < foldedName.size())
            m_nameBigrams[bigram(foldedName[i], foldedName[i + 1])].add(position);
    }
    appendPinyinKeys(position, foldedName);

    m_positions.set(e.id, position);
    m_entries.push_back(e);
    m_ids.push_back(e.id);
    m_alive.push_back(true);
}

void SearchIndex::appendPinyinKeys(quint32 position, QStringView foldedName)
{
    if (m_symbolLists.empty()) {
        m_symbolLists.resize(Symbols);
        m_pairLists.resize(Symbols * Symbols);
        m_tripleLists.resize(Symbols * Symbols * Symbols);
        m_readingStartLists.resize(Letters * Letters);
    }
    // The start symbols of the two characters before this one; whitespace is passed over, as the
    // matcher does.
    quint64 before = 0;
    quint64 last = 0;
    PinyinMatcher::forEachCodePoint(foldedName, [&](char32_t c) {
        const quint64 starts = PinyinMatcher::startSymbols(c);
        if (starts == 0 && c <= 0xFFFF && QChar(static_cast<char16_t>(c)).isSpace())
            return true;
        forEachBit(starts, [&](int a) {
            m_symbolLists[static_cast<size_t>(a)].add(position);
            forEachBit(last, [&](int b) {
                m_pairLists[static_cast<size_t>(b * Symbols + a)].add(position);
                forEachBit(before, [&](int x) {
                    m_tripleLists[static_cast<size_t>((x * Symbols + b) * Symbols + a)].add(
                        position);
                });
            });
        });
        if (PinyinMatcher::symbol(c) < 0) {
            for (const quint16 id : PinyinReadings::of(c)) {
                const std::string_view reading = PinyinReadings::syllable(id);
                if (reading.size() >= 2)
                    m_readingStartLists[static_cast<size_t>((reading[0] - 'a') * Letters +
                                                            (reading[1] - 'a'))]
                        .add(position);
            }
        }
        before = last;
        last = starts;
        return true;
    });
}

void SearchIndex::remove(qint64 id)
{
    const quint32 position = m_positions.find(id);
    if (position == IdPositions::None)
        return;
    m_alive[position] = false;
    m_positions.erase(id);
    ++m_dead;
    compactIfWorthIt();
}

const SearchIndex::Entry* SearchIndex::find(qint64 id) const
{
    const quint32 position = m_positions.find(id);
    return position == IdPositions::None ? nullptr : &m_entries[position];
}

QString SearchIndex::name(const Entry& entry) const
{
    return (entry.nameIsFolded ? m_folded : m_names).mid(entry.nameStart, entry.nameLength);
}

QStringView SearchIndex::foldedName(quint32 position) const
{
    const quint32 start = m_foldedStart[position];
    return QStringView(m_folded).mid(start, m_foldedStart[position + 1] - start);
}

std::vector<quint32> SearchIndex::match(QStringView needle, const PinyinMatcher& pinyin) const
{
    std::vector<quint32> hits;
    if (needle.isEmpty()) {
        hits.reserve(static_cast<size_t>(m_positions.size()));
        for (size_t i = 0; i < m_entries.size(); ++i) {
            if (m_alive[i])
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

void SearchIndex::matchNames(QStringView needle, std::vector<quint32>& hits) const
{
    const PostingList* candidates = nullptr;
    if (needle.size() == 1) {
        const auto it = m_nameUnigrams.constFind(needle[0].unicode());
        if (it == m_nameUnigrams.constEnd())
            return;
        candidates = &*it;
    }
    for (qsizetype i = 0; i + 1 < needle.size(); ++i) {
        const auto it = m_nameBigrams.constFind(bigram(needle[i], needle[i + 1]));
        // A pair that no name contains rules out every name.
        if (it == m_nameBigrams.constEnd())
            return;
        if (!candidates || it->size() < candidates->size())
            candidates = &*it;
    }
    // A list of one character or one pair holds exactly the entries that contain it.
    const bool exact = needle.size() <= 2;
    // Names are short: a plain search beats the set-up of QStringView's.
    const std::u16string_view wanted = units(needle);
    hits.reserve(candidates->size());
    candidates->forEach([&](quint32 p) {
        if (m_alive[p] && (exact || units(foldedName(p)).find(wanted) != wanted.npos))
            hits.push_back(p);
    });
}

void SearchIndex::matchPinyin(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const
{
    if (m_symbolLists.empty())
        return;
    const std::string_view q = pinyin.query();
    const auto m = static_cast<int>(q.size());
    // How many letters from offset k one character may take: one always (a Latin letter or an
    // initial), more while they begin a reading.
    auto lengths = [&](int k) {
        std::vector<int> out{1};
        for (int l = 2; l <= LongestReading && k + l <= m; ++l) {
            if (!PinyinMatcher::isReadingStart(q.substr(static_cast<size_t>(k), size_t(l))))
                break;
            out.push_back(l);
        }
        return out;
    };
    auto sym = [&](int k) { return symbolOf(q[static_cast<size_t>(k)]); };

    // Every way of reading the query's first characters picks one list; a list is exact when
    // its key is the whole query, one letter per character.
    std::vector<const PostingList*> lists;
    bool exact = true;
    auto take = [&](const PostingList& list, bool whole) {
        if (std::find(lists.begin(), lists.end(), &list) == lists.end())
            lists.push_back(&list);
        exact = exact && whole;
    };
    for (const int first : lengths(0)) {
        if (first == m) {
            if (m == 1)
                take(m_symbolLists[static_cast<size_t>(sym(0))], true);
            else
                take(
                    m_readingStartLists[static_cast<size_t>((q[0] - 'a') * Letters + (q[1] - 'a'))],
                    m == 2);
            continue;
        }
        for (const int second : lengths(first)) {
            if (first + second == m)
                take(m_pairLists[static_cast<size_t>(sym(0) * Symbols + sym(first))], m == 2);
            else
                take(m_tripleLists[static_cast<size_t>((sym(0) * Symbols + sym(first)) * Symbols +
                                                       sym(first + second))],
                     m == 3);
        }
    }

    auto keep = [&](quint32 p) { return m_alive[p] && (exact || pinyin.matches(foldedName(p))); };

    // When no two adjacent letters begin a reading, each letter is a character of its own, so
    // every three adjacent letters are a key the name has: its candidates are in all those lists,
    // which cuts down the names to check for long runs of initials.
    bool singles = m >= 4;
    for (int k = 0; singles && k + 1 < m; ++k)
        singles = lengths(k).size() == 1;
    if (singles) {
        std::vector<const PostingList*> triples;
        for (int k = 0; k + 2 < m; ++k)
            triples.push_back(&m_tripleLists[static_cast<size_t>(
                (sym(k) * Symbols + sym(k + 1)) * Symbols + sym(k + 2))]);
        std::sort(triples.begin(), triples.end(),
                  [](const PostingList* a, const PostingList* b) { return a->size() < b->size(); });
        std::vector<quint32> candidates;
        triples.front()->forEach([&](quint32 p) { candidates.push_back(p); });
        for (size_t i = 1; i < triples.size() && !candidates.empty(); ++i) {
            std::vector<quint32> both;
            size_t at = 0;
            triples[i]->forEach([&](quint32 p) {
                while (at < candidates.size() && candidates[at] < p)
                    ++at;
                if (at < candidates.size() && candidates[at] == p)
                    both.push_back(p);
            });
            candidates.swap(both);
        }
        for (const quint32 p : candidates) {
            if (keep(p))
                hits.push_back(p);
        }
        return;
    }

    if (lists.size() == 1) {
        hits.reserve(lists.front()->size());
        lists.front()->forEach([&](quint32 p) {
            if (keep(p))
                hits.push_back(p);
        });
        return;
    }
    std::vector<quint32> candidates;
    for (const PostingList* list : lists)
        list->forEach([&](quint32 p) { candidates.push_back(p); });
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    hits.reserve(candidates.size());
    for (const quint32 p : candidates) {
        if (keep(p))
            hits.push_back(p);
    }
}

void SearchIndex::compactIfWorthIt()
{
    // Replaced entries stay in the buffers and lists until they are a quarter of the whole.
    if (m_dead < 1024 || m_dead * 4 < static_cast<qsizetype>(m_entries.size()))
        return;
    SearchIndex fresh;
    const qsizetype live = m_positions.size();
    fresh.reserve(live, m_folded.size());
    fresh.m_names.reserve(m_names.size());
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (!m_alive[i])
            continue;
        const Entry& e = m_entries[i];
        const QStringView folded = foldedName(static_cast<quint32>(i));
        fresh.append(e,
                     e.nameIsFolded ? folded : QStringView(m_names).mid(e.nameStart, e.nameLength),
                     folded);
    }
    *this = std::move(fresh);
}
