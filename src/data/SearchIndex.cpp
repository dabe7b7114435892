#include "SearchIndex.h"

#include <algorithm>

namespace {

constexpr QChar FieldSeparator(u'\u0001');
constexpr QChar EntrySeparator(u'\u0002');

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
    m_entries.clear();
    m_textStart.clear();
    m_text.clear();
    m_names.clear();
    m_byId.clear();
    m_dead = 0;
}

void SearchIndex::reserve(qsizetype entries, qsizetype characters)
{
    m_entries.reserve(static_cast<size_t>(entries));
    m_textStart.reserve(static_cast<size_t>(entries) + 1);
    m_text.reserve(characters);
    m_names.reserve(characters / 2);
    m_byId.reserve(entries);
}

void SearchIndex::upsert(const Source& source)
{
    remove(source.id);
    if (m_textStart.empty())
        m_textStart.push_back(0);

    Entry e;
    e.id = source.id;
    e.typeId = source.typeId;
    e.usetime = source.usetime;
    e.serial = source.serial;
    e.commonSerial = source.commonSerial;
    e.common = source.common;
    e.nameStart = m_names.size();
    e.nameLength = source.name.size();
    m_names += source.name;

    m_text += fold(source.name);
    m_text += FieldSeparator;
    m_text += fold(source.pycode);
    m_text += EntrySeparator;
    m_textStart.push_back(m_text.size());

    m_byId.insert(source.id, static_cast<qsizetype>(m_entries.size()));
    m_entries.push_back(e);
}

void SearchIndex::remove(qint64 id)
{
    const auto it = m_byId.constFind(id);
    if (it == m_byId.constEnd())
        return;
    m_entries[static_cast<size_t>(*it)].alive = false;
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
    return m_names.mid(entry.nameStart, entry.nameLength);
}

void SearchIndex::match(QStringView needle, const std::function<void(const Entry&)>& hit) const
{
    if (needle.isEmpty()) {
        for (const Entry& e : m_entries) {
            if (e.alive)
                hit(e);
        }
        return;
    }
    const QStringView text(m_text);
    qsizetype from = 0;
    while (true) {
        const qsizetype at = text.indexOf(needle, from);
        if (at < 0)
            return;
        const auto next = std::upper_bound(m_textStart.begin(), m_textStart.end(), at);
        const size_t entry = static_cast<size_t>(next - m_textStart.begin()) - 1;
        if (m_entries[entry].alive)
            hit(m_entries[entry]);
        // One report per entry: continue with the next entry's text.
        from = *next;
    }
}

void SearchIndex::compactIfWorthIt()
{
    // Replaced entries stay in the buffers until they are a quarter of the whole.
    if (m_dead < 1024 || m_dead * 4 < static_cast<qsizetype>(m_entries.size()))
        return;
    std::vector<Entry> entries;
    entries.reserve(m_entries.size() - static_cast<size_t>(m_dead));
    std::vector<qsizetype> starts{0};
    starts.reserve(entries.capacity() + 1);
    QString text;
    QString names;
    text.reserve(m_text.size());
    names.reserve(m_names.size());
    m_byId.clear();
    for (size_t i = 0; i < m_entries.size(); ++i) {
        Entry e = m_entries[i];
        if (!e.alive)
            continue;
        text += QStringView(m_text).mid(m_textStart[i], m_textStart[i + 1] - m_textStart[i]);
        starts.push_back(text.size());
        const qsizetype nameStart = names.size();
        names += QStringView(m_names).mid(e.nameStart, e.nameLength);
        e.nameStart = nameStart;
        m_byId.insert(e.id, static_cast<qsizetype>(entries.size()));
        entries.push_back(e);
    }
    m_entries = std::move(entries);
    m_textStart = std::move(starts);
    m_text = std::move(text);
    m_names = std::move(names);
    m_dead = 0;
}
