#pragma once

#include "platform/win32/Win32Windows.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class Win32MessageWindow;

// Which window is in front and the changes of the windows asked about: Windows reports the
// foreground, moves, title changes, minimising and closing of every window to WinEvent hooks,
// delivered through this thread's message loop, so nothing is polled. Where the hooks cannot be
// set, a 100 ms timer reads the same things instead.
class Win32WindowWatch {
public:
    struct Listener {
        std::function<void(HWND window)> foregroundChanged;
        // The window's visible frame; none when it has gone. Also reported when it was
        // minimised, restored, shown or hidden, since the frame alone may not change.
        std::function<void(HWND window, std::optional<RECT> frame)> moved;
        std::function<void(HWND window, const std::wstring& title)> titleChanged;
    };
    enum class Source { Events, Polling };
    static constexpr unsigned PollIntervalMs = 100;

    explicit Win32WindowWatch(Listener listener, Source source = Source::Events);
    ~Win32WindowWatch();
    Win32WindowWatch(const Win32WindowWatch&) = delete;
    Win32WindowWatch& operator=(const Win32WindowWatch&) = delete;

    // True when the hooks are set, false when the timer stands in for them.
    bool reportsEvents() const { return !m_hooks.empty(); }

    Win32WindowFacts foregroundWindow();
    // The window is watched from now on.
    Win32WindowFacts window(HWND window);

private:
    struct Watch {
        RECT lastFrame{};
        std::wstring lastTitle;
        bool requested = false; // asked for, not only the foreground for a while
    };

    static void CALLBACK onEvent(HWINEVENTHOOK hook, DWORD event, HWND window, LONG object,
                                 LONG child, DWORD thread, DWORD time);
    void handle(DWORD event, HWND window);
    void startPolling();
    void poll();

    Win32WindowFacts watch(HWND window, bool requested);
    void forget(HWND window);
    // A closed window: forgotten and reported as gone.
    void reportGone(HWND window);
    void foregroundMayHaveChanged();
    void frameMayHaveChanged(HWND window);
    void stateMayHaveChanged(HWND window);
    void titleMayHaveChanged(HWND window);

    Listener m_listener;
    std::vector<HWINEVENTHOOK> m_hooks;
    std::unique_ptr<Win32MessageWindow> m_timerWindow;
    HWND m_foreground = nullptr;
    std::map<HWND, Watch> m_watched;
};
