#pragma once

#include "platform/Desktop.h"
#include "platform/x11/X11Connection.h"

// Keys synthesised through XTEST, and the modifier keys held down right now.
class X11Keyboard {
public:
    explicit X11Keyboard(X11Connection& connection) : m_x(connection) {}

    // All keys are looked up before the first is sent.
    DesktopResult send(const QList<KeyStroke>& keys);
    // The ModifierMask bits of the modifier keys held down.
    int heldModifiers();

private:
    X11Connection& m_x;
};
