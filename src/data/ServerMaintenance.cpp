#include "data/ServerMaintenance.h"

#include "data/DbError.h"
#include "data/PgSchema.h"
#include "data/StoreFile.h"
#include "data/TableCopier.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>
#include <atomic>

namespace {

// A connection of this thread, removed with the object; whatever uses it must be gone first.
class Link {
public:
    explicit Link(const char* driver)
    {
        static std::atomic<int> counter{0};
        m_name = QStringLiteral("quillmate-server-work-%1").arg(counter++);
        QSqlDatabase::addDatabase(QLatin1String(driver), m_name);
    }
    ~Link()
    {
        QSqlDatabase::database(m_name, false).close();
        QSqlDatabase::removeDatabase(m_name);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    QSqlDatabase db() const { return QSqlDatabase::database(m_name, false); }

    Result<void> openServer(const PgUrl& url) const
    {
        QSqlDatabase d = db();
        url.applyTo(d);
        if (!d.open())
            return PgSchema::failure(url.shown(), d.lastError());
        return {};
    }

    Result<void> openFile(const QString& path, bool readOnly) const
    {
        QSqlDatabase d = db();
        d.setDatabaseName(path);
        if (readOnly)
            d.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (!d.open())
            return DbError::fromQuery(d.lastError());
        return {};
    }

private:
    QString m_name;
};

Result<void> copy(const TableCopier::End& source, const TableCopier::End& target,
                  const Progress& progress, bool keepTargetIds)
{
    TableCopier copier(source, target);
    copier.setProgress(progress);
    copier.setKeepTargetIds(keepTargetIds);
    const Result<QList<TableCopier::Copied>> copied = copier.run();
    if (!copied)
        return copied.error();
    return {};
}

QStringList tableNames()
{
    QStringList out;
    for (Table t : Tables::ofStore(StoreId::Assistant))
        out << PgSchema::tableName(t);
    return out;
}

// A query of the shared tables: their oid, TOAST table and owner.
QString ourTables()
{
    return QStringLiteral("SELECT c.oid, c.reltoastrelid, c.relowner FROM pg_catalog.pg_class c "
                          "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
                          "WHERE n.nspname = 'public' AND c.relname IN ('%1')")
        .arg(tableNames().join(QLatin1String("', '")));
}

// The pages holding rows, large values and indexes. The free space and visibility maps are left
// out: VACUUM makes them where they were missing, which would read as a compaction that grew.
Result<qint64> tablesSize(const QSqlDatabase& db, const QString& shown)
{
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("WITH ours AS (%1) "
                               "SELECT coalesce(sum(pg_relation_size(part)), 0) FROM ("
                               "SELECT oid AS part FROM ours "
                               "UNION ALL SELECT reltoastrelid FROM ours WHERE reltoastrelid <> 0 "
                               "UNION ALL SELECT i.indexrelid FROM pg_catalog.pg_index i "
                               "JOIN ours ON ours.oid = i.indrelid) AS parts")
                    .arg(ourTables())) ||
        !q.next())
        return PgSchema::failure(shown, q.lastError());
    return q.value(0).toLongLong();
}

// VACUUM skips, with no more than a warning, a table the user may not vacuum; that would be
// reported as done.
Result<void> checkMayVacuum(const QSqlDatabase& db, const QString& shown)
{
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT count(*) FROM (%1) AS ours "
                               "WHERE NOT pg_has_role(relowner, 'USAGE') "
                               "AND NOT pg_has_role((SELECT datdba FROM pg_catalog.pg_database "
                               "WHERE datname = current_database()), 'USAGE')")
                    .arg(ourTables())) ||
        !q.next())
        return PgSchema::failure(shown, q.lastError());
    if (q.value(0).toLongLong() > 0)
        return Error{
            QStringLiteral("只有数据库 %1 的所有者才能压缩它，请让管理员压缩。").arg(shown)};
    return {};
}

} // namespace

namespace ServerMaintenance {

Result<void> backup(const PgUrl& url, const QString& file, const Progress& progress)
{
    if (Result<void> r = StoreFile::create(file, StoreId::Assistant); !r)
        return r;
    const Link server("QPSQL");
    const Link target("QSQLITE");
    if (Result<void> r = server.openServer(url); !r)
        return r;
    if (Result<void> r = target.openFile(file, false); !r)
        return r;
    return copy({server.db(), TableCopier::Engine::Server, url.shown()},
                {target.db(), TableCopier::Engine::File, QDir::toNativeSeparators(file)}, progress,
                false);
}

Result<void> restore(const PgUrl& url, const QString& file)
{
    const Link source("QSQLITE");
    const Link server("QPSQL");
    if (Result<void> r = source.openFile(file, true); !r)
        return r;
    if (Result<void> r = server.openServer(url); !r)
        return r;
    // Ids handed out since the backup stay used: other seats and hot keys may still name them.
    return copy({source.db(), TableCopier::Engine::File, QDir::toNativeSeparators(file)},
                {server.db(), TableCopier::Engine::Server, url.shown()}, {}, true);
}

Result<Sizes> compact(const PgUrl& url, const Progress& progress)
{
    const Link server("QPSQL");
    if (Result<void> r = server.openServer(url); !r)
        return r.error();
    const QSqlDatabase db = server.db();
    if (Result<void> r = checkMayVacuum(db, url.shown()); !r)
        return r.error();
    Sizes sizes;
    const Result<qint64> before = tablesSize(db, url.shown());
    if (!before)
        return before.error();
    sizes.before = *before;
    // Plain VACUUM, one table at a time and outside a transaction (it cannot run in one): it
    // lets other seats read and write meanwhile, unlike VACUUM FULL, which rewrites the table
    // behind an exclusive lock.
    const QStringList tables = tableNames();
    for (qsizetype i = 0; i < tables.size(); ++i) {
        if (progress && !progress(i, tables.size()))
            return Error{QStringLiteral("已取消。")};
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("VACUUM (ANALYZE) %1").arg(tables.at(i))))
            return PgSchema::failure(url.shown(), q.lastError());
    }
    const Result<qint64> after = tablesSize(db, url.shown());
    if (!after)
        return after.error();
    sizes.after = *after;
    return sizes;
}

} // namespace ServerMaintenance
