#include "hotkeys/VirtualKeyMap.h"

#include "keys/KeyCodes.h"

#include <array>
#include <utility>

namespace VirtualKeyMap {

namespace {

// Keys that keep their code whether or not they come from the keypad: with NumLock off, the
// keypad's digits are navigation keys and Windows reports them as such.
constexpr std::array<std::pair<int, int>, 29> Plain{{
    {Qt::Key_Backspace, 0x08}, {Qt::Key_Tab, 0x09},         {Qt::Key_Backtab, 0x09},
    {Qt::Key_Clear, 0x0C},     {Qt::Key_Return, 0x0D},      {Qt::Key_Enter, 0x0D},
    {Qt::Key_Shift, 0x10},     {Qt::Key_Control, 0x11},     {Qt::Key_Alt, 0x12},
    {Qt::Key_AltGr, 0x12},     {Qt::Key_Pause, 0x13},       {Qt::Key_CapsLock, 0x14},
    {Qt::Key_Escape, 0x1B},    {Qt::Key_Space, 0x20},       {Qt::Key_PageUp, 0x21},
    {Qt::Key_PageDown, 0x22},  {Qt::Key_End, 0x23},         {Qt::Key_Home, 0x24},
    {Qt::Key_Left, 0x25},      {Qt::Key_Up, 0x26},          {Qt::Key_Right, 0x27},
    {Qt::Key_Down, 0x28},      {Qt::Key_Print, 0x2C},       {Qt::Key_Insert, 0x2D},
    {Qt::Key_Delete, 0x2E},    {Qt::Key_Meta, LeftWindows}, {Qt::Key_Menu, Applications},
    {Qt::Key_NumLock, 0x90},   {Qt::Key_ScrollLock, 0x91},
}};

// The keypad's own operator keys (VK_MULTIPLY .. VK_DIVIDE).
constexpr std::array<std::pair<int, int>, 6> Keypad{{
    {Qt::Key_Asterisk, 0x6A},
    {Qt::Key_Plus, 0x6B},
    {Qt::Key_Minus, 0x6D},
    {Qt::Key_Period, 0x6E},
    {Qt::Key_Comma, 0x6E}, // the decimal key of layouts that write a decimal comma
    {Qt::Key_Slash, 0x6F},
}};

// US layout: the plain and the shifted symbol of a key both give its code, digits included.
constexpr std::array<std::pair<int, int>, 32> Punctuation{{
    {Qt::Key_Semicolon, 0xBA},    {Qt::Key_Colon, 0xBA},      {Qt::Key_Equal, 0xBB},
    {Qt::Key_Plus, 0xBB},         {Qt::Key_Comma, 0xBC},      {Qt::Key_Less, 0xBC},
    {Qt::Key_Minus, 0xBD},        {Qt::Key_Underscore, 0xBD}, {Qt::Key_Period, 0xBE},
    {Qt::Key_Greater, 0xBE},      {Qt::Key_Slash, 0xBF},      {Qt::Key_Question, 0xBF},
    {Qt::Key_QuoteLeft, 0xC0},    {Qt::Key_AsciiTilde, 0xC0}, {Qt::Key_BracketLeft, 0xDB},
    {Qt::Key_BraceLeft, 0xDB},    {Qt::Key_Backslash, 0xDC},  {Qt::Key_Bar, 0xDC},
    {Qt::Key_BracketRight, 0xDD}, {Qt::Key_BraceRight, 0xDD}, {Qt::Key_Apostrophe, 0xDE},
    {Qt::Key_QuoteDbl, 0xDE},     {Qt::Key_Exclam, '1'},      {Qt::Key_At, '2'},
    {Qt::Key_NumberSign, '3'},    {Qt::Key_Dollar, '4'},      {Qt::Key_Percent, '5'},
    {Qt::Key_AsciiCircum, '6'},   {Qt::Key_Ampersand, '7'},   {Qt::Key_Asterisk, '8'},
    {Qt::Key_ParenLeft, '9'},     {Qt::Key_ParenRight, '0'},
}};

template <std::size_t N> int lookUp(const std::array<std::pair<int, int>, N>& table, int qtKey)
{
    for (const auto& [key, code] : table) {
        if (key == qtKey)
            return code;
    }
    return 0;
}

} // namespace

int fromQtKey(int qtKey, Qt::KeyboardModifiers modifiers)
{
    const bool keypad = modifiers.testFlag(Qt::KeypadModifier);
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return 0x41 + (qtKey - Qt::Key_A);
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return (keypad ? 0x60 : 0x30) + (qtKey - Qt::Key_0);
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24)
        return VirtualKey::F1 + (qtKey - Qt::Key_F1);
    if (const int code = lookUp(Plain, qtKey))
        return code;
    if (keypad) {
        if (const int code = lookUp(Keypad, qtKey))
            return code;
    }
    return lookUp(Punctuation, qtKey);
}

Qt::KeyboardModifiers modifierOfKey(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Shift:
        return Qt::ShiftModifier;
    case Qt::Key_Control:
        return Qt::ControlModifier;
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
        return Qt::AltModifier;
    case Qt::Key_Meta:
        return Qt::MetaModifier;
    default:
        return Qt::NoModifier;
    }
}

} // namespace VirtualKeyMap
