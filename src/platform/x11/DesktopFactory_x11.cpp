#include "platform/DesktopFactory.h"
#include "platform/NullDesktop.h"
#include "platform/x11/X11Desktop.h"

#include <QGuiApplication>
#include <X11/Xlib.h>

namespace {

// The display Qt is connected to, so that both connections reach the same server even when it
// was chosen with -display rather than $DISPLAY. Empty when Qt does not run on X11.
QByteArray qtDisplayName()
{
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb"))
        return {};
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    Display* display = x11 ? x11->display() : nullptr;
    return display ? QByteArray(XDisplayString(display)) : QByteArray();
}

} // namespace

std::unique_ptr<Desktop> createDesktop(QObject* parent)
{
    auto x11 = std::make_unique<X11Desktop>(qtDisplayName(), parent);
    if (x11->isAvailable())
        return x11;
    return std::make_unique<NullDesktop>(NullDesktop::defaultReason(), parent);
}
