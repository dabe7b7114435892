#include "platform/NullDesktop.h"

#include <QDesktopServices>
#include <QFileInfo>

NullDesktop::NullDesktop(QString reason, QObject* parent)
    : Desktop(parent), m_reason(std::move(reason))
{}

QString NullDesktop::defaultReason()
{
    return QStringLiteral("当前桌面不支持窗口停靠、热键和自动粘贴（需要 X11 或 XWayland）。");
}

Desktop::OpenResult NullDesktop::openLocalPath(const QString& path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return OpenResult::NotFound;
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path)) ? OpenResult::Opened
                                                                : OpenResult::Failed;
}

Desktop::OpenResult NullDesktop::openExternalUrl(const QUrl& url)
{
    if (!url.isValid())
        return OpenResult::Failed;
    return QDesktopServices::openUrl(url) ? OpenResult::Opened : OpenResult::Failed;
}
