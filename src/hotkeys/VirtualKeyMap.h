#pragma once

#include <Qt>

// Qt reports keys as Qt::Key values; hot keys are stored and registered as Windows virtual-key
// codes on every system. Punctuation is placed as on a US keyboard, where those codes come from,
// so a shifted symbol ("!", "?") names the key that carries it.
namespace VirtualKeyMap {

inline constexpr int LeftWindows = 0x5B;
inline constexpr int Applications = 0x5D; // the context-menu key

// The virtual key of a Qt key, or 0 when the key has none. `modifiers` tells keypad keys
// (Qt::KeypadModifier) from their twins on the main block.
int fromQtKey(int qtKey, Qt::KeyboardModifiers modifiers);

// The modifier held by pressing the key itself: Qt does not always count a modifier key in the
// state of its own key press.
Qt::KeyboardModifiers modifierOfKey(int qtKey);

} // namespace VirtualKeyMap
