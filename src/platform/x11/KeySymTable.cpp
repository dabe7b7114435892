#include "platform/x11/KeySymTable.h"

#include "platform/Desktop.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <array>
#include <utility>

namespace KeySymTable {

namespace {

// The keys outside the contiguous ranges handled in keysymForVirtualKey.
constexpr std::array<std::pair<int, unsigned long>, 50> Singles{{
    {0x08, XK_BackSpace},    {0x09, XK_Tab},         {0x0C, XK_Clear},
    {0x0D, XK_Return},       {0x10, XK_Shift_L},     {0x11, XK_Control_L},
    {0x12, XK_Alt_L},        {0x13, XK_Pause},       {0x14, XK_Caps_Lock},
    {0x1B, XK_Escape},       {0x20, XK_space},       {0x21, XK_Prior},
    {0x22, XK_Next},         {0x23, XK_End},         {0x24, XK_Home},
    {0x25, XK_Left},         {0x26, XK_Up},          {0x27, XK_Right},
    {0x28, XK_Down},         {0x2C, XK_Print},       {0x2D, XK_Insert},
    {0x2E, XK_Delete},       {0x5B, XK_Super_L},     {0x5C, XK_Super_R},
    {0x5D, XK_Menu},         {0x6A, XK_KP_Multiply}, {0x6B, XK_KP_Add},
    {0x6C, XK_KP_Separator}, {0x6D, XK_KP_Subtract}, {0x6E, XK_KP_Decimal},
    {0x6F, XK_KP_Divide},    {0x90, XK_Num_Lock},    {0x91, XK_Scroll_Lock},
    {0xA0, XK_Shift_L},      {0xA1, XK_Shift_R},     {0xA2, XK_Control_L},
    {0xA3, XK_Control_R},    {0xA4, XK_Alt_L},       {0xA5, XK_Alt_R},
    {0xBA, XK_semicolon},    {0xBB, XK_equal},       {0xBC, XK_comma},
    {0xBD, XK_minus},        {0xBE, XK_period},      {0xBF, XK_slash},
    {0xC0, XK_grave},        {0xDB, XK_bracketleft}, {0xDC, XK_backslash},
    {0xDD, XK_bracketright}, {0xDE, XK_apostrophe},
}};

} // namespace

unsigned long keysymForVirtualKey(int virtualKey)
{
    if (virtualKey >= 0x41 && virtualKey <= 0x5A)
        return XK_a + static_cast<unsigned long>(virtualKey - 0x41);
    if (virtualKey >= 0x30 && virtualKey <= 0x39)
        return XK_0 + static_cast<unsigned long>(virtualKey - 0x30);
    if (virtualKey >= 0x60 && virtualKey <= 0x69)
        return XK_KP_0 + static_cast<unsigned long>(virtualKey - 0x60);
    if (virtualKey >= 0x70 && virtualKey <= 0x87)
        return XK_F1 + static_cast<unsigned long>(virtualKey - 0x70);
    for (const auto& [key, keysym] : Singles) {
        if (key == virtualKey)
            return keysym;
    }
    return NoSymbol;
}

QString keyName(int virtualKey)
{
    unsigned long keysym = keysymForVirtualKey(virtualKey);
    if (keysym >= XK_a && keysym <= XK_z)
        keysym = XK_A + (keysym - XK_a);
    if (keysym == NoSymbol)
        return {};
    const char* name = XKeysymToString(keysym);
    return name ? QString::fromLatin1(name) : QString();
}

QString combinationName(int virtualKey, int modifierMask)
{
    QString name;
    if (modifierMask & ModifierMask::Control)
        name += QStringLiteral("Ctrl+");
    if (modifierMask & ModifierMask::Alt)
        name += QStringLiteral("Alt+");
    if (modifierMask & ModifierMask::Shift)
        name += QStringLiteral("Shift+");
    if (modifierMask & ModifierMask::Meta)
        name += QStringLiteral("Super+");
    const QString key = keyName(virtualKey);
    return name +
           (key.isEmpty() ? QStringLiteral("0x") + QString::number(virtualKey, 16).toUpper() : key);
}

} // namespace KeySymTable
