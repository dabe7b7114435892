#include "data/Schema.h"

namespace {

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

QString createView(const char* view, const char* base, const QString& joins)
{
    return QStringLiteral("CREATE VIEW IF NOT EXISTS %1 AS SELECT %2.*, %3")
        .arg(QLatin1String(view), QLatin1String(base), joins);
}

} // namespace

namespace Schema {

QStringList createStatements(StoreId store)
{
    QStringList out;
    for (Table t : Tables::ofStore(store))
        out << createTable(t);

    if (store == StoreId::Assistant) {
        out << createView("v_goods", "goods",
                          QStringLiteral("type.name AS TypeName FROM goods "
                                         "LEFT JOIN type ON type.id = goods.typeid"))
            << createView("v_knowledge", "knowledge",
                          QStringLiteral("goods.name AS goodsname, type.name AS typename "
                                         "FROM knowledge "
                                         "LEFT JOIN goods ON goods.id = knowledge.goodsid "
                                         "LEFT JOIN type ON type.id = knowledge.typeid"))
            << createView("v_simple", "simple",
                          QStringLiteral("simpletype.name AS typename FROM simple "
                                         "LEFT JOIN simpletype ON simpletype.id = simple.typeid"))
            << createView("v_file", "file",
                          QStringLiteral("filetype.name AS typename FROM file "
                                         "LEFT JOIN filetype ON filetype.id = file.typeid"))
            << QStringLiteral("CREATE INDEX IF NOT EXISTS type_itemid ON type(itemid)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS goods_typeid ON goods(typeid)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS knowledge_goodsid ON knowledge(goodsid)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS knowledge_typeid ON knowledge(typeid)")
            << QStringLiteral(
                   "CREATE INDEX IF NOT EXISTS knowledge_common ON knowledge(commonflag)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS simple_typeid ON simple(typeid)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS file_typeid ON file(typeid)");
    } else {
        out << createView("v_tools", "tools",
                          QStringLiteral("toolstype.name AS typename FROM tools "
                                         "LEFT JOIN toolstype ON toolstype.id = tools.typeid"))
            << createView(
                   "v_personal", "personal",
                   QStringLiteral("personaltype.name AS typename FROM personal "
                                  "LEFT JOIN personaltype ON personaltype.id = personal.typeid"))
            << QStringLiteral("CREATE INDEX IF NOT EXISTS tools_typeid ON tools(typeid)")
            << QStringLiteral("CREATE INDEX IF NOT EXISTS personal_typeid ON personal(typeid)");
    }
    return out;
}

QStringList seedStatements(StoreId store)
{
    if (store != StoreId::Assistant)
        return {};
    return {
        QStringLiteral("INSERT OR IGNORE INTO item(id, name) VALUES "
                       "(1, '常用知识'), (2, '产品知识'), (3, '公司事务'), (4, '快递公司')"),
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

} // namespace Schema
