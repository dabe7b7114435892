#include "platform/x11/X11Desktop.h"

#include "platform/NullDesktop.h"
#include "platform/x11/KeySymTable.h"
#include "platform/x11/X11ClipboardWatch.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11HotKeys.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/X11WindowWatch.h"

X11Desktop::X11Desktop(const QByteArray& displayName, QObject* parent)
    : Desktop(parent), m_connection(new X11Connection(displayName, this))
{
    connect(m_connection, &X11Connection::problem, this, &Desktop::problem);
    if (!m_connection->isOpen())
        return;
    m_windows = new X11WindowWatch(*m_connection, this);
    m_hotKeys = new X11HotKeys(*m_connection, this);
    m_keyboard = std::make_unique<X11Keyboard>(*m_connection);
    connect(m_windows, &X11WindowWatch::foregroundChanged, this, &Desktop::foregroundChanged);
    connect(m_windows, &X11WindowWatch::windowMoved, this, &Desktop::windowMoved);
    connect(m_windows, &X11WindowWatch::windowTitleChanged, this, &Desktop::windowTitleChanged);
    connect(m_hotKeys, &X11HotKeys::pressed, this, &Desktop::hotKeyPressed);
    connect(m_hotKeys, &X11HotKeys::released, this, &Desktop::hotKeysReleased);
    m_connection->setEventHandler([this](_XEvent& event) {
        m_windows->handleEvent(event);
        m_hotKeys->handleEvent(event);
    });

    m_clipboardWatch = X11ClipboardWatch::create(this);
    if (m_clipboardWatch)
        connect(m_clipboardWatch, &X11ClipboardWatch::requested, this,
                [this](unsigned long requestor) { emit clipboardRequested(clientOf(requestor)); });
    m_connection->scheduleProcessing();
}

// The parts hold references to the connection: they go first.
X11Desktop::~X11Desktop()
{
    delete m_clipboardWatch;
    delete m_hotKeys;
    delete m_windows;
    m_keyboard.reset();
    delete m_connection;
}

bool X11Desktop::isAvailable() const
{
    return m_connection->isOpen();
}

QString X11Desktop::unavailableReason() const
{
    return m_connection->failure();
}

WindowInfo X11Desktop::foregroundWindow()
{
    return m_windows ? m_windows->foregroundWindow() : WindowInfo{};
}

WindowInfo X11Desktop::window(WindowId id)
{
    return m_windows ? m_windows->window(id) : WindowInfo{};
}

bool X11Desktop::activate(WindowId id)
{
    return m_windows && m_windows->activate(id);
}

DesktopResult X11Desktop::sendKeys(const QList<KeyStroke>& keys)
{
    if (!m_keyboard)
        return DesktopResult::failed(unavailableReason());
    // Whatever Qt has sent (the clipboard data another program asked for) is handled by the
    // server before these keys, so they reach that program after the data.
    if (m_clipboardWatch)
        m_clipboardWatch->settle();
    return m_keyboard->send(keys);
}

int X11Desktop::heldModifiers()
{
    return m_keyboard ? m_keyboard->heldModifiers() : 0;
}

bool X11Desktop::hotKeyHeld()
{
    return m_hotKeys && m_hotKeys->held();
}

DesktopResult X11Desktop::registerHotKey(int id, int virtualKey, int modifierMask)
{
    if (!m_hotKeys)
        return DesktopResult::failed(unavailableReason());
    return m_hotKeys->add(id, virtualKey, modifierMask);
}

void X11Desktop::unregisterHotKey(int id)
{
    if (m_hotKeys)
        m_hotKeys->remove(id);
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

quint64 X11Desktop::clientOf(WindowId id)
{
    // The server gives every connection a range of resource ids; the bits outside the mask name
    // the connection, and so the program that created the window.
    return m_clipboardWatch ? id & ~static_cast<quint64>(m_clipboardWatch->resourceIdMask()) : id;
}
