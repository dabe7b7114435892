#include "TestKit.h"

#include "platform/win32/Win32Keys.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <ole2.h>

namespace TestKit {

namespace {

LRESULT CALLBACK recordingProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_KEYDOWN || message == WM_KEYUP || message == WM_SYSKEYDOWN ||
        message == WM_SYSKEYUP)
        keyLog().push_back({message, wParam, lParam, (GetKeyState(VK_CONTROL) & 0x8000) != 0});
    return DefWindowProcW(window, message, wParam, lParam);
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

bool signalled(HANDLE handle)
{
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
}

// A chat window: a multi-line EDIT control, where Ctrl+V pastes the clipboard's text and Enter
// starts a new line.
int chat(HANDLE ready, HANDLE quit)
{
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &chatProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = ChatClass;
    RegisterClassExW(&windowClass);
    const HWND window = CreateWindowExW(0, ChatClass, ChatTitle, WS_OVERLAPPEDWINDOW, 600, 200, 400,
                                        300, nullptr, nullptr, windowClass.hInstance, nullptr);
    const HWND edit =
        CreateWindowExW(0, L"EDIT", L"", WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_WANTRETURN, 0, 0,
                        400, 300, window, nullptr, windowClass.hInstance, nullptr);
    if (!window || !edit)
        return 3;
    ShowWindow(window, SW_SHOW);
    SetEvent(ready);
    pumpUntil([quit] { return signalled(quit); }, INFINITE);
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

bool pumpUntil(const std::function<bool()>& done, DWORD timeoutMs)
{
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (done())
            return true;
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return false;
        MsgWaitForMultipleObjects(
            0, nullptr, FALSE, static_cast<DWORD>(std::min<ULONGLONG>(end - now, 10)), QS_ALLINPUT);
    }
}

void pumpFor(DWORD ms)
{
    pumpUntil([] { return false; }, ms);
}

bool runningUnderWine()
{
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

Helper::Helper(const std::wstring& arguments)
{
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    m_ready = CreateEventW(&inherit, TRUE, FALSE, nullptr);
    m_quit = CreateEventW(&inherit, TRUE, FALSE, nullptr);
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    wchar_t handles[64] = {};
    std::swprintf(handles, 64, L" --helper %llu %llu ",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(m_ready)),
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(m_quit)));
    std::wstring command = L"\"" + std::wstring(program) + L"\"" + handles + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    if (!CreateProcessW(program, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &m_process))
        std::fprintf(stderr, "cannot start a helper: error %lu\n", GetLastError());
}

Helper::~Helper()
{
    if (m_process.hProcess)
        finish();
    CloseHandle(m_ready);
    CloseHandle(m_quit);
}

bool Helper::waitReady(DWORD timeoutMs)
{
    return m_process.hProcess &&
           pumpUntil([this] { return signalled(m_ready) || signalled(m_process.hProcess); },
                     timeoutMs) &&
           signalled(m_ready);
}

int Helper::finish(DWORD timeoutMs)
{
    if (!m_process.hProcess)
        return -1;
    SetEvent(m_quit);
    // Our messages keep flowing: a helper that reads our clipboard is served through them.
    const bool ended = pumpUntil([this] { return signalled(m_process.hProcess); }, timeoutMs);
    DWORD code = static_cast<DWORD>(-1);
    if (ended)
        GetExitCodeProcess(m_process.hProcess, &code);
    else
        TerminateProcess(m_process.hProcess, code);
    CloseHandle(m_process.hThread);
    CloseHandle(m_process.hProcess);
    m_process = {};
    return ended ? static_cast<int>(code) : -1;
}

int runHelper(HANDLE ready, HANDLE quit, int count, wchar_t** arguments)
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

std::vector<KeyMessage>& keyLog()
{
    static std::vector<KeyMessage> log;
    return log;
}

HWND createWindow(const wchar_t* className, const wchar_t* title, int x, int y, int width,
                  int height)
{
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &recordingProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className;
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    RegisterClassExW(&windowClass);
    const HWND window =
        CreateWindowExW(0, className, title, WS_OVERLAPPEDWINDOW | WS_VISIBLE, x, y, width, height,
                        nullptr, nullptr, windowClass.hInstance, nullptr);
    pumpFor(50);
    return window;
}

} // namespace TestKit
