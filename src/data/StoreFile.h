#pragma once

#include "data/Result.h"
#include "data/Tables.h"

#include <QSqlDatabase>
#include <QStringList>

// One store file on disk: created complete or not at all, checked before and after SQLite opens
// it, and its schema completed where that is safe.
namespace StoreFile {

// Builds a new store under a temporary name in the folder of `path` and gives it the real name
// in one step, so a crash or a full disk never leaves a half-made store under that name. When
// another seat was first, its store stands and this succeeds as well.
Result<void> create(const QString& path, StoreId store);

// Opens the existing store at `path` on `db` (a QSQLITE connection). A file that is not one of
// our stores, or that has lost what cannot be added back, is refused and left as it is; missing
// tables, columns, views and indexes are added. Returns what a store that claimed to be complete
// had lost, so that the user hears of the damage.
Result<QStringList> open(QSqlDatabase db, const QString& path, StoreId store, int busyTimeoutMs);

} // namespace StoreFile
