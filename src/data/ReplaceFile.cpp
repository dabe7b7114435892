#include "data/ReplaceFile.h"

#include "data/DbError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <filesystem>
#include <system_error>

#ifndef Q_OS_WIN
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

std::filesystem::path fsPath(const QString& path)
{
#ifdef Q_OS_WIN
    return std::filesystem::path(path.toStdWString());
#else
    return std::filesystem::path(QFile::encodeName(path).toStdString());
#endif
}

#ifndef Q_OS_WIN
// 0, or the system's code. EINVAL: a file system that cannot sync, which leaves nothing to wait
// for.
int syncPath(const QString& path, int flags)
{
    const int fd = ::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int failure = ::fsync(fd) != 0 && errno != EINVAL ? errno : 0;
    ::close(fd);
    return failure;
}
#endif

Error failure(int code, const QString& to, const QString& reason)
{
    return DbError::described(
        code, QStringLiteral("无法写入文件 %1：%2").arg(QDir::toNativeSeparators(to), reason));
}

} // namespace

Result<void> replaceFile(const QString& from, const QString& to)
{
#ifndef Q_OS_WIN
    // Writers that go through stdio (the workbook library) leave the bytes in the page cache: a
    // power cut after the rename could leave the name on an empty file, in place of a good one.
    if (const int code = syncPath(from, O_RDONLY); code != 0)
        return failure(code, to, QString::fromLocal8Bit(std::strerror(code)));
#endif
    std::error_code ec;
    std::filesystem::rename(fsPath(from), fsPath(to), ec);
    if (ec)
        return failure(ec.value(), to, QString::fromLocal8Bit(ec.message()));
#ifndef Q_OS_WIN
    // The new name is only durable once the folder's entry is on disk.
    syncPath(QFileInfo(to).absolutePath(), O_RDONLY | O_DIRECTORY);
#endif
    return {};
}
