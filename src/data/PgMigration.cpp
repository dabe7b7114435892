#include "data/PgMigration.h"

#include "data/DbError.h"
#include "data/PgSchema.h"

#include <QSqlQuery>
#include <QVariant>

PgMigration::PgMigration(QSqlDatabase source, QSqlDatabase target, QString shown)
    : m_source(std::move(source)), m_target(std::move(target)), m_shown(std::move(shown))
{}

Result<QList<PgMigration::Copied>> PgMigration::run()
{
    // One read transaction on the file: the copy is the store at one moment, its ids pointing
    // at rows that exist, even when a seat writes meanwhile (it waits for the copy).
    if (!m_source.transaction())
        return DbError::fromQuery(m_source.lastError());
    if (!m_target.transaction()) {
        m_source.rollback();
        return PgSchema::failure(m_shown, m_target.lastError());
    }
    Result<QList<Copied>> copied = copyAll();
    m_source.rollback();
    if (!copied) {
        m_target.rollback();
        m_insert.reset();
        return copied;
    }
    m_insert.reset();
    if (!m_target.commit()) {
        const Error e = PgSchema::failure(m_shown, m_target.lastError());
        m_target.rollback();
        return e;
    }
    return copied;
}

Result<QList<PgMigration::Copied>> PgMigration::copyAll()
{
    const Result<PgSchema::Inspection> found = PgSchema::inspect(m_target, m_shown);
    if (!found)
        return found.error();
    if (found->state != PgSchema::State::Empty)
        return Error{QStringLiteral("数据库 %1 不是空的，只能迁移到空数据库；程序没有改动它。")
                         .arg(m_shown)};

    QSqlQuery q(m_target);
    for (const QString& statement : PgSchema::createStatements()) {
        if (!q.exec(statement))
            return PgSchema::failure(m_shown, q.lastError());
    }
    QList<Copied> out;
    for (Table t : Tables::ofStore(StoreId::Assistant)) {
        const Result<qint64> rows = copyTable(t);
        if (!rows)
            return rows.error();
        out << Copied{t, *rows};
        if (!q.exec(PgSchema::resetSequenceStatement(t)))
            return PgSchema::failure(m_shown, q.lastError());
    }
    return out;
}

Result<qint64> PgMigration::copyTable(Table table)
{
    const QList<ColumnDef>& columns = Tables::columnDefs(table);
    const QString list = Tables::columns(table).join(QLatin1String(", "));
    QSqlQuery read(m_source);
    read.setForwardOnly(true);
    if (!read.exec(
            QStringLiteral("SELECT %1 FROM %2 ORDER BY id").arg(list, Tables::sqlName(table))))
        return DbError::fromQuery(read.lastError());

    QStringList marks;
    for (qsizetype i = 0; i < columns.size(); ++i)
        marks << QStringLiteral("?");
    m_insert.emplace(m_target);
    QSqlQuery& write = *m_insert;
    if (!write.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                           .arg(PgSchema::tableName(table), list, marks.join(QLatin1String(", ")))))
        return PgSchema::failure(m_shown, write.lastError());
    qint64 rows = 0;
    while (read.next()) {
        for (qsizetype i = 0; i < columns.size(); ++i)
            write.bindValue(int(i), PgSchema::asKind(read.value(int(i)), columns.at(i).type));
        if (!write.exec())
            return Error{QStringLiteral("表 %1 的第 %2 行（编号 %3）无法写入：%4")
                             .arg(Tables::name(table))
                             .arg(rows + 1)
                             .arg(read.value(0).toLongLong())
                             .arg(PgSchema::failure(m_shown, write.lastError()).message)};
        ++rows;
    }
    if (read.lastError().isValid())
        return DbError::fromQuery(read.lastError());
    return rows;
}
