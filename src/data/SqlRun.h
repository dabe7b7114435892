#pragma once

#include "data/Result.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantList>

namespace SqlRun {

// Runs a statement forward only, its values bound in order; a database error comes back in the
// system's "错误号为：" form. A statement without values is run as it stands, unprepared: a
// server cannot prepare BEGIN, COMMIT or ROLLBACK, and it needs no preparing anyway.
Result<QSqlQuery> run(const QSqlDatabase& db, const QString& sql, const QVariantList& values);

} // namespace SqlRun
