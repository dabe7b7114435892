#pragma once

#include <cstdint>
#include <functional>
#include <windows.h>

struct IMessageFilter;

// Qt puts our clipboard on the system clipboard as an OLE data object, which renders our content
// only when a program asks for it. Programs ask in one of two ways, and both reach this thread:
//   - GetClipboardData: Windows sends WM_RENDERFORMAT to OLE's clipboard window here, and OLE
//     asks the data object. The program holds the clipboard open meanwhile, with its own window
//     (GetOpenClipboardWindow) unless it opened it for no window.
//   - OleGetClipboard: the program calls the data object itself through COM, and COM gives this
//     thread's message filter the call's interface, method and calling thread first.
// Both are seen just before the data object is asked, and reported with the program that asks:
// the requested callback runs before our content is rendered for that request.
class Win32ClipboardRequests {
public:
    // A program is its process id. A request whose program cannot be told is given a number of
    // its own above every process id, so that it is never taken for the target's read nor
    // remembered as a program that reads every content.
    using Client = std::uint64_t;
    static constexpr Client FirstUnknownClient = Client(1) << 32;

    explicit Win32ClipboardRequests(std::function<void(Client)> requested);
    ~Win32ClipboardRequests();
    Win32ClipboardRequests(const Win32ClipboardRequests&) = delete;
    Win32ClipboardRequests& operator=(const Win32ClipboardRequests&) = delete;

    // Requests through GetClipboardData are seen.
    bool watchesClipboardData() const { return m_hook != nullptr; }
    // Requests through COM are seen (the thread is in OLE's single-threaded apartment).
    bool watchesDataObjectCalls() const { return m_filter != nullptr; }

    static Client clientOfWindow(HWND window);
    static Client clientOfThread(DWORD threadId);

private:
    class Filter;
    friend class Filter;

    static LRESULT CALLBACK onSentMessage(int code, WPARAM wParam, LPARAM lParam);
    void report(Client client);
    Client unknownClient();

    std::function<void(Client)> m_requested;
    HHOOK m_hook = nullptr;
    Filter* m_filter = nullptr;
    IMessageFilter* m_previousFilter = nullptr; // held by m_filter
    Client m_nextUnknown = FirstUnknownClient;
};
