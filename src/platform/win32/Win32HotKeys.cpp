#include "platform/win32/Win32HotKeys.h"

#include "platform/win32/Win32Keyboard.h"
#include "platform/win32/Win32Keys.h"

#include <utility>

namespace {
// RegisterHotKey takes 0x0000-0xBFFF from programs; the rest belongs to DLLs.
constexpr int LastSystemId = 0xBFFF;
} // namespace

Win32HotKeys::Win32HotKeys(std::function<void(int id)> pressed) : m_pressed(std::move(pressed))
{
    m_window.setHandler(WM_HOTKEY, [this](WPARAM systemId, LPARAM) { onHotKey(systemId); });
}

std::wstring Win32HotKeys::unavailableReason() const
{
    return L"无法创建接收热键的窗口：" + Win32Keys::errorText(m_window.failure());
}

Win32Result Win32HotKeys::add(int id, int virtualKey, int modifierMask)
{
    if (!isAvailable())
        return Win32Result::failed(unavailableReason());
    const std::wstring name = Win32Keys::combinationName(virtualKey, modifierMask);
    if (!Win32Keys::isKeyboardKey(virtualKey))
        return Win32Result::failed(L"无法注册热键 " + name + L"：这不是键盘上的键。");
    if (const auto it = m_hotKeys.find(id); it != m_hotKeys.end()) {
        if (it->second.virtualKey == virtualKey && it->second.modifierMask == modifierMask)
            return Win32Result::done();
        remove(id);
    }
    const int systemId = freeSystemId();
    if (systemId == 0)
        return Win32Result::failed(L"无法注册热键 " + name + L"：热键太多。");
    if (!RegisterHotKey(m_window.handle(), systemId, Win32Keys::hotKeyModifiers(modifierMask),
                        static_cast<UINT>(virtualKey))) {
        const DWORD error = GetLastError();
        if (error == ERROR_HOTKEY_ALREADY_REGISTERED)
            return Win32Result::taken();
        return Win32Result::failed(L"无法注册热键 " + name + L"：" + Win32Keys::errorText(error));
    }
    m_hotKeys[id] = {systemId, virtualKey, modifierMask};
    return Win32Result::done();
}

void Win32HotKeys::remove(int id)
{
    const auto it = m_hotKeys.find(id);
    if (it == m_hotKeys.end())
        return;
    UnregisterHotKey(m_window.handle(), it->second.systemId);
    m_hotKeys.erase(it);
}

bool Win32HotKeys::held()
{
    if (m_firedKey != 0 && !Win32Keyboard::isDown(m_firedKey))
        m_firedKey = 0;
    return m_firedKey != 0;
}

int Win32HotKeys::freeSystemId() const
{
    for (int candidate = 1; candidate <= LastSystemId; ++candidate) {
        bool used = false;
        for (const auto& entry : m_hotKeys)
            used = used || entry.second.systemId == candidate;
        if (!used)
            return candidate;
    }
    return 0;
}

void Win32HotKeys::onHotKey(WPARAM systemId)
{
    for (const auto& [id, key] : m_hotKeys) {
        if (static_cast<WPARAM>(key.systemId) != systemId)
            continue;
        m_firedKey = key.virtualKey;
        if (m_pressed)
            m_pressed(id);
        return;
    }
}
