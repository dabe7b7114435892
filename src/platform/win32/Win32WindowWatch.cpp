#include "platform/win32/Win32WindowWatch.h"

#include "platform/win32/Win32MessageWindow.h"

#include <iterator>
#include <utility>

namespace {

// The hooks of every watch, for the one callback Windows calls.
std::map<HWINEVENTHOOK, Win32WindowWatch*>& watches()
{
    static std::map<HWINEVENTHOOK, Win32WindowWatch*> all;
    return all;
}

// Event ranges: a hook per range keeps out the flood of events nobody here reads (focus,
// selection, value changes inside windows).
constexpr std::pair<DWORD, DWORD> EventRanges[] = {
    {EVENT_SYSTEM_FOREGROUND, EVENT_SYSTEM_FOREGROUND},
    {EVENT_SYSTEM_MINIMIZESTART, EVENT_SYSTEM_MINIMIZEEND},
    {EVENT_OBJECT_DESTROY, EVENT_OBJECT_HIDE},
    {EVENT_OBJECT_LOCATIONCHANGE, EVENT_OBJECT_NAMECHANGE},
};

constexpr UINT_PTR PollTimer = 1;

bool sameRect(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

} // namespace

Win32WindowWatch::Win32WindowWatch(Listener listener, Source source)
    : m_listener(std::move(listener))
{
    if (source == Source::Events) {
        for (const auto& [first, last] : EventRanges) {
            const HWINEVENTHOOK hook =
                SetWinEventHook(first, last, nullptr, &onEvent, 0, 0, WINEVENT_OUTOFCONTEXT);
            if (!hook)
                break;
            m_hooks.push_back(hook);
            watches()[hook] = this;
        }
        // Half a set of hooks would miss changes silently: all or none.
        if (m_hooks.size() != std::size(EventRanges)) {
            for (const HWINEVENTHOOK hook : m_hooks) {
                UnhookWinEvent(hook);
                watches().erase(hook);
            }
            m_hooks.clear();
        }
    }
    m_foreground = GetForegroundWindow();
    if (m_foreground)
        watch(m_foreground, false);
    if (m_hooks.empty())
        startPolling();
}

Win32WindowWatch::~Win32WindowWatch()
{
    for (const HWINEVENTHOOK hook : m_hooks) {
        UnhookWinEvent(hook);
        watches().erase(hook);
    }
}

Win32WindowFacts Win32WindowWatch::foregroundWindow()
{
    const HWND front = GetForegroundWindow();
    // An event still queued is not waited for: the caller asks now and gets now.
    if (front != m_foreground)
        foregroundMayHaveChanged();
    return front ? Win32Windows::read(front) : Win32WindowFacts{};
}

Win32WindowFacts Win32WindowWatch::window(HWND window)
{
    return watch(window, true);
}

void CALLBACK Win32WindowWatch::onEvent(HWINEVENTHOOK hook, DWORD event, HWND window, LONG object,
                                        LONG child, DWORD, DWORD)
{
    // Only events about windows themselves; carets, cursors and controls inside them have
    // objects and children of their own.
    if (object != OBJID_WINDOW || child != CHILDID_SELF || !window)
        return;
    const auto it = watches().find(hook);
    if (it != watches().end())
        it->second->handle(event, window);
}

void Win32WindowWatch::handle(DWORD event, HWND window)
{
    if (event == EVENT_SYSTEM_FOREGROUND) {
        foregroundMayHaveChanged();
        return;
    }
    if (!m_watched.count(window))
        return;
    switch (event) {
    case EVENT_OBJECT_LOCATIONCHANGE:
        frameMayHaveChanged(window);
        break;
    case EVENT_OBJECT_NAMECHANGE:
        titleMayHaveChanged(window);
        break;
    case EVENT_OBJECT_DESTROY:
        reportGone(window);
        break;
    default: // minimised, restored, shown, hidden
        stateMayHaveChanged(window);
        break;
    }
}

void Win32WindowWatch::startPolling()
{
    m_timerWindow = std::make_unique<Win32MessageWindow>();
    if (!m_timerWindow->handle())
        return;
    m_timerWindow->setHandler(WM_TIMER, [this](WPARAM, LPARAM) { poll(); });
    SetTimer(m_timerWindow->handle(), PollTimer, PollIntervalMs, nullptr);
}

void Win32WindowWatch::poll()
{
    foregroundMayHaveChanged();
    std::vector<HWND> windows;
    for (const auto& entry : m_watched)
        windows.push_back(entry.first);
    for (const HWND window : windows) {
        if (!m_watched.count(window))
            continue;
        frameMayHaveChanged(window);
        if (m_watched.count(window))
            titleMayHaveChanged(window);
    }
}

Win32WindowFacts Win32WindowWatch::watch(HWND window, bool requested)
{
    const Win32WindowFacts facts = Win32Windows::read(window);
    if (!facts.isValid()) {
        forget(window);
        return facts;
    }
    auto [it, added] = m_watched.try_emplace(window);
    // The caller knows the window as it is now: only later changes are reported. A window that
    // merely came to the front again keeps what was last reported, so a change is not lost.
    if (added || requested) {
        it->second.lastFrame = facts.frame;
        it->second.lastTitle = facts.title;
    }
    if (requested)
        it->second.requested = true;
    return facts;
}

void Win32WindowWatch::forget(HWND window)
{
    m_watched.erase(window);
}

void Win32WindowWatch::foregroundMayHaveChanged()
{
    const HWND front = GetForegroundWindow();
    if (front == m_foreground)
        return;
    const HWND previous = std::exchange(m_foreground, front);
    if (front)
        watch(front, false);
    // A window that was only followed because it was in front is let go.
    if (const auto it = m_watched.find(previous); it != m_watched.end() && !it->second.requested)
        m_watched.erase(it);
    if (m_listener.foregroundChanged)
        m_listener.foregroundChanged(front);
}

void Win32WindowWatch::reportGone(HWND window)
{
    forget(window);
    if (m_listener.moved)
        m_listener.moved(window, std::nullopt);
}

void Win32WindowWatch::frameMayHaveChanged(HWND window)
{
    if (!IsWindow(window)) {
        reportGone(window);
        return;
    }
    const RECT frame = Win32Windows::visibleFrame(window);
    const auto it = m_watched.find(window);
    if (it == m_watched.end() || sameRect(it->second.lastFrame, frame))
        return;
    it->second.lastFrame = frame;
    if (m_listener.moved)
        m_listener.moved(window, frame);
}

void Win32WindowWatch::stateMayHaveChanged(HWND window)
{
    if (!IsWindow(window)) {
        reportGone(window);
        return;
    }
    const RECT frame = Win32Windows::visibleFrame(window);
    if (const auto it = m_watched.find(window); it != m_watched.end())
        it->second.lastFrame = frame;
    if (m_listener.moved)
        m_listener.moved(window, frame);
}

void Win32WindowWatch::titleMayHaveChanged(HWND window)
{
    const std::wstring title = Win32Windows::title(window);
    const auto it = m_watched.find(window);
    if (it == m_watched.end() || it->second.lastTitle == title)
        return;
    it->second.lastTitle = title;
    if (m_listener.titleChanged)
        m_listener.titleChanged(window, title);
}
