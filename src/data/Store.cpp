#include "data/Store.h"

#include "data/Columns.h"
#include "data/DbError.h"
#include "data/PgSchema.h"
#include "data/PinyinTable.h"
#include "data/ServerLink.h"
#include "data/Settings.h"
#include "data/SortOrder.h"
#include "data/SqlRun.h"

#include <QDir>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QSqlRecord>
#include <atomic>

namespace {

QString uniqueConnectionName(StoreId store)
{
    static std::atomic<int> counter{0};
    return QStringLiteral("quillmate-%1-%2")
        .arg(store == StoreId::Assistant ? QLatin1String("assistant") : QLatin1String("personal"))
        .arg(counter++);
}

bool isIdentifier(const QString& s)
{
    static const QRegularExpression re(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return re.match(s).hasMatch();
}

// Columns a view adds to its base table.
bool isViewColumn(const QString& column)
{
    return column.compare(Column::TypeName, Qt::CaseInsensitive) == 0 ||
           column.compare(Column::GoodsName, Qt::CaseInsensitive) == 0;
}

Row toRow(const QSqlRecord& record)
{
    Row row;
    for (int i = 0; i < record.count(); ++i)
        row.insert(record.fieldName(i), record.value(i));
    return row;
}

// A value as the column's kind, for a server, whose columns take nothing else.
QVariant strictValue(Table table, const QString& column, const QVariant& value)
{
    for (const ColumnDef& c : Tables::columnDefs(table)) {
        if (column.compare(c.name, Qt::CaseInsensitive) == 0)
            return PgSchema::asKind(value, c.type);
    }
    return value.toString(); // a view's category name
}

// `column = ?` terms joined by AND; values are appended to `bound`, as their columns' kinds
// when `strict`.
Result<QString> whereSql(Table table, const Where& where, QVariantList& bound, bool strict,
                         bool view = false)
{
    QStringList terms;
    for (const Condition& c : where) {
        if (!isIdentifier(c.column) ||
            !(Tables::hasColumn(table, c.column) || (view && isViewColumn(c.column))))
            return Error{QStringLiteral("未知的列：") + c.column};
        if (c.value.isNull()) {
            terms << c.column + QLatin1String(" IS NULL");
        } else {
            terms << c.column + QLatin1String(" = ?");
            bound << (strict ? strictValue(table, c.column, c.value) : c.value);
        }
    }
    return terms.join(QLatin1String(" AND "));
}

Result<void> checkColumns(Table table, const QStringList& columns, bool view)
{
    for (const QString& c : columns) {
        if (!isIdentifier(c) || !(Tables::hasColumn(table, c) || (view && isViewColumn(c))))
            return Error{QStringLiteral("未知的列：") + c};
    }
    return {};
}

} // namespace

Store::Store(QString rootFolder, const Settings& settings, QObject* parent)
    : QObject(parent), m_rootFolder(QDir(rootFolder).absolutePath()), m_settings(settings)
{
    for (StoreId s : {StoreId::Assistant, StoreId::Personal})
        connection(s).name = uniqueConnectionName(s);
}

Store::~Store()
{
    for (Connection& c : m_connections) {
        if (QSqlDatabase::contains(c.name)) {
            QSqlDatabase::database(c.name, false).close();
            QSqlDatabase::removeDatabase(c.name);
        }
    }
}

bool Store::isOnServer(StoreId store) const
{
    return store == StoreId::Assistant && m_server;
}

std::optional<PgUrl> Store::serverUrl() const
{
    if (!m_server)
        return std::nullopt;
    return m_server->url();
}

QString Store::sortSetting() const
{
    return m_settings.value(Setting::Sort);
}

Result<QSqlQuery> Store::exec(StoreId store, const QString& sql, const QVariantList& values)
{
    Result<QSqlQuery> r = SqlRun::run(database(store), sql, values);
    // Inside a transaction the failure may be the statement's own; the transaction's end
    // looks at the connection then.
    if (!r && isOnServer(store) && connection(store).depth == 0)
        m_server->statementFailed();
    // A lost connection fails statements without a word from the driver: they are refused with
    // what the loss was told.
    if (!r && isOnServer(store) && !m_server->isUp())
        return Error{m_server->downMessage()};
    return r;
}

QSqlDatabase Store::database(StoreId store) const
{
    return QSqlDatabase::database(m_connections[static_cast<size_t>(store)].name, false);
}

QSqlDatabase Store::db(Table table) const
{
    return database(Tables::store(table));
}

void Store::announce(Table table, qint64 id, Change change)
{
    Connection& conn = connection(Tables::store(table));
    if (conn.depth > 0)
        conn.pending.append({table, id, change});
    else
        emit changed(table, id, change);
}

Result<void> Store::transaction(StoreId store, const std::function<Result<void>()>& work)
{
    Connection& conn = connection(store);
    QSqlDatabase database = this->database(store);
    if (conn.depth == 0) {
        // IMMEDIATE takes the write lock up front, so two writers wait for each other through
        // the busy timeout instead of failing on a lock upgrade. A server locks rows as they
        // are written.
        const QString begin =
            isOnServer(store) ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE");
        if (Result<QSqlQuery> r = exec(store, begin, {}); !r)
            return r.error();
        if (isOnServer(store))
            m_server->setInTransaction(true);
    }
    ++conn.depth;
    Result<void> result = work();
    --conn.depth;
    if (conn.depth > 0)
        return result;

    if (result) {
        if (Result<QSqlQuery> r = SqlRun::run(database, QStringLiteral("COMMIT"), {}); !r)
            result = r.error();
    }
    if (!result)
        (void)SqlRun::run(database, QStringLiteral("ROLLBACK"), {});
    if (isOnServer(store)) {
        m_server->setInTransaction(false);
        if (!result)
            m_server->statementFailed();
    }
    if (!result) {
        conn.pending.clear();
        return result;
    }
    const QList<Pending> pending = std::exchange(conn.pending, {});
    // A bulk write (an import) is told as one reset per table: lists reload once instead of
    // following thousands of single rows.
    if (pending.size() > BulkChangeRows) {
        QList<Table> tables;
        for (const Pending& p : pending) {
            if (!tables.contains(p.table))
                tables << p.table;
        }
        for (Table t : std::as_const(tables))
            emit changed(t, 0, Change::Reset);
        return {};
    }
    for (const Pending& p : pending)
        emit changed(p.table, p.id, p.change);
    return {};
}

Result<void> Store::execute(Table table, const QString& sql, const QVariantList& values)
{
    Result<QSqlQuery> r = exec(Tables::store(table), sql, values);
    if (!r)
        return r.error();
    return {};
}

Row Store::prepared(Table table, const Row& values, bool inserting) const
{
    Row row = values;
    row.remove(Column::Id);
    const TableDef& def = Tables::def(table);
    // Without a pinyin table (tools and tests) the caller's initials stand.
    if (def.hasPycode && m_pinyin && row.contains(Column::Name))
        row.insert(Column::PyCode, m_pinyin->getPYEx(row.value(Column::Name).toString()));
    if (inserting && table != Table::Users && Tables::hasColumn(table, Column::UserName) &&
        !row.contains(Column::UserName))
        row.insert(Column::UserName, m_currentUser);
    if (onServer(table)) {
        for (auto it = row.begin(); it != row.end(); ++it)
            it.value() = strictValue(table, it.key(), it.value());
    }
    return row;
}

Result<qint64> Store::insert(Table table, const Row& values)
{
    const Row row = prepared(table, values, true);
    if (Result<void> r = checkColumns(table, row.keys(), false); !r)
        return r.error();
    QString sql;
    if (row.isEmpty()) {
        sql = QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(Tables::sqlName(table));
    } else {
        QStringList marks;
        marks.fill(QStringLiteral("?"), row.size());
        sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                  .arg(Tables::sqlName(table), row.keys().join(QLatin1String(", ")),
                       marks.join(QLatin1String(", ")));
    }
    if (onServer(table))
        sql += QLatin1String(" RETURNING id");
    Result<QSqlQuery> r = exec(Tables::store(table), sql, row.values());
    if (!r)
        return r.error();
    const qint64 id = onServer(table) ? (r.value().next() ? r.value().value(0).toLongLong() : 0)
                                      : r.value().lastInsertId().toLongLong();
    announce(table, id, Change::Inserted);
    return id;
}

Result<void> Store::update(Table table, qint64 id, const Row& values)
{
    const Row row = prepared(table, values, false);
    if (row.isEmpty())
        return {};
    if (Result<void> r = checkColumns(table, row.keys(), false); !r)
        return r;
    QStringList sets;
    for (const QString& column : row.keys())
        sets << column + QLatin1String(" = ?");
    QVariantList bound = row.values();
    bound << id;
    Result<QSqlQuery> r = exec(Tables::store(table),
                               QStringLiteral("UPDATE %1 SET %2 WHERE id = ?")
                                   .arg(Tables::sqlName(table), sets.join(QLatin1String(", "))),
                               bound);
    if (!r)
        return r.error();
    if (r.value().numRowsAffected() > 0)
        announce(table, id, Change::Updated);
    return {};
}

Result<void> Store::remove(Table table, qint64 id)
{
    Result<QSqlQuery> r =
        exec(Tables::store(table),
             QStringLiteral("DELETE FROM %1 WHERE id = ?").arg(Tables::sqlName(table)), {id});
    if (!r)
        return r.error();
    if (r.value().numRowsAffected() > 0)
        announce(table, id, Change::Removed);
    return {};
}

Result<QString> Store::selectSql(const Query& query, QVariantList& bound) const
{
    const bool view = query.withNames && Tables::def(query.table).view;
    if (Result<void> r = checkColumns(query.table, query.columns, view); !r)
        return r.error();
    Result<QString> where = whereSql(query.table, query.where, bound, onServer(query.table), view);
    if (!where)
        return where.error();
    QString columns =
        query.columns.isEmpty() ? QStringLiteral("*") : query.columns.join(QLatin1String(", "));
    if (query.blobPresence && Tables::def(query.table).blobColumn)
        columns += QStringLiteral(", (%1 IS NOT NULL AND length(%1) > 0) AS hasblob")
                       .arg(QLatin1String(Tables::def(query.table).blobColumn));
    QString sql = QStringLiteral("SELECT %1 FROM %2")
                      .arg(columns, view ? QString::fromLatin1(Tables::def(query.table).view)
                                         : Tables::sqlName(query.table));
    if (!where.value().isEmpty())
        sql += QLatin1String(" WHERE ") + where.value();
    if (query.ordered) {
        const QString column =
            Tables::hasColumn(query.table, query.sortColumn) ? query.sortColumn : Column::SerialNum;
        sql +=
            QLatin1String(" ORDER BY ") + SortOrder::terms(SortOrder::mode(sortSetting()), column);
    }
    if (query.limit >= 0 || query.offset > 0) {
        sql += QLatin1String(" LIMIT ? OFFSET ?");
        bound << query.limit << query.offset;
    }
    return sql;
}

Result<QList<Row>> Store::rows(const Query& query)
{
    QVariantList bound;
    Result<QString> sql = selectSql(query, bound);
    if (!sql)
        return sql.error();
    Result<QSqlQuery> r = exec(Tables::store(query.table), sql.value(), bound);
    if (!r)
        return r.error();
    QList<Row> out;
    while (r.value().next())
        out << toRow(r.value().record());
    return out;
}

Result<QList<qint64>> Store::ids(const Query& query)
{
    Query q = query;
    q.columns = {Column::Id};
    QVariantList bound;
    Result<QString> sql = selectSql(q, bound);
    if (!sql)
        return sql.error();
    Result<QSqlQuery> r = exec(Tables::store(q.table), sql.value(), bound);
    if (!r)
        return r.error();
    QList<qint64> out;
    while (r.value().next())
        out << r.value().value(0).toLongLong();
    return out;
}

Result<std::optional<Row>> Store::row(Table table, qint64 id, const QStringList& columns)
{
    Query q;
    q.table = table;
    q.columns = columns;
    q.where = {{Column::Id, id}};
    q.ordered = false;
    Result<QList<Row>> r = rows(q);
    if (!r)
        return r.error();
    if (r.value().isEmpty())
        return std::optional<Row>();
    return std::optional<Row>(r.value().first());
}

Result<int> Store::count(Table table, const Where& where)
{
    QVariantList bound;
    Result<QString> w = whereSql(table, where, bound, onServer(table));
    if (!w)
        return w.error();
    QString sql = QStringLiteral("SELECT count(*) FROM %1").arg(Tables::sqlName(table));
    if (!w.value().isEmpty())
        sql += QLatin1String(" WHERE ") + w.value();
    Result<QSqlQuery> r = exec(Tables::store(table), sql, bound);
    if (!r)
        return r.error();
    return r.value().next() ? r.value().value(0).toInt() : 0;
}

Result<bool> Store::nameExists(Table table, const QString& name, const Where& scope,
                               qint64 exceptId)
{
    const QString column = table == Table::Users ? Column::UserName : Column::Name;
    QVariantList bound{name};
    Result<QString> w = whereSql(table, scope, bound, onServer(table));
    if (!w)
        return w.error();
    // The column's NOCASE collation makes the comparison ignore letter case; the server's
    // unique index is on lower(name), so the same folding is asked for.
    const QString term = onServer(table) ? QStringLiteral("lower(%1) = lower(?)").arg(column)
                                         : column + QLatin1String(" = ?");
    QString sql =
        QStringLiteral("SELECT count(*) FROM %1 WHERE %2").arg(Tables::sqlName(table), term);
    if (!w.value().isEmpty())
        sql += QLatin1String(" AND ") + w.value();
    if (exceptId != 0) {
        sql += QLatin1String(" AND id <> ?");
        bound << exceptId;
    }
    Result<QSqlQuery> r = exec(Tables::store(table), sql, bound);
    if (!r)
        return r.error();
    return r.value().next() && r.value().value(0).toInt() > 0;
}

Result<std::optional<qint64>> Store::maxId(Table table)
{
    Result<QSqlQuery> r =
        exec(Tables::store(table),
             QStringLiteral("SELECT max(id) FROM %1").arg(Tables::sqlName(table)), {});
    if (!r)
        return r.error();
    if (!r.value().next() || r.value().value(0).isNull())
        return std::optional<qint64>();
    return std::optional<qint64>(r.value().value(0).toLongLong());
}

Result<QList<NamedId>> Store::categoryList(Table table, const QString& prompt, const Where& where)
{
    Query q;
    q.table = table;
    q.columns = {Column::Id, Column::Name};
    q.where = where;
    Result<QList<Row>> r = rows(q);
    if (!r)
        return r.error();
    QList<NamedId> out{{0, prompt}};
    for (const Row& row : r.value())
        out.append({row.value(Column::Id).toLongLong(), row.value(Column::Name).toString()});
    return out;
}

Result<std::optional<qint64>> Store::idByName(Table table, const QString& column,
                                              const QString& value, const Where& where)
{
    Where all = where;
    all.prepend({column, value});
    Query q;
    q.table = table;
    q.columns = {Column::Id};
    q.where = all;
    q.ordered = false;
    q.limit = 1;
    Result<QList<Row>> r = rows(q);
    if (!r)
        return r.error();
    if (r.value().isEmpty())
        return std::optional<qint64>();
    return std::optional<qint64>(r.value().first().value(Column::Id).toLongLong());
}

Result<QString> Store::typeName(Table table, const QString& column, qint64 id)
{
    if (!isIdentifier(column) || !Tables::hasColumn(table, column))
        return Error{QStringLiteral("未知的列：") + column};
    Result<std::optional<Row>> r = row(table, id, {column});
    if (!r)
        return r.error();
    if (!r.value())
        return QString();
    return r.value()->value(column).toString();
}

Result<std::optional<QByteArray>> Store::blob(Table table, qint64 id)
{
    const char* column = Tables::def(table).blobColumn;
    if (!column)
        return Error{Tables::name(table) + QStringLiteral(" 没有图片或文件")};
    Result<QSqlQuery> r = exec(Tables::store(table),
                               QStringLiteral("SELECT %1 FROM %2 WHERE id = ?")
                                   .arg(QLatin1String(column), Tables::sqlName(table)),
                               {id});
    if (!r)
        return r.error();
    if (!r.value().next() || r.value().value(0).isNull())
        return std::optional<QByteArray>();
    return std::optional<QByteArray>(r.value().value(0).toByteArray());
}

Result<void> Store::setBlob(Table table, qint64 id, const std::optional<QByteArray>& bytes)
{
    const char* column = Tables::def(table).blobColumn;
    if (!column)
        return Error{Tables::name(table) + QStringLiteral(" 没有图片或文件")};
    const QVariant value = bytes ? QVariant(*bytes) : QVariant(QMetaType(QMetaType::QByteArray));
    return update(table, id, {{QString::fromLatin1(column), value}});
}

Result<void> Store::addUse(Table table, qint64 id)
{
    if (!Tables::def(table).hasUsetime)
        return Error{Tables::name(table) + QStringLiteral(" 没有使用次数")};
    Result<QSqlQuery> r = exec(Tables::store(table),
                               QStringLiteral("UPDATE %1 SET usetime = usetime + 1 WHERE id = ?")
                                   .arg(Tables::sqlName(table)),
                               {id});
    if (!r)
        return r.error();
    if (r.value().numRowsAffected() > 0)
        announce(table, id, Change::Updated);
    return {};
}

Result<void> Store::setCommon(qint64 knowledgeId, bool common)
{
    return update(Table::Knowledge, knowledgeId, {{Column::CommonFlag, common ? 1 : 0}});
}

Result<qint64> Store::dataVersion(StoreId store)
{
    if (isOnServer(store))
        return 0;
    Result<QSqlQuery> r = exec(store, QStringLiteral("PRAGMA data_version"), {});
    if (!r)
        return r.error();
    return r.value().next() ? r.value().value(0).toLongLong() : 0;
}
