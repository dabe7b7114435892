#include "data/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <algorithm>

#ifdef Q_OS_WIN
#include <string>
#include <windows.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

// Short whatever the target's name, so that it fits beside a name of the longest allowed length.
QString temporaryName()
{
    return QStringLiteral(".qm-%1.tmp")
        .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
}

constexpr int CreateAttempts = 16;

#ifdef Q_OS_WIN

using Code = DWORD;

QString reason(Code code)
{
    switch (code) {
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return QStringLiteral("磁盘已满");
    case ERROR_ACCESS_DENIED:
        return QStringLiteral("没有写入权限");
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return QStringLiteral("文件正被其他程序使用");
    case ERROR_WRITE_PROTECT:
        return QStringLiteral("磁盘是只读的");
    case ERROR_PATH_NOT_FOUND:
        return QStringLiteral("文件夹不存在");
    case ERROR_FILENAME_EXCED_RANGE:
        return QStringLiteral("文件名太长");
    default:
        return qt_error_string(static_cast<int>(code));
    }
}

// The \\?\ form lifts the 260-character limit, which a long stored name inside the program
// folder can pass.
std::wstring longPath(const QString& path)
{
    const QString native = QDir::toNativeSeparators(QDir::cleanPath(path));
    if (native.startsWith(QLatin1String("\\\\?\\")))
        return native.toStdWString();
    if (native.startsWith(QLatin1String("\\\\")))
        return (QStringLiteral("\\\\?\\UNC\\") + native.sliced(2)).toStdWString();
    return (QStringLiteral("\\\\?\\") + native).toStdWString();
}

Code writeAll(HANDLE handle, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const auto chunk = static_cast<DWORD>(std::min<qint64>(left, qint64(1) << 30));
        DWORD written = 0;
        if (!WriteFile(handle, data, chunk, &written, nullptr))
            return GetLastError();
        if (written == 0)
            return ERROR_DISK_FULL;
        data += written;
        left -= written;
    }
    return 0;
}

// 0, or the system's code of the step that failed.
Code replace(const QString& target, const QByteArray& bytes)
{
    const QString folder = QFileInfo(target).absolutePath();
    std::wstring temp;
    HANDLE handle = INVALID_HANDLE_VALUE;
    for (int attempt = 0; attempt < CreateAttempts && handle == INVALID_HANDLE_VALUE; ++attempt) {
        temp = longPath(QDir(folder).filePath(temporaryName()));
        handle = CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS)
            return GetLastError();
    }
    if (handle == INVALID_HANDLE_VALUE)
        return ERROR_FILE_EXISTS;
    Code failure = writeAll(handle, bytes);
    if (failure == 0 && !FlushFileBuffers(handle))
        failure = GetLastError();
    if (!CloseHandle(handle) && failure == 0)
        failure = GetLastError();
    if (failure == 0 && !MoveFileExW(temp.c_str(), longPath(target).c_str(),
                                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        failure = GetLastError();
    if (failure != 0)
        DeleteFileW(temp.c_str());
    return failure;
}

#else

using Code = int;

QString reason(Code code)
{
    switch (code) {
    case ENOSPC:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return QStringLiteral("磁盘已满");
    case EFBIG:
        return QStringLiteral("文件超出系统允许的大小");
    case EACCES:
    case EPERM:
        return QStringLiteral("没有写入权限");
    case EROFS:
        return QStringLiteral("磁盘是只读的");
    case ENOENT:
    case ENOTDIR:
        return QStringLiteral("文件夹不存在");
    case ENAMETOOLONG:
        return QStringLiteral("文件名太长");
    case EIO:
        return QStringLiteral("磁盘读写出错");
    default:
        return qt_error_string(code);
    }
}

Code writeAll(int fd, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const auto chunk = static_cast<size_t>(std::min<qint64>(left, qint64(1) << 30));
        const ssize_t written = ::write(fd, data, chunk);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return errno;
        if (written == 0)
            return ENOSPC;
        data += written;
        left -= written;
    }
    return 0;
}

// The rename is only durable once the folder's entry is on disk. Some file systems cannot sync
// a folder; the file itself is complete either way.
void syncFolder(const QString& folder)
{
    const int fd =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

// 0, or the system's code of the step that failed.
Code replace(const QString& target, const QByteArray& bytes)
{
    const QString folder = QFileInfo(target).absolutePath();
    QByteArray temp;
    int fd = -1;
    for (int attempt = 0; attempt < CreateAttempts && fd < 0; ++attempt) {
        temp = QFile::encodeName(QDir(folder).filePath(temporaryName()));
        fd = ::open(temp.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            return errno;
    }
    if (fd < 0)
        return EEXIST;
    const QByteArray final = QFile::encodeName(target);
    // The new file keeps the old one's permissions; a new file gets the umask's.
    struct stat existing {};
    if (::stat(final.constData(), &existing) == 0)
        ::fchmod(fd, existing.st_mode & 07777);
    Code failure = writeAll(fd, bytes);
    // EINVAL: a file system that cannot sync, which leaves nothing to wait for.
    if (failure == 0 && ::fsync(fd) != 0 && errno != EINVAL)
        failure = errno;
    // Network file systems may report a failed write only now; the descriptor is gone either way.
    if (::close(fd) != 0 && failure == 0 && errno != EINTR)
        failure = errno;
    if (failure == 0 && ::rename(temp.constData(), final.constData()) != 0)
        failure = errno;
    if (failure != 0) {
        ::unlink(temp.constData());
        return failure;
    }
    syncFolder(folder);
    return 0;
}

#endif

} // namespace

namespace AtomicFile {

Result<void> write(const QString& path, const QByteArray& bytes, const QString& what)
{
    // A link stays a link: the file it points to is the one replaced.
    const QFileInfo info(path);
    const QString target = info.isSymLink() ? info.symLinkTarget() : info.absoluteFilePath();
    if (const Code failure = replace(target, bytes); failure != 0)
        return Error{QStringLiteral("无法写入") + what + QLatin1Char(' ') +
                     QDir::toNativeSeparators(path) + QStringLiteral("：") + reason(failure)};
    return {};
}

} // namespace AtomicFile
