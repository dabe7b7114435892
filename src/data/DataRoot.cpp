#include "data/DataRoot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

DataRoot::DataRoot(QString folder, QStringList shippedFolders)
    : m_folder(QDir::cleanPath(QDir(folder).absolutePath())), m_shipped(std::move(shippedFolders))
{}

DataRoot DataRoot::resolve(const Candidates& c)
{
    QString folder;
    if (!c.commandLine.isEmpty())
        folder = c.commandLine;
    else if (!c.environment.isEmpty())
        folder = c.environment;
    else if (c.portable && !c.executableFolder.isEmpty())
        folder = c.executableFolder;
    else
        folder = c.userFolder;
    return DataRoot(folder, c.shippedFolders);
}

QString DataRoot::filePath(const QString& name) const
{
    return m_folder + QLatin1Char('/') + name;
}

Result<void> DataRoot::ensureExists() const
{
    if (QFileInfo(m_folder).isDir() || QDir().mkpath(m_folder))
        return {};
    return Error{QStringLiteral("无法创建程序文件夹 ") + QDir::toNativeSeparators(m_folder)};
}

QString DataRoot::shippedPath(const QString& name) const
{
    for (const QString& dir : m_shipped) {
        const QString candidate = QDir(dir).filePath(name);
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    return {};
}

Result<void> DataRoot::installShipped(const QString& name) const
{
    const QString target = filePath(name);
    if (QFileInfo::exists(target))
        return {};
    const QString source = shippedPath(name);
    if (source.isEmpty())
        return Error{QStringLiteral("找不到随程序发布的文件 ") + name};
    if (QFileInfo(source).absoluteFilePath() == QFileInfo(target).absoluteFilePath())
        return {};
    QFile::copy(source, target);
    if (!QFileInfo::exists(target))
        return Error{QStringLiteral("无法复制 %1 到 %2")
                         .arg(QDir::toNativeSeparators(source), QDir::toNativeSeparators(target))};
    // A copy keeps the source's read-only bit; the root's copy belongs to the user.
    QFile(target).setPermissions(QFile(target).permissions() | QFileDevice::WriteOwner);
    return {};
}
