#pragma once

#include "data/Tables.h"
#include "support/PgServer.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

// A connection of the test's own to a database on the test server or to a store file, closed
// and removed with the object.
struct TestConnection {
    QString name;
    QSqlDatabase db;

    TestConnection(const PgServer& server, const QString& database)
        : name(QStringLiteral("test-") + database), db(server.connect(database, name))
    {}
    explicit TestConnection(const QString& file) : name(QStringLiteral("test-file-") + file)
    {
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(file);
        db.open();
    }
    ~TestConnection()
    {
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
    }
};

// A table's rows in id order, each value read as its column's kind, so that a file's and the
// server's rows compare equal exactly when they hold the same data.
inline QList<QVariantList> rowsOf(QSqlDatabase db, Table table)
{
    const QList<ColumnDef>& columns = Tables::columnDefs(table);
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT %1 FROM %2 ORDER BY id")
                    .arg(Tables::columns(table).join(", "), Tables::sqlName(table)))) {
        QTest::qFail(qPrintable(Tables::name(table) + ": " + q.lastError().text()), __FILE__,
                     __LINE__);
        return {};
    }
    QList<QVariantList> rows;
    while (q.next()) {
        QVariantList row;
        for (qsizetype i = 0; i < columns.size(); ++i) {
            const QVariant v = q.value(int(i));
            const ColumnType type = columns.at(i).type;
            row << (v.isNull()                 ? QVariant()
                    : type == ColumnType::Text ? QVariant(v.toString())
                    : type == ColumnType::Blob ? QVariant(v.toByteArray())
                                               : QVariant(v.toLongLong()));
        }
        rows << row;
    }
    return rows;
}
