#pragma once

#include <QList>
#include <QObject>
#include <QRect>
#include <QString>
#include <QUrl>

// A top-level window of another program, as the window system sees it.
using WindowId = quint64;

struct WindowInfo {
    WindowId id = 0;   // 0: no window
    QString className; // Win32 class name; on X11 the class part of WM_CLASS
    QString title;
    QRect frame; // outer frame, in screen pixels
    bool visible = false;
    bool minimized = false;
    bool isValid() const { return id != 0; }
};

// One synthesised key transition. Keys are Windows virtual-key codes everywhere in the program.
struct KeyStroke {
    int virtualKey = 0;
    bool down = true;
    friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

namespace VirtualKey {
inline constexpr int Enter = 0x0D;
inline constexpr int Shift = 0x10;
inline constexpr int Control = 0x11;
inline constexpr int Alt = 0x12;
inline constexpr int V = 0x56;
} // namespace VirtualKey

// The modifier mask stored with hot keys: Alt 1, Ctrl 2, Shift 4 (and the Windows key 8).
namespace ModifierMask {
inline constexpr int Alt = 1;
inline constexpr int Control = 2;
inline constexpr int Shift = 4;
inline constexpr int Meta = 8;
} // namespace ModifierMask

// What the program needs from the window system: which window is in front, moving the focus
// back to it, synthesised keys, global hot keys and opening documents. One implementation per
// system; FakeDesktop records what it is asked for tests.
class Desktop : public QObject {
    Q_OBJECT
public:
    enum class OpenResult { Opened, NotFound, Failed };

    using QObject::QObject;

    // False where the system gives no access to other programs' windows (Wayland without
    // XWayland): docking, hot keys and automatic pasting are then off.
    virtual bool isAvailable() const = 0;
    virtual QString unavailableReason() const { return {}; }

    // True when foreground changes, moves, minimising and closing of watched windows are all
    // reported by the signals below, so nothing needs to be polled.
    virtual bool reportsWindowChanges() const { return false; }

    virtual WindowInfo foregroundWindow() = 0;
    virtual WindowInfo window(WindowId id) = 0;

    // Asks the window system to bring the window to the front; whether it got there is seen
    // through foregroundWindow().
    virtual bool activate(WindowId id) = 0;

    virtual bool sendKeys(const QList<KeyStroke>& keys) = 0;
    // The ModifierMask bits of the modifier keys held down right now.
    virtual int heldModifiers() = 0;

    // Global hot keys: `id` is the caller's; false when another program holds the combination.
    virtual bool registerHotKey(int id, int virtualKey, int modifierMask) = 0;
    virtual void unregisterHotKey(int id) = 0;
    virtual QString keyName(int virtualKey) = 0;

    virtual OpenResult openPath(const QString& path) = 0;
    virtual OpenResult openUrl(const QUrl& url) = 0;

signals:
    void foregroundChanged(WindowId id);
    void windowMoved(WindowId id, const QRect& frame);
    void windowTitleChanged(WindowId id, const QString& title);
    void hotKeyPressed(int id);
    // A failure of the window system that the user or a log should see.
    void problem(const QString& message);
};
