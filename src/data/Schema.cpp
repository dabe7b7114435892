#include "data/Schema.h"

#include "data/TreeSection.h"

namespace {

struct ViewDef {
    const char* name;
    const char* base;
    const char* joins;
};

struct IndexDef {
    const char* name;
    const char* table;
    const char* column;
};

const QList<ViewDef>& views(StoreId store)
{
    static const QList<ViewDef> assistant = {
        {"v_goods", "goods",
         "type.name AS TypeName FROM goods LEFT JOIN type ON type.id = goods.typeid"},
        {"v_knowledge", "knowledge",
         "goods.name AS goodsname, type.name AS typename FROM knowledge "
         "LEFT JOIN goods ON goods.id = knowledge.goodsid "
         "LEFT JOIN type ON type.id = knowledge.typeid"},
        {"v_simple", "simple",
         "simpletype.name AS typename FROM simple "
         "LEFT JOIN simpletype ON simpletype.id = simple.typeid"},
        {"v_file", "file",
         "filetype.name AS typename FROM file LEFT JOIN filetype ON filetype.id = file.typeid"},
    };
    static const QList<ViewDef> personal = {
        {"v_tools", "tools",
         "toolstype.name AS typename FROM tools "
         "LEFT JOIN toolstype ON toolstype.id = tools.typeid"},
        {"v_personal", "personal",
         "personaltype.name AS typename FROM personal "
         "LEFT JOIN personaltype ON personaltype.id = personal.typeid"},
    };
    return store == StoreId::Assistant ? assistant : personal;
}

const QList<IndexDef>& indexes(StoreId store)
{
    static const QList<IndexDef> assistant = {
        {"type_itemid", "type", "itemid"},
        {"goods_typeid", "goods", "typeid"},
        {"knowledge_goodsid", "knowledge", "goodsid"},
        {"knowledge_typeid", "knowledge", "typeid"},
        {"knowledge_common", "knowledge", "commonflag"},
        {"simple_typeid", "simple", "typeid"},
        {"file_typeid", "file", "typeid"},
    };
    static const QList<IndexDef> personal = {
        {"tools_typeid", "tools", "typeid"},
        {"personal_typeid", "personal", "typeid"},
    };
    return store == StoreId::Assistant ? assistant : personal;
}

QString columnSql(const ColumnDef& c)
{
    const QString name = QString::fromLatin1(c.name);
    switch (c.type) {
    case ColumnType::Key:
        return name + QLatin1String(" INTEGER PRIMARY KEY AUTOINCREMENT");
    case ColumnType::Integer:
        return name + QLatin1String(" INTEGER NOT NULL DEFAULT 0");
    case ColumnType::Blob:
        return name + QLatin1String(" BLOB");
    case ColumnType::Text:
        // Names compare without regard to letter case, in checks and in the unique constraint.
        if (c.unique)
            return name + QLatin1String(" TEXT NOT NULL COLLATE NOCASE");
        return name + QLatin1String(" TEXT");
    }
    return name;
}

QString createTable(Table table)
{
    const TableDef& def = Tables::def(table);
    QStringList parts;
    QString uniqueColumn;
    for (const ColumnDef& c : Tables::columnDefs(table)) {
        parts << columnSql(c);
        if (c.unique)
            uniqueColumn = QString::fromLatin1(c.name);
    }
    if (!uniqueColumn.isEmpty()) {
        if (def.uniqueScope)
            parts << QStringLiteral("UNIQUE(%1, %2)")
                         .arg(QLatin1String(def.uniqueScope), uniqueColumn);
        else
            parts << QStringLiteral("UNIQUE(%1)").arg(uniqueColumn);
    }
    return QStringLiteral("CREATE TABLE IF NOT EXISTS \"%1\" (%2)")
        .arg(Tables::name(table), parts.join(QLatin1String(", ")));
}

} // namespace

namespace Schema {

QStringList createStatements(StoreId store)
{
    QStringList out;
    for (Table t : Tables::ofStore(store))
        out << createTable(t);
    if (store == StoreId::Personal)
        out << QStringLiteral("CREATE TABLE IF NOT EXISTS %1 (key TEXT PRIMARY KEY, value TEXT)")
                   .arg(QLatin1String(MemoryTable));
    for (const ViewDef& v : views(store))
        out << QStringLiteral("CREATE VIEW IF NOT EXISTS %1 AS SELECT %2.*, %3")
                   .arg(QLatin1String(v.name), QLatin1String(v.base), QLatin1String(v.joins));
    for (const IndexDef& i : indexes(store))
        out << QStringLiteral("CREATE INDEX IF NOT EXISTS %1 ON %2(%3)")
                   .arg(QLatin1String(i.name), QLatin1String(i.table), QLatin1String(i.column));
    return out;
}

QStringList seedStatements(StoreId store)
{
    if (store != StoreId::Assistant)
        return {};
    return {
        QStringLiteral("INSERT OR IGNORE INTO item(id, name) VALUES "
                       "(%1, '常用知识'), (%2, '产品知识'), (%3, '公司事务'), (%4, '快递公司')")
            .arg(sectionId(TreeSection::Common))
            .arg(sectionId(TreeSection::Product))
            .arg(sectionId(TreeSection::Affairs))
            .arg(sectionId(TreeSection::Couriers)),
        QStringLiteral("INSERT INTO Users(username, userpw, defaultuser, grade) "
                       "SELECT 'admin', '', 1, 1 WHERE NOT EXISTS (SELECT 1 FROM Users)"),
    };
}

QStringList markerTables(StoreId store)
{
    if (store == StoreId::Assistant)
        return {QStringLiteral("item"), QStringLiteral("knowledge")};
    return {QStringLiteral("tools"), QStringLiteral("personal")};
}

QStringList viewNames(StoreId store)
{
    QStringList out;
    for (const ViewDef& v : views(store))
        out << QLatin1String(v.name);
    return out;
}

QStringList indexNames(StoreId store)
{
    QStringList out;
    for (const IndexDef& i : indexes(store))
        out << QLatin1String(i.name);
    return out;
}

QString addColumnStatement(Table table, const ColumnDef& column)
{
    if (column.type == ColumnType::Key || column.unique)
        return {};
    return QStringLiteral("ALTER TABLE \"%1\" ADD COLUMN %2")
        .arg(Tables::name(table), columnSql(column));
}

} // namespace Schema
