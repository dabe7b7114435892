#pragma once

#include "data/Tables.h"

#include <QStringList>

// The statements that create one store file. Every statement is idempotent, so running them on
// a store that already has its schema changes nothing.
namespace Schema {

inline constexpr int ApplicationId = 0x51554C4D; // marks a file as one of our stores
inline constexpr int Version = 1;

// The personal store's table of what this seat remembers (`key`, `value`): which assistant
// store it used last.
inline constexpr char MemoryTable[] = "storeinfo";

QStringList createStatements(StoreId store);

// Rows every new assistant store starts with: the four sections of the tree and one
// administrator without a password, marked as the default user.
QStringList seedStatements(StoreId store);

// The tables whose presence tells that a file is one of our stores.
QStringList markerTables(StoreId store);

// Names of the views and indexes createStatements() makes, in lower case.
QStringList viewNames(StoreId store);
QStringList indexNames(StoreId store);

// Adds a column that a damaged table lacks, with the type and default it was created with.
// Empty for the columns that cannot be added afterwards: the key and the unique names.
QString addColumnStatement(Table table, const ColumnDef& column);

} // namespace Schema
