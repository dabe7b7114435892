#include "platform/x11/X11Keyboard.h"

#include "platform/x11/KeySymTable.h"

// Xlib comes last: its macros would otherwise clash with names in Qt's headers.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {
using ErrorTrap = X11Connection::ErrorTrap;
} // namespace

DesktopResult X11Keyboard::send(const QList<KeyStroke>& keys)
{
    if (!m_x.hasXTest())
        return DesktopResult::failed(QStringLiteral("X 服务器没有 XTEST 扩展，无法模拟按键。"));
    // Every key is looked up before the first is sent: a half-typed shortcut could leave a
    // modifier held down in the target program.
    QList<std::pair<unsigned, bool>> strokes;
    strokes.reserve(keys.size());
    for (const KeyStroke& key : keys) {
        const unsigned long keysym = KeySymTable::keysymForVirtualKey(key.virtualKey);
        const unsigned code = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_x.display(), keysym);
        if (code == 0)
            return DesktopResult::failed(
                QStringLiteral("无法模拟按键 %1：当前键盘布局中没有这个键。")
                    .arg(KeySymTable::combinationName(key.virtualKey, 0)));
        strokes.append({code, key.down});
    }
    ErrorTrap trap(m_x);
    for (const auto& [code, down] : strokes)
        XTestFakeKeyEvent(m_x.display(), code, down ? True : False, CurrentTime);
    XFlush(m_x.display());
    const QList<X11Connection::ServerError> errors = trap.sync();
    m_x.scheduleProcessing();
    if (errors.isEmpty())
        return DesktopResult::done();
    return DesktopResult::failed(QStringLiteral("模拟按键失败：") + m_x.errorText(errors.first()));
}

int X11Keyboard::heldModifiers()
{
    char keys[32] = {};
    XQueryKeymap(m_x.display(), keys);
    int mask = 0;
    for (int code = 8; code < 256; ++code) {
        if (!(static_cast<unsigned char>(keys[code / 8]) & (1u << (code % 8))))
            continue;
        // A key counts by what it primarily is: Meta_L usually shares the Alt key as its second
        // level, and must not make a held Alt look like Alt+Meta.
        const auto keycode = static_cast<KeyCode>(code);
        KeySym keysym = XkbKeycodeToKeysym(m_x.display(), keycode, 0, 0);
        if (keysym == NoSymbol)
            keysym = XkbKeycodeToKeysym(m_x.display(), keycode, 0, 1);
        switch (keysym) {
        case XK_Control_L:
        case XK_Control_R:
            mask |= ModifierMask::Control;
            break;
        case XK_Shift_L:
        case XK_Shift_R:
            mask |= ModifierMask::Shift;
            break;
        case XK_Alt_L:
        case XK_Alt_R:
            mask |= ModifierMask::Alt;
            break;
        case XK_Meta_L:
        case XK_Meta_R:
        case XK_Super_L:
        case XK_Super_R:
            mask |= ModifierMask::Meta;
            break;
        default:
            break;
        }
    }
    m_x.scheduleProcessing();
    return mask;
}
