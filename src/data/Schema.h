#pragma once

#include "data/Tables.h"

#include <QStringList>

// The statements that create one store file. Every statement is idempotent, so running them on
// a store that already has its schema changes nothing.
namespace Schema {

inline constexpr int ApplicationId = 0x51554C4D; // marks a file as one of our stores
inline constexpr int Version = 1;

QStringList createStatements(StoreId store);

// Rows every new assistant store starts with: the four sections of the tree and one
// administrator without a password, marked as the default user.
QStringList seedStatements(StoreId store);

// The tables whose presence tells that a file is one of our stores.
QStringList markerTables(StoreId store);

} // namespace Schema
