#include "platform/x11/X11ClipboardWatch.h"

#include <QGuiApplication>
#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace {

unsigned internAtom(xcb_connection_t* connection, const char* name)
{
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(strlen(name)), name),
        nullptr);
    const unsigned atom = reply ? reply->atom : 0;
    std::free(reply);
    return atom;
}

} // namespace

X11ClipboardWatch* X11ClipboardWatch::create(QObject* parent)
{
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return nullptr;
    return new X11ClipboardWatch(x11->connection(), parent);
}

X11ClipboardWatch::X11ClipboardWatch(xcb_connection_t* connection, QObject* parent)
    : QObject(parent), m_connection(connection)
{
    m_clipboard = internAtom(connection, "CLIPBOARD");
    m_targets = internAtom(connection, "TARGETS");
    m_timestamp = internAtom(connection, "TIMESTAMP");
    m_resourceIdMask = xcb_get_setup(connection)->resource_id_mask;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11ClipboardWatch::~X11ClipboardWatch()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool X11ClipboardWatch::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST)
        return false;
    const auto* request = reinterpret_cast<const xcb_selection_request_event_t*>(event);
    if (request->selection == m_clipboard && request->target != m_targets &&
        request->target != m_timestamp)
        emit requested(request->requestor);
    return false;
}

void X11ClipboardWatch::settle()
{
    // A round trip on Qt's connection: its requests are handled in order, and the reply comes
    // after all of them.
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}
