#include "platform/win32/Win32ClipboardRequests.h"

#include <ole2.h>
#include <utility>

namespace {

// IDataObject's methods by their place in its table: IUnknown's three come first. Only the two
// that hand data over count; asking for the list of formats is not a read.
constexpr WORD GetDataMethod = 3;
constexpr WORD GetDataHereMethod = 4;

// The watch of this thread: hooks and message filters belong to a thread.
thread_local Win32ClipboardRequests* t_watch = nullptr;

} // namespace

// This thread's COM message filter. It lets every call through, as COM does without one, or as
// the filter it replaced decides. COM objects end through Release, never by deleting the
// interface, so its destructor need not be virtual; GCC warns about the interface all the same.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif
class Win32ClipboardRequests::Filter final : public IMessageFilter {
public:
    explicit Filter(Win32ClipboardRequests* owner) : m_owner(owner) {}

    void detach() { m_owner = nullptr; }
    void setPrevious(IMessageFilter* previous) { m_previous = previous; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (!object)
            return E_POINTER;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IMessageFilter)) {
            *object = static_cast<IMessageFilter*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --m_references;
        if (left == 0) {
            if (m_previous)
                m_previous->Release();
            delete this;
        }
        return left;
    }

    DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD callType, HTASK caller, DWORD tickCount,
                                               LPINTERFACEINFO info) override
    {
        const DWORD verdict =
            m_previous ? m_previous->HandleInComingCall(callType, caller, tickCount, info)
                       : static_cast<DWORD>(SERVERCALL_ISHANDLED);
        if (verdict == SERVERCALL_ISHANDLED && m_owner && info &&
            IsEqualIID(info->iid, IID_IDataObject) &&
            (info->wMethod == GetDataMethod || info->wMethod == GetDataHereMethod)) {
            // The caller's thread id, though typed as a task handle.
            const auto thread = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(caller));
            const Client client = clientOfThread(thread);
            m_owner->report(client != 0 ? client : m_owner->unknownClient());
        }
        return verdict;
    }
    DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK callee, DWORD tickCount,
                                              DWORD rejectType) override
    {
        // Without a filter, COM gives up on a rejected call at once.
        return m_previous ? m_previous->RetryRejectedCall(callee, tickCount, rejectType)
                          : static_cast<DWORD>(-1);
    }
    DWORD STDMETHODCALLTYPE MessagePending(HTASK callee, DWORD tickCount,
                                           DWORD pendingType) override
    {
        return m_previous ? m_previous->MessagePending(callee, tickCount, pendingType)
                          : static_cast<DWORD>(PENDINGMSG_WAITDEFPROCESS);
    }

private:
    ~Filter() = default;

    ULONG m_references = 1;
    Win32ClipboardRequests* m_owner;
    IMessageFilter* m_previous = nullptr;
};
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

Win32ClipboardRequests::Win32ClipboardRequests(std::function<void(Client)> requested)
    : m_requested(std::move(requested))
{
    if (t_watch)
        return;
    t_watch = this;
    m_hook = SetWindowsHookExW(WH_CALLWNDPROC, &onSentMessage, nullptr, GetCurrentThreadId());
    auto* filter = new Filter(this);
    IMessageFilter* previous = nullptr;
    if (SUCCEEDED(CoRegisterMessageFilter(filter, &previous))) {
        filter->setPrevious(previous);
        m_filter = filter;
        m_previousFilter = previous;
    }
    filter->Release(); // COM holds it while it is registered
}

Win32ClipboardRequests::~Win32ClipboardRequests()
{
    if (t_watch != this)
        return;
    t_watch = nullptr;
    if (m_hook)
        UnhookWindowsHookEx(m_hook);
    if (!m_filter)
        return;
    m_filter->detach();
    // The filter that was there before comes back, unless another came after ours: that one
    // goes back in front, and ours, which now only passes calls on, stays behind it.
    IMessageFilter* current = nullptr;
    if (FAILED(CoRegisterMessageFilter(m_previousFilter, &current)) || !current)
        return;
    if (current != static_cast<IMessageFilter*>(m_filter)) {
        IMessageFilter* restored = nullptr;
        CoRegisterMessageFilter(current, &restored);
        if (restored)
            restored->Release();
    }
    current->Release();
}

Win32ClipboardRequests::Client Win32ClipboardRequests::clientOfWindow(HWND window)
{
    DWORD process = 0;
    if (window)
        GetWindowThreadProcessId(window, &process);
    return process;
}

Win32ClipboardRequests::Client Win32ClipboardRequests::clientOfThread(DWORD threadId)
{
    const HANDLE thread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, threadId);
    if (!thread)
        return 0;
    const DWORD process = GetProcessIdOfThread(thread);
    CloseHandle(thread);
    return process;
}

LRESULT CALLBACK Win32ClipboardRequests::onSentMessage(int code, WPARAM wParam, LPARAM lParam)
{
    if (code == HC_ACTION && t_watch) {
        const auto* message = reinterpret_cast<const CWPSTRUCT*>(lParam);
        // Sent to the clipboard's owner (OLE's window) for a format offered and not yet
        // rendered, while the asking program holds the clipboard open.
        if (message->message == WM_RENDERFORMAT && message->hwnd == GetClipboardOwner()) {
            const Client client = clientOfWindow(GetOpenClipboardWindow());
            t_watch->report(client != 0 ? client : t_watch->unknownClient());
        }
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

void Win32ClipboardRequests::report(Client client)
{
    if (m_requested)
        m_requested(client);
}

Win32ClipboardRequests::Client Win32ClipboardRequests::unknownClient()
{
    return m_nextUnknown++;
}
