#include "platform/win32/Win32MessageWindow.h"

namespace {

constexpr wchar_t ClassName[] = L"QuillmateDesktopMessages";

} // namespace

Win32MessageWindow::Win32MessageWindow()
{
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    // The class is registered once per process and stays: every message window shares it.
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &Win32MessageWindow::procedure;
    windowClass.hInstance = instance;
    windowClass.lpszClassName = ClassName;
    if (!RegisterClassExW(&windowClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        m_failure = GetLastError();
        return;
    }
    m_window =
        CreateWindowExW(0, ClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, instance, nullptr);
    if (!m_window) {
        m_failure = GetLastError();
        return;
    }
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

Win32MessageWindow::~Win32MessageWindow()
{
    if (m_window) {
        SetWindowLongPtrW(m_window, GWLP_USERDATA, 0);
        DestroyWindow(m_window);
    }
}

void Win32MessageWindow::setHandler(UINT message, Handler handler)
{
    m_handlers[message] = std::move(handler);
}

LRESULT CALLBACK Win32MessageWindow::procedure(HWND window, UINT message, WPARAM wParam,
                                               LPARAM lParam)
{
    auto* self = reinterpret_cast<Win32MessageWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self) {
        const auto it = self->m_handlers.find(message);
        if (it != self->m_handlers.end() && it->second) {
            // A copy: the handler may replace itself.
            const Handler handler = it->second;
            handler(wParam, lParam);
            return 0;
        }
    }
    return DefWindowProcW(window, message, wParam, lParam);
}
