#pragma once

#include "data/Result.h"
#include "data/Tables.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QStringList>

// The shared store's tables on a PostgreSQL server, made from the same descriptions as the
// SQLite files. Table names are folded to lower case there, so that SQL written for the files
// (which match names in any case) reads them unquoted.
namespace PgSchema {

inline constexpr int Version = 1;
// One row: the schema version the database was made with.
inline constexpr char VersionTable[] = "quillmate_schema";

enum class State { Empty, Current, Newer, Foreign };

struct Inspection {
    State state = State::Empty;
    int version = 0; // the recorded version, when there is one
};

QString tableName(Table table);

// The tables, their case-insensitive unique names, views and indexes, and the version row;
// for an empty database, run inside one transaction.
QStringList createStatements();

// Moves a table's id sequence after its highest id, so new rows continue after copied ones.
QString resetSequenceStatement(Table table);

// What the database holds: nothing in the public schema, our tables at this version or a
// newer one, or something else.
Result<Inspection> inspect(QSqlDatabase& db, const QString& shown);

// Why such a database is not used, naming it; empty for Empty and Current.
QString refusal(const Inspection& found, const QString& shown);

// Makes an empty database ours, accepts one at this version, refuses anything else untouched.
Result<void> prepare(QSqlDatabase& db, const QString& shown);

// A failed statement or connection, in the program's words, naming the database.
Error failure(const QString& shown, const QSqlError& error);

} // namespace PgSchema
