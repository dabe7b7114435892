#include "hotkeys/KnowledgePickModel.h"

#include "data/Columns.h"
#include "data/PinyinMatcher.h"
#include "data/SearchIndex.h"
#include "data/Store.h"

KnowledgePickModel::KnowledgePickModel(QObject* parent) : QAbstractTableModel(parent) {}

Result<void> KnowledgePickModel::load(Store& store)
{
    Query query;
    query.table = Table::Knowledge;
    query.withNames = true;
    query.columns = {::Column::Id,        ::Column::Name,     ::Column::TypeId,
                     ::Column::GoodsId,   ::Column::TypeName, ::Column::GoodsName,
                     ::Column::CommonFlag};
    const Result<QList<Row>> rows = store.rows(query);
    if (!rows)
        return rows.error();
    beginResetModel();
    m_entries.clear();
    m_entries.reserve(rows.value().size());
    for (const Row& r : rows.value()) {
        Entry e;
        e.id = r.value(::Column::Id).toLongLong();
        e.name = r.value(::Column::Name).toString();
        e.foldedName = SearchIndex::fold(e.name);
        e.typeId = r.value(::Column::TypeId).toLongLong();
        e.goodsId = r.value(::Column::GoodsId).toLongLong();
        e.typeName = r.value(::Column::TypeName).toString();
        e.goodsName = r.value(::Column::GoodsName).toString();
        e.common = r.value(::Column::CommonFlag).toInt() == 1;
        m_entries << e;
    }
    m_shown.clear();
    for (int i = 0; i < m_entries.size(); ++i)
        m_shown << i;
    endResetModel();
    return {};
}

template <class Keep> void KnowledgePickModel::show(Keep keep)
{
    beginResetModel();
    m_shown.clear();
    for (int i = 0; i < m_entries.size(); ++i) {
        if (keep(m_entries.at(i)))
            m_shown << i;
    }
    endResetModel();
}

void KnowledgePickModel::filter(const QString& title, qint64 typeId, qint64 goodsId)
{
    show([&](const Entry& e) {
        return (typeId == 0 || e.typeId == typeId) && (goodsId == 0 || e.goodsId == goodsId) &&
               e.name.contains(title, Qt::CaseInsensitive);
    });
}

void KnowledgePickModel::quickQuery(const QString& text)
{
    // The same rule as the query page's search.
    const QString needle = SearchIndex::fold(text.trimmed());
    const PinyinMatcher pinyin(needle);
    show([&](const Entry& e) {
        return e.foldedName.contains(needle) || pinyin.matches(e.foldedName);
    });
}

qint64 KnowledgePickModel::id(int row) const
{
    return row >= 0 && row < m_shown.size() ? m_entries.at(m_shown.at(row)).id : 0;
}

void KnowledgePickModel::setChecked(const QList<qint64>& ids)
{
    m_checked = QSet<qint64>(ids.cbegin(), ids.cend());
    if (!m_shown.isEmpty())
        emit dataChanged(index(0, Id), index(rowCount() - 1, Id), {Qt::CheckStateRole});
    emit checkedChanged();
}

QList<qint64> KnowledgePickModel::checkedIds() const
{
    QList<qint64> ids;
    for (const Entry& e : m_entries) {
        if (m_checked.contains(e.id))
            ids << e.id;
    }
    return ids;
}

int KnowledgePickModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_shown.size());
}

int KnowledgePickModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant KnowledgePickModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Entry& e = m_entries.at(m_shown.at(index.row()));
    if (role == Qt::CheckStateRole && index.column() == Id)
        return m_checked.contains(e.id) ? Qt::Checked : Qt::Unchecked;
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case Id:
        return e.id;
    case Title:
        return e.name;
    case BigCategory:
        return e.typeName;
    case SmallCategory:
        return e.goodsName;
    case Common:
        return e.common ? QStringLiteral("是") : QString();
    default:
        return {};
    }
}

bool KnowledgePickModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid) ||
        role != Qt::CheckStateRole || index.column() != Id)
        return false;
    const qint64 entryId = m_entries.at(m_shown.at(index.row())).id;
    if (value.toInt() == Qt::Checked)
        m_checked.insert(entryId);
    else
        m_checked.remove(entryId);
    emit dataChanged(index, index, {Qt::CheckStateRole});
    emit checkedChanged();
    return true;
}

Qt::ItemFlags KnowledgePickModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    if (index.isValid() && index.column() == Id)
        f |= Qt::ItemIsUserCheckable;
    return f;
}

QVariant KnowledgePickModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case Id:
        return QStringLiteral("编号");
    case Title:
        return QStringLiteral("知识标题");
    case BigCategory:
        return QStringLiteral("所属大类");
    case SmallCategory:
        return QStringLiteral("所属小类");
    case Common:
        return QStringLiteral("常用");
    default:
        return {};
    }
}
