#pragma once

#include "data/Result.h"
#include "data/Tables.h"

#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <optional>

// Copies the shared store file into an empty PostgreSQL database: every table and row with its
// id, blobs included, in one transaction, so that a failure leaves the database empty.
class PgMigration {
public:
    struct Copied {
        Table table;
        qint64 rows = 0;
    };

    // `shown` names the target in messages (the address without its password).
    PgMigration(QSqlDatabase source, QSqlDatabase target, QString shown);

    // The rows copied per table, in creation order. A database that is not empty is refused
    // and left untouched.
    Result<QList<Copied>> run();

private:
    Result<QList<Copied>> copyAll();
    Result<qint64> copyTable(Table table);

    QSqlDatabase m_source;
    // Kept until after a rollback: a prepared statement freed inside a failed transaction
    // cannot be deallocated and the driver complains.
    std::optional<QSqlQuery> m_insert;
    QSqlDatabase m_target;
    QString m_shown;
};
