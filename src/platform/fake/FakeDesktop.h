#pragma once

#include "platform/Desktop.h"

#include <QHash>
#include <QMap>
#include <QStringList>

// A desktop that does what it is told, behaves like the real ones where that matters, and
// remembers what it was asked. Windows are set up by the test; activation succeeds (optionally
// after a delay, or never). Like the programs agents chat in, the window in front fetches our
// clipboard only some time after it saw Ctrl+V, so a send key that follows too soon finds an
// empty box; and like X11, keys synthesised while a hot key is held reach nobody.
class FakeDesktop : public Desktop {
    Q_OBJECT
public:
    // What the window in front took from the clipboard after a Ctrl+V.
    struct Paste {
        WindowId target = 0;
        QString text;
        QList<QUrl> urls;
        bool image = false;
    };
    // A send key (Enter or Ctrl+Enter) as the window in front received it. It sends what the
    // box holds and empties it, as chat programs do.
    struct Send {
        WindowId target = 0;
        QString text;
        bool ctrl = false;
    };

    using Desktop::Desktop;

    bool isAvailable() const override { return m_available; }
    QString unavailableReason() const override { return m_unavailableReason; }
    WindowInfo foregroundWindow() override;
    WindowInfo window(WindowId id) override;
    bool activate(WindowId id) override;
    DesktopResult sendKeys(const QList<KeyStroke>& keys) override;
    int heldModifiers() override { return m_heldModifiers; }
    bool hotKeyHeld() override { return m_hotKeyHeld; }
    DesktopResult registerHotKey(int id, int virtualKey, int modifierMask) override;
    void unregisterHotKey(int id) override;
    QString keyName(int virtualKey) override;
    OpenResult openPath(const QString& path) override;
    OpenResult openUrl(const QUrl& url) override;
    bool reportsClipboardRequests() const override { return m_reportsRequests; }
    quint64 clientOf(WindowId id) override { return m_clients.value(id, id); }

    // Set-up.
    void setUnavailable(const QString& reason);
    void addWindow(const WindowInfo& info);
    void removeWindow(WindowId id);
    void setForeground(WindowId id);
    void moveWindow(WindowId id, const QRect& frame);
    // -1: activation requests are ignored; otherwise the window comes to the front after
    // this many milliseconds.
    void setActivationDelay(int ms) { m_activationDelay = ms; }
    // Like a real window system, report a new window in front only after this many
    // milliseconds (0: at once).
    void setForegroundReportDelay(int ms) { m_reportDelay = ms; }
    void setHeldModifiers(int mask) { m_heldModifiers = mask; }
    // How long after Ctrl+V the window in front fetches the clipboard: 0 as soon as it gets to
    // the key (Qt programs), more for programs that fetch asynchronously, -1 never. Like GTK
    // programs, it first asks for a format of its own that nobody offers.
    void setReadDelay(int ms) { m_readDelay = ms; }
    void setReportsClipboardRequests(bool on) { m_reportsRequests = on; }
    // Windows of one program share a client; a window is its own client unless set.
    void setClient(WindowId window, quint64 client) { m_clients.insert(window, client); }
    // The program of `window` fetches the clipboard through a connection of its own.
    void setReadingClient(WindowId window, quint64 client) { m_readers.insert(window, client); }
    // Every sendKeys fails with this reason ("" again: keys go out).
    void setKeysFailure(const QString& reason) { m_keysFailure = reason; }
    // A program that fetches every new clipboard content after `delayMs` (a clipboard manager).
    void addClipboardWatcher(quint64 client, int delayMs);
    // A combination held by another program.
    void takeHotKey(int virtualKey, int modifierMask);
    // The registration of every combination fails with this reason ("" again: succeeds).
    void setHotKeyFailure(const QString& reason) { m_hotKeyFailure = reason; }
    // The agent presses hot key `id` and lets go after `holdMs` (0: at once).
    void pressHotKey(int id, int holdMs = 0);
    void problemOccurred(const QString& message) { emit problem(message); }

    // Observations.
    QList<KeyStroke> keys() const { return m_keys; }
    // Keys synthesised while a hot key was held: the grab swallowed them.
    QList<KeyStroke> swallowedKeys() const { return m_swallowed; }
    QList<Paste> pastes() const { return m_pastes; }
    QList<Send> sends() const { return m_sends; }
    // The text a window's box holds: what it took from the clipboard, in order.
    QString boxText(WindowId id) const { return m_boxes.value(id); }
    QList<WindowId> activations() const { return m_activations; }
    QStringList openedPaths() const { return m_openedPaths; }
    QList<QUrl> openedUrls() const { return m_openedUrls; }
    QMap<int, std::pair<int, int>> hotKeys() const { return m_hotKeys; }
    void clearRecords();

private:
    void readClipboard(WindowId target);
    // Asks for the clipboard's content as `client` would; returns the text.
    QString request(quint64 client, const QString& format);

    bool m_available = true;
    QString m_unavailableReason;
    QHash<WindowId, WindowInfo> m_windows;
    QHash<WindowId, quint64> m_clients;
    QHash<WindowId, quint64> m_readers;
    QString m_keysFailure;
    WindowId m_foreground = 0;
    int m_activationDelay = 0;
    int m_reportDelay = 0;
    int m_heldModifiers = 0;
    int m_readDelay = 0;
    bool m_reportsRequests = true;
    bool m_hotKeyHeld = false;
    QString m_hotKeyFailure;
    QList<KeyStroke> m_keys;
    QList<KeyStroke> m_swallowed;
    QList<Paste> m_pastes;
    QList<Send> m_sends;
    QHash<WindowId, QString> m_boxes;
    QList<WindowId> m_activations;
    QStringList m_openedPaths;
    QList<QUrl> m_openedUrls;
    QMap<int, std::pair<int, int>> m_hotKeys; // id -> (key, modifiers)
    QList<std::pair<int, int>> m_taken;
    bool m_controlDown = false;
};
