#include "data/Store.h"

// Counting a category's children and deleting a category with everything under it.

Result<int> Store::childCount(Table parent, qint64 id)
{
    switch (parent) {
    case Table::Type:
        return count(Table::Goods, {{Column::TypeId, id}});
    case Table::Goods:
        return count(Table::Knowledge, {{Column::GoodsId, id}});
    case Table::SimpleType:
        return count(Table::Simple, {{Column::TypeId, id}});
    case Table::FileType:
        return count(Table::File, {{Column::TypeId, id}});
    case Table::ToolsType:
        return count(Table::Tools, {{Column::TypeId, id}});
    case Table::PersonalType:
        return count(Table::Personal, {{Column::TypeId, id}});
    default:
        return 0;
    }
}

Result<Cascade> Store::deleteSmallCategory(qint64 id)
{
    Cascade cascade;
    Result<void> r = transaction(StoreId::Assistant, [&]() -> Result<void> {
        Query q;
        q.table = Table::Knowledge;
        q.columns = {Column::Id, Column::CommonFlag};
        q.where = {{Column::GoodsId, id}};
        q.ordered = false;
        Result<QList<Row>> entries = rows(q);
        if (!entries)
            return entries.error();
        for (const Row& e : entries.value()) {
            const qint64 entryId = e.value(Column::Id).toLongLong();
            if (Result<void> d = remove(Table::Knowledge, entryId); !d)
                return d;
            cascade.entries.append({entryId, e.value(Column::CommonFlag).toInt() == 1});
        }
        cascade.categories.append(id);
        return remove(Table::Goods, id);
    });
    if (!r)
        return r.error();
    return cascade;
}

Result<Cascade> Store::deleteBigCategory(qint64 id)
{
    Cascade cascade;
    Result<void> r = transaction(StoreId::Assistant, [&]() -> Result<void> {
        Query q;
        q.table = Table::Goods;
        q.columns = {Column::Id};
        q.where = {{Column::TypeId, id}};
        q.ordered = false;
        Result<QList<Row>> smalls = rows(q);
        if (!smalls)
            return smalls.error();
        for (const Row& s : smalls.value()) {
            Result<Cascade> sub = deleteSmallCategory(s.value(Column::Id).toLongLong());
            if (!sub)
                return sub.error();
            cascade.categories += sub.value().categories;
            cascade.entries += sub.value().entries;
        }
        return remove(Table::Type, id);
    });
    if (!r)
        return r.error();
    return cascade;
}

Result<Cascade> Store::deleteCategory(Table categoryTable, qint64 id)
{
    Table child;
    switch (categoryTable) {
    case Table::SimpleType:
        child = Table::Simple;
        break;
    case Table::FileType:
        child = Table::File;
        break;
    case Table::ToolsType:
        child = Table::Tools;
        break;
    case Table::PersonalType:
        child = Table::Personal;
        break;
    default:
        return Error{Tables::name(categoryTable) + QStringLiteral(" 不是分类表")};
    }
    Cascade cascade;
    Result<void> r = transaction(Tables::store(categoryTable), [&]() -> Result<void> {
        Query q;
        q.table = child;
        q.columns = {Column::Id};
        q.where = {{Column::TypeId, id}};
        q.ordered = false;
        Result<QList<Row>> children = rows(q);
        if (!children)
            return children.error();
        for (const Row& c : children.value()) {
            const qint64 childId = c.value(Column::Id).toLongLong();
            if (Result<void> d = remove(child, childId); !d)
                return d;
            cascade.entries.append({childId, false});
        }
        return remove(categoryTable, id);
    });
    if (!r)
        return r.error();
    return cascade;
}
