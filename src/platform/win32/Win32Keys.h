#pragma once

#include <string>
#include <windows.h>

// Keys are Windows virtual-key codes everywhere in the program, and the modifier mask config.ini
// stores (Alt 1, Ctrl 2, Shift 4, Windows key 8) is the one RegisterHotKey takes: the only work
// left is naming keys for the agent.
namespace Win32Keys {

// The MOD_ flags of a hot key. MOD_NOREPEAT: a held hot key fires once, not at the keyboard's
// repeat rate.
UINT hotKeyModifiers(int modifierMask);

// A virtual key Windows can synthesise and register (1..254, not a mouse button).
bool isKeyboardKey(int virtualKey);

// The scan code of the key on the keyboard layout of this thread; 0 when the layout has no key
// for it.
unsigned scanCode(int virtualKey);
// The key sends the extended prefix (arrows, right Ctrl, Insert...).
bool isExtendedKey(int virtualKey);

// The name Windows gives the key on the current layout ("F5", "A", "Enter"); empty when it has
// none.
std::wstring keyName(int virtualKey);

// "Ctrl+Alt+F9", for messages; a key without a name as its hexadecimal code ("0xFF").
std::wstring combinationName(int virtualKey, int modifierMask);

// The system's text for an error code, without the trailing line break.
std::wstring errorText(DWORD error);

} // namespace Win32Keys
