#include "platform/x11/X11HotKeys.h"

#include "platform/x11/KeySymTable.h"

#include <QStringList>
#include <algorithm>

// Xlib comes last: its macros would otherwise clash with names in Qt's headers.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace {

using ErrorTrap = X11Connection::ErrorTrap;
using ServerError = X11Connection::ServerError;

// Keysyms whose keys the X server handles itself: terminating the server, switching the virtual
// terminal, breaking grabs, changing the video mode, logging.
bool isServerAction(KeySym keysym)
{
    return (keysym >= 0x1008FE00 && keysym <= 0x1008FE0C) ||
           (keysym >= 0x1008FE20 && keysym <= 0x1008FE25);
}

} // namespace

X11HotKeys::X11HotKeys(X11Connection& connection, QObject* parent)
    : QObject(parent), m_x(connection)
{
    readModifierBits();
}

DesktopResult X11HotKeys::add(int id, int virtualKey, int modifierMask)
{
    const unsigned long keysym = KeySymTable::keysymForVirtualKey(virtualKey);
    const unsigned keycode = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_x.display(), keysym);
    const unsigned modifiers = modifierState(modifierMask);
    // Two virtual keys can share one physical key (Shift and left Shift); the server would let
    // this connection grab it twice, so the check is ours.
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it) {
        if (it.key() == id)
            continue;
        if ((it->virtualKey == virtualKey && it->modifierMask == modifierMask) ||
            (keycode != 0 && it->keycode == keycode && it->modifiers == modifiers))
            return DesktopResult::taken();
    }

    const auto existing = m_hotKeys.find(id);
    if (existing != m_hotKeys.end()) {
        if (existing->virtualKey == virtualKey && existing->modifierMask == modifierMask &&
            !existing->grabbedStates.isEmpty())
            return DesktopResult::done();
        ungrab(*existing);
    }
    HotKey key;
    key.virtualKey = virtualKey;
    key.modifierMask = modifierMask;
    QString failure;
    const GrabResult result = grab(key, &failure);
    if (result == GrabResult::Grabbed) {
        m_hotKeys.insert(id, key);
        m_x.scheduleProcessing();
        return DesktopResult::done();
    }
    // A failed change leaves the id with the combination it had.
    if (existing != m_hotKeys.end() && grab(*existing) != GrabResult::Grabbed)
        m_hotKeys.erase(existing);
    m_x.scheduleProcessing();
    const QString name = KeySymTable::combinationName(virtualKey, modifierMask);
    switch (result) {
    case GrabResult::Taken:
        return DesktopResult::taken();
    case GrabResult::Unmappable:
        return DesktopResult::failed(
            QStringLiteral("无法注册热键 %1：当前键盘布局中没有这个键。").arg(name));
    case GrabResult::Reserved:
        return DesktopResult::failed(
            QStringLiteral("热键 %1 由 X 服务器自己使用（例如切换虚拟终端），请换一个组合键。")
                .arg(name));
    default:
        return DesktopResult::failed(QStringLiteral("无法注册热键 %1：%2").arg(name, failure));
    }
}

void X11HotKeys::remove(int id)
{
    const auto it = m_hotKeys.find(id);
    if (it == m_hotKeys.end())
        return;
    ungrab(*it);
    m_hotKeys.erase(it);
    m_x.scheduleProcessing();
}

bool X11HotKeys::held()
{
    if (m_pressedKeys.isEmpty())
        return false;
    // The server's own state: once it has the key up, its grab is over, even when the release
    // event has not been read yet.
    char keys[32] = {};
    XQueryKeymap(m_x.display(), keys);
    for (auto it = m_pressedKeys.begin(); it != m_pressedKeys.end();) {
        if (static_cast<unsigned char>(keys[*it / 8]) & (1u << (*it % 8)))
            ++it;
        else
            it = m_pressedKeys.erase(it);
    }
    m_x.scheduleProcessing();
    return !m_pressedKeys.isEmpty();
}

void X11HotKeys::handleKey(XEvent& event)
{
    const XKeyEvent& key = event.xkey;
    m_x.noteTime(key.time);
    if (event.type == KeyRelease) {
        // Without detectable auto-repeat, a held key is reported as a release and a press with
        // the same timestamp; the pair is dropped and the key stays down.
        if (!m_x.hasDetectableRepeat() && XEventsQueued(m_x.display(), QueuedAfterReading) > 0) {
            XEvent next;
            XPeekEvent(m_x.display(), &next);
            if (next.type == KeyPress && next.xkey.keycode == key.keycode &&
                next.xkey.time == key.time) {
                XNextEvent(m_x.display(), &next);
                return;
            }
        }
        if (m_pressedKeys.remove(key.keycode))
            emit released();
        return;
    }
    if (m_pressedKeys.contains(key.keycode))
        return;
    const unsigned state =
        key.state & (ShiftMask | ControlMask | m_modifierBits.alt | m_modifierBits.super);
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it) {
        if (!it->grabbedStates.isEmpty() && it->keycode == key.keycode && it->modifiers == state) {
            const int id = it.key();
            m_pressedKeys.insert(key.keycode);
            emit pressed(id);
            return;
        }
    }
}

void X11HotKeys::handleEvent(XEvent& event)
{
    switch (event.type) {
    case KeyPress:
    case KeyRelease:
        handleKey(event);
        break;
    case MappingNotify:
        if (event.xmapping.request == MappingKeyboard ||
            event.xmapping.request == MappingModifier) {
            XRefreshKeyboardMapping(&event.xmapping);
            regrab();
        }
        break;
    default:
        break;
    }
}

void X11HotKeys::readModifierBits()
{
    XModifierKeymap* map = XGetModifierMapping(m_x.display());
    const auto bitOf = [this, map](KeySym keysym) -> unsigned {
        const KeyCode code = XKeysymToKeycode(m_x.display(), keysym);
        if (!map || code == 0)
            return 0;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int k = 0; k < map->max_keypermod; ++k) {
                if (map->modifiermap[modifier * map->max_keypermod + k] == code)
                    return 1u << modifier;
            }
        }
        return 0;
    };
    const unsigned alt = bitOf(XK_Alt_L);
    const unsigned super = bitOf(XK_Super_L);
    m_modifierBits.alt = alt ? alt : static_cast<unsigned>(Mod1Mask);
    m_modifierBits.super = super ? super : static_cast<unsigned>(Mod4Mask);
    m_modifierBits.numLock = bitOf(XK_Num_Lock);
    m_modifierBits.scrollLock = bitOf(XK_Scroll_Lock);
    if (map)
        XFreeModifiermap(map);
}

unsigned X11HotKeys::modifierState(int modifierMask) const
{
    unsigned state = 0;
    if (modifierMask & ModifierMask::Shift)
        state |= ShiftMask;
    if (modifierMask & ModifierMask::Control)
        state |= ControlMask;
    if (modifierMask & ModifierMask::Alt)
        state |= m_modifierBits.alt;
    if (modifierMask & ModifierMask::Meta)
        state |= m_modifierBits.super;
    return state;
}

// A passive grab matches the modifier state exactly, so a hot key is grabbed once for every
// combination of the lock keys that may be on.
QList<unsigned> X11HotKeys::lockVariants(unsigned modifiers) const
{
    QList<unsigned> states{modifiers};
    unsigned used = modifiers;
    const unsigned locks[] = {static_cast<unsigned>(LockMask), m_modifierBits.numLock,
                              m_modifierBits.scrollLock};
    for (const unsigned lock : locks) {
        if (lock == 0 || (used & lock))
            continue;
        used |= lock;
        const qsizetype count = states.size();
        for (qsizetype i = 0; i < count; ++i)
            states.append(states.at(i) | lock);
    }
    return states;
}

X11HotKeys::GrabResult X11HotKeys::grab(HotKey& key, QString* failure)
{
    key.grabbedStates.clear();
    const unsigned long keysym = KeySymTable::keysymForVirtualKey(key.virtualKey);
    key.keycode = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_x.display(), keysym);
    if (key.keycode == 0)
        return GrabResult::Unmappable;
    key.modifiers = modifierState(key.modifierMask);
    // The server acts on some combinations itself (Ctrl+Alt+F1...F12 switch the virtual terminal)
    // and never delivers them: a grab would succeed and the hot key never fire.
    unsigned consumed = 0;
    KeySym produced = NoSymbol;
    if (XkbLookupKeySym(m_x.display(), static_cast<KeyCode>(key.keycode), key.modifiers, &consumed,
                        &produced) &&
        isServerAction(produced))
        return GrabResult::Reserved;
    const QList<unsigned> states = lockVariants(key.modifiers);
    const auto keycode = static_cast<int>(key.keycode);

    ErrorTrap trap(m_x);
    for (const unsigned state : states)
        XGrabKey(m_x.display(), keycode, state, m_x.root(), False, GrabModeAsync, GrabModeAsync);
    QList<X11Connection::ServerError> errors = trap.sync();
    if (errors.isEmpty()) {
        key.grabbedStates = states;
        return GrabResult::Grabbed;
    }
    // Some variants may have been granted: a hot key that works only with NumLock off is
    // worse than one that is refused.
    for (const unsigned state : states)
        XUngrabKey(m_x.display(), keycode, state, m_x.root());
    errors += trap.sync();
    const bool taken = std::any_of(errors.cbegin(), errors.cend(), [](const ServerError& error) {
        return error.code == BadAccess;
    });
    if (taken)
        return GrabResult::Taken;
    if (failure && !errors.isEmpty())
        *failure = m_x.errorText(errors.first());
    return GrabResult::Failed;
}

void X11HotKeys::ungrab(HotKey& key)
{
    if (key.grabbedStates.isEmpty())
        return;
    ErrorTrap trap(m_x);
    for (const unsigned state : std::as_const(key.grabbedStates))
        XUngrabKey(m_x.display(), static_cast<int>(key.keycode), state, m_x.root());
    key.grabbedStates.clear();
    m_pressedKeys.remove(key.keycode);
    m_x.report(trap.sync(),
               QStringLiteral("注销热键 %1")
                   .arg(KeySymTable::combinationName(key.virtualKey, key.modifierMask)));
}

// The keyboard or modifier mapping changed: keycodes and the lock keys' modifier bits may have
// moved, so every hot key is grabbed anew.
void X11HotKeys::regrab()
{
    for (HotKey& key : m_hotKeys)
        ungrab(key);
    readModifierBits();
    m_pressedKeys.clear();
    QStringList lost;
    for (HotKey& key : m_hotKeys) {
        if (grab(key) != GrabResult::Grabbed)
            lost << KeySymTable::combinationName(key.virtualKey, key.modifierMask);
    }
    if (!lost.isEmpty())
        m_x.tell(QStringLiteral("键盘布局改变后，热键 %1 无法重新注册。")
                     .arg(lost.join(QStringLiteral("、"))));
}
