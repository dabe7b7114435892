#pragma once

#include "platform/win32/Win32MessageWindow.h"
#include "platform/win32/Win32Result.h"

#include <functional>
#include <map>

// Global hot keys registered with RegisterHotKey for this process's message window. Windows
// reports the key-down (WM_HOTKEY) and hands the key-up to the window in front; nothing is
// grabbed. held() still tells whether the key of the hot key that fired last is down: a paste
// sent meanwhile would mix the agent's key, and its auto-repeat, into Ctrl+V.
class Win32HotKeys {
public:
    explicit Win32HotKeys(std::function<void(int id)> pressed);

    bool isAvailable() const { return m_window.handle() != nullptr; }
    std::wstring unavailableReason() const;

    // `id` is the caller's. Taken when another program (or another id here) holds the
    // combination.
    Win32Result add(int id, int virtualKey, int modifierMask);
    void remove(int id);
    bool held();

private:
    struct HotKey {
        int systemId = 0;
        int virtualKey = 0;
        int modifierMask = 0;
    };

    int freeSystemId() const;
    void onHotKey(WPARAM systemId);

    std::function<void(int)> m_pressed;
    Win32MessageWindow m_window;
    std::map<int, HotKey> m_hotKeys; // by the caller's id
    int m_firedKey = 0;              // the virtual key of the last hot key that fired
};
