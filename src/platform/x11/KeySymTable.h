#pragma once

#include <QString>

// Keys are Windows virtual-key codes everywhere in the program; X11 speaks of keysyms. The
// punctuation keys are those of a US layout, where the virtual-key codes come from.
namespace KeySymTable {

// 0 (NoSymbol) for a virtual key that has no X11 counterpart.
unsigned long keysymForVirtualKey(int virtualKey);

// The X11 name of the key ("F5", "A", "Return"); letters are given in capitals, as printed on
// the keyboard. Empty for an unknown key.
QString keyName(int virtualKey);

// "Ctrl+Alt+F9", for messages; a key without a name as its hexadecimal code ("0xFF").
QString combinationName(int virtualKey, int modifierMask);

} // namespace KeySymTable
