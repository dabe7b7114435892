#pragma once

#include "platform/win32/Win32Result.h"

#include <vector>

// Keys synthesised with SendInput, and the modifier keys held down right now.
namespace Win32Keyboard {

struct KeyPress {
    int virtualKey = 0;
    bool down = true;
};

// Every key is checked before the first is sent, and all go to Windows in one call, so that no
// key of the agent's falls between them.
Win32Result send(const std::vector<KeyPress>& keys);

// The ModifierMask bits of the modifier keys held down, from the keyboard's state now rather
// than from the messages this thread has read.
int heldModifiers();

// The key is down now.
bool isDown(int virtualKey);

} // namespace Win32Keyboard
