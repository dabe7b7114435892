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
    // A server reports the condition itself (unique_violation).
    if (error.nativeErrorCode() == QLatin1String("23505"))
        e.code = 2067;
    return e;
}

Error described(int number, const QString& description)
{
    return Error{QStringLiteral("错误号为：%1\r\n错误描述为：%2").arg(number).arg(description),
                 number};
}

Error fromOpen(int number, const QString& description)
{
    return Error{QStringLiteral("错误号：%1\r\n错误号：%2").arg(number).arg(description), number};
}

Error openFailure(const QString& shownPath, const QSqlError& error, double busySeconds)
{
    const int code = nativeCode(error) & 0xff;
    QString cause;
    switch (code) {
    case 5: // SQLITE_BUSY
    case 6: // SQLITE_LOCKED
        cause = QStringLiteral("正被另一个座席或程序锁住，等了 %1 秒仍未释放。请稍后再试")
                    .arg(busySeconds);
        break;
    case 11: // SQLITE_CORRUPT
        cause = QStringLiteral("不完整或已损坏，程序没有改动它。请从备份中恢复");
        break;
    case 26: // SQLITE_NOTADB
        cause = QStringLiteral("不是客服Tavro的数据库（其他格式），程序没有改动它");
        break;
    case 13: // SQLITE_FULL
        cause = QStringLiteral("无法写入：磁盘已满");
        break;
    case 8: // SQLITE_READONLY
        cause = QStringLiteral("只能读取，无法写入（只读文件或文件夹）");
        break;
    case 3:  // SQLITE_PERM
    case 23: // SQLITE_AUTH
        cause = QStringLiteral("没有访问权限");
        break;
    case 10: // SQLITE_IOERR
        cause = QStringLiteral("读写出错（磁盘已满、网络中断或磁盘故障）");
        break;
    case 14: // SQLITE_CANTOPEN
        cause = QStringLiteral("无法打开（文件夹不存在、不可访问或没有权限）");
        break;
    default:
        cause = QStringLiteral("无法使用");
        break;
    }
    QString text = error.databaseText();
    if (text.isEmpty())
        text = error.text();
    return fromOpen(code, QStringLiteral("数据库文件 %1 %2。（%3）").arg(shownPath, cause, text));
}

bool isUniqueViolation(const Error& error)
{
    return error.code == 2067;
}

} // namespace DbError
