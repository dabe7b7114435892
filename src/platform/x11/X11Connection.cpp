#include "platform/x11/X11Connection.h"

#include "platform/NullDesktop.h"

#include <QSocketNotifier>
#include <algorithm>
#include <cstring>
#include <utility>

// Xlib comes last: its macros would otherwise clash with names in Qt's headers.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

// Longest property read, in 32-bit units: far more than any title.
constexpr long MaxPropertyLength = 1 << 20;

X11Connection::ErrorTrap* s_innermost = nullptr;
XErrorHandler s_previous = nullptr;

} // namespace

// Xlib's default reaction to an error is to end the process. While a trap lives, the errors of
// this connection are collected instead, so that each request's outcome is known; the errors of
// other connections of the process (Qt's) go to the handler that was there before. Traps nest;
// an error goes to the innermost trap of its connection.
static int trapError(Display* display, XErrorEvent* event)
{
    for (X11Connection::ErrorTrap* trap = s_innermost; trap; trap = trap->outer()) {
        if (trap->connection().display() == display) {
            trap->collect(
                {event->error_code, event->request_code, event->minor_code, event->resourceid});
            return 0;
        }
    }
    return s_previous ? s_previous(display, event) : 0;
}

X11Connection::ErrorTrap::ErrorTrap(X11Connection& connection)
    : m_connection(connection), m_outer(s_innermost)
{
    if (!m_outer)
        s_previous = XSetErrorHandler(&trapError);
    s_innermost = this;
    m_checkedUpTo = NextRequest(m_connection.display());
}

X11Connection::ErrorTrap::~ErrorTrap()
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
        m_connection.report(late, QStringLiteral("X11 请求"));
}

// A request whose reply has been read needs no extra round trip.
QList<X11Connection::ServerError> X11Connection::ErrorTrap::sync()
{
    Display* display = m_connection.display();
    if (NextRequest(display) - 1 != LastKnownRequestProcessed(display))
        XSync(display, False);
    m_checkedUpTo = NextRequest(display);
    return std::exchange(m_errors, {});
}

bool X11Connection::ErrorTrap::pending() const
{
    return NextRequest(m_connection.display()) != m_checkedUpTo;
}

X11Connection::X11Connection(const QByteArray& displayName, QObject* parent) : QObject(parent)
{
    m_display = XOpenDisplay(displayName.isEmpty() ? nullptr : displayName.constData());
    if (!m_display) {
        const QString name = displayName.isEmpty() ? qEnvironmentVariable("DISPLAY")
                                                   : QString::fromLocal8Bit(displayName);
        m_failure =
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
    ErrorTrap trap(*this);
    XInternAtoms(m_display, const_cast<char**>(names), AtomCount, False, m_atoms);
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    m_hasXTest = XTestQueryExtension(m_display, &eventBase, &errorBase, &major, &minor);
    // With detectable auto-repeat a held key sends presses only, so a repeat is told apart from
    // a new press without looking ahead in the queue.
    Bool detectable = False;
    XkbSetDetectableAutoRepeat(m_display, True, &detectable);
    m_detectableRepeat = detectable;
    XSelectInput(m_display, m_root, PropertyChangeMask);
    report(trap.sync(), QStringLiteral("连接 X 显示"));

    m_notifier = new QSocketNotifier(ConnectionNumber(m_display), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11Connection::processEvents);
}

X11Connection::~X11Connection()
{
    if (!m_display)
        return;
    // The notifier watches the connection's socket, which closing the display closes; the
    // server drops this connection's grabs and event selections with it.
    delete m_notifier;
    XCloseDisplay(m_display);
}

void X11Connection::processEvents()
{
    m_processingScheduled = false;
    if (!m_display)
        return;
    ErrorTrap trap(*this);
    while (XPending(m_display) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        if (m_handler)
            m_handler(event);
    }
    report(trap.sync(), QStringLiteral("处理 X 事件"));
}

void X11Connection::scheduleProcessing()
{
    if (m_processingScheduled || !m_display || XEventsQueued(m_display, QueuedAlready) == 0)
        return;
    m_processingScheduled = true;
    QMetaObject::invokeMethod(this, &X11Connection::processEvents, Qt::QueuedConnection);
}

bool X11Connection::readProperty(unsigned long window, unsigned long property, unsigned long type,
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

void X11Connection::report(const QList<ServerError>& errors, const QString& action)
{
    for (const ServerError& error : errors)
        emit problem(QStringLiteral("%1失败：%2").arg(action, errorText(error)));
}

QString X11Connection::errorText(const ServerError& error) const
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

bool X11Connection::onlyVanished(const QList<ServerError>& errors)
{
    return std::all_of(errors.cbegin(), errors.cend(), [](const ServerError& error) {
        return error.code == BadWindow || error.code == BadDrawable;
    });
}
