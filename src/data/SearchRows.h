#pragma once

#include "data/Result.h"
#include "data/SearchIndex.h"

#include <QSqlDatabase>
#include <QVariantList>
#include <functional>

// Reading the columns an index keeps of the rows a query selects: id, name, category, use count,
// serial, common serial, common flag and the serial within the category, in that order.
namespace SearchRows {

// Gives the Source to fill with the next row.
using Next = std::function<SearchIndex::Source&()>;

// Reads through `db`. A SQLite store is read through SQLite's own interface: a QVariant per
// value made a third of the time a large kind took to index.
Result<void> read(const QSqlDatabase& db, const QString& sql, const QVariantList& bound,
                  const Next& next);

} // namespace SearchRows
