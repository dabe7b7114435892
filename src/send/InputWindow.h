#pragma once

#include "platform/Desktop.h"

#include <QObject>
#include <QStringList>

// How a paste was asked for.
enum class PasteOrigin { Panel, QueryBar, HotKey };

// The one rule for the window a paste goes to, whatever asked for it:
//  - a hot key: the window in front, where the agent is typing, unless that is one of ours;
//  - the bottom query bar: the chat window it sits on;
//  - the panel: docked, the chat window it is docked to; floating, the window the agent last
//    had in front before turning to the panel.
// Where the rule's window is gone, the next rule applies (hot key -> panel, bar and docked panel
// -> the last window in front). Our own windows are never a target, and no window is remembered
// from earlier than the agent's last change of window: the answer is always current.
class InputWindow : public QObject {
    Q_OBJECT
public:
    InputWindow(Desktop& desktop, QStringList ownTitles, QObject* parent = nullptr);

    // The chat window docking follows (0: none yet, or it has gone).
    void setChatWindow(WindowId id) { m_chat = id; }
    void setDocked(bool docked) { m_docked = docked; }
    // One of our windows came to the front; the window in front until then is the agent's. For
    // desktops that do not report every change of the window in front.
    void noteForeground();

    // 0 when there is no window to paste into.
    WindowId target(PasteOrigin origin);

    bool isOwnWindow(const WindowInfo& info) const;
    WindowId lastForeignWindow() const { return m_lastForeign; }

private:
    void onForegroundChanged(WindowId id);
    bool usable(WindowId id);

    Desktop& m_desktop;
    QStringList m_ownTitles;
    WindowId m_lastForeign = 0;
    WindowId m_chat = 0;
    bool m_docked = false;
};
