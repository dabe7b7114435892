#include "platform/DesktopFactory.h"
#include "platform/NullDesktop.h"
#include "platform/win32/Win32Desktop.h"

std::unique_ptr<Desktop> createDesktop(QObject* parent)
{
    auto desktop = std::make_unique<Win32Desktop>(parent);
    if (desktop->isAvailable())
        return desktop;
    const QString reason = desktop->unavailableReason();
    return std::make_unique<NullDesktop>(reason, parent);
}
