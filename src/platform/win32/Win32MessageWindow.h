#pragma once

#include <functional>
#include <map>
#include <windows.h>

// A message-only window of this process, on the thread that creates it: what Windows posts to us
// (WM_HOTKEY, timers) arrives here through the thread's message loop, Qt's or any other.
class Win32MessageWindow {
public:
    using Handler = std::function<void(WPARAM, LPARAM)>;

    Win32MessageWindow();
    ~Win32MessageWindow();
    Win32MessageWindow(const Win32MessageWindow&) = delete;
    Win32MessageWindow& operator=(const Win32MessageWindow&) = delete;

    HWND handle() const { return m_window; }
    // Null when the window could not be created; then this says why.
    DWORD failure() const { return m_failure; }

    // One handler per message; a new one replaces the old.
    void setHandler(UINT message, Handler handler);

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    HWND m_window = nullptr;
    DWORD m_failure = 0;
    std::map<UINT, Handler> m_handlers;
};
