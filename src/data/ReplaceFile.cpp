#include "data/ReplaceFile.h"

#include "data/DbError.h"

#include <QDir>
#include <QFile>
#include <filesystem>
#include <system_error>

namespace {

std::filesystem::path fsPath(const QString& path)
{
#ifdef Q_OS_WIN
    return std::filesystem::path(path.toStdWString());
#else
    return std::filesystem::path(QFile::encodeName(path).toStdString());
#endif
}

} // namespace

Result<void> replaceFile(const QString& from, const QString& to)
{
    std::error_code ec;
    std::filesystem::rename(fsPath(from), fsPath(to), ec);
    if (!ec)
        return {};
    return DbError::described(
        ec.value(), QStringLiteral("无法写入文件 %1：%2")
                        .arg(QDir::toNativeSeparators(to), QString::fromLocal8Bit(ec.message())));
}
