#pragma once

#include "platform/Desktop.h"

// The desktop of a session that gives no access to other programs' windows (a Wayland session
// without XWayland): nothing is found, activated, typed or grabbed, but documents and links
// still open, since that needs no window access.
class NullDesktop : public Desktop {
    Q_OBJECT
public:
    explicit NullDesktop(QString reason = defaultReason(), QObject* parent = nullptr);

    static QString defaultReason();

    bool isAvailable() const override { return false; }
    QString unavailableReason() const override { return m_reason; }
    WindowInfo foregroundWindow() override { return {}; }
    WindowInfo window(WindowId) override { return {}; }
    bool activate(WindowId) override { return false; }
    DesktopResult sendKeys(const QList<KeyStroke>&) override
    {
        return DesktopResult::failed(m_reason);
    }
    int heldModifiers() override { return 0; }
    DesktopResult registerHotKey(int, int, int) override { return DesktopResult::failed(m_reason); }
    void unregisterHotKey(int) override {}
    QString keyName(int) override { return {}; }
    OpenResult openPath(const QString& path) override { return openLocalPath(path); }
    OpenResult openUrl(const QUrl& url) override { return openExternalUrl(url); }

    // Opening documents is the same on every system; the other desktops use these too.
    static OpenResult openLocalPath(const QString& path);
    static OpenResult openExternalUrl(const QUrl& url);

private:
    QString m_reason;
};
