#include "platform/x11/X11WindowWatch.h"

#include <QStringDecoder>

// Xlib comes last: its macros would otherwise clash with names in Qt's headers.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace {

using ErrorTrap = X11Connection::ErrorTrap;

constexpr long WatchMask = StructureNotifyMask | PropertyChangeMask;
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

} // namespace

X11WindowWatch::X11WindowWatch(X11Connection& connection, QObject* parent)
    : QObject(parent), m_x(connection)
{
    m_foreground = activeWindow();
    if (m_foreground)
        watch(m_foreground, false);
}

WindowInfo X11WindowWatch::foregroundWindow()
{
    const unsigned long id = activeWindow();
    const WindowInfo info = id ? watch(id, true) : WindowInfo{};
    m_x.scheduleProcessing();
    return info;
}

WindowInfo X11WindowWatch::window(WindowId id)
{
    if (!isWindowId(id))
        return {};
    const WindowInfo info = watch(id, true);
    m_x.scheduleProcessing();
    return info;
}

bool X11WindowWatch::activate(WindowId id)
{
    if (!isWindowId(id))
        return false;
    XEvent event{};
    XClientMessageEvent& message = event.xclient;
    message.type = ClientMessage;
    message.send_event = True;
    message.display = m_x.display();
    message.window = id;
    message.message_type = m_x.atom(X11Connection::NetActiveWindow);
    message.format = 32;
    // Source indication 2 (pager): the user asked for it, so the window manager's focus
    // stealing prevention does not apply.
    message.data.l[0] = 2;
    message.data.l[1] = static_cast<long>(m_x.lastTime());
    message.data.l[2] = static_cast<long>(m_foreground);

    ErrorTrap trap(m_x);
    XRaiseWindow(m_x.display(), id);
    XSendEvent(m_x.display(), m_x.root(), False, SubstructureRedirectMask | SubstructureNotifyMask,
               &event);
    const QList<X11Connection::ServerError> errors = trap.sync();
    m_x.scheduleProcessing();
    if (errors.isEmpty())
        return true;
    if (X11Connection::onlyVanished(errors))
        forget(id, false);
    else
        m_x.report(errors, QStringLiteral("激活窗口"));
    return false;
}

void X11WindowWatch::handleEvent(XEvent& event)
{
    switch (event.type) {
    case PropertyNotify: {
        const XPropertyEvent& change = event.xproperty;
        m_x.noteTime(change.time);
        if (change.window == m_x.root()) {
            if (change.atom == m_x.atom(X11Connection::NetActiveWindow))
                foregroundMayHaveChanged();
            break;
        }
        const unsigned long id = watchedClientOf(change.window);
        if (!id)
            break;
        if (change.atom == m_x.atom(X11Connection::NetWmName) || change.atom == XA_WM_NAME)
            titleMayHaveChanged(id);
        else if (change.atom == m_x.atom(X11Connection::NetFrameExtents))
            frameMayHaveChanged(id);
        else if (change.atom == m_x.atom(X11Connection::NetWmState) ||
                 change.atom == m_x.atom(X11Connection::WmState))
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
    default:
        break;
    }
}

unsigned long X11WindowWatch::activeWindow()
{
    QList<unsigned long> values;
    ErrorTrap trap(m_x);
    m_x.readProperty(m_x.root(), m_x.atom(X11Connection::NetActiveWindow), XA_WINDOW, nullptr,
                     &values);
    m_x.report(trap.sync(), QStringLiteral("读取前台窗口"));
    const unsigned long id = values.isEmpty() ? 0 : values.first();
    return isWindowId(id) ? id : 0;
}

WindowInfo X11WindowWatch::readWindow(unsigned long id)
{
    ErrorTrap trap(m_x);
    WindowInfo info;
    XWindowAttributes attributes;
    int x = 0;
    int y = 0;
    Window child = 0;
    if (XGetWindowAttributes(m_x.display(), id, &attributes) &&
        XTranslateCoordinates(m_x.display(), id, m_x.root(), 0, 0, &x, &y, &child)) {
        info.id = id;
        info.visible = attributes.map_state == IsViewable;

        QByteArray wmClass;
        if (m_x.readProperty(id, XA_WM_CLASS, AnyPropertyType, &wmClass)) {
            // Instance name, then class name, each ended by a NUL.
            const QList<QByteArray> parts = wmClass.split('\0');
            if (parts.size() >= 2)
                info.className = decodeText(parts.at(1));
        }
        info.title = readTitle(id);

        QRect frame(x, y, attributes.width, attributes.height);
        QList<unsigned long> extents; // left, right, top, bottom
        if (m_x.readProperty(id, m_x.atom(X11Connection::NetFrameExtents), XA_CARDINAL, nullptr,
                             &extents) &&
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
            if (XGetGeometry(m_x.display(), outer, &root, &frameX, &frameY, &width, &height,
                             &border, &depth))
                frame = QRect(frameX, frameY, static_cast<int>(width + 2 * border),
                              static_cast<int>(height + 2 * border));
        }
        info.frame = frame;

        QList<unsigned long> pid;
        if (m_x.readProperty(id, m_x.atom(X11Connection::NetWmPid), XA_CARDINAL, nullptr, &pid) &&
            !pid.isEmpty())
            info.processId = static_cast<qint64>(pid.first());

        QList<unsigned long> states;
        if (m_x.readProperty(id, m_x.atom(X11Connection::NetWmState), XA_ATOM, nullptr, &states))
            info.minimized = states.contains(m_x.atom(X11Connection::NetWmStateHidden));
        QList<unsigned long> wmState;
        if (m_x.readProperty(id, m_x.atom(X11Connection::WmState), m_x.atom(X11Connection::WmState),
                             nullptr, &wmState) &&
            !wmState.isEmpty() && wmState.first() == IconicState)
            info.minimized = true;
    }
    const QList<X11Connection::ServerError> errors = trap.sync();
    if (errors.isEmpty())
        return info;
    // A window that is gone is no failure: the caller sees an invalid WindowInfo.
    if (!X11Connection::onlyVanished(errors))
        m_x.report(errors, QStringLiteral("读取窗口信息"));
    return {};
}

QString X11WindowWatch::readTitle(unsigned long id)
{
    QByteArray bytes;
    if (m_x.readProperty(id, m_x.atom(X11Connection::NetWmName),
                         m_x.atom(X11Connection::Utf8String), &bytes))
        return QString::fromUtf8(withoutTrailingNul(bytes));
    unsigned long type = None;
    if (!m_x.readProperty(id, XA_WM_NAME, AnyPropertyType, &bytes, nullptr, &type))
        return {};
    if (type == m_x.atom(X11Connection::CompoundText)) {
        XTextProperty text;
        text.value = reinterpret_cast<unsigned char*>(bytes.data());
        text.encoding = type;
        text.format = 8;
        text.nitems = static_cast<unsigned long>(bytes.size());
        char** list = nullptr;
        int count = 0;
        if (Xutf8TextPropertyToTextList(m_x.display(), &text, &list, &count) >= Success && list) {
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

unsigned long X11WindowWatch::frameOf(unsigned long id)
{
    unsigned long current = id;
    // Reparenting window managers nest a client a level or two deep; the bound only guards
    // against a tree that changes while it is walked.
    for (int depth = 0; depth < 16; ++depth) {
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (!XQueryTree(m_x.display(), current, &root, &parent, &children, &count))
            return 0;
        if (children)
            XFree(children);
        if (parent == 0 || parent == root)
            return current;
        current = parent;
    }
    return current;
}

WindowInfo X11WindowWatch::watch(unsigned long id, bool requested)
{
    const bool known = m_watched.contains(id);
    if (!known) {
        // Selected before the first read, so that no change after it goes unnoticed.
        ErrorTrap trap(m_x);
        XSelectInput(m_x.display(), id, WatchMask);
        const unsigned long frame = frameOf(id);
        if (frame && frame != id)
            XSelectInput(m_x.display(), frame, WatchMask);
        const QList<X11Connection::ServerError> errors = trap.sync();
        if (!errors.isEmpty()) {
            if (!X11Connection::onlyVanished(errors))
                m_x.report(errors, QStringLiteral("监视窗口"));
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

void X11WindowWatch::forget(unsigned long id, bool stillExists)
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
    ErrorTrap trap(m_x);
    XSelectInput(m_x.display(), id, NoEventMask);
    if (frame)
        XSelectInput(m_x.display(), frame, NoEventMask);
    const QList<X11Connection::ServerError> errors = trap.sync();
    if (!X11Connection::onlyVanished(errors))
        m_x.report(errors, QStringLiteral("停止监视窗口"));
}

void X11WindowWatch::followReparenting(unsigned long id)
{
    ErrorTrap trap(m_x);
    const auto it = m_watched.find(id);
    if (it->frame) {
        m_frameOwners.remove(it->frame);
        XSelectInput(m_x.display(), it->frame, NoEventMask);
    }
    const unsigned long frame = frameOf(id);
    it->frame = frame != id ? frame : 0;
    if (it->frame) {
        XSelectInput(m_x.display(), it->frame, WatchMask);
        m_frameOwners.insert(it->frame, id);
    }
    const QList<X11Connection::ServerError> errors = trap.sync();
    if (!X11Connection::onlyVanished(errors))
        m_x.report(errors, QStringLiteral("监视窗口"));
    frameMayHaveChanged(id);
}

void X11WindowWatch::foregroundMayHaveChanged()
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

void X11WindowWatch::frameMayHaveChanged(unsigned long id)
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

void X11WindowWatch::stateMayHaveChanged(unsigned long id)
{
    const WindowInfo info = readWindow(id);
    if (!info.isValid()) {
        forget(id, true);
        emit windowMoved(id, QRect());
        return;
    }
    emit windowMoved(id, info.frame);
}

void X11WindowWatch::titleMayHaveChanged(unsigned long id)
{
    ErrorTrap trap(m_x);
    const QString title = readTitle(id);
    const QList<X11Connection::ServerError> errors = trap.sync();
    if (!errors.isEmpty()) {
        if (X11Connection::onlyVanished(errors))
            forget(id, true);
        else
            m_x.report(errors, QStringLiteral("读取窗口标题"));
        return;
    }
    const auto it = m_watched.find(id);
    if (it == m_watched.end() || it->lastTitle == title)
        return;
    it->lastTitle = title;
    emit windowTitleChanged(id, title);
}

unsigned long X11WindowWatch::watchedClientOf(unsigned long window) const
{
    if (m_watched.contains(window))
        return window;
    return m_frameOwners.value(window, 0);
}
