#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// The tables of the two store files, described once. Column names used in SQL come only from
// here, never from user input.

enum class StoreId { Assistant, Personal };

enum class Table {
    Item,
    Type,
    Goods,
    Knowledge,
    SimpleType,
    Simple,
    FileType,
    File,
    Users,
    ToolsType,
    Tools,
    PersonalType,
    Personal,
};
inline constexpr int TableCount = static_cast<int>(Table::Personal) + 1;

enum class ColumnType { Key, Integer, Text, Blob };

struct ColumnDef {
    QLatin1StringView name;
    ColumnType type;
    bool unique = false; // case-insensitive, within `uniqueScope` when the table has one
};

struct TableDef {
    Table id;
    const char* name;
    StoreId store;
    const char* view = nullptr; // the view that adds the category names, if any
    const char* blobColumn = nullptr;
    const char* uniqueScope = nullptr; // `name` is unique within this column's value
    bool hasUsetime = false;
    bool hasPycode = false;
};

namespace Tables {

const TableDef& def(Table table);
QString name(Table table);
// The name as SQL reads it on either engine: quoted and lower case (SQLite matches names in any
// case; the server's tables were made lower case).
QString sqlName(Table table);
// The table of a lower-case name, as the server reports it.
std::optional<Table> fromSqlName(QStringView name);
StoreId store(Table table);
bool hasColumn(Table table, const QString& column);
QStringList columns(Table table);
const QList<ColumnDef>& columnDefs(Table table);

// All tables of one store file, in creation order.
QList<Table> ofStore(StoreId store);

} // namespace Tables
