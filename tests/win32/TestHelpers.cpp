#include "TestHelpers.h"

#include "platform/win32/Win32Keys.h"

#include <cwchar>
#include <ole2.h>
#include <string>

namespace {

// Waits for `quit` while serving this thread's windows.
void serveUntil(HANDLE quit)
{
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (MsgWaitForMultipleObjects(1, &quit, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0)
            return;
    }
}

LRESULT CALLBACK chatProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_SIZE:
        MoveWindow(GetWindow(window, GW_CHILD), 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
        return 0;
    case WM_ACTIVATE:
    case WM_SETFOCUS:
        // The input box takes the keys whenever the window comes to the front, as in chat
        // programs.
        if (message == WM_SETFOCUS || LOWORD(wParam) != WA_INACTIVE)
            SetFocus(GetWindow(window, GW_CHILD));
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

// A chat window: a multi-line EDIT control, where Ctrl+V pastes the clipboard's text and Enter
// starts a new line.
int chat(HANDLE ready, HANDLE quit)
{
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &chatProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = TestHelpers::ChatClass;
    RegisterClassExW(&windowClass);
    const HWND window =
        CreateWindowExW(0, TestHelpers::ChatClass, TestHelpers::ChatTitle, WS_OVERLAPPEDWINDOW, 600,
                        200, 400, 300, nullptr, nullptr, windowClass.hInstance, nullptr);
    const HWND edit =
        CreateWindowExW(0, L"EDIT", L"", WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_WANTRETURN, 0, 0,
                        400, 300, window, nullptr, windowClass.hInstance, nullptr);
    if (!window || !edit)
        return 3;
    ShowWindow(window, SW_SHOW);
    SetEvent(ready);
    serveUntil(quit);
    DestroyWindow(window);
    return 0;
}

int holdHotKey(HANDLE ready, HANDLE quit, int virtualKey, int modifierMask)
{
    if (!RegisterHotKey(nullptr, 1, Win32Keys::hotKeyModifiers(modifierMask),
                        static_cast<UINT>(virtualKey)))
        return 4;
    SetEvent(ready);
    WaitForSingleObject(quit, INFINITE);
    UnregisterHotKey(nullptr, 1);
    return 0;
}

std::wstring readWithGetClipboardData(bool withWindow)
{
    const HWND window = withWindow ? CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                                     nullptr, GetModuleHandleW(nullptr), nullptr)
                                   : nullptr;
    bool open = false;
    for (int attempt = 0; attempt < 100 && !open; ++attempt) {
        open = OpenClipboard(window) != FALSE;
        if (!open)
            Sleep(10);
    }
    if (!open)
        return L"(clipboard busy)";
    std::wstring text;
    if (const HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
        text = static_cast<const wchar_t*>(GlobalLock(data));
        GlobalUnlock(data);
    }
    CloseClipboard();
    if (window)
        DestroyWindow(window);
    return text;
}

std::wstring readWithOle()
{
    OleInitialize(nullptr);
    IDataObject* data = nullptr;
    std::wstring text;
    if (SUCCEEDED(OleGetClipboard(&data))) {
        FORMATETC format{CF_UNICODETEXT, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
        STGMEDIUM medium{};
        if (SUCCEEDED(data->GetData(&format, &medium))) {
            text = static_cast<const wchar_t*>(GlobalLock(medium.hGlobal));
            GlobalUnlock(medium.hGlobal);
            ReleaseStgMedium(&medium);
        }
        data->Release();
    }
    OleUninitialize();
    return text;
}

} // namespace

namespace TestHelpers {

int run(HANDLE ready, HANDLE quit, int count, wchar_t** arguments)
{
    const std::wstring role = count > 0 ? arguments[0] : L"";
    if (role == L"chat")
        return chat(ready, quit);
    if (role == L"holder" && count == 3)
        return holdHotKey(ready, quit, std::wcstol(arguments[1], nullptr, 0),
                          std::wcstol(arguments[2], nullptr, 0));
    if (role == L"read" && count == 2) {
        const std::wstring how = arguments[1];
        const std::wstring text =
            how == L"ole" ? readWithOle() : readWithGetClipboardData(how == L"window");
        return text == ClipboardText ? 0 : 2;
    }
    return 5;
}

} // namespace TestHelpers
