#pragma once

#include "data/Result.h"

#include <QSqlError>

namespace DbError {

// A failed statement: "错误号为：" number, line break, "错误描述为：" description.
Error fromQuery(const QSqlError& error);

// A store that cannot be opened. Both lines carry the label "错误号：", as users have always
// seen it.
Error fromOpen(int number, const QString& description);

bool isUniqueViolation(const Error& error);

} // namespace DbError
