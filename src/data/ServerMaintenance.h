#pragma once

#include "data/PgUrl.h"
#include "data/Progress.h"
#include "data/Result.h"

#include <QString>

// Backup, restore and compaction of the shared store when it lives on a PostgreSQL server, each
// on connections of its own (the work runs on a thread of its own). Other seats keep working:
// a backup reads one snapshot, a restore is one transaction they see through the server's
// announcements, and a compaction takes no lock that keeps them out.
namespace ServerMaintenance {

struct Sizes {
    qint64 before = 0;
    qint64 after = 0;
};

// Writes the shared tables into `file`, a new store file like a file store's backup, so that it
// restores onto either kind of store. `progress` hears the rows written and may stop the work;
// the caller removes the file when this fails.
Result<void> backup(const PgUrl& url, const QString& file, const Progress& progress = {});

// Replaces every shared row on the server with the checked backup `file`'s, in one transaction.
Result<void> restore(const PgUrl& url, const QString& file);

// Frees the space of deleted and replaced rows for reuse and refreshes the planner's figures;
// the sizes are of the shared tables with their indexes. `progress` (tables done) may stop it
// between tables.
Result<Sizes> compact(const PgUrl& url, const Progress& progress = {});

} // namespace ServerMaintenance
