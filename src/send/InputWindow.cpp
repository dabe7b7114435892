#include "InputWindowTracker.h"

InputWindowTracker::InputWindowTracker(Desktop& desktop, QStringList ownTitles, QObject* parent)
    : QObject(parent), m_desktop(desktop), m_ownTitles(std::move(ownTitles))
{
    connect(&m_desktop, &Desktop::foregroundChanged, this,
            &InputWindowTracker::onForegroundChanged);
    onForegroundChanged(m_desktop.foregroundWindow().id);
}

bool InputWindowTracker::isOwnWindow(const WindowInfo& info) const
{
    return m_ownTitles.contains(info.title);
}

void InputWindowTracker::onForegroundChanged(WindowId id)
{
    if (id == 0)
        return;
    const WindowInfo info = m_desktop.window(id);
    if (info.isValid() && !isOwnWindow(info))
        m_lastForeign = id;
}

void InputWindowTracker::remember()
{
    // The foreground may already be our own window; the last window in front before it is the
    // one the agent was typing in.
    const WindowInfo now = m_desktop.foregroundWindow();
    if (now.isValid() && !isOwnWindow(now))
        m_lastForeign = now.id;
    if (m_lastForeign != 0)
        m_remembered = m_lastForeign;
    m_restore = true;
}

InputWindowTracker::Target InputWindowTracker::take()
{
    const Target t{m_remembered, m_restore};
    m_restore = false;
    return t;
}
