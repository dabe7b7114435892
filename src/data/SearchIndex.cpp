#include "data/SearchIndex.h"

#include "data/SearchKeys.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace {

constexpr QChar FieldSeparator(u'\u0001');
constexpr QChar EntrySeparator(u'\u0002');

// Whether folding leaves every unit as it is but for ASCII capitals and the separators: true of
// most names, Chinese ones above all, which then need no call into the Unicode tables.
bool foldsPlainly(QStringView text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool plain = u < 0x80 || (u >= 0x2000 && u < 0x2070) || (u >= 0x3000 && u < 0x3040) ||
                           (u >= 0x3400 && u < 0xA000) ||
                           (u >= 0xFF00 && u < 0xFFF0 && (u < 0xFF21 || u > 0xFF3A));
        if (!plain)
            return false;
    }
    return true;
}

} // namespace

using namespace SearchKeys;

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
    const int lookups = m_mostLookups;
    *this = SearchIndex();
    m_mostLookups = lookups;
}

void SearchIndex::reserve(qsizetype entries, qsizetype characters)
{
    const auto n = static_cast<size_t>(entries);
    m_ids.reserve(n);
    m_typeIds.reserve(n);
    for (auto* column : {&m_usetimes, &m_serials})
        column->reserve(n);
    m_common.reserve(n);
    m_alive.reserve(n);
    m_unrepeated.reserve(n);
    m_marks.reserve(n);
    m_nameForms.reserve(n);
    m_folded.reserve(characters);
    m_foldedStart.reserve(n + 1);
    m_positions.reserve(entries);
}

void SearchIndex::squeeze()
{
    Derived derived;
    if (std::exchange(m_loading, false)) {
        flushKeys();
        deriveLists(derived);
    }
    // One buffer, rather than tens of thousands of vectors with room to grow, leaves the
    // allocator whole pages it can give back. What bitmaps save of it is never touched.
    size_t bytes = 0;
    for (const PostingList& list : m_lists)
        bytes += list.unfrozenBytes();
    std::vector<unsigned char> frozen;
    frozen.reserve(bytes);
    for (size_t i = 0; i < m_lists.size(); ++i) {
        const quint32 part = i < derived.partOf.size() ? derived.partOf[i] : 0;
        m_lists[i].freeze(part == 0 ? m_frozen.data() : derived.parts[part - 1].data(), frozen);
    }
    m_frozen = std::move(frozen);
    m_names.squeeze();
    m_folded.squeeze();
    m_ids.shrink();
    m_typeIds.shrink();
    for (auto* column : {&m_usetimes, &m_serials, &m_typeSerials, &m_commonSerials})
        column->shrink_to_fit();
    m_foldedStart.shrink_to_fit();
    m_marks.shrink_to_fit();
    m_oddNames.shrink_to_fit();
    m_spacedNames.shrink_to_fit();
    m_unrepeated.shrink_to_fit();
    m_nameForms.shrink_to_fit();
    m_capitals.shrink_to_fit();
    m_pendingKeys = std::vector<quint64>();
    m_dealtKeys = std::vector<quint64>();
    // Most keys never occur: only those that do are kept, until a list is added again.
    if (!m_keyLists.empty()) {
        m_occurringKeys.clear();
        m_occurringKeys.reserve(m_lists.size());
        for (quint32 key = 0; key < m_keyLists.size(); ++key) {
            if (m_keyLists[key] != 0)
                m_occurringKeys.emplace_back(key, m_keyLists[key]);
        }
        m_keyLists = std::vector<quint32>();
    }
}

quint32 SearchIndex::listFor(quint32 key) const
{
    if (!m_keyLists.empty())
        return m_keyLists[key];
    const auto found =
        std::lower_bound(m_occurringKeys.begin(), m_occurringKeys.end(), std::pair(key, 0u));
    return found != m_occurringKeys.end() && found->first == key ? found->second : 0;
}

void SearchIndex::upsert(std::span<const Source> sources)
{
    for (const Source& source : sources) {
        remove(source.id);
        const Entry e{source.id,         source.typeId,       source.usetime, source.serial,
                      source.typeSerial, source.commonSerial, source.common};
        // Names are at most a few hundred characters; a longer one is searched by its start.
        append(e, QStringView(source.name)
                      .first(std::min<qsizetype>(source.name.size(),
                                                 std::numeric_limits<quint16>::max())));
    }
    flushKeys();
}

void SearchIndex::append(const Entry& e, QStringView name)
{
    if (m_foldedStart.empty())
        m_foldedStart.push_back(0);
    if (m_lists.empty()) {
        m_lists.resize(1);
        m_keyLists.assign(Keys, 0);
    }
    const auto position = static_cast<quint32>(m_ids.size());
    const auto start = static_cast<qsizetype>(m_foldedStart.back());
    if (foldsPlainly(name)) {
        m_folded.resize(start + name.size());
        QChar* out = m_folded.data() + start;
        for (const QChar c : name) {
            const char16_t u = c.unicode();
            *out++ = u >= u'A' && u <= u'Z' ? QChar(u + (u'a' - u'A'))
                     : QChar(u) == FieldSeparator || QChar(u) == EntrySeparator ? QChar(u' ')
                                                                                : c;
        }
    } else {
        m_folded += fold(name);
    }
    const QStringView folded = QStringView(m_folded).sliced(start);
    m_foldedStart.push_back(static_cast<quint32>(m_folded.size()));
    addName(name, folded);
    addLiteralKeys(position, folded);
    addPinyinKeys(position, folded);

    m_positions.set(e.id, position);
    if (m_idOrdered == position && (m_ids.empty() || m_ids.back() < e.id))
        ++m_idOrdered;
    m_ids.push_back(e.id);
    m_typeIds.push_back(e.typeId);
    m_usetimes.push_back(e.usetime);
    if (!m_typeSerials.empty() || e.typeSerial != e.serial) {
        if (m_typeSerials.empty())
            m_typeSerials = m_serials;
        m_typeSerials.push_back(e.typeSerial);
    }
    m_serials.push_back(e.serial);
    if (!m_commonSerials.empty() || e.commonSerial != 0) {
        m_commonSerials.resize(position);
        m_commonSerials.push_back(e.commonSerial);
    }
    m_common.push_back(e.common);
    m_alive.push_back(true);
}

void SearchIndex::addName(QStringView name, QStringView folded)
{
    // Most names, Chinese ones above all, fold to themselves and need nothing more; most others
    // differ only in ASCII capitals, which take a bit each.
    if (name == folded) {
        m_nameForms.push_back(0);
        return;
    }
    bool capitalsOnly = name.size() == folded.size();
    for (qsizetype i = 0; capitalsOnly && i < name.size(); ++i) {
        const char16_t u = name[i].unicode();
        capitalsOnly = u == folded[i].unicode() || (u >= u'A' && u <= u'Z');
    }
    if (capitalsOnly) {
        m_nameForms.push_back(static_cast<quint32>(m_capitals.size()) + 1);
        m_capitals.resize(m_capitals.size() + static_cast<size_t>(name.size() + 7) / 8);
        quint8* bits = m_capitals.data() + m_capitals.size() - (name.size() + 7) / 8;
        for (qsizetype i = 0; i < name.size(); ++i) {
            if (name[i] != folded[i])
                bits[i / 8] |= static_cast<quint8>(1 << (i % 8));
        }
        return;
    }
    m_nameForms.push_back((static_cast<quint32>(m_names.size()) + 1) | CopiedName);
    m_names += QChar(static_cast<char16_t>(name.size()));
    m_names += name;
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

std::optional<SearchIndex::Entry> SearchIndex::find(qint64 id) const
{
    const quint32 position = m_positions.find(id);
    if (position == IdPositions::None)
        return std::nullopt;
    return at(position);
}

QString SearchIndex::name(quint32 position) const
{
    const QStringView folded = foldedName(position);
    const quint32 form = m_nameForms[position];
    if (form == 0)
        return folded.toString();
    if (form & CopiedName) {
        const qsizetype at = (form & ~CopiedName) - 1;
        return m_names.mid(at + 1, m_names[at].unicode());
    }
    QString name = folded.toString();
    const quint8* bits = m_capitals.data() + form - 1;
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (bits[i / 8] & (1 << (i % 8)))
            name[i] = QChar(static_cast<char16_t>(name[i].unicode() - (u'a' - u'A')));
    }
    return name;
}

QStringView SearchIndex::foldedName(quint32 position) const
{
    const quint32 start = m_foldedStart[position];
    return QStringView(m_folded).mid(start, m_foldedStart[position + 1] - start);
}

void SearchIndex::compactIfWorthIt()
{
    // Replaced entries stay in the buffers and lists until they are a quarter of the whole.
    if (m_dead < 1024 || m_dead * 4 < static_cast<qsizetype>(m_ids.size()))
        return;
    SearchIndex fresh;
    fresh.m_mostLookups = m_mostLookups;
    const qsizetype live = m_positions.size();
    fresh.reserve(live, m_folded.size());
    for (size_t i = 0; i < m_ids.size(); ++i) {
        const auto position = static_cast<quint32>(i);
        if (m_alive[i])
            fresh.append(at(position), name(position));
    }
    // Keys still pending here are for the old positions; the fresh index made its own.
    fresh.flushKeys();
    *this = std::move(fresh);
}
