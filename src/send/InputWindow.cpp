#include "send/InputWindow.h"

#include <QCoreApplication>

InputWindow::InputWindow(Desktop& desktop, QStringList ownTitles, QObject* parent)
    : QObject(parent), m_desktop(desktop), m_ownTitles(std::move(ownTitles))
{
    connect(&m_desktop, &Desktop::foregroundChanged, this, &InputWindow::onForegroundChanged);
    onForegroundChanged(m_desktop.foregroundWindow().id);
}

bool InputWindow::isOwnWindow(const WindowInfo& info) const
{
    return (info.processId != 0 && info.processId == QCoreApplication::applicationPid()) ||
           m_ownTitles.contains(info.title);
}

void InputWindow::onForegroundChanged(WindowId id)
{
    if (id == 0)
        return;
    const WindowInfo info = m_desktop.window(id);
    if (info.isValid() && !isOwnWindow(info))
        m_lastForeign = id;
}

void InputWindow::noteForeground()
{
    onForegroundChanged(m_desktop.foregroundWindow().id);
}

bool InputWindow::usable(WindowId id)
{
    if (id == 0)
        return false;
    const WindowInfo info = m_desktop.window(id);
    return info.isValid() && !isOwnWindow(info);
}

WindowId InputWindow::target(PasteOrigin origin)
{
    // The desktop reports a change of the window in front some time after it happened; the
    // answer must not depend on whether the report has been handled yet.
    noteForeground();
    if (origin == PasteOrigin::HotKey) {
        const WindowInfo front = m_desktop.foregroundWindow();
        if (front.isValid() && !isOwnWindow(front))
            return front.id;
    }
    const bool toChat = origin == PasteOrigin::QueryBar || m_docked;
    if (toChat && usable(m_chat))
        return m_chat;
    return usable(m_lastForeign) ? m_lastForeign : 0;
}
