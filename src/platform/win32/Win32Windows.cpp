#include "platform/win32/Win32Windows.h"

#include <dwmapi.h>

namespace Win32Windows {

namespace {

constexpr int ActivationTries = 10;
constexpr DWORD ActivationPauseMs = 10;
// A virtual key with no meaning: pressed between Alt's down and up, it keeps the Alt press from
// opening the menu of the window in front.
constexpr WORD NeutralKey = 0xE8;

INPUT keyInput(WORD virtualKey, bool down)
{
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(virtualKey, MAPVK_VK_TO_VSC));
    input.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
    return input;
}

bool isCloaked(HWND window)
{
    DWORD cloaked = 0;
    return SUCCEEDED(DwmGetWindowAttribute(window, DWMWA_CLOAKED, &cloaked, sizeof cloaked)) &&
           cloaked != 0;
}

} // namespace

Win32WindowFacts read(HWND window)
{
    Win32WindowFacts facts;
    if (!window || !IsWindow(window))
        return facts;
    wchar_t className[257] = {};
    const int classLength = GetClassNameW(window, className, 257);
    facts.className.assign(className, classLength > 0 ? static_cast<size_t>(classLength) : 0);
    facts.title = title(window);
    facts.frame = visibleFrame(window);
    // A cloaked window (on another virtual desktop, or a suspended store app) is not seen.
    facts.visible = IsWindowVisible(window) && !isCloaked(window);
    facts.minimized = IsIconic(window) != FALSE;
    facts.processId = processOf(window);
    // The window may have gone while it was read.
    if (IsWindow(window))
        facts.handle = window;
    return facts;
}

HWND foreground()
{
    return GetForegroundWindow();
}

std::wstring title(HWND window)
{
    // Another program's window answers from the title Windows keeps, without a message to the
    // program, so a hung program cannot block us.
    const int length = GetWindowTextLengthW(window);
    if (length <= 0)
        return {};
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    const int copied = GetWindowTextW(window, text.data(), length + 1);
    text.resize(copied > 0 ? static_cast<size_t>(copied) : 0);
    return text;
}

RECT visibleFrame(HWND window)
{
    RECT frame{};
    if (SUCCEEDED(
            DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &frame, sizeof frame)) &&
        frame.right > frame.left && frame.bottom > frame.top)
        return frame;
    GetWindowRect(window, &frame);
    return frame;
}

DWORD processOf(HWND window)
{
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    return process;
}

Activation activate(HWND window)
{
    if (!window || !IsWindow(window))
        return {Activation::Outcome::Gone, L"聊天窗口已经关闭。"};
    if (IsHungAppWindow(window))
        return {Activation::Outcome::Refused, L"聊天窗口没有响应，无法切换到它。"};
    // Asynchronously: restoring is done by the window's own program.
    if (IsIconic(window))
        ShowWindowAsync(window, SW_RESTORE);
    if (GetForegroundWindow() == window)
        return {Activation::Outcome::InFront, {}};
    if (SetForegroundWindow(window))
        return {Activation::Outcome::Requested, {}};

    // The foreground lock. An Alt press lifts it; the press is held while the request is
    // repeated, since the system may take a moment to see the synthesised key.
    const bool altHeld = (GetAsyncKeyState(VK_MENU) & 0x8000) != 0;
    if (!altHeld) {
        INPUT down = keyInput(VK_MENU, true);
        SendInput(1, &down, sizeof(INPUT));
    }
    bool requested = false;
    for (int attempt = 0; attempt < ActivationTries && !requested; ++attempt) {
        requested = SetForegroundWindow(window) != FALSE;
        if (!requested)
            Sleep(ActivationPauseMs);
    }
    if (!altHeld) {
        INPUT rest[3] = {keyInput(NeutralKey, true), keyInput(NeutralKey, false),
                         keyInput(VK_MENU, false)};
        SendInput(3, rest, sizeof(INPUT));
    }
    if (requested)
        return {Activation::Outcome::Requested, {}};
    return {Activation::Outcome::Refused,
            L"Windows 不允许本程序把聊天窗口切到前台（前台锁定），请先点一下聊天窗口。"};
}

} // namespace Win32Windows
