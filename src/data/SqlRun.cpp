#include "data/SqlRun.h"

#include "data/DbError.h"

namespace SqlRun {

Result<QSqlQuery> run(const QSqlDatabase& db, const QString& sql, const QVariantList& values)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (values.isEmpty()) {
        if (!query.exec(sql))
            return DbError::fromQuery(query.lastError());
        return query;
    }
    if (!query.prepare(sql))
        return DbError::fromQuery(query.lastError());
    for (const QVariant& v : values)
        query.addBindValue(v);
    if (!query.exec())
        return DbError::fromQuery(query.lastError());
    return query;
}

} // namespace SqlRun
