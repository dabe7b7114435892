#include "data/Tables.h"

#include "data/Columns.h"

#include <array>

namespace {

using C = ColumnType;

struct Entry {
    TableDef def;
    QList<ColumnDef> columns;
};

// Every table gets `usetime`: the "most used first" order applies to every list read through the
// sort rule, categories included.
const std::array<Entry, TableCount>& entries()
{
    static const std::array<Entry, TableCount> all = {{
        {{Table::Item, "item", StoreId::Assistant},
         {{Column::Id, C::Key}, {Column::Name, C::Text}}},
        {{Table::Type, "type", StoreId::Assistant, nullptr, nullptr, Column::ItemId.data(), true,
          true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::Description, C::Text},
          {Column::Flag, C::Integer},
          {Column::Url, C::Text},
          {Column::PyCode, C::Text},
          {Column::ItemId, C::Integer},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Goods, "goods", StoreId::Assistant, "v_goods", nullptr, nullptr, true, false},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::TypeId, C::Integer},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Knowledge, "knowledge", StoreId::Assistant, "v_knowledge", Column::Pic.data(),
          nullptr, true, true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::Description, C::Text},
          {Column::TypeId, C::Integer},
          {Column::GoodsId, C::Integer},
          {Column::Pic, C::Blob},
          {Column::ExtName, C::Text},
          {Column::CommonFlag, C::Integer},
          {Column::PyCode, C::Text},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::BigSerialNum, C::Integer},
          {Column::LittleSerialNum, C::Integer},
          {Column::CommonSerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::SimpleType, "simpletype", StoreId::Assistant, nullptr, nullptr, nullptr, true,
          false},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Simple, "simple", StoreId::Assistant, "v_simple", nullptr, nullptr, true, true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::TypeId, C::Integer},
          {Column::PyCode, C::Text},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::TypeSerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::FileType, "filetype", StoreId::Assistant, nullptr, nullptr, nullptr, true, false},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::File, "file", StoreId::Assistant, "v_file", Column::File.data(), nullptr, true,
          true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::File, C::Blob},
          {Column::ExtName, C::Text},
          {Column::FileDesc, C::Text},
          {Column::TypeId, C::Integer},
          {Column::PyCode, C::Text},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::TypeSerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Users, "Users", StoreId::Assistant},
         {{Column::Id, C::Key},
          {Column::UserName, C::Text, true},
          {Column::UserPw, C::Text},
          {Column::DefaultUser, C::Integer},
          {Column::Grade, C::Integer}}},
        {{Table::ToolsType, "toolstype", StoreId::Personal, nullptr, nullptr, nullptr, true, false},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Tools, "tools", StoreId::Personal, "v_tools", nullptr, nullptr, true, true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::Path, C::Text},
          {Column::ToolDesc, C::Text},
          {Column::Type, C::Integer},
          {Column::TypeId, C::Integer},
          {Column::PyCode, C::Text},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::TypeSerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::PersonalType, "personaltype", StoreId::Personal, nullptr, nullptr, nullptr, true,
          false},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
        {{Table::Personal, "personal", StoreId::Personal, "v_personal", "pic", nullptr, true, true},
         {{Column::Id, C::Key},
          {Column::Name, C::Text, true},
          {Column::Description, C::Text},
          {Column::Pic, C::Blob},
          {Column::ExtName, C::Text},
          {Column::TypeId, C::Integer},
          {Column::PyCode, C::Text},
          {Column::UserName, C::Text},
          {Column::SerialNum, C::Integer},
          {Column::TypeSerialNum, C::Integer},
          {Column::UseTime, C::Integer}}},
    }};
    return all;
}

const Entry& entry(Table table)
{
    return entries()[static_cast<size_t>(table)];
}

} // namespace

namespace Tables {

const TableDef& def(Table table)
{
    return entry(table).def;
}

QString name(Table table)
{
    return QString::fromLatin1(def(table).name);
}

QString sqlName(Table table)
{
    return QLatin1Char('"') + name(table).toLower() + QLatin1Char('"');
}

std::optional<Table> fromSqlName(QStringView name)
{
    for (int i = 0; i < TableCount; ++i) {
        const auto t = static_cast<Table>(i);
        if (name.compare(QLatin1String(def(t).name), Qt::CaseInsensitive) == 0)
            return t;
    }
    return std::nullopt;
}

StoreId store(Table table)
{
    return def(table).store;
}

const QList<ColumnDef>& columnDefs(Table table)
{
    return entry(table).columns;
}

bool hasColumn(Table table, const QString& column)
{
    for (const ColumnDef& c : columnDefs(table)) {
        if (column.compare(QLatin1String(c.name), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QStringList columns(Table table)
{
    QStringList out;
    for (const ColumnDef& c : columnDefs(table))
        out << QString::fromLatin1(c.name);
    return out;
}

QList<Table> ofStore(StoreId store)
{
    QList<Table> out;
    for (const Entry& e : entries()) {
        if (e.def.store == store)
            out << e.def.id;
    }
    return out;
}

} // namespace Tables
