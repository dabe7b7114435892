#include "data/DbError.h"

namespace DbError {

namespace {

int nativeCode(const QSqlError& error)
{
    bool ok = false;
    const int code = error.nativeErrorCode().toInt(&ok);
    return ok ? code : 0;
}

} // namespace

Error fromQuery(const QSqlError& error)
{
    const int code = nativeCode(error);
    QString description = error.databaseText();
    if (description.isEmpty())
        description = error.text();
    Error e{QStringLiteral("错误号为：%1\r\n错误描述为：%2").arg(code).arg(description), code};
    // The driver reports the primary code; a unique constraint is told apart by its text.
    if (code == 19 && description.contains(QLatin1String("UNIQUE constraint failed")))
        e.code = 2067;
    return e;
}

Error fromOpen(int number, const QString& description)
{
    return Error{QStringLiteral("错误号：%1\r\n错误号：%2").arg(number).arg(description), number};
}

bool isUniqueViolation(const Error& error)
{
    return error.code == 2067;
}

} // namespace DbError
