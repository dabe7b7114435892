#pragma once

#include "platform/Desktop.h"

#include <memory>

class X11ClipboardWatch;
class X11Connection;
class X11HotKeys;
class X11Keyboard;
class X11WindowWatch;

// The desktop of an X11 session (or XWayland), spoken to through a connection of its own, apart
// from Qt's: windows are watched and activated through EWMH (X11WindowWatch), keys synthesised
// with XTEST (X11Keyboard), hot keys are passive key grabs (X11HotKeys), and requests for our
// clipboard are seen on Qt's connection (X11ClipboardWatch).
class X11Desktop : public Desktop {
    Q_OBJECT
public:
    // An empty display name means $DISPLAY.
    explicit X11Desktop(const QByteArray& displayName = {}, QObject* parent = nullptr);
    ~X11Desktop() override;

    bool reportsWindowChanges() const override { return true; }
    bool isAvailable() const override;
    QString unavailableReason() const override;

    WindowInfo foregroundWindow() override;
    WindowInfo window(WindowId id) override;
    bool activate(WindowId id) override;
    DesktopResult sendKeys(const QList<KeyStroke>& keys) override;
    int heldModifiers() override;
    bool hotKeyHeld() override;
    DesktopResult registerHotKey(int id, int virtualKey, int modifierMask) override;
    void unregisterHotKey(int id) override;
    QString keyName(int virtualKey) override;
    OpenResult openPath(const QString& path) override;
    OpenResult openUrl(const QUrl& url) override;
    bool reportsClipboardRequests() const override { return m_clipboardWatch != nullptr; }
    quint64 clientOf(WindowId id) override;

private:
    X11Connection* m_connection;
    X11WindowWatch* m_windows = nullptr;
    X11HotKeys* m_hotKeys = nullptr;
    std::unique_ptr<X11Keyboard> m_keyboard;
    X11ClipboardWatch* m_clipboardWatch = nullptr; // null where Qt itself does not run on X11
};
