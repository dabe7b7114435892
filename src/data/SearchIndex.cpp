#include "data/SearchIndex.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr QChar FieldSeparator(u'\u0001');
constexpr QChar EntrySeparator(u'\u0002');
constexpr unsigned AsciiCount = 128;

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < AsciiCount; });
}

unsigned bigram(char first, char second)
{
    return static_cast<unsigned char>(first) * AsciiCount + static_cast<unsigned char>(second);
}

quint32 bigram(QChar first, QChar second)
{
    return static_cast<quint32>(first.unicode()) << 16 | second.unicode();
}

std::u16string_view units(QStringView text)
{
    return {text.utf16(), static_cast<size_t>(text.size())};
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
    m_initialsStart.reserve(n + 1);
    m_byId.reserve(entries);
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
    append(e, source.name, fold(source.name));

    const QString initials = fold(source.pycode);
    if (isAscii(initials)) {
        const QByteArray bytes = initials.toLatin1();
        appendAsciiInitials(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
    } else {
        appendOtherInitials(initials);
    }
}

void SearchIndex::append(const Entry& entry, QStringView name, QStringView foldedName)
{
    if (m_foldedStart.empty())
        m_foldedStart.push_back(0);
    const auto position = static_cast<quint32>(m_entries.size());
    Entry e = entry;
    e.nameLength = name.size();
    // Most names, Chinese ones above all, fold to themselves and need no second copy.
    e.nameIsFolded = name == foldedName;
    if (e.nameIsFolded) {
        e.nameStart = m_folded.size();
    } else {
        e.nameStart = m_names.size();
        m_names += name;
    }

    m_folded += foldedName;
    m_foldedStart.push_back(m_folded.size());
    for (qsizetype i = 0; i < foldedName.size(); ++i) {
        m_nameUnigrams[foldedName[i].unicode()].add(position);
        if (i + 1 < foldedName.size())
            m_nameBigrams[bigram(foldedName[i], foldedName[i + 1])].add(position);
    }

    m_byId.insert(e.id, position);
    m_entries.push_back(e);
    m_ids.push_back(e.id);
    m_alive.push_back(true);
}

void SearchIndex::appendAsciiInitials(std::string_view initials)
{
    if (m_initialsStart.empty()) {
        m_initialsStart.push_back(0);
        m_initialUnigrams.resize(AsciiCount);
        m_initialBigrams.resize(AsciiCount * AsciiCount);
    }
    const auto position = static_cast<quint32>(m_entries.size() - 1);
    m_initials += initials;
    m_initialsStart.push_back(static_cast<qsizetype>(m_initials.size()));
    for (size_t i = 0; i < initials.size(); ++i) {
        m_initialUnigrams[static_cast<unsigned char>(initials[i])].add(position);
        if (i + 1 < initials.size())
            m_initialBigrams[bigram(initials[i], initials[i + 1])].add(position);
    }
}

void SearchIndex::appendOtherInitials(const QString& initials)
{
    // An empty span in the ASCII buffer keeps the positions of both buffers in step.
    appendAsciiInitials({});
    m_otherInitials.emplace_back(static_cast<quint32>(m_entries.size() - 1), initials);
}

void SearchIndex::Postings::add(quint32 position)
{
    // Positions arrive in ascending order, so a repeat can only be the last one.
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

void SearchIndex::remove(qint64 id)
{
    const auto it = m_byId.constFind(id);
    if (it == m_byId.constEnd())
        return;
    m_alive[static_cast<size_t>(*it)] = false;
    m_byId.erase(it);
    ++m_dead;
    compactIfWorthIt();
}

const SearchIndex::Entry* SearchIndex::find(qint64 id) const
{
    const auto it = m_byId.constFind(id);
    return it == m_byId.constEnd() ? nullptr : &m_entries[static_cast<size_t>(*it)];
}

QString SearchIndex::name(const Entry& entry) const
{
    return (entry.nameIsFolded ? m_folded : m_names).mid(entry.nameStart, entry.nameLength);
}

std::string_view SearchIndex::initials(quint32 position) const
{
    const qsizetype start = m_initialsStart[position];
    return std::string_view(m_initials)
        .substr(static_cast<size_t>(start),
                static_cast<size_t>(m_initialsStart[position + 1] - start));
}

QStringView SearchIndex::foldedName(quint32 position) const
{
    const qsizetype start = m_foldedStart[position];
    return QStringView(m_folded).mid(start, m_foldedStart[position + 1] - start);
}

std::vector<quint32> SearchIndex::match(QStringView needle) const
{
    std::vector<quint32> hits;
    if (needle.isEmpty()) {
        hits.reserve(static_cast<size_t>(m_byId.size()));
        for (size_t i = 0; i < m_entries.size(); ++i) {
            if (m_alive[i])
                hits.push_back(static_cast<quint32>(i));
        }
        return hits;
    }
    std::vector<quint32> names;
    matchNames(needle, names);
    std::vector<quint32> initials;
    matchInitials(needle, initials);
    if (initials.empty())
        return names;
    if (names.empty())
        return initials;
    hits.reserve(names.size() + initials.size());
    std::set_union(names.begin(), names.end(), initials.begin(), initials.end(),
                   std::back_inserter(hits));
    return hits;
}

void SearchIndex::matchNames(QStringView needle, std::vector<quint32>& hits) const
{
    const Postings* candidates = nullptr;
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

void SearchIndex::matchInitials(QStringView needle, std::vector<quint32>& hits) const
{
    // Initials with a character beyond ASCII are rare: they are compared one by one, and only
    // they can contain a needle that is not all ASCII.
    if (!m_initialUnigrams.empty() && isAscii(needle)) {
        const QByteArray bytes = needle.toLatin1();
        const std::string_view wanted(bytes.constData(), static_cast<size_t>(bytes.size()));
        const Postings* candidates = &m_initialUnigrams[static_cast<unsigned char>(wanted[0])];
        for (size_t i = 0; i + 1 < wanted.size(); ++i) {
            const Postings& list = m_initialBigrams[bigram(wanted[i], wanted[i + 1])];
            if (i == 0 || list.size() < candidates->size())
                candidates = &list;
        }
        // A list of one character or one pair holds exactly the entries that contain it.
        const bool exact = wanted.size() <= 2;
        hits.reserve(candidates->size());
        candidates->forEach([&](quint32 p) {
            if (m_alive[p] && (exact || initials(p).find(wanted) != std::string_view::npos))
                hits.push_back(p);
        });
    }

    std::vector<quint32> others;
    for (const auto& [position, text] : m_otherInitials) {
        if (m_alive[position] && text.contains(needle))
            others.push_back(position);
    }
    if (others.empty())
        return;
    std::vector<quint32> merged;
    merged.reserve(hits.size() + others.size());
    std::merge(hits.begin(), hits.end(), others.begin(), others.end(), std::back_inserter(merged));
    hits = std::move(merged);
}

void SearchIndex::compactIfWorthIt()
{
    // Replaced entries stay in the buffers and lists until they are a quarter of the whole.
    if (m_dead < 1024 || m_dead * 4 < static_cast<qsizetype>(m_entries.size()))
        return;
    SearchIndex fresh;
    const qsizetype live = m_byId.size();
    fresh.reserve(live, m_folded.size());
    fresh.m_names.reserve(m_names.size());
    fresh.m_initials.reserve(m_initials.size());
    auto other = m_otherInitials.cbegin();
    for (size_t i = 0; i < m_entries.size(); ++i) {
        const Entry& e = m_entries[i];
        while (other != m_otherInitials.cend() && other->first < i)
            ++other;
        if (!m_alive[i])
            continue;
        const QStringView folded = foldedName(static_cast<quint32>(i));
        fresh.append(e,
                     e.nameIsFolded ? folded : QStringView(m_names).mid(e.nameStart, e.nameLength),
                     folded);
        if (other != m_otherInitials.cend() && other->first == i)
            fresh.appendOtherInitials(other->second);
        else
            fresh.appendAsciiInitials(initials(static_cast<quint32>(i)));
    }
    *this = std::move(fresh);
}
