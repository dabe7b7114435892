#include "widgets/SoundPlayer.h"

#include "data/DataRoot.h"
#include "data/Settings.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#ifdef Q_OS_WIN
#include <mmsystem.h>
#include <windows.h>
#endif

QString SoundPlayer::promptSound(bool on, const QString& filePath)
{
    if (!on || filePath.isEmpty() || !QFileInfo(filePath).isFile())
        return {};
    return filePath;
}

QString SoundPlayer::promptSound(const Settings& settings, const DataRoot& root)
{
    return promptSound(settings.flag(Setting::MessageSound), root.filePath(fileName()));
}

QStringList SoundPlayer::playerCommand(const QString& filePath, const QStringList& searchPaths)
{
    const QString paplay = QStandardPaths::findExecutable(QStringLiteral("paplay"), searchPaths);
    if (!paplay.isEmpty())
        return {paplay, filePath};
    const QString aplay = QStandardPaths::findExecutable(QStringLiteral("aplay"), searchPaths);
    if (!aplay.isEmpty())
        return {aplay, QStringLiteral("-q"), filePath};
    return {};
}

bool SoundPlayer::play(const QString& filePath)
{
    if (filePath.isEmpty())
        return false;
#ifdef Q_OS_WIN
    const std::wstring path = filePath.toStdWString();
    return PlaySoundW(path.c_str(), nullptr, SND_ASYNC | SND_FILENAME | SND_NODEFAULT) != FALSE;
#else
    QStringList command = playerCommand(filePath);
    if (command.isEmpty())
        return false;
    const QString program = command.takeFirst();
    return QProcess::startDetached(program, command);
#endif
}
