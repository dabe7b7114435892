#include "TestKit.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace TestKit {

namespace {

LRESULT CALLBACK recordingProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_KEYDOWN || message == WM_KEYUP || message == WM_SYSKEYDOWN ||
        message == WM_SYSKEYUP)
        keyLog().push_back({message, wParam, lParam, (GetKeyState(VK_CONTROL) & 0x8000) != 0});
    return DefWindowProcW(window, message, wParam, lParam);
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
    if (!m_process.hProcess)
        return false;
    return pumpUntil(
               [this] {
                   return WaitForSingleObject(m_ready, 0) == WAIT_OBJECT_0 ||
                          WaitForSingleObject(m_process.hProcess, 0) == WAIT_OBJECT_0;
               },
               timeoutMs) &&
           WaitForSingleObject(m_ready, 0) == WAIT_OBJECT_0;
}

int Helper::finish(DWORD timeoutMs)
{
    if (!m_process.hProcess)
        return -1;
    SetEvent(m_quit);
    // Our messages keep flowing: a helper that reads our clipboard is served through them.
    const bool ended = pumpUntil(
        [this] { return WaitForSingleObject(m_process.hProcess, 0) == WAIT_OBJECT_0; }, timeoutMs);
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
