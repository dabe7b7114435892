#pragma once

#include "platform/Desktop.h"

#include <QByteArray>
#include <QHash>
#include <QMap>
#include <QSet>

class QSocketNotifier;
class X11ClipboardWatch;

// Xlib's own types, declared here so that its macros (None, KeyPress, Bool, Status...) stay out
// of every file that includes this header.
struct _XDisplay;
union _XEvent;

// The desktop of an X11 session (or XWayland), spoken to through a connection of its own, apart
// from Qt's: the window manager is asked through EWMH which window is in front and to activate
// one, keys are synthesised with XTEST and hot keys are passive key grabs on the root window.
// Events are read in the Qt event loop; nothing runs in another thread.
class X11Desktop : public Desktop {
    Q_OBJECT
public:
    // An empty display name means $DISPLAY.
    explicit X11Desktop(const QByteArray& displayName = {}, QObject* parent = nullptr);
    ~X11Desktop() override;

    bool reportsWindowChanges() const override { return true; }
    bool isAvailable() const override { return m_display != nullptr; }
    QString unavailableReason() const override { return m_unavailableReason; }

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
    class ErrorTrap;

    struct ServerError {
        int code = 0;
        int request = 0;
        int minor = 0;
        unsigned long resource = 0;
    };

    enum AtomName {
        NetActiveWindow,
        NetWmName,
        NetFrameExtents,
        NetWmState,
        NetWmStateHidden,
        NetWmPid,
        WmState,
        Utf8String,
        CompoundText,
        AtomCount
    };

    // A window whose moves and title changes are reported.
    struct Watch {
        unsigned long frame = 0; // the window manager's frame around it, 0 when not reparented
        QRect lastFrame;
        QString lastTitle;
        bool requested = false; // asked for by the caller, not only the foreground for a while
    };

    struct HotKey {
        int virtualKey = 0;
        int modifierMask = 0;
        unsigned keycode = 0;
        unsigned modifiers = 0;
        QList<unsigned> grabbedStates; // every lock variant of `modifiers` that is grabbed
    };
    enum class GrabResult { Grabbed, Taken, Unmappable, Reserved, Failed };

    // The modifier bits that are not fixed by the core protocol, as the keyboard has them now.
    struct ModifierBits {
        unsigned alt = 0;
        unsigned super = 0;
        unsigned numLock = 0;
        unsigned scrollLock = 0;
    };

    void processEvents();
    void scheduleProcessing();
    void handleEvent(_XEvent& event);
    void handleKey(_XEvent& event);

    unsigned long activeWindow();
    WindowInfo readWindow(unsigned long id);
    QString readTitle(unsigned long id);
    unsigned long frameOf(unsigned long id);
    bool readProperty(unsigned long window, unsigned long property, unsigned long type,
                      QByteArray* bytes, QList<unsigned long>* values = nullptr,
                      unsigned long* actualType = nullptr);

    WindowInfo watch(unsigned long id, bool requested);
    void forget(unsigned long id, bool stillExists);
    void followReparenting(unsigned long id);
    void foregroundMayHaveChanged();
    void frameMayHaveChanged(unsigned long id);
    void titleMayHaveChanged(unsigned long id);
    void stateMayHaveChanged(unsigned long id);
    unsigned long watchedClientOf(unsigned long window) const;

    void readModifierBits();
    unsigned modifierState(int modifierMask) const;
    QList<unsigned> lockVariants(unsigned modifiers) const;
    GrabResult grab(HotKey& key, QString* failure = nullptr);
    void ungrab(HotKey& key);
    void regrabHotKeys();

    void report(const QList<ServerError>& errors, const QString& action);
    QString errorText(const ServerError& error) const;
    static bool onlyVanished(const QList<ServerError>& errors);

    _XDisplay* m_display = nullptr;
    QString m_unavailableReason;
    unsigned long m_root = 0;
    unsigned long m_atoms[AtomCount] = {};
    QSocketNotifier* m_notifier = nullptr;
    X11ClipboardWatch* m_clipboardWatch = nullptr; // null where Qt itself does not run on X11
    bool m_processingScheduled = false;
    bool m_hasXTest = false;
    bool m_detectableRepeat = false;
    unsigned long m_lastTime = 0; // server time of the last event seen, for EWMH requests

    unsigned long m_foreground = 0;
    QHash<unsigned long, Watch> m_watched;
    QHash<unsigned long, unsigned long> m_frameOwners; // frame -> client

    ModifierBits m_modifierBits;
    QMap<int, HotKey> m_hotKeys;
    QSet<unsigned> m_pressedKeys; // grabbed keys held down, so that auto-repeat fires nothing
};
