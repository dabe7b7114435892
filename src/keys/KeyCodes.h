#pragma once

// Keys are Windows virtual-key codes everywhere in the program, and a combination's modifiers are
// the mask config.ini has always stored: Alt 1, Ctrl 2, Shift 4 (and the Windows key 8). The
// desktops translate both to their own terms.
namespace VirtualKey {
inline constexpr int Enter = 0x0D;
inline constexpr int Shift = 0x10;
inline constexpr int Control = 0x11;
inline constexpr int Alt = 0x12;
inline constexpr int V = 0x56;
inline constexpr int F1 = 0x70; // F1..F24 follow one another
inline constexpr int F24 = 0x87;
} // namespace VirtualKey

namespace ModifierMask {
inline constexpr int Alt = 1;
inline constexpr int Control = 2;
inline constexpr int Shift = 4;
inline constexpr int Meta = 8;
} // namespace ModifierMask
