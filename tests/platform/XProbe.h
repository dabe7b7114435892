#pragma once

#include <QByteArray>
#include <QList>
#include <QRect>

struct _XDisplay;

// A plain Xlib client of the tests' own, to look at the X server behind the desktop's back and to
// make what stub_chat cannot: a window that names itself the pre-EWMH way, a changed keyboard
// mapping.
class XProbe {
public:
    XProbe();
    ~XProbe();

    XProbe(const XProbe&) = delete;
    XProbe& operator=(const XProbe&) = delete;

    bool isOpen() const { return m_display != nullptr; }

    // Keycodes held down now.
    QList<int> pressedKeys();
    // The core modifier state (lock keys included) as the server has it now.
    unsigned modifierState();
    bool capsLockOn();
    bool numLockOn();

    // A top-level window with WM_NAME as Latin-1 STRING and WM_CLASS, and no _NET_WM_NAME.
    quint64 createLegacyWindow(const QByteArray& latin1Title, const QByteArray& className,
                               const QRect& geometry);
    void setLegacyTitle(quint64 window, const QByteArray& latin1Title);
    void destroyWindow(quint64 window);

    // Held keys repeat after `delayMs`, every `intervalMs`.
    void setAutoRepeat(int delayMs, int intervalMs);

    // Exchanges what two keys produce, by keysym name ("F9"); false if either has no key.
    bool swapKeys(const char* first, const char* second);

private:
    _XDisplay* m_display;
};
