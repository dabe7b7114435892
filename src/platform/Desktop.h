#pragma once

#include "keys/KeyCodes.h"

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
    qint64 processId = 0; // the program that owns it; 0 when the system does not say
    bool isValid() const { return id != 0; }
};

// What a request to the window system came to: done, refused because another program holds what
// was asked for (a hot key), or failed, with the reason in words the agent can act on.
class DesktopResult {
public:
    static DesktopResult done() { return {}; }
    static DesktopResult taken() { return DesktopResult(true, {}); }
    static DesktopResult failed(QString reason) { return DesktopResult(false, std::move(reason)); }

    bool ok() const { return !m_taken && m_reason.isEmpty(); }
    bool isTaken() const { return m_taken; }
    QString reason() const { return m_reason; }

private:
    DesktopResult() = default;
    DesktopResult(bool taken, QString reason) : m_taken(taken), m_reason(std::move(reason)) {}

    bool m_taken = false;
    QString m_reason;
};

// One synthesised key transition. Keys are Windows virtual-key codes everywhere in the program.
struct KeyStroke {
    int virtualKey = 0;
    bool down = true;
    friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

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

    // All keys are checked before the first is sent, so a failure never leaves a key held.
    virtual DesktopResult sendKeys(const QList<KeyStroke>& keys) = 0;
    // The ModifierMask bits of the modifier keys held down right now.
    virtual int heldModifiers() = 0;
    // A registered hot key is still held down. Where the system hands every key to the program
    // that registered the hot key until it is let go (X11), a key synthesised now would never
    // reach the window in front.
    virtual bool hotKeyHeld() { return false; }

    // Global hot keys: `id` is the caller's.
    virtual DesktopResult registerHotKey(int id, int virtualKey, int modifierMask) = 0;
    virtual void unregisterHotKey(int id) = 0;
    virtual QString keyName(int virtualKey) = 0;

    // True when clipboardRequested is emitted whenever another program asks for our clipboard's
    // content.
    virtual bool reportsClipboardRequests() const { return false; }
    // The program connection a window belongs to, in the terms clipboardRequested uses.
    virtual quint64 clientOf(WindowId id) { return id; }

    virtual OpenResult openPath(const QString& path) = 0;
    virtual OpenResult openUrl(const QUrl& url) = 0;

signals:
    void foregroundChanged(WindowId id);
    void windowMoved(WindowId id, const QRect& frame);
    void windowTitleChanged(WindowId id, const QString& title);
    void hotKeyPressed(int id);
    // The hot keys held down were let go.
    void hotKeysReleased();
    // Another program asks for our clipboard's content in some format (not for the list of
    // formats); emitted just before the answer, which hands over the data if the format is one
    // we offer. Programs ask for one format after another until one is offered.
    void clipboardRequested(quint64 client);
    // A failure of the window system outside any request (a hot key lost when the keyboard
    // changed), for the agent to see.
    void problem(const QString& message);
};
