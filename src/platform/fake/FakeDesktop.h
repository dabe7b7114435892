#pragma once

#include "Desktop.h"

#include <QHash>
#include <QMap>
#include <QStringList>

// A desktop that does what it is told and remembers what it was asked: windows are set up by
// the test, activation succeeds (optionally after a delay, or never), keys are recorded together
// with what the clipboard held when Ctrl+V arrived.
class FakeDesktop : public Desktop {
    Q_OBJECT
public:
    // What the clipboard held when a Ctrl+V was synthesised.
    struct Paste {
        WindowId target = 0; // the foreground window at that moment
        QString text;
        QList<QUrl> urls;
        bool image = false;
    };

    using Desktop::Desktop;

    bool isAvailable() const override { return m_available; }
    QString unavailableReason() const override { return m_unavailableReason; }
    WindowInfo foregroundWindow() override;
    WindowInfo window(WindowId id) override;
    bool activate(WindowId id) override;
    bool sendKeys(const QList<KeyStroke>& keys) override;
    int heldModifiers() override { return m_heldModifiers; }
    bool registerHotKey(int id, int virtualKey, int modifierMask) override;
    void unregisterHotKey(int id) override;
    QString keyName(int virtualKey) override;
    OpenResult openPath(const QString& path) override;
    OpenResult openUrl(const QUrl& url) override;

    // Set-up.
    void setUnavailable(const QString& reason);
    void addWindow(const WindowInfo& info);
    void setForeground(WindowId id);
    void moveWindow(WindowId id, const QRect& frame);
    // -1: activation requests are ignored; otherwise the window comes to the front after
    // this many milliseconds.
    void setActivationDelay(int ms) { m_activationDelay = ms; }
    void setHeldModifiers(int mask) { m_heldModifiers = mask; }
    // A combination held by another program.
    void takeHotKey(int virtualKey, int modifierMask);
    void pressHotKey(int id) { emit hotKeyPressed(id); }

    // Observations.
    QList<KeyStroke> keys() const { return m_keys; }
    QList<Paste> pastes() const { return m_pastes; }
    QList<WindowId> activations() const { return m_activations; }
    QStringList openedPaths() const { return m_openedPaths; }
    QList<QUrl> openedUrls() const { return m_openedUrls; }
    QMap<int, std::pair<int, int>> hotKeys() const { return m_hotKeys; }
    void clearRecords();

private:
    bool m_available = true;
    QString m_unavailableReason;
    QHash<WindowId, WindowInfo> m_windows;
    WindowId m_foreground = 0;
    int m_activationDelay = 0;
    int m_heldModifiers = 0;
    QList<KeyStroke> m_keys;
    QList<Paste> m_pastes;
    QList<WindowId> m_activations;
    QStringList m_openedPaths;
    QList<QUrl> m_openedUrls;
    QMap<int, std::pair<int, int>> m_hotKeys; // id -> (key, modifiers)
    QList<std::pair<int, int>> m_taken;
    bool m_controlDown = false;
};
