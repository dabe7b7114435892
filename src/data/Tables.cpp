#include "data/Tables.h"

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
        {{Table::Item, "item", StoreId::Assistant}, {{"id", C::Key}, {"name", C::Text}}},
        {{Table::Type, "type", StoreId::Assistant, nullptr, nullptr, "itemid", true, true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"description", C::Text},
          {"flag", C::Integer},
          {"url", C::Text},
          {"pycode", C::Text},
          {"itemid", C::Integer},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Goods, "goods", StoreId::Assistant, "v_goods", nullptr, nullptr, true, false},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"typeid", C::Integer},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Knowledge, "knowledge", StoreId::Assistant, "v_knowledge", "pic", nullptr, true,
          true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"description", C::Text},
          {"typeid", C::Integer},
          {"goodsid", C::Integer},
          {"pic", C::Blob},
          {"extname", C::Text},
          {"commonflag", C::Integer},
          {"pycode", C::Text},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"bigserialnum", C::Integer},
          {"littleserialnum", C::Integer},
          {"commonserialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::SimpleType, "simpletype", StoreId::Assistant, nullptr, nullptr, nullptr, true,
          false},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Simple, "simple", StoreId::Assistant, "v_simple", nullptr, nullptr, true, true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"typeid", C::Integer},
          {"pycode", C::Text},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"typeserialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::FileType, "filetype", StoreId::Assistant, nullptr, nullptr, nullptr, true, false},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::File, "file", StoreId::Assistant, "v_file", "file", nullptr, true, true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"file", C::Blob},
          {"extname", C::Text},
          {"filedesc", C::Text},
          {"typeid", C::Integer},
          {"pycode", C::Text},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"typeserialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Users, "Users", StoreId::Assistant},
         {{"id", C::Key},
          {"username", C::Text, true},
          {"userpw", C::Text},
          {"defaultuser", C::Integer},
          {"grade", C::Integer}}},
        {{Table::ToolsType, "toolstype", StoreId::Personal, nullptr, nullptr, nullptr, true, false},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Tools, "tools", StoreId::Personal, "v_tools", nullptr, nullptr, true, true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"path", C::Text},
          {"tooldesc", C::Text},
          {"type", C::Integer},
          {"typeid", C::Integer},
          {"pycode", C::Text},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"typeserialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::PersonalType, "personaltype", StoreId::Personal, nullptr, nullptr, nullptr, true,
          false},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"usetime", C::Integer}}},
        {{Table::Personal, "personal", StoreId::Personal, "v_personal", "pic", nullptr, true, true},
         {{"id", C::Key},
          {"name", C::Text, true},
          {"description", C::Text},
          {"pic", C::Blob},
          {"extname", C::Text},
          {"typeid", C::Integer},
          {"pycode", C::Text},
          {"username", C::Text},
          {"serialnum", C::Integer},
          {"typeserialnum", C::Integer},
          {"usetime", C::Integer}}},
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
