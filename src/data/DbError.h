#pragma once

#include "data/Result.h"

#include <QSqlError>

namespace DbError {

// A failed statement: "错误号为：" number, line break, "错误描述为：" description.
Error fromQuery(const QSqlError& error);

// The same report for a failure found by the program itself, numbered like SQLite's codes
// (11 damaged, 14 cannot open, 26 not our database).
Error described(int number, const QString& description);

// A store that cannot be opened. Both lines carry the label "错误号：", as users have always
// seen it.
Error fromOpen(int number, const QString& description);

// A store that SQLite could not read or write while opening it: the file and the cause in words
// ("数据库文件 X 正被另一个座席锁住……"), then SQLite's own text; `busySeconds` is how long a
// lock was waited for.
Error openFailure(const QString& shownPath, const QSqlError& error, double busySeconds);

bool isUniqueViolation(const Error& error);

} // namespace DbError
