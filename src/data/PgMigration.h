#pragma once

#include "data/Result.h"
#include "data/TableCopier.h"

#include <QList>
#include <QSqlDatabase>
#include <QString>

// Copies the shared store file into an empty PostgreSQL database: every table and row with its
// id, blobs included, in one transaction, so that a failure leaves the database empty.
class PgMigration {
public:
    using Copied = TableCopier::Copied;

    // `shown` names the target in messages (the address without its password).
    PgMigration(QSqlDatabase source, QSqlDatabase target, QString shown);

    // The rows copied per table, in creation order. A database that is not empty is refused
    // and left untouched.
    Result<QList<Copied>> run();

private:
    QSqlDatabase m_source;
    QSqlDatabase m_target;
    QString m_shown;
};
