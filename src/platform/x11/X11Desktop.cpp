#include "platform/x11/X11Desktop.h"

#include "platform/NullDesktop.h"
#include "platform/x11/KeySymTable.h"
#include "platform/x11/X11ClipboardWatch.h"

#include <QSocketNotifier>
#include <QStringDecoder>
#include <QStringList>
#include <algorithm>
#include <cstring>
#include <utility>

// Xlib comes last: its macros would otherwise clash with names in Qt's headers.
#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {

constexpr long WatchMask = StructureNotifyMask | PropertyChangeMask;
// Longest property read, in 32-bit units: far more than any title.
constexpr long MaxPropertyLength = 1 << 20;
// Resource ids have 29 bits; a larger number cannot name a window.
constexpr WindowId MaxWindowId = 0x1FFFFFFF;

bool isWindowId(WindowId id)
{
    return id != 0 && id <= MaxWindowId;
}

QByteArray withoutTrailingNul(QByteArray bytes)
{
    while (bytes.endsWith('\0'))
        bytes.chop(1);
    return bytes;
}

// Current programs put UTF-8 into text properties whatever their type says; STRING is Latin-1.
QString decodeText(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8(withoutTrailingNul(bytes));
    return utf8.hasError() ? QString::fromLatin1(withoutTrailingNul(bytes)) : text;
}

// Keysyms whose keys the X server handles itself: terminating the server, switching the virtual
// terminal, breaking grabs, changing the video mode, logging.
bool isServerAction(KeySym keysym)
{
    return (keysym >= 0x1008FE00 && keysym <= 0x1008FE0C) ||
           (keysym >= 0x1008FE20 && keysym <= 0x1008FE25);
}

QString hex(int virtualKey)
{
    return QString::number(virtualKey, 16).toUpper();
}

// "Ctrl+Alt+F9", for messages.
QString combinationName(int virtualKey, int modifierMask)
{
    QString name;
    if (modifierMask & ModifierMask::Control)
        name += QStringLiteral("Ctrl+");
    if (modifierMask & ModifierMask::Alt)
        name += QStringLiteral("Alt+");
    if (modifierMask & ModifierMask::Shift)
        name += QStringLiteral("Shift+");
    if (modifierMask & ModifierMask::Meta)
        name += QStringLiteral("Super+");
    const QString key = KeySymTable::keyName(virtualKey);
    return name + (key.isEmpty() ? QStringLiteral("0x") + hex(virtualKey) : key);
}

} // namespace

// Xlib's default reaction to an error is to end the process. While a trap lives, the errors of
// this desktop's connection are collected instead, so that each request's outcome is known; the
// errors of other connections of the process (Qt's) go to the handler that was there before.
// Traps nest; an error goes to the innermost trap of its connection.
class X11Desktop::ErrorTrap {
public:
    explicit ErrorTrap(X11Desktop* desktop) : m_desktop(desktop), m_outer(s_innermost)
    {
        if (!m_outer)
            s_previous = XSetErrorHandler(&ErrorTrap::handle);
        s_innermost = this;
        m_checkedUpTo = NextRequest(m_desktop->m_display);
    }

    ~ErrorTrap()
    {
        // Requests sent after the last sync() still get their errors reported.
        const QList<ServerError> late = pending() ? sync() : std::exchange(m_errors, {});
        s_innermost = m_outer;
        if (!m_outer)
            XSetErrorHandler(s_previous);
        if (late.isEmpty())
            return;
        if (m_outer)
            m_outer->m_errors.append(late);
        else
            m_desktop->report(late, QStringLiteral("X11 请求"));
    }

    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

    // Waits until the server has handled every request sent so far and returns the errors they
    // caused. A request whose reply has been read needs no extra round trip.
    QList<ServerError> sync()
    {
        Display* display = m_desktop->m_display;
        if (NextRequest(display) - 1 != LastKnownRequestProcessed(display))
            XSync(display, False);
        m_checkedUpTo = NextRequest(display);
        return std::exchange(m_errors, {});
    }

private:
    bool pending() const { return NextRequest(m_desktop->m_display) != m_checkedUpTo; }

    static int handle(Display* display, XErrorEvent* event)
    {
        for (ErrorTrap* trap = s_innermost; trap; trap = trap->m_outer) {
            if (trap->m_desktop->m_display == display) {
                trap->m_errors.append(
                    {event->error_code, event->request_code, event->minor_code, event->resourceid});
                return 0;
            }
        }
        return s_previous ? s_previous(display, event) : 0;
    }

    static inline ErrorTrap* s_innermost = nullptr;
    static inline XErrorHandler s_previous = nullptr;

    X11Desktop* m_desktop;
    ErrorTrap* m_outer;
    unsigned long m_checkedUpTo = 0;
    QList<ServerError> m_errors;
};

X11Desktop::X11Desktop(const QByteArray& displayName, QObject* parent) : Desktop(parent)
{
    m_display = XOpenDisplay(displayName.isEmpty() ? nullptr : displayName.constData());
    if (!m_display) {
        const QString name = displayName.isEmpty() ? qEnvironmentVariable("DISPLAY")
                                                   : QString::fromLocal8Bit(displayName);
        m_unavailableReason =
            name.isEmpty()
                ? NullDesktop::defaultReason()
                : QStringLiteral("无法连接 X 显示 %1：窗口停靠、热键和自动粘贴不可用。").arg(name);
        return;
    }
    m_root = DefaultRootWindow(m_display);

    const char* names[AtomCount] = {
        "_NET_ACTIVE_WINDOW", "_NET_WM_NAME",         "_NET_FRAME_EXTENTS",
        "_NET_WM_STATE",      "_NET_WM_STATE_HIDDEN", "_NET_WM_PID",
        "WM_STATE",           "UTF8_STRING",          "COMPOUND_TEXT"};
    {
        ErrorTrap trap(this);
        XInternAtoms(m_display, const_cast<char**>(names), AtomCount, False, m_atoms);
        int eventBase = 0;
        int errorBase = 0;
        int major = 0;
        int minor = 0;
        m_hasXTest = XTestQueryExtension(m_display, &eventBase, &errorBase, &major, &minor);
        // With detectable auto-repeat a held key sends presses only, so a repeat is told apart
        // from a new press without looking ahead in the queue.
        Bool detectable = False;
        XkbSetDetectableAutoRepeat(m_display, True, &detectable);
        m_detectableRepeat = detectable;
        XSelectInput(m_display, m_root, PropertyChangeMask);
        readModifierBits();
        report(trap.sync(), QStringLiteral("连接 X 显示"));
    }
    m_foreground = activeWindow();
    if (m_foreground)
        watch(m_foreground, false);

    m_clipboardWatch = X11ClipboardWatch::create(this);
    if (m_clipboardWatch)
        connect(m_clipboardWatch, &X11ClipboardWatch::requested, this,
                [this](unsigned long requestor) { emit clipboardRequested(clientOf(requestor)); });

    m_notifier = new QSocketNotifier(ConnectionNumber(m_display), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11Desktop::processEvents);
    scheduleProcessing();
}

X11Desktop::~X11Desktop()
{
    if (!m_display)
        return;
    // The notifier watches the connection's socket, which closing the display closes; the
    // server drops this connection's grabs and event selections with it.
    delete m_notifier;
    XCloseDisplay(m_display);
}

WindowInfo X11Desktop::foregroundWindow()
{
    if (!m_display)
        return {};
    const unsigned long id = activeWindow();
    const WindowInfo info = id ? watch(id, true) : WindowInfo{};
    scheduleProcessing();
    return info;
}

WindowInfo X11Desktop::window(WindowId id)
{
    if (!m_display || !isWindowId(id))
        return {};
    const WindowInfo info = watch(id, true);
    scheduleProcessing();
    return info;
}

bool X11Desktop::activate(WindowId id)
{
    if (!m_display || !isWindowId(id))
        return false;
    XEvent event{};
    XClientMessageEvent& message = event.xclient;
    message.type = ClientMessage;
    message.send_event = True;
    message.display = m_display;
    message.window = id;
    message.message_type = m_atoms[NetActiveWindow];
    message.format = 32;
    // Source indication 2 (pager): the user asked for it, so the window manager's focus
    // stealing prevention does not apply.
    message.data.l[0] = 2;
    message.data.l[1] = static_cast<long>(m_lastTime);
    message.data.l[2] = static_cast<long>(m_foreground);

    ErrorTrap trap(this);
    XRaiseWindow(m_display, id);
    XSendEvent(m_display, m_root, False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
    const QList<ServerError> errors = trap.sync();
    scheduleProcessing();
    if (errors.isEmpty())
        return true;
    if (onlyVanished(errors))
        forget(id, false);
    else
        report(errors, QStringLiteral("激活窗口"));
    return false;
}

DesktopResult X11Desktop::sendKeys(const QList<KeyStroke>& keys)
{
    if (!m_display)
        return DesktopResult::failed(m_unavailableReason);
    if (!m_hasXTest)
        return DesktopResult::failed(QStringLiteral("X 服务器没有 XTEST 扩展，无法模拟按键。"));
    // Every key is looked up before the first is sent: a half-typed shortcut could leave a
    // modifier held down in the target program.
    QList<std::pair<unsigned, bool>> strokes;
    strokes.reserve(keys.size());
    for (const KeyStroke& key : keys) {
        const unsigned long keysym = KeySymTable::keysymForVirtualKey(key.virtualKey);
        const unsigned code = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_display, keysym);
        if (code == 0)
            return DesktopResult::failed(
                QStringLiteral("无法模拟按键 %1：当前键盘布局中没有这个键。")
                    .arg(combinationName(key.virtualKey, 0)));
        strokes.append({code, key.down});
    }
    // Whatever Qt has sent (the clipboard data another program asked for) is handled by the
    // server before these keys, so they reach that program after the data.
    if (m_clipboardWatch)
        m_clipboardWatch->settle();
    ErrorTrap trap(this);
    for (const auto& [code, down] : strokes)
        XTestFakeKeyEvent(m_display, code, down ? True : False, CurrentTime);
    XFlush(m_display);
    const QList<ServerError> errors = trap.sync();
    scheduleProcessing();
    if (errors.isEmpty())
        return DesktopResult::done();
    return DesktopResult::failed(QStringLiteral("模拟按键失败：") + errorText(errors.first()));
}

int X11Desktop::heldModifiers()
{
    if (!m_display)
        return 0;
    char keys[32] = {};
    XQueryKeymap(m_display, keys);
    int mask = 0;
    for (int code = 8; code < 256; ++code) {
        if (!(static_cast<unsigned char>(keys[code / 8]) & (1u << (code % 8))))
            continue;
        // A key counts by what it primarily is: Meta_L usually shares the Alt key as its second
        // level, and must not make a held Alt look like Alt+Meta.
        const auto keycode = static_cast<KeyCode>(code);
        KeySym keysym = XkbKeycodeToKeysym(m_display, keycode, 0, 0);
        if (keysym == NoSymbol)
            keysym = XkbKeycodeToKeysym(m_display, keycode, 0, 1);
        switch (keysym) {
        case XK_Control_L:
        case XK_Control_R:
            mask |= ModifierMask::Control;
            break;
        case XK_Shift_L:
        case XK_Shift_R:
            mask |= ModifierMask::Shift;
            break;
        case XK_Alt_L:
        case XK_Alt_R:
            mask |= ModifierMask::Alt;
            break;
        case XK_Meta_L:
        case XK_Meta_R:
        case XK_Super_L:
        case XK_Super_R:
            mask |= ModifierMask::Meta;
            break;
        default:
            break;
        }
    }
    scheduleProcessing();
    return mask;
}

bool X11Desktop::hotKeyHeld()
{
    if (!m_display || m_pressedKeys.isEmpty())
        return false;
    // The server's own state: once it has the key up, its grab is over, even when the release
    // event has not been read yet.
    char keys[32] = {};
    XQueryKeymap(m_display, keys);
    for (auto it = m_pressedKeys.begin(); it != m_pressedKeys.end();) {
        if (static_cast<unsigned char>(keys[*it / 8]) & (1u << (*it % 8)))
            ++it;
        else
            it = m_pressedKeys.erase(it);
    }
    scheduleProcessing();
    return !m_pressedKeys.isEmpty();
}

quint64 X11Desktop::clientOf(WindowId id)
{
    // The server gives every connection a range of resource ids; the bits outside the mask
    // name the connection, and so the program that created the window.
    return m_clipboardWatch ? id & ~static_cast<quint64>(m_clipboardWatch->resourceIdMask()) : id;
}

DesktopResult X11Desktop::registerHotKey(int id, int virtualKey, int modifierMask)
{
    if (!m_display)
        return DesktopResult::failed(m_unavailableReason);
    const unsigned long keysym = KeySymTable::keysymForVirtualKey(virtualKey);
    const unsigned keycode = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_display, keysym);
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
        scheduleProcessing();
        return DesktopResult::done();
    }
    // A failed change leaves the id with the combination it had.
    if (existing != m_hotKeys.end() && grab(*existing) != GrabResult::Grabbed)
        m_hotKeys.erase(existing);
    scheduleProcessing();
    const QString name = combinationName(virtualKey, modifierMask);
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

void X11Desktop::unregisterHotKey(int id)
{
    const auto it = m_hotKeys.find(id);
    if (it == m_hotKeys.end())
        return;
    ungrab(*it);
    m_hotKeys.erase(it);
    scheduleProcessing();
}

QString X11Desktop::keyName(int virtualKey)
{
    return KeySymTable::keyName(virtualKey);
}

Desktop::OpenResult X11Desktop::openPath(const QString& path)
{
    return NullDesktop::openLocalPath(path);
}

Desktop::OpenResult X11Desktop::openUrl(const QUrl& url)
{
    return NullDesktop::openExternalUrl(url);
}

void X11Desktop::processEvents()
{
    m_processingScheduled = false;
    if (!m_display)
        return;
    ErrorTrap trap(this);
    while (XPending(m_display) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        handleEvent(event);
    }
    report(trap.sync(), QStringLiteral("处理 X 事件"));
}

// A round trip reads whatever events arrived before its reply into Xlib's queue, where the
// socket notifier no longer sees them.
void X11Desktop::scheduleProcessing()
{
    if (m_processingScheduled || !m_display || XEventsQueued(m_display, QueuedAlready) == 0)
        return;
    m_processingScheduled = true;
    QMetaObject::invokeMethod(this, &X11Desktop::processEvents, Qt::QueuedConnection);
}

void X11Desktop::handleEvent(XEvent& event)
{
    switch (event.type) {
    case PropertyNotify: {
        const XPropertyEvent& change = event.xproperty;
        m_lastTime = change.time;
        if (change.window == m_root) {
            if (change.atom == m_atoms[NetActiveWindow])
                foregroundMayHaveChanged();
            break;
        }
        const unsigned long id = watchedClientOf(change.window);
        if (!id)
            break;
        if (change.atom == m_atoms[NetWmName] || change.atom == XA_WM_NAME)
            titleMayHaveChanged(id);
        else if (change.atom == m_atoms[NetFrameExtents])
            frameMayHaveChanged(id);
        else if (change.atom == m_atoms[NetWmState] || change.atom == m_atoms[WmState])
            stateMayHaveChanged(id);
        break;
    }
    case MapNotify:
    case UnmapNotify: {
        // Minimising, restoring and hiding: the window's state changed, its frame may not have.
        const unsigned long window =
            event.type == MapNotify ? event.xmap.window : event.xunmap.window;
        if (m_watched.contains(window))
            stateMayHaveChanged(window);
        break;
    }
    case ConfigureNotify:
        if (const unsigned long id = watchedClientOf(event.xconfigure.window))
            frameMayHaveChanged(id);
        break;
    case ReparentNotify:
        if (m_watched.contains(event.xreparent.window))
            followReparenting(event.xreparent.window);
        break;
    case DestroyNotify: {
        const unsigned long destroyed = event.xdestroywindow.window;
        if (m_watched.contains(destroyed)) {
            forget(destroyed, false);
            emit windowMoved(destroyed, QRect());
        } else if (const auto owner = m_frameOwners.find(destroyed); owner != m_frameOwners.end()) {
            const auto client = m_watched.find(owner.value());
            if (client != m_watched.end())
                client->frame = 0;
            m_frameOwners.erase(owner);
        }
        break;
    }
    case KeyPress:
    case KeyRelease:
        handleKey(event);
        break;
    case MappingNotify:
        if (event.xmapping.request == MappingKeyboard ||
            event.xmapping.request == MappingModifier) {
            XRefreshKeyboardMapping(&event.xmapping);
            regrabHotKeys();
        }
        break;
    default:
        break;
    }
}

void X11Desktop::handleKey(XEvent& event)
{
    const XKeyEvent& key = event.xkey;
    m_lastTime = key.time;
    if (event.type == KeyRelease) {
        // Without detectable auto-repeat, a held key is reported as a release and a press with
        // the same timestamp; the pair is dropped and the key stays down.
        if (!m_detectableRepeat && XEventsQueued(m_display, QueuedAfterReading) > 0) {
            XEvent next;
            XPeekEvent(m_display, &next);
            if (next.type == KeyPress && next.xkey.keycode == key.keycode &&
                next.xkey.time == key.time) {
                XNextEvent(m_display, &next);
                return;
            }
        }
        if (m_pressedKeys.remove(key.keycode))
            emit hotKeysReleased();
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
            emit hotKeyPressed(id);
            return;
        }
    }
}

unsigned long X11Desktop::activeWindow()
{
    QList<unsigned long> values;
    ErrorTrap trap(this);
    readProperty(m_root, m_atoms[NetActiveWindow], XA_WINDOW, nullptr, &values);
    report(trap.sync(), QStringLiteral("读取前台窗口"));
    const unsigned long id = values.isEmpty() ? 0 : values.first();
    return isWindowId(id) ? id : 0;
}

WindowInfo X11Desktop::readWindow(unsigned long id)
{
    ErrorTrap trap(this);
    WindowInfo info;
    XWindowAttributes attributes;
    int x = 0;
    int y = 0;
    Window child = 0;
    if (XGetWindowAttributes(m_display, id, &attributes) &&
        XTranslateCoordinates(m_display, id, m_root, 0, 0, &x, &y, &child)) {
        info.id = id;
        info.visible = attributes.map_state == IsViewable;

        QByteArray wmClass;
        if (readProperty(id, XA_WM_CLASS, AnyPropertyType, &wmClass)) {
            // Instance name, then class name, each ended by a NUL.
            const QList<QByteArray> parts = wmClass.split('\0');
            if (parts.size() >= 2)
                info.className = decodeText(parts.at(1));
        }
        info.title = readTitle(id);

        QRect frame(x, y, attributes.width, attributes.height);
        QList<unsigned long> extents; // left, right, top, bottom
        if (readProperty(id, m_atoms[NetFrameExtents], XA_CARDINAL, nullptr, &extents) &&
            extents.size() >= 4) {
            frame.adjust(-static_cast<int>(extents.at(0)), -static_cast<int>(extents.at(2)),
                         static_cast<int>(extents.at(1)), static_cast<int>(extents.at(3)));
        } else if (const unsigned long outer = frameOf(id); outer && outer != id) {
            // A window manager without EWMH frame extents: its frame window is the outline.
            Window root = 0;
            int frameX = 0;
            int frameY = 0;
            unsigned width = 0;
            unsigned height = 0;
            unsigned border = 0;
            unsigned depth = 0;
            if (XGetGeometry(m_display, outer, &root, &frameX, &frameY, &width, &height, &border,
                             &depth))
                frame = QRect(frameX, frameY, static_cast<int>(width + 2 * border),
                              static_cast<int>(height + 2 * border));
        }
        info.frame = frame;

        QList<unsigned long> pid;
        if (readProperty(id, m_atoms[NetWmPid], XA_CARDINAL, nullptr, &pid) && !pid.isEmpty())
            info.processId = static_cast<qint64>(pid.first());

        QList<unsigned long> states;
        if (readProperty(id, m_atoms[NetWmState], XA_ATOM, nullptr, &states))
            info.minimized = states.contains(m_atoms[NetWmStateHidden]);
        QList<unsigned long> wmState;
        if (readProperty(id, m_atoms[WmState], m_atoms[WmState], nullptr, &wmState) &&
            !wmState.isEmpty() && wmState.first() == IconicState)
            info.minimized = true;
    }
    const QList<ServerError> errors = trap.sync();
    if (errors.isEmpty())
        return info;
    // A window that is gone is no failure: the caller sees an invalid WindowInfo.
    if (!onlyVanished(errors))
        report(errors, QStringLiteral("读取窗口信息"));
    return {};
}

QString X11Desktop::readTitle(unsigned long id)
{
    QByteArray bytes;
    if (readProperty(id, m_atoms[NetWmName], m_atoms[Utf8String], &bytes))
        return QString::fromUtf8(withoutTrailingNul(bytes));
    unsigned long type = None;
    if (!readProperty(id, XA_WM_NAME, AnyPropertyType, &bytes, nullptr, &type))
        return {};
    if (type == m_atoms[CompoundText]) {
        XTextProperty text;
        text.value = reinterpret_cast<unsigned char*>(bytes.data());
        text.encoding = type;
        text.format = 8;
        text.nitems = static_cast<unsigned long>(bytes.size());
        char** list = nullptr;
        int count = 0;
        if (Xutf8TextPropertyToTextList(m_display, &text, &list, &count) >= Success && list) {
            QString title;
            for (int i = 0; i < count; ++i)
                title += QString::fromUtf8(list[i]);
            XFreeStringList(list);
            return title;
        }
    }
    if (type == XA_STRING)
        return QString::fromLatin1(withoutTrailingNul(bytes));
    return decodeText(bytes);
}

unsigned long X11Desktop::frameOf(unsigned long id)
{
    unsigned long current = id;
    // Reparenting window managers nest a client a level or two deep; the bound only guards
    // against a tree that changes while it is walked.
    for (int depth = 0; depth < 16; ++depth) {
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (!XQueryTree(m_display, current, &root, &parent, &children, &count))
            return 0;
        if (children)
            XFree(children);
        if (parent == 0 || parent == root)
            return current;
        current = parent;
    }
    return current;
}

bool X11Desktop::readProperty(unsigned long window, unsigned long property, unsigned long type,
                              QByteArray* bytes, QList<unsigned long>* values,
                              unsigned long* actualType)
{
    Atom actual = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    const int status = XGetWindowProperty(m_display, window, property, 0, MaxPropertyLength, False,
                                          type, &actual, &format, &count, &remaining, &data);
    const bool found = status == Success && actual != None &&
                       (type == static_cast<unsigned long>(AnyPropertyType) || actual == type);
    if (found) {
        if (actualType)
            *actualType = actual;
        if (format == 8 && bytes)
            *bytes = QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(count));
        if (format == 32 && values) {
            // Xlib hands 32-bit items over as longs, whatever the size of a long.
            values->reserve(static_cast<qsizetype>(count));
            for (unsigned long i = 0; i < count; ++i) {
                long value = 0;
                std::memcpy(&value, data + i * sizeof(long), sizeof(long));
                values->append(static_cast<unsigned long>(value));
            }
        }
    }
    if (data)
        XFree(data);
    return found;
}

WindowInfo X11Desktop::watch(unsigned long id, bool requested)
{
    const bool known = m_watched.contains(id);
    if (!known) {
        // Selected before the first read, so that no change after it goes unnoticed.
        ErrorTrap trap(this);
        XSelectInput(m_display, id, WatchMask);
        const unsigned long frame = frameOf(id);
        if (frame && frame != id)
            XSelectInput(m_display, frame, WatchMask);
        const QList<ServerError> errors = trap.sync();
        if (!errors.isEmpty()) {
            if (!onlyVanished(errors))
                report(errors, QStringLiteral("监视窗口"));
            return {};
        }
        Watch watched;
        watched.frame = frame != id ? frame : 0;
        m_watched.insert(id, watched);
        if (watched.frame)
            m_frameOwners.insert(watched.frame, id);
    }
    const WindowInfo info = readWindow(id);
    const auto it = m_watched.find(id);
    if (!info.isValid()) {
        forget(id, true);
        return {};
    }
    if (it != m_watched.end()) {
        it->requested = it->requested || requested;
        // What the caller has been told; a change it has not seen is still reported when its
        // event is handled.
        if (!known || requested) {
            it->lastFrame = info.frame;
            it->lastTitle = info.title;
        }
    }
    return info;
}

void X11Desktop::forget(unsigned long id, bool stillExists)
{
    const auto it = m_watched.find(id);
    if (it == m_watched.end())
        return;
    const unsigned long frame = it->frame;
    m_watched.erase(it);
    if (frame)
        m_frameOwners.remove(frame);
    if (!stillExists)
        return;
    ErrorTrap trap(this);
    XSelectInput(m_display, id, NoEventMask);
    if (frame)
        XSelectInput(m_display, frame, NoEventMask);
    const QList<ServerError> errors = trap.sync();
    if (!onlyVanished(errors))
        report(errors, QStringLiteral("停止监视窗口"));
}

void X11Desktop::followReparenting(unsigned long id)
{
    ErrorTrap trap(this);
    const auto it = m_watched.find(id);
    if (it->frame) {
        m_frameOwners.remove(it->frame);
        XSelectInput(m_display, it->frame, NoEventMask);
    }
    const unsigned long frame = frameOf(id);
    it->frame = frame != id ? frame : 0;
    if (it->frame) {
        XSelectInput(m_display, it->frame, WatchMask);
        m_frameOwners.insert(it->frame, id);
    }
    const QList<ServerError> errors = trap.sync();
    if (!onlyVanished(errors))
        report(errors, QStringLiteral("监视窗口"));
    frameMayHaveChanged(id);
}

void X11Desktop::foregroundMayHaveChanged()
{
    const unsigned long id = activeWindow();
    if (id == m_foreground)
        return;
    const unsigned long previous = m_foreground;
    m_foreground = id;
    if (id)
        watch(id, false);
    // A window that was only followed because it was in front is let go.
    if (const auto it = m_watched.find(previous); it != m_watched.end() && !it->requested)
        forget(previous, true);
    emit foregroundChanged(id);
}

void X11Desktop::frameMayHaveChanged(unsigned long id)
{
    const WindowInfo info = readWindow(id);
    if (!info.isValid()) {
        forget(id, true);
        return;
    }
    const auto it = m_watched.find(id);
    if (it == m_watched.end() || it->lastFrame == info.frame)
        return;
    it->lastFrame = info.frame;
    emit windowMoved(id, info.frame);
}

void X11Desktop::stateMayHaveChanged(unsigned long id)
{
    const WindowInfo info = readWindow(id);
    if (!info.isValid()) {
        forget(id, true);
        emit windowMoved(id, QRect());
        return;
    }
    emit windowMoved(id, info.frame);
}

void X11Desktop::titleMayHaveChanged(unsigned long id)
{
    ErrorTrap trap(this);
    const QString title = readTitle(id);
    const QList<ServerError> errors = trap.sync();
    if (!errors.isEmpty()) {
        if (onlyVanished(errors))
            forget(id, true);
        else
            report(errors, QStringLiteral("读取窗口标题"));
        return;
    }
    const auto it = m_watched.find(id);
    if (it == m_watched.end() || it->lastTitle == title)
        return;
    it->lastTitle = title;
    emit windowTitleChanged(id, title);
}

unsigned long X11Desktop::watchedClientOf(unsigned long window) const
{
    if (m_watched.contains(window))
        return window;
    return m_frameOwners.value(window, 0);
}

void X11Desktop::readModifierBits()
{
    XModifierKeymap* map = XGetModifierMapping(m_display);
    const auto bitOf = [this, map](KeySym keysym) -> unsigned {
        const KeyCode code = XKeysymToKeycode(m_display, keysym);
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

unsigned X11Desktop::modifierState(int modifierMask) const
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
QList<unsigned> X11Desktop::lockVariants(unsigned modifiers) const
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

X11Desktop::GrabResult X11Desktop::grab(HotKey& key, QString* failure)
{
    key.grabbedStates.clear();
    const unsigned long keysym = KeySymTable::keysymForVirtualKey(key.virtualKey);
    key.keycode = keysym == NoSymbol ? 0 : XKeysymToKeycode(m_display, keysym);
    if (key.keycode == 0)
        return GrabResult::Unmappable;
    key.modifiers = modifierState(key.modifierMask);
    // The server acts on some combinations itself (Ctrl+Alt+F1...F12 switch the virtual terminal)
    // and never delivers them: a grab would succeed and the hot key never fire.
    unsigned consumed = 0;
    KeySym produced = NoSymbol;
    if (XkbLookupKeySym(m_display, static_cast<KeyCode>(key.keycode), key.modifiers, &consumed,
                        &produced) &&
        isServerAction(produced))
        return GrabResult::Reserved;
    const QList<unsigned> states = lockVariants(key.modifiers);
    const auto keycode = static_cast<int>(key.keycode);

    ErrorTrap trap(this);
    for (const unsigned state : states)
        XGrabKey(m_display, keycode, state, m_root, False, GrabModeAsync, GrabModeAsync);
    QList<ServerError> errors = trap.sync();
    if (errors.isEmpty()) {
        key.grabbedStates = states;
        return GrabResult::Grabbed;
    }
    // Some variants may have been granted: a hot key that works only with NumLock off is
    // worse than one that is refused.
    for (const unsigned state : states)
        XUngrabKey(m_display, keycode, state, m_root);
    errors += trap.sync();
    const bool taken = std::any_of(errors.cbegin(), errors.cend(), [](const ServerError& error) {
        return error.code == BadAccess;
    });
    if (taken)
        return GrabResult::Taken;
    if (failure && !errors.isEmpty())
        *failure = errorText(errors.first());
    return GrabResult::Failed;
}

void X11Desktop::ungrab(HotKey& key)
{
    if (key.grabbedStates.isEmpty())
        return;
    ErrorTrap trap(this);
    for (const unsigned state : std::as_const(key.grabbedStates))
        XUngrabKey(m_display, static_cast<int>(key.keycode), state, m_root);
    key.grabbedStates.clear();
    m_pressedKeys.remove(key.keycode);
    report(trap.sync(),
           QStringLiteral("注销热键 %1").arg(combinationName(key.virtualKey, key.modifierMask)));
}

// The keyboard or modifier mapping changed: keycodes and the lock keys' modifier bits may have
// moved, so every hot key is grabbed anew.
void X11Desktop::regrabHotKeys()
{
    for (HotKey& key : m_hotKeys)
        ungrab(key);
    readModifierBits();
    m_pressedKeys.clear();
    QStringList lost;
    for (HotKey& key : m_hotKeys) {
        if (grab(key) != GrabResult::Grabbed)
            lost << combinationName(key.virtualKey, key.modifierMask);
    }
    if (!lost.isEmpty())
        emit problem(QStringLiteral("键盘布局改变后，热键 %1 无法重新注册。")
                         .arg(lost.join(QStringLiteral("、"))));
}

void X11Desktop::report(const QList<ServerError>& errors, const QString& action)
{
    for (const ServerError& error : errors)
        emit problem(QStringLiteral("%1失败：%2").arg(action, errorText(error)));
}

QString X11Desktop::errorText(const ServerError& error) const
{
    char text[256] = {};
    XGetErrorText(m_display, error.code, text, static_cast<int>(sizeof text));
    char request[128] = {};
    const QByteArray number = QByteArray::number(error.request);
    XGetErrorDatabaseText(m_display, "XRequest", number.constData(), "", request,
                          static_cast<int>(sizeof request));
    const QString what = request[0] ? QString::fromLatin1(request)
                                    : QStringLiteral("%1.%2").arg(error.request).arg(error.minor);
    return QStringLiteral("%1（请求 %2，资源 0x%3）")
        .arg(QString::fromLocal8Bit(text), what, QString::number(error.resource, 16));
}

bool X11Desktop::onlyVanished(const QList<ServerError>& errors)
{
    return std::all_of(errors.cbegin(), errors.cend(), [](const ServerError& error) {
        return error.code == BadWindow || error.code == BadDrawable;
    });
}
