#pragma once

#include "platform/Desktop.h"
#include "platform/x11/X11Connection.h"

#include <QMap>
#include <QObject>
#include <QSet>

// Global hot keys as passive key grabs on the root window. A grab matches the modifier state
// exactly, so every combination of the lock keys is grabbed too, and everything is grabbed anew
// when the keyboard mapping changes. While a grabbed key is held, the server sends every key to
// us: held() says so, and released() tells when it is over.
class X11HotKeys : public QObject {
    Q_OBJECT
public:
    X11HotKeys(X11Connection& connection, QObject* parent = nullptr);

    // `id` is the caller's.
    DesktopResult add(int id, int virtualKey, int modifierMask);
    void remove(int id);
    bool held();

    void handleEvent(_XEvent& event);

signals:
    void pressed(int id);
    void released();

private:
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

    void handleKey(_XEvent& event);
    void readModifierBits();
    unsigned modifierState(int modifierMask) const;
    QList<unsigned> lockVariants(unsigned modifiers) const;
    GrabResult grab(HotKey& key, QString* failure = nullptr);
    void ungrab(HotKey& key);
    void regrab();

    X11Connection& m_x;
    ModifierBits m_modifierBits;
    QMap<int, HotKey> m_hotKeys;
    QSet<unsigned> m_pressedKeys; // grabbed keys held down, so that auto-repeat fires nothing
};
