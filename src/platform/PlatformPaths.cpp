#include "platform/PlatformPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryFile>

namespace PlatformPaths {

QString userDataFolder()
{
#ifdef Q_OS_WIN
    const QString base = qEnvironmentVariable("APPDATA", QDir::homePath());
    return QDir::cleanPath(base + QLatin1String("/Quillmate"));
#else
    QString base = qEnvironmentVariable("XDG_DATA_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QLatin1String("/.local/share");
    return QDir::cleanPath(base + QLatin1String("/quillmate"));
#endif
}

bool runsPortable(const QString& executableFolder)
{
    if (QFileInfo::exists(QDir(executableFolder).filePath(QStringLiteral("portable"))))
        return true;
#ifdef Q_OS_WIN
    // A program unpacked into a folder of its own keeps its data there, as users expect.
    QTemporaryFile probe(QDir(executableFolder).filePath(QStringLiteral("probe-XXXXXX")));
    return probe.open();
#else
    return false;
#endif
}

QStringList shippedDataFolders(const QString& executableFolder)
{
    const QDir exe(executableFolder);
    return {exe.absolutePath(),
            QDir::cleanPath(exe.absoluteFilePath(QStringLiteral("../share/quillmate")))};
}

} // namespace PlatformPaths
