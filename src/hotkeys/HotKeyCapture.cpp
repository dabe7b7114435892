#include "hotkeys/HotKeyCapture.h"

#include "hotkeys/VirtualKeyMap.h"
#include "platform/Desktop.h"

#include <utility>

namespace {

constexpr int Backspace = 0x08;
constexpr int Delete = 0x2E;

bool isModifierKey(int virtualKey)
{
    return virtualKey == VirtualKey::Shift || virtualKey == VirtualKey::Control ||
           virtualKey == VirtualKey::Alt || virtualKey == VirtualKeyMap::LeftWindows;
}

// Keys whose system names differ between keyboards and systems get a fixed one.
QString fixedName(int virtualKey)
{
    switch (virtualKey) {
    case 0x21:
        return QStringLiteral("Page Up");
    case 0x22:
        return QStringLiteral("Page Down");
    case 0x23:
        return QStringLiteral("End");
    case 0x24:
        return QStringLiteral("Home");
    case 0x2D:
        return QStringLiteral("Insert");
    default:
        return {};
    }
}

} // namespace

HotKeyCapture::HotKeyCapture(KeyNamer keyName) : m_keyName(std::move(keyName)) {}

QString HotKeyCapture::noneText()
{
    return QStringLiteral("无");
}

bool HotKeyCapture::keyDown(int virtualKey, Qt::KeyboardModifiers held)
{
    if (virtualKey == VirtualKeyMap::Applications)
        return false;
    if (virtualKey == VirtualKeyMap::LeftWindows)
        m_windowsKeyDown = true;
    if (!m_windowsKeyDown)
        m_modifierMask = 0;

    QString text;
    if (held.testFlag(Qt::ControlModifier)) {
        text += QStringLiteral("Ctrl + ");
        m_modifierMask |= ModifierMask::Control;
    }
    if (held.testFlag(Qt::AltModifier)) {
        text += QStringLiteral("Alt + ");
        m_modifierMask |= ModifierMask::Alt;
    }
    if (held.testFlag(Qt::ShiftModifier)) {
        text += QStringLiteral("Shift + ");
        m_modifierMask |= ModifierMask::Shift;
    }

    // Backspace and Delete take the key away; a modifier alone is no key yet.
    if (isModifierKey(virtualKey) || virtualKey == Backspace || virtualKey == Delete) {
        m_keyCode = 0;
    } else {
        const QString fixed = fixedName(virtualKey);
        text += fixed.isEmpty() ? m_keyName(virtualKey) : fixed;
        m_keyCode = virtualKey;
    }
    m_text = text;
    return true;
}

void HotKeyCapture::keyUp(int virtualKey)
{
    if (virtualKey == VirtualKeyMap::LeftWindows)
        m_windowsKeyDown = false;
    if (m_keyCode == 0) {
        m_text = noneText();
        m_modifierMask = 0;
    }
}

void HotKeyCapture::set(const QString& text, int keyCode, int modifierMask)
{
    m_text = text;
    m_keyCode = keyCode;
    m_modifierMask = modifierMask;
}
