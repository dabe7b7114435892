#include "platform/win32/Win32Keyboard.h"

#include "keys/KeyCodes.h"
#include "platform/win32/Win32Keys.h"

#include <windows.h>

namespace Win32Keyboard {

Win32Result send(const std::vector<KeyPress>& keys)
{
    std::vector<INPUT> inputs;
    inputs.reserve(keys.size());
    for (const KeyPress& key : keys) {
        if (!Win32Keys::isKeyboardKey(key.virtualKey))
            return Win32Result::failed(L"无法模拟按键 " +
                                       Win32Keys::combinationName(key.virtualKey, 0) +
                                       L"：这不是键盘上的键。");
        // Both the virtual key and the scan code: the target sees the key we mean whatever its
        // keyboard layout, and programs that read scan codes (raw input, games' engines) see the
        // key's place on the keyboard.
        const unsigned scan = Win32Keys::scanCode(key.virtualKey);
        INPUT input{};
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = static_cast<WORD>(key.virtualKey);
        input.ki.wScan = static_cast<WORD>(scan);
        input.ki.dwFlags = (key.down ? 0 : KEYEVENTF_KEYUP) |
                           (Win32Keys::isExtendedKey(key.virtualKey) ? KEYEVENTF_EXTENDEDKEY : 0);
        inputs.push_back(input);
    }
    if (inputs.empty())
        return Win32Result::done();
    const UINT sent =
        SendInput(static_cast<UINT>(inputs.size()), inputs.data(), static_cast<int>(sizeof(INPUT)));
    if (sent == inputs.size())
        return Win32Result::done();
    const DWORD error = GetLastError();
    // Windows drops synthesised keys aimed at a program that runs with more rights than ours
    // (as administrator), without saying so.
    return Win32Result::failed(
        L"Windows 没有接受模拟的按键（聊天程序若以管理员身份运行，本程序也须以管理员身份运行）" +
        (error ? L"：" + Win32Keys::errorText(error) : std::wstring(L"。")));
}

int heldModifiers()
{
    int mask = 0;
    if (isDown(VK_CONTROL))
        mask |= ModifierMask::Control;
    if (isDown(VK_SHIFT))
        mask |= ModifierMask::Shift;
    if (isDown(VK_MENU))
        mask |= ModifierMask::Alt;
    if (isDown(VK_LWIN) || isDown(VK_RWIN))
        mask |= ModifierMask::Meta;
    return mask;
}

bool isDown(int virtualKey)
{
    return (static_cast<unsigned short>(GetAsyncKeyState(virtualKey)) & 0x8000u) != 0;
}

} // namespace Win32Keyboard
