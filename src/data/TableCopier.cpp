#include "data/TableCopier.h"

#include "data/DbError.h"
#include "data/PgSchema.h"

#include <QSqlError>
#include <QVariant>
#include <algorithm>

TableCopier::TableCopier(End source, End target)
    : m_source(std::move(source)), m_target(std::move(target))
{}

Error TableCopier::sourceError(const QSqlError& error) const
{
    return m_source.engine == Engine::Server ? PgSchema::failure(m_source.shown, error)
                                             : DbError::fromQuery(error);
}

Error TableCopier::targetError(const QSqlError& error) const
{
    return m_target.engine == Engine::Server ? PgSchema::failure(m_target.shown, error)
                                             : DbError::fromQuery(error);
}

Result<QList<TableCopier::Copied>> TableCopier::run()
{
    // One snapshot of the source: the copy is the store at one moment, its ids pointing at rows
    // that exist, while seats keep writing (a file's writers wait for the copy; the server's
    // do not need to).
    if (!m_source.db.transaction())
        return sourceError(m_source.db.lastError());
    if (m_source.engine == Engine::Server) {
        QSqlQuery q(m_source.db);
        if (!q.exec(QStringLiteral("SET TRANSACTION ISOLATION LEVEL REPEATABLE READ, READ ONLY"))) {
            const Error e = sourceError(q.lastError());
            m_source.db.rollback();
            return e;
        }
    }
    if (!m_target.db.transaction()) {
        m_source.db.rollback();
        return targetError(m_target.db.lastError());
    }
    Result<QList<Copied>> copied = copyAll();
    m_source.db.rollback();
    if (!copied) {
        m_target.db.rollback();
        m_insert.reset();
        return copied;
    }
    m_insert.reset();
    if (!m_target.db.commit()) {
        const Error e = targetError(m_target.db.lastError());
        m_target.db.rollback();
        return e;
    }
    return copied;
}

Result<QList<TableCopier::Copied>> TableCopier::copyAll()
{
    if (m_prepare) {
        if (Result<void> r = m_prepare(); !r)
            return r.error();
    }
    const QList<Table> tables = Tables::ofStore(StoreId::Assistant);
    QList<QStringList> columns;
    qint64 total = 0;
    for (Table t : tables) {
        const Result<QStringList> present = sourceColumns(t);
        if (!present)
            return present.error();
        columns << *present;
        if (present->isEmpty())
            continue;
        QSqlQuery q(m_source.db);
        if (!q.exec(QStringLiteral("SELECT count(*) FROM %1").arg(Tables::sqlName(t))) || !q.next())
            return sourceError(q.lastError());
        total += q.value(0).toLongLong();
    }

    QList<Copied> out;
    QList<qint64> lastIds;
    qint64 done = 0;
    for (qsizetype i = 0; i < tables.size(); ++i) {
        const Table t = tables.at(i);
        qint64 last = 0;
        if (m_keepTargetIds) {
            const Result<qint64> used = lastId(m_target, t);
            if (!used)
                return used.error();
            last = *used;
        }
        const Result<qint64> rows = copyTable(t, columns.at(i), done, total);
        if (!rows)
            return rows.error();
        const Result<qint64> copiedLast = lastId(m_source, t);
        if (!copiedLast)
            return copiedLast.error();
        lastIds << std::max(last, *copiedLast);
        out << Copied{t, *rows};
    }
    // A server's sequences do not roll back; set last, they stay as they were when a copy fails.
    for (qsizetype i = 0; i < tables.size(); ++i) {
        if (Result<void> r = setLastId(tables.at(i), lastIds.at(i)); !r)
            return r.error();
    }
    return out;
}

Result<QStringList> TableCopier::sourceColumns(Table table)
{
    // A backup made before a column or table existed restores with its defaults; a table it
    // lacks is left empty.
    QSqlQuery q(m_source.db);
    q.setForwardOnly(true);
    if (!q.prepare(m_source.engine == Engine::Server
                       ? QStringLiteral("SELECT column_name FROM information_schema.columns "
                                        "WHERE table_schema = 'public' AND table_name = ?")
                       : QStringLiteral("SELECT name FROM pragma_table_info(?)")))
        return sourceError(q.lastError());
    q.addBindValue(Tables::name(table).toLower());
    if (!q.exec())
        return sourceError(q.lastError());
    QStringList present;
    while (q.next())
        present << q.value(0).toString().toLower();
    QStringList out;
    for (const QString& column : Tables::columns(table)) {
        if (present.contains(column.toLower()))
            out << column;
    }
    return out;
}

Result<qint64> TableCopier::copyTable(Table table, const QStringList& columns, qint64& done,
                                      qint64 total)
{
    QSqlQuery clear(m_target.db);
    if (!clear.exec(QStringLiteral("DELETE FROM %1").arg(Tables::sqlName(table))))
        return targetError(clear.lastError());
    if (columns.isEmpty())
        return 0;

    QList<ColumnType> types;
    for (const QString& column : columns) {
        for (const ColumnDef& c : Tables::columnDefs(table)) {
            if (column == QLatin1String(c.name))
                types << c.type;
        }
    }
    const QString list = columns.join(QLatin1String(", "));
    QSqlQuery read(m_source.db);
    read.setForwardOnly(true);
    if (!read.exec(
            QStringLiteral("SELECT %1 FROM %2 ORDER BY id").arg(list, Tables::sqlName(table))))
        return sourceError(read.lastError());

    const QStringList marks(columns.size(), QStringLiteral("?"));
    m_insert.emplace(m_target.db);
    QSqlQuery& write = *m_insert;
    if (!write.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                           .arg(Tables::sqlName(table), list, marks.join(QLatin1String(", ")))))
        return targetError(write.lastError());
    qint64 rows = 0;
    while (read.next()) {
        for (qsizetype i = 0; i < types.size(); ++i)
            write.bindValue(int(i), PgSchema::asKind(read.value(int(i)), types.at(i)));
        if (!write.exec())
            return Error{QStringLiteral("表 %1 的第 %2 行（编号 %3）无法写入：%4")
                             .arg(Tables::name(table))
                             .arg(rows + 1)
                             .arg(read.value(0).toLongLong())
                             .arg(targetError(write.lastError()).message)};
        ++rows;
        if (m_progress && !m_progress(++done, total))
            return Error{QStringLiteral("已取消。")};
    }
    if (read.lastError().isValid())
        return sourceError(read.lastError());
    return rows;
}

Result<qint64> TableCopier::lastId(const End& end, Table table)
{
    const auto fail = [&](const QSqlError& e) {
        return &end == &m_source ? sourceError(e) : targetError(e);
    };
    QSqlQuery q(end.db);
    q.setForwardOnly(true);
    const QString name = Tables::name(table).toLower();
    if (end.engine == Engine::File) {
        // Without its table (an old backup) nothing was handed out.
        if (!q.exec(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND "
                                   "lower(name) = '%1'")
                        .arg(name)) ||
            !q.next())
            return fail(q.lastError());
        if (q.value(0).toInt() == 0)
            return 0;
        if (!q.exec(QStringLiteral("SELECT max(coalesce((SELECT max(seq) FROM sqlite_sequence "
                                   "WHERE lower(name) = '%1'), 0), coalesce(max(id), 0)) FROM %2")
                        .arg(name, Tables::sqlName(table))) ||
            !q.next())
            return fail(q.lastError());
        return q.value(0).toLongLong();
    }
    if (!q.exec(QStringLiteral("SELECT pg_get_serial_sequence('%1', 'id')").arg(name)) || !q.next())
        return fail(q.lastError());
    const QString sequence = q.value(0).toString();
    // A sequence set to go on at n (is_called false) has handed out n - 1.
    if (!q.exec(QStringLiteral("SELECT greatest((SELECT CASE WHEN is_called THEN last_value ELSE "
                               "last_value - 1 END FROM %1), (SELECT coalesce(max(id), 0) FROM "
                               "%2))")
                    .arg(sequence, Tables::sqlName(table))) ||
        !q.next())
        return fail(q.lastError());
    return q.value(0).toLongLong();
}

Result<void> TableCopier::setLastId(Table table, qint64 id)
{
    QSqlQuery q(m_target.db);
    const QString name = Tables::name(table).toLower();
    if (m_target.engine == Engine::Server) {
        const QString next =
            id > 0 ? QStringLiteral("%1, true").arg(id) : QStringLiteral("1, false");
        if (!q.exec(QStringLiteral("SELECT setval(pg_get_serial_sequence('%1', 'id'), %2)")
                        .arg(name, next)))
            return targetError(q.lastError());
        return {};
    }
    if (!q.exec(QStringLiteral("DELETE FROM sqlite_sequence WHERE lower(name) = '%1'").arg(name)))
        return targetError(q.lastError());
    if (id > 0 &&
        !q.exec(QStringLiteral("INSERT INTO sqlite_sequence (name, seq) VALUES ('%1', %2)")
                    .arg(Tables::name(table))
                    .arg(id)))
        return targetError(q.lastError());
    return {};
}
