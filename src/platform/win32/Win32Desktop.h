#pragma once

#include "platform/Desktop.h"

#include <memory>

class Win32ClipboardRequests;
class Win32HotKeys;
class Win32WindowWatch;

// The Windows desktop: the Win32 core (Win32WindowWatch, Win32Windows, Win32Keyboard,
// Win32HotKeys, Win32ClipboardRequests), which holds every decision and is tested under wine,
// turned into Qt's terms. Frames go from Windows' physical pixels to Qt's coordinates by the
// screens Qt sees.
class Win32Desktop : public Desktop {
    Q_OBJECT
public:
    explicit Win32Desktop(QObject* parent = nullptr);
    ~Win32Desktop() override;

    bool isAvailable() const override;
    QString unavailableReason() const override;
    bool reportsWindowChanges() const override;

    WindowInfo foregroundWindow() override;
    WindowInfo window(WindowId id) override;
    bool activate(WindowId id) override;
    DesktopResult sendKeys(const QList<KeyStroke>& keys) override;
    int heldModifiers() override;
    bool hotKeyHeld() override;
    DesktopResult registerHotKey(int id, int virtualKey, int modifierMask) override;
    void unregisterHotKey(int id) override;
    QString keyName(int virtualKey) override;
    bool reportsClipboardRequests() const override;
    quint64 clientOf(WindowId id) override;
    OpenResult openPath(const QString& path) override;
    OpenResult openUrl(const QUrl& url) override;

private:
    std::unique_ptr<Win32WindowWatch> m_windows;
    std::unique_ptr<Win32HotKeys> m_hotKeys;
    std::unique_ptr<Win32ClipboardRequests> m_clipboard;
};
