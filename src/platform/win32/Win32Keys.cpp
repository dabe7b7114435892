#include "platform/win32/Win32Keys.h"

#include "keys/KeyCodes.h"

#include <cwchar>
#include <iterator>

namespace Win32Keys {

UINT hotKeyModifiers(int modifierMask)
{
    UINT flags = MOD_NOREPEAT;
    if (modifierMask & ModifierMask::Alt)
        flags |= MOD_ALT;
    if (modifierMask & ModifierMask::Control)
        flags |= MOD_CONTROL;
    if (modifierMask & ModifierMask::Shift)
        flags |= MOD_SHIFT;
    if (modifierMask & ModifierMask::Meta)
        flags |= MOD_WIN;
    return flags;
}

bool isKeyboardKey(int virtualKey)
{
    if (virtualKey < 1 || virtualKey > 254)
        return false;
    switch (virtualKey) {
    case VK_LBUTTON:
    case VK_RBUTTON:
    case VK_MBUTTON:
    case VK_XBUTTON1:
    case VK_XBUTTON2:
        return false;
    default:
        return true;
    }
}

bool isExtendedKey(int virtualKey)
{
    // The keys that send the E0 prefix on every standard keyboard. Not read from the layout:
    // MapVirtualKey leaves the prefix out on some systems.
    switch (virtualKey) {
    case VK_RCONTROL:
    case VK_RMENU:
    case VK_INSERT:
    case VK_DELETE:
    case VK_HOME:
    case VK_END:
    case VK_PRIOR:
    case VK_NEXT:
    case VK_LEFT:
    case VK_RIGHT:
    case VK_UP:
    case VK_DOWN:
    case VK_DIVIDE:
    case VK_NUMLOCK:
    case VK_SNAPSHOT:
    case VK_LWIN:
    case VK_RWIN:
    case VK_APPS:
        return true;
    default:
        return false;
    }
}

unsigned scanCode(int virtualKey)
{
    return MapVirtualKeyW(static_cast<UINT>(virtualKey), MAPVK_VK_TO_VSC) & 0xFF;
}

std::wstring keyName(int virtualKey)
{
    if (!isKeyboardKey(virtualKey))
        return {};
    const unsigned scan = scanCode(virtualKey);
    if (scan == 0)
        return {};
    // GetKeyNameText takes the key as a key message's lParam: the scan code in bits 16-23 and
    // the extended-key flag in bit 24.
    const LONG lParam =
        static_cast<LONG>((scan << 16) | (isExtendedKey(virtualKey) ? 1u << 24 : 0));
    wchar_t name[64] = {};
    const int length = GetKeyNameTextW(lParam, name, static_cast<int>(std::size(name)));
    if (length <= 0)
        return {};
    std::wstring result(name, static_cast<size_t>(length));
    // Letters and digits as printed on the keyboard, whatever the layout's name for them.
    if (result.size() == 1 && result[0] >= L'a' && result[0] <= L'z')
        result[0] = static_cast<wchar_t>(result[0] - L'a' + L'A');
    return result;
}

std::wstring combinationName(int virtualKey, int modifierMask)
{
    std::wstring name;
    if (modifierMask & ModifierMask::Control)
        name += L"Ctrl+";
    if (modifierMask & ModifierMask::Alt)
        name += L"Alt+";
    if (modifierMask & ModifierMask::Shift)
        name += L"Shift+";
    if (modifierMask & ModifierMask::Meta)
        name += L"Win+";
    const std::wstring key = keyName(virtualKey);
    if (!key.empty())
        return name + key;
    wchar_t code[16] = {};
    std::swprintf(code, std::size(code), L"0x%X", static_cast<unsigned>(virtualKey));
    return name + code;
}

std::wstring errorText(DWORD error)
{
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text = length ? std::wstring(buffer, length) : std::wstring();
    LocalFree(buffer);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' '))
        text.pop_back();
    if (text.empty()) {
        wchar_t code[32] = {};
        std::swprintf(code, std::size(code), L"Windows 错误 %lu",
                      static_cast<unsigned long>(error));
        text = code;
    }
    return text;
}

} // namespace Win32Keys
