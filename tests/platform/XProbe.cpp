#include "XProbe.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

XProbe::XProbe() : m_display(XOpenDisplay(nullptr)) {}

XProbe::~XProbe()
{
    if (m_display)
        XCloseDisplay(m_display);
}

QList<int> XProbe::pressedKeys()
{
    char keys[32] = {};
    XQueryKeymap(m_display, keys);
    QList<int> pressed;
    for (int code = 0; code < 256; ++code) {
        if (static_cast<unsigned char>(keys[code / 8]) & (1u << (code % 8)))
            pressed << code;
    }
    return pressed;
}

unsigned XProbe::modifierState()
{
    Window root = 0, child = 0;
    int rootX = 0, rootY = 0, x = 0, y = 0;
    unsigned mask = 0;
    XQueryPointer(m_display, DefaultRootWindow(m_display), &root, &child, &rootX, &rootY, &x, &y,
                  &mask);
    return mask & (ShiftMask | LockMask | ControlMask | Mod1Mask | Mod2Mask | Mod3Mask | Mod4Mask |
                   Mod5Mask);
}

bool XProbe::capsLockOn()
{
    return modifierState() & LockMask;
}

bool XProbe::numLockOn()
{
    const KeyCode numLock = XKeysymToKeycode(m_display, XK_Num_Lock);
    XModifierKeymap* map = XGetModifierMapping(m_display);
    unsigned mask = 0;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int k = 0; k < map->max_keypermod; ++k) {
            if (numLock != 0 && map->modifiermap[modifier * map->max_keypermod + k] == numLock)
                mask = 1u << modifier;
        }
    }
    XFreeModifiermap(map);
    return mask != 0 && (modifierState() & mask);
}

quint64 XProbe::createLegacyWindow(const QByteArray& latin1Title, const QByteArray& className,
                                   const QRect& geometry)
{
    const int screen = DefaultScreen(m_display);
    const Window window = XCreateSimpleWindow(
        m_display, RootWindow(m_display, screen), geometry.x(), geometry.y(),
        static_cast<unsigned>(geometry.width()), static_cast<unsigned>(geometry.height()), 0,
        BlackPixel(m_display, screen), WhitePixel(m_display, screen));
    XStoreName(m_display, window, latin1Title.constData());
    QByteArray instance = className.toLower();
    QByteArray klass = className;
    XClassHint hint;
    hint.res_name = instance.data();
    hint.res_class = klass.data();
    XSetClassHint(m_display, window, &hint);
    XSizeHints size{};
    size.flags = USPosition | USSize;
    size.x = geometry.x();
    size.y = geometry.y();
    size.width = geometry.width();
    size.height = geometry.height();
    XSetWMNormalHints(m_display, window, &size);
    XMapWindow(m_display, window);
    XSync(m_display, False);
    return window;
}

void XProbe::setLegacyTitle(quint64 window, const QByteArray& latin1Title)
{
    XStoreName(m_display, window, latin1Title.constData());
    XSync(m_display, False);
}

void XProbe::destroyWindow(quint64 window)
{
    XDestroyWindow(m_display, window);
    XSync(m_display, False);
}

void XProbe::setAutoRepeat(int delayMs, int intervalMs)
{
    XkbSetAutoRepeatRate(m_display, XkbUseCoreKbd, static_cast<unsigned>(delayMs),
                         static_cast<unsigned>(intervalMs));
    XSync(m_display, False);
}

bool XProbe::swapKeys(const char* first, const char* second)
{
    const KeyCode a = XKeysymToKeycode(m_display, XStringToKeysym(first));
    const KeyCode b = XKeysymToKeycode(m_display, XStringToKeysym(second));
    if (a == 0 || b == 0)
        return false;
    int perA = 0, perB = 0;
    KeySym* symsA = XGetKeyboardMapping(m_display, a, 1, &perA);
    KeySym* symsB = XGetKeyboardMapping(m_display, b, 1, &perB);
    XChangeKeyboardMapping(m_display, a, perB, symsB, 1);
    XChangeKeyboardMapping(m_display, b, perA, symsA, 1);
    XFree(symsA);
    XFree(symsB);
    XSync(m_display, False);
    return true;
}
