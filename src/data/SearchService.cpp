#include "data/SearchService.h"

#include "data/DbError.h"
#include "data/RowPipe.h"
#include "data/SearchRows.h"
#include "data/Settings.h"
#include "data/SortOrder.h"
#include "data/StableOrder.h"
#include "data/TreeSection.h"

#include <QSqlQuery>
#include <algorithm>
#include <memory>
#include <thread>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

constexpr int ChunkSize = 500;

QString placeholders(qsizetype n)
{
    QString s;
    s.reserve(n * 2);
    for (qsizetype i = 0; i < n; ++i)
        s += i ? QLatin1String(",?") : QLatin1String("?");
    return s;
}

StoreId storeOf(SearchKind kind)
{
    return kind == SearchKind::Tool || kind == SearchKind::Personal ? StoreId::Personal
                                                                    : StoreId::Assistant;
}

// The columns of the index's source rows, per kind. A table without a custom order per category
// orders its categories by serialnum, as the store does.
QString indexColumns(SearchKind kind)
{
    switch (kind) {
    case SearchKind::Knowledge:
        return QStringLiteral("id, name, typeid, usetime, serialnum, commonserialnum, commonflag, "
                              "serialnum");
    case SearchKind::Affair:
    case SearchKind::Courier:
        return QStringLiteral("id, name, itemid, usetime, serialnum, 0, 0, serialnum");
    default:
        return QStringLiteral("id, name, typeid, usetime, serialnum, 0, 0, typeserialnum");
    }
}

QString itemFilter(SearchKind kind)
{
    if (kind == SearchKind::Affair)
        return QStringLiteral(" AND itemid = %1").arg(sectionId(TreeSection::Affairs));
    if (kind == SearchKind::Courier)
        return QStringLiteral(" AND itemid = %1").arg(sectionId(TreeSection::Couriers));
    return {};
}

// Puts hits, ascending by position, in id order. Those below the index's idOrdered() are in it
// already; the rest, entries changed since their kind was loaded, are usually few, and are
// ordered on their own and merged in.
void putInIdOrder(const SearchIndex& index, std::vector<quint32>& found)
{
    const auto later = std::lower_bound(found.begin(), found.end(), index.idOrdered());
    if (later == found.end())
        return;
    std::vector<quint32> changed(later, found.end());
    StableOrder::sortBy(changed, [&](quint32 p) { return StableOrder::ascending(index.id(p)); });
    std::vector<quint32> merged(found.size());
    std::merge(found.begin(), later, changed.begin(), changed.end(), merged.begin(),
               [&](quint32 a, quint32 b) { return index.id(a) < index.id(b); });
    found.swap(merged);
}

} // namespace

SearchService::SearchService(Store& store, const Settings& settings, QObject* parent)
    : QObject(parent), m_store(store), m_settings(settings)
{
    connect(&m_store, &Store::changed, this, &SearchService::onChanged);
}

QChar SearchService::letter(SearchKind kind)
{
    static constexpr char16_t letters[] = u"WCESFLP";
    return QChar(letters[static_cast<int>(kind)]);
}

std::optional<SearchKind> SearchService::kindFromLetter(QChar c)
{
    for (int k = 0; k < SearchKindCount; ++k) {
        if (letter(static_cast<SearchKind>(k)) == c.toUpper())
            return static_cast<SearchKind>(k);
    }
    return std::nullopt;
}

Table SearchService::table(SearchKind kind)
{
    switch (kind) {
    case SearchKind::Knowledge:
        return Table::Knowledge;
    case SearchKind::Affair:
    case SearchKind::Courier:
        return Table::Type;
    case SearchKind::Simple:
        return Table::Simple;
    case SearchKind::File:
        return Table::File;
    case SearchKind::Tool:
        return Table::Tools;
    case SearchKind::Personal:
        return Table::Personal;
    }
    return Table::Knowledge;
}

void SearchService::onChanged(Table changedTable, qint64 id, Change change)
{
    for (int k = 0; k < SearchKindCount; ++k) {
        const auto kind = static_cast<SearchKind>(k);
        if (table(kind) != changedTable)
            continue;
        KindState& s = state(kind);
        if (!s.built)
            continue;
        if (change == Change::Reset) {
            s.built = false;
            s.pending.clear();
        } else if (change == Change::Removed) {
            s.index.remove(id);
            s.pending.remove(id);
        } else {
            s.pending.insert(id);
        }
    }
}

Result<void> SearchService::refreshExternalChanges()
{
    for (StoreId store : {StoreId::Assistant, StoreId::Personal}) {
        Result<qint64> version = m_store.dataVersion(store);
        if (!version)
            return version.error();
        std::optional<qint64>& known = m_dataVersion[static_cast<size_t>(store)];
        if (known && *known != version.value()) {
            for (int k = 0; k < SearchKindCount; ++k) {
                if (storeOf(static_cast<SearchKind>(k)) == store)
                    m_kinds[static_cast<size_t>(k)].built = false;
            }
        }
        known = version.value();
    }
    return {};
}

QString SearchService::indexQuery(SearchKind kind)
{
    return QStringLiteral("SELECT %1 FROM %2 WHERE 1=1%3")
        .arg(indexColumns(kind), Tables::sqlName(table(kind)), itemFilter(kind));
}

Result<void> SearchService::load(SearchKind kind, const QList<qint64>& ids)
{
    KindState& s = state(kind);
    const QSqlDatabase db = m_store.database(storeOf(kind));
    std::vector<SearchIndex::Source> rows;
    for (qsizetype from = 0; from < ids.size(); from += ChunkSize) {
        const QList<qint64> chunk = ids.mid(from, ChunkSize);
        QVariantList bound;
        for (qint64 id : chunk) {
            bound << id;
            // A row that no longer qualifies (deleted, or moved to another section) drops out.
            s.index.remove(id);
        }
        rows.clear();
        if (Result<void> r = SearchRows::read(
                db,
                indexQuery(kind) +
                    QStringLiteral(" AND id IN (%1)").arg(placeholders(chunk.size())),
                bound, [&]() -> SearchIndex::Source& { return rows.emplace_back(); });
            !r)
            return r;
        s.index.upsert(rows);
    }
    return {};
}

Result<void> SearchService::build(const QList<SearchKind>& kinds)
{
    // The rows are read here, on the thread that owns the connections, and indexed on a thread
    // per kind: reading the store overlaps with filling the lists, and on machines with more
    // cores the kinds' lists fill side by side.
    std::vector<std::unique_ptr<RowPipe>> pipes;
    std::vector<std::thread> indexers;
    Result<void> result;
    for (const SearchKind kind : kinds) {
        KindState& s = state(kind);
        s.pending.clear();
        s.built = false;
        RowPipe& pipe = *pipes.emplace_back(std::make_unique<RowPipe>());
        indexers.emplace_back([&index = s.index, &pipe] {
            index.beginLoad();
            while (RowPipe::Batch* batch = pipe.receive()) {
                index.upsert(std::span(batch->rows.data(), batch->count));
                pipe.giveBack(batch);
            }
            index.squeeze();
        });
        result = SearchRows::read(m_store.database(storeOf(kind)),
                                  indexQuery(kind) + QLatin1String(" ORDER BY id"), {},
                                  [&pipe]() -> SearchIndex::Source& { return pipe.next(); });
        pipe.finish();
        if (!result)
            break;
        s.built = true;
    }
    for (std::thread& indexer : indexers)
        indexer.join();
    pipes.clear();
#if defined(__GLIBC__)
    // Building freed far more memory than the indexes keep, scattered between what they keep:
    // glibc holds on to it unless asked.
    malloc_trim(0);
#endif
    return result;
}

Result<void> SearchService::ensureCurrent(SearchKind kind)
{
    KindState& s = state(kind);
    if (!s.built)
        return build({kind});
    if (s.pending.isEmpty())
        return {};
    const QList<qint64> ids(s.pending.begin(), s.pending.end());
    s.pending.clear();
    return load(kind, ids);
}

Result<void> SearchService::searchKind(SearchKind kind, QStringView needle,
                                       const PinyinMatcher& pinyin, bool commonOnly, qint64 typeId,
                                       std::vector<quint32>& found)
{
    if (Result<void> r = ensureCurrent(kind); !r)
        return r.error();
    const SearchIndex& index = state(kind).index;

    found = index.match(needle, pinyin);
    if (commonOnly || typeId != 0) {
        std::erase_if(found, [&](quint32 p) {
            const SearchIndex::Entry e = index.at(p);
            return (commonOnly && !e.common) || (typeId != 0 && e.typeId != typeId);
        });
    }

    // Every order breaks ties by id: hits are put in id order first, then ordered stably by the
    // column the list goes by.
    putInIdOrder(index, found);
    const SortOrder::Mode mode = SortOrder::mode(m_settings.value(Setting::Sort));
    switch (mode) {
    case SortOrder::Mode::IdAscending:
        break;
    case SortOrder::Mode::IdDescending:
        std::reverse(found.begin(), found.end());
        break;
    case SortOrder::Mode::MostUsed:
        StableOrder::sortBy(
            found, [&](quint32 p) { return StableOrder::descending(index.at(p).usetime); });
        break;
    case SortOrder::Mode::Custom:
        // The same column as the list the hits filter: the common list, one category's list,
        // or the whole table.
        StableOrder::sortBy(found, [&](quint32 p) {
            const SearchIndex::Entry e = index.at(p);
            return StableOrder::ascending(commonOnly    ? e.commonSerial
                                          : typeId != 0 ? e.typeSerial
                                                        : e.serial);
        });
        break;
    }
    if (!needle.isEmpty() && m_settings.flag(Setting::QueryBestMatchFirst))
        rankBestFirst(index, needle, pinyin, found);
    return {};
}

void SearchService::rankBestFirst(const SearchIndex& index, QStringView needle,
                                  const PinyinMatcher& pinyin, std::vector<quint32>& found)
{
    // Four buckets keep the list order within each rank.
    std::array<std::vector<quint32>, 4> ranks;
    for (const quint32 p : found)
        ranks[static_cast<size_t>(index.rank(p, needle, pinyin))].push_back(p);
    auto out = found.begin();
    for (const std::vector<quint32>& rank : ranks)
        out = std::copy(rank.begin(), rank.end(), out);
}

Result<QList<SearchHit>> SearchService::search(const QString& text, SearchMode mode, qint64 typeId)
{
    if (Result<void> r = refreshExternalChanges(); !r)
        return r.error();
    const QString needle = SearchIndex::fold(text.trimmed());
    const PinyinMatcher pinyin(needle);

    QList<SearchKind> kinds;
    bool commonOnly = false;
    switch (mode) {
    case SearchMode::All:
        kinds << SearchKind::Knowledge;
        if (m_settings.flag(Setting::QueryShowSimpleFlag))
            kinds << SearchKind::Simple;
        kinds << SearchKind::Affair << SearchKind::Courier;
        if (m_settings.flag(Setting::QueryShowFileFlag))
            kinds << SearchKind::File;
        if (m_settings.flag(Setting::QueryShowToolsFlag))
            kinds << SearchKind::Tool;
        if (m_settings.flag(Setting::QueryShowPersonalFlag))
            kinds << SearchKind::Personal;
        typeId = 0;
        break;
    case SearchMode::Common:
        kinds << SearchKind::Knowledge;
        commonOnly = true;
        break;
    case SearchMode::Knowledge:
        kinds << SearchKind::Knowledge;
        break;
    case SearchMode::Affairs:
        kinds << SearchKind::Affair;
        break;
    case SearchMode::Couriers:
        kinds << SearchKind::Courier;
        break;
    case SearchMode::Simple:
        kinds << SearchKind::Simple;
        break;
    case SearchMode::Files:
        kinds << SearchKind::File;
        break;
    case SearchMode::Tools:
        kinds << SearchKind::Tool;
        break;
    case SearchMode::Personal:
        kinds << SearchKind::Personal;
        break;
    }

    // The kinds not indexed yet are built together, so that their indexing overlaps.
    QList<SearchKind> unbuilt;
    for (const SearchKind kind : kinds) {
        if (!state(kind).built)
            unbuilt << kind;
    }
    if (!unbuilt.isEmpty()) {
        if (Result<void> r = build(unbuilt); !r)
            return r.error();
    }

    // Every kind is matched first, so that the list is allocated once at its final size. A
    // kind's search only ever updates its own index, so earlier kinds' positions stay valid.
    std::vector<std::vector<quint32>> found(static_cast<size_t>(kinds.size()));
    qsizetype total = 0;
    for (qsizetype k = 0; k < kinds.size(); ++k) {
        std::vector<quint32>& positions = found[static_cast<size_t>(k)];
        if (Result<void> r = searchKind(kinds[k], needle, pinyin, commonOnly, typeId, positions);
            !r)
            return r.error();
        total += static_cast<qsizetype>(positions.size());
    }
    QList<SearchHit> all(total);
    SearchHit* out = all.data();
    for (qsizetype k = 0; k < kinds.size(); ++k) {
        const SearchKind kind = kinds[k];
        const SearchIndex& index = state(kind).index;
        for (quint32 p : found[static_cast<size_t>(k)])
            *out++ = SearchHit::of(kind, index.id(p));
    }
    return all;
}

QString SearchService::name(const SearchHit& hit)
{
    const SearchIndex& index = state(hit.kind).index;
    const std::optional<SearchIndex::Entry> e = index.find(hit.id);
    return e ? index.name(*e) : QString();
}

Result<QList<SearchRow>> SearchService::rows(const QList<SearchHit>& hits)
{
    QHash<quint64, SearchRow> byKey; // kind in the high bits, id below
    auto key = [](SearchKind kind, qint64 id) {
        return (static_cast<quint64>(kind) << 56) | static_cast<quint64>(id);
    };

    for (int k = 0; k < SearchKindCount; ++k) {
        const auto kind = static_cast<SearchKind>(k);
        QList<qint64> ids;
        for (const SearchHit& h : hits) {
            if (h.kind == kind)
                ids << h.id;
        }
        QString columns;
        switch (kind) {
        case SearchKind::Knowledge:
        case SearchKind::Personal:
            columns = QStringLiteral("id, name, description, pic IS NOT NULL AND length(pic) > 0");
            break;
        case SearchKind::Affair:
        case SearchKind::Courier:
            columns = QStringLiteral("id, name, description, flag, url");
            break;
        case SearchKind::Simple:
            columns = QStringLiteral("id, name");
            break;
        case SearchKind::File:
            columns = QStringLiteral("id, name, extname");
            break;
        case SearchKind::Tool:
            columns = QStringLiteral("id, name, type, path");
            break;
        }
        for (qsizetype from = 0; from < ids.size(); from += ChunkSize) {
            const QList<qint64> chunk = ids.mid(from, ChunkSize);
            QSqlQuery q(m_store.database(storeOf(kind)));
            q.setForwardOnly(true);
            if (!q.prepare(
                    QStringLiteral("SELECT %1 FROM %2 WHERE id IN (%3)")
                        .arg(columns, Tables::sqlName(table(kind)), placeholders(chunk.size()))))
                return DbError::fromQuery(q.lastError());
            for (qint64 id : chunk)
                q.addBindValue(id);
            if (!q.exec())
                return DbError::fromQuery(q.lastError());
            while (q.next()) {
                SearchRow row;
                row.kind = kind;
                row.id = q.value(0).toLongLong();
                row.name = q.value(1).toString();
                switch (kind) {
                case SearchKind::Knowledge:
                case SearchKind::Personal:
                    row.description = q.value(2).toString();
                    row.hasPicture = q.value(3).toBool();
                    break;
                case SearchKind::Affair:
                case SearchKind::Courier:
                    row.description = q.value(2).toString();
                    row.flag = q.value(3).toInt();
                    row.url = q.value(4).toString();
                    break;
                case SearchKind::Simple:
                    break;
                case SearchKind::File:
                    row.extname = q.value(2).toString();
                    break;
                case SearchKind::Tool:
                    row.toolType = q.value(2).toInt();
                    row.path = q.value(3).toString();
                    break;
                }
                byKey.insert(key(kind, row.id), row);
            }
        }
    }

    QList<SearchRow> out;
    out.reserve(hits.size());
    for (const SearchHit& h : hits) {
        const auto it = byKey.constFind(key(h.kind, h.id));
        if (it != byKey.constEnd())
            out.append(*it);
    }
    return out;
}
