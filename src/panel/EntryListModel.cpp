#include "panel/EntryListModel.h"

#include "data/Columns.h"
#include "data/Settings.h"
#include "panel/IdSequenceSync.h"

#include <QSet>

namespace {

// A list cell shows one line; the full text is in the tool tip.
QString oneLine(const QString& text)
{
    QString line = text.simplified();
    if (line.size() > 120)
        line = line.left(119) + QChar(0x2026);
    return line;
}

} // namespace

EntryListModel::EntryListModel(ListKind kind, Store& store, SearchService& search,
                               const Settings& settings, QObject* parent)
    : QAbstractTableModel(parent), m_kind(kind), m_store(store), m_search(search),
      m_settings(settings)
{
    m_refresh.setSingleShot(true);
    m_refresh.setInterval(0);
    connect(&m_refresh, &QTimer::timeout, this, &EntryListModel::refresh);
    connect(&m_store, &Store::changed, this, &EntryListModel::onStoreChanged);
    // A new list order re-sorts what is shown; the query flags change what "all" finds. Both
    // are read again once, however many keys the settings window writes.
    connect(&m_settings, &Settings::changed, this, [this](Setting s) {
        const bool queryFlag =
            s == Setting::QueryShowSimpleFlag || s == Setting::QueryShowFileFlag ||
            s == Setting::QueryShowToolsFlag || s == Setting::QueryShowPersonalFlag;
        if ((s == Setting::Sort && m_source != Source::None) ||
            (queryFlag && m_source == Source::Search && m_mode == SearchMode::All))
            m_refresh.start();
    });
}

QStringList EntryListModel::captions(ListKind kind)
{
    switch (kind) {
    case ListKind::Query:
        return {QString(),
                QStringLiteral("编号"),
                QStringLiteral("标题"),
                QStringLiteral("描述"),
                QStringLiteral("标记"),
                QStringLiteral("网址")};
    case ListKind::Simple:
        return {QString(), QStringLiteral("编号"), QStringLiteral("内容")};
    case ListKind::File:
        return {QString(), QStringLiteral("编号"), QStringLiteral("名称"),
                QStringLiteral("扩展名")};
    case ListKind::Tools:
        return {QString(), QStringLiteral("编号"), QStringLiteral("名称"), QStringLiteral("路径")};
    case ListKind::Personal:
        return {QString(), QStringLiteral("编号"), QStringLiteral("标题"), QStringLiteral("描述")};
    }
    return {};
}

SearchKind EntryListModel::pageKind() const
{
    switch (m_kind) {
    case ListKind::Simple:
        return SearchKind::Simple;
    case ListKind::File:
        return SearchKind::File;
    case ListKind::Tools:
        return SearchKind::Tool;
    case ListKind::Personal:
        return SearchKind::Personal;
    case ListKind::Query:
        break;
    }
    return SearchKind::Knowledge;
}

quint64 EntryListModel::key(const SearchHit& hit)
{
    return (static_cast<quint64>(hit.kind) << 56) | static_cast<quint64>(hit.id);
}

void EntryListModel::showAll(qint64 typeId)
{
    if (m_source != Source::All || m_typeId != typeId)
        setHits({});
    m_source = Source::All;
    m_typeId = typeId;
    m_text.clear();
    refresh();
}

void EntryListModel::showSearch(const QString& text, SearchMode mode, qint64 typeId)
{
    m_source = Source::Search;
    m_text = text;
    m_mode = mode;
    m_typeId = typeId;
    refresh();
}

void EntryListModel::clear()
{
    m_source = Source::None;
    m_complete = true;
    setHits({});
}

Result<QList<SearchHit>> EntryListModel::query(int limit, int offset) const
{
    switch (m_source) {
    case Source::None:
        return QList<SearchHit>();
    case Source::Search:
        return m_search.search(m_text, m_mode, m_typeId);
    case Source::All:
        break;
    }
    const SearchKind kind = pageKind();
    Query q;
    q.table = SearchService::table(kind);
    if (m_typeId != 0) {
        q.where = {{Column::TypeId, m_typeId}};
        q.sortColumn = Column::TypeSerialNum;
    }
    q.limit = limit;
    q.offset = offset;
    Result<QList<qint64>> ids = m_store.ids(q);
    if (!ids)
        return ids.error();
    QList<SearchHit> hits;
    hits.reserve(ids.value().size());
    for (qint64 id : ids.value())
        hits.append(SearchHit::of(kind, id));
    return hits;
}

void EntryListModel::refresh()
{
    // A table is read as far as it has been shown, at least one chunk.
    const int limit = m_source == Source::All
                          ? std::max(IdChunk, static_cast<int>(m_hits.size()) + PageSize)
                          : -1;
    Result<QList<SearchHit>> hits = query(limit);
    if (!hits) {
        emit problem(hits.message());
        return;
    }
    m_complete = limit < 0 || hits.value().size() < limit;
    setHits(hits.value());
}

bool EntryListModel::canFetchMore(const QModelIndex& parent) const
{
    return !parent.isValid() && m_source == Source::All && !m_complete;
}

void EntryListModel::fetchMore(const QModelIndex& parent)
{
    if (!canFetchMore(parent))
        return;
    Result<QList<SearchHit>> more = query(IdChunk, static_cast<int>(m_hits.size()));
    if (!more) {
        emit problem(more.message());
        return;
    }
    m_complete = more.value().size() < IdChunk;
    if (more.value().isEmpty())
        return;
    beginInsertRows({}, static_cast<int>(m_hits.size()),
                    static_cast<int>(m_hits.size() + more.value().size()) - 1);
    m_hits += more.value();
    endInsertRows();
}

void EntryListModel::setHits(QList<SearchHit> hits)
{
    QList<qint64> current;
    QList<qint64> wanted;
    current.reserve(m_hits.size());
    wanted.reserve(hits.size());
    for (const SearchHit& h : m_hits)
        current << static_cast<qint64>(key(h));
    for (const SearchHit& h : hits)
        wanted << static_cast<qint64>(key(h));

    // A whole new list (another search, another category) is cheaper to show afresh.
    const QSet<qint64> before(current.begin(), current.end());
    qsizetype kept = 0;
    for (qint64 k : wanted)
        kept += before.contains(k) ? 1 : 0;
    if (current.isEmpty() || wanted.isEmpty() || kept < current.size() / 2 ||
        wanted.size() - kept > 1000) {
        beginResetModel();
        m_hits = std::move(hits);
        m_rows.clear();
        endResetModel();
        return;
    }

    QHash<qint64, SearchHit> byKey;
    for (const SearchHit& h : hits)
        byKey.insert(static_cast<qint64>(key(h)), h);
    IdSequenceSync sync;
    sync.remove = [&](int first, int last) {
        beginRemoveRows({}, first, last);
        for (int i = last; i >= first; --i)
            m_rows.remove(key(m_hits[i]));
        m_hits.remove(first, last - first + 1);
        endRemoveRows();
    };
    sync.insert = [&](int row, qint64 k) {
        beginInsertRows({}, row, row);
        m_hits.insert(row, byKey.value(k));
        endInsertRows();
    };
    sync.reorder = [&](const QList<qint64>& order) {
        emit layoutAboutToBeChanged();
        QHash<qint64, int> newRow;
        for (int i = 0; i < order.size(); ++i)
            newRow.insert(order[i], i);
        const QModelIndexList persistent = persistentIndexList();
        QModelIndexList moved;
        for (const QModelIndex& idx : persistent)
            moved << index(newRow.value(static_cast<qint64>(key(m_hits[idx.row()]))), idx.column());
        m_hits.clear();
        for (qint64 k : order)
            m_hits << byKey.value(k);
        changePersistentIndexList(persistent, moved);
        emit layoutChanged();
    };
    sync.apply(current, wanted);
}

void EntryListModel::onStoreChanged(Table table, qint64 id, Change change)
{
    bool mine = false;
    for (const SearchHit& h : std::as_const(m_hits)) {
        if (SearchService::table(h.kind) == table) {
            mine = true;
            break;
        }
    }
    if (!mine && m_source == Source::All)
        mine = SearchService::table(pageKind()) == table;
    if (!mine && m_source == Source::Search)
        mine = table == Table::Knowledge || table == Table::Type || table == Table::Simple ||
               table == Table::File || table == Table::Tools || table == Table::Personal;
    if (!mine)
        return;
    if (change == Change::Updated) {
        for (int row = 0; row < m_hits.size(); ++row) {
            if (m_hits[row].id == id && SearchService::table(m_hits[row].kind) == table) {
                m_rows.remove(key(m_hits[row]));
                emit dataChanged(index(row, 0), index(row, columnCount() - 1));
            }
        }
    }
    if (m_source != Source::None)
        m_refresh.start();
}

const SearchRow* EntryListModel::rowAt(int row) const
{
    const quint64 k = key(m_hits[row]);
    auto it = m_rows.constFind(k);
    if (it != m_rows.constEnd())
        return &*it;
    const int first = row - row % PageSize;
    const QList<SearchHit> page = m_hits.mid(first, PageSize);
    Result<QList<SearchRow>> rows = m_search.rows(page);
    if (!rows)
        return nullptr;
    for (const SearchRow& r : rows.value())
        m_rows.insert(key(SearchHit::of(r.kind, r.id)), r);
    it = m_rows.constFind(k);
    return it == m_rows.constEnd() ? nullptr : &*it;
}

bool EntryListModel::hasPicture(int row) const
{
    const SearchRow* r = row >= 0 && row < m_hits.size() ? rowAt(row) : nullptr;
    return r && r->hasPicture;
}

EntryRef EntryListModel::entry(int row) const
{
    EntryRef e;
    if (row < 0 || row >= m_hits.size())
        return e;
    const SearchRow* r = rowAt(row);
    if (!r)
        return e;
    e.kind = r->kind;
    e.id = r->id;
    e.title = r->name;
    e.description = r->description;
    e.flag = r->flag;
    e.url = r->url;
    e.path = r->path;
    return e;
}

int EntryListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_hits.size());
}

int EntryListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(captions(m_kind).size());
}

QString EntryListModel::cell(const SearchRow& r, int column) const
{
    if (column == 0)
        return m_kind == ListKind::Query ? QString(SearchService::letter(r.kind)) : QString();
    if (column == 1)
        return QString::number(r.id);
    if (column == 2)
        return oneLine(r.name);
    switch (m_kind) {
    case ListKind::Simple:
        return {};
    case ListKind::File:
        return r.extname;
    case ListKind::Tools:
        return r.path;
    case ListKind::Personal:
        return oneLine(r.description);
    case ListKind::Query:
        break;
    }
    const bool link = r.kind == SearchKind::Affair || r.kind == SearchKind::Courier;
    if (column == 3) {
        if (r.kind == SearchKind::File)
            return r.extname;
        if (r.kind == SearchKind::Tool)
            return r.path;
        return oneLine(r.description);
    }
    if (column == 4) {
        if (link)
            return r.flag != 0 ? QStringLiteral("已启用") : QStringLiteral("未启用");
        return r.hasPicture ? QStringLiteral("图片") : QString();
    }
    if (column == 5)
        return link ? r.url : QString();
    return {};
}

QVariant EntryListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_hits.size())
        return {};
    if (role == Qt::UserRole)
        return m_hits[index.row()].id;
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::DecorationRole)
        return {};
    const SearchRow* r = rowAt(index.row());
    if (!r)
        return {};
    if (role == Qt::DecorationRole)
        return index.column() == 0 && m_icons ? m_icons(*r) : QVariant();
    if (role == Qt::ToolTipRole) {
        if (!m_settings.flag(Setting::WinToolTip) || index.column() < 2)
            return {};
        return r->description.isEmpty() ? r->name : r->name + u'\n' + r->description;
    }
    return cell(*r, index.column());
}

QVariant EntryListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return captions(m_kind).value(section);
}
