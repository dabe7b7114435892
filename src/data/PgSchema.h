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

// 1: the tables; 2: every write to them is announced on Channel.
inline constexpr int Version = 2;
// One row: the schema version the database was made with.
inline constexpr char VersionTable[] = "quillmate_schema";
// Each committed row change is sent here as "table id op", op I, U or D; a truncated table as
// "table 0 R".
inline constexpr char Channel[] = "quillmate_change";

enum class State { Empty, Current, Older, Newer, Foreign };

struct Inspection {
    State state = State::Empty;
    int version = 0; // the recorded version, when there is one
};

QString tableName(Table table);

// The files' columns take any type of value; the server's are strict, so a value goes there as
// its column's kind (a missing number as 0, which is the column's default).
QVariant asKind(const QVariant& value, ColumnType type);

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

// The first rows of a new store (the tree's sections, the first administrator), for a database
// that is not filled by a migration.
QStringList seedStatements();

// What brings a database from `version` to this one, in order.
QStringList upgradeStatements(int version);

// Makes an empty database ours, brings an older one of ours up to date, accepts one at this
// version and refuses anything else untouched. Seats starting together take turns.
Result<void> prepare(QSqlDatabase& db, const QString& shown);

// A failed statement or connection, in the program's words, naming the database.
Error failure(const QString& shown, const QSqlError& error);

} // namespace PgSchema
