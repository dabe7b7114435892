#include "data/NoReplaceMove.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace NoReplaceMove {

#ifdef Q_OS_WIN

Outcome move(const QString& from, const QString& to)
{
    // Without MOVEFILE_REPLACE_EXISTING the move fails when the name is taken, also on a share.
    const QString source = QDir::toNativeSeparators(from);
    const QString target = QDir::toNativeSeparators(to);
    if (MoveFileExW(reinterpret_cast<const wchar_t*>(source.utf16()),
                    reinterpret_cast<const wchar_t*>(target.utf16()), MOVEFILE_WRITE_THROUGH))
        return Outcome::Moved;
    const DWORD error = GetLastError();
    return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS ? Outcome::TargetExists
                                                                       : Outcome::Failed;
}

#else

Outcome move(const QString& from, const QString& to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
#ifdef RENAME_NOREPLACE
    if (renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) ==
        0)
        return Outcome::Moved;
    if (errno == EEXIST)
        return Outcome::TargetExists;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return Outcome::Failed;
#endif
    // File systems without a no-replace rename (NFS among them) make a hard link atomically.
    if (::link(source.constData(), target.constData()) == 0) {
        ::unlink(source.constData());
        return Outcome::Moved;
    }
    if (errno == EEXIST)
        return Outcome::TargetExists;
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS)
        return Outcome::Failed;
    // Neither (a share without hard links): a plain rename, which replaces only what appeared
    // between the check and the rename.
    if (QFileInfo::exists(to) || QFileInfo(to).isSymLink())
        return Outcome::TargetExists;
    return ::rename(source.constData(), target.constData()) == 0 ? Outcome::Moved : Outcome::Failed;
}

#endif

} // namespace NoReplaceMove
