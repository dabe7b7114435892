#include "platform/win32/Win32Desktop.h"

#include "platform/NullDesktop.h"
#include "platform/win32/ScreenScaling.h"
#include "platform/win32/Win32ClipboardRequests.h"
#include "platform/win32/Win32HotKeys.h"
#include "platform/win32/Win32Keyboard.h"
#include "platform/win32/Win32Keys.h"
#include "platform/win32/Win32WindowWatch.h"
#include "platform/win32/Win32Windows.h"

#include <QGuiApplication>
#include <QScreen>
#include <optional>
#include <vector>

namespace {

HWND toHandle(WindowId id)
{
    return reinterpret_cast<HWND>(static_cast<quintptr>(id));
}

WindowId toId(HWND window)
{
    return reinterpret_cast<quintptr>(window);
}

QString toQString(const std::wstring& text)
{
    return QString::fromStdWString(text);
}

DesktopResult toResult(const Win32Result& result)
{
    switch (result.kind) {
    case Win32Result::Kind::Done:
        return DesktopResult::done();
    case Win32Result::Kind::Taken:
        return DesktopResult::taken();
    case Win32Result::Kind::Failed:
        break;
    }
    return DesktopResult::failed(toQString(result.reason));
}

// Physical pixels to the coordinates Qt places our windows in.
QRect toQt(const RECT& frame)
{
    std::vector<ScreenScaling::Screen> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect g = screen->geometry();
        screens.push_back(
            ScreenScaling::fromQt(g.x(), g.y(), g.width(), g.height(), screen->devicePixelRatio()));
    }
    const ScreenScaling::Rect r =
        ScreenScaling::toQt({frame.left, frame.top, frame.right, frame.bottom}, screens);
    return QRect(r.left, r.top, r.right - r.left, r.bottom - r.top);
}

WindowInfo toInfo(const Win32WindowFacts& facts)
{
    if (!facts.isValid())
        return {};
    WindowInfo info;
    info.id = toId(facts.handle);
    info.className = toQString(facts.className);
    info.title = toQString(facts.title);
    info.frame = toQt(facts.frame);
    info.visible = facts.visible;
    info.minimized = facts.minimized;
    info.processId = facts.processId;
    return info;
}

} // namespace

Win32Desktop::Win32Desktop(QObject* parent) : Desktop(parent)
{
    Win32WindowWatch::Listener listener;
    listener.foregroundChanged = [this](HWND window) { emit foregroundChanged(toId(window)); };
    listener.moved = [this](HWND window, std::optional<RECT> frame) {
        emit windowMoved(toId(window), frame ? toQt(*frame) : QRect());
    };
    listener.titleChanged = [this](HWND window, const std::wstring& title) {
        emit windowTitleChanged(toId(window), toQString(title));
    };
    m_windows = std::make_unique<Win32WindowWatch>(std::move(listener));
    m_hotKeys = std::make_unique<Win32HotKeys>([this](int id) { emit hotKeyPressed(id); });
    m_clipboard = std::make_unique<Win32ClipboardRequests>(
        [this](Win32ClipboardRequests::Client client) { emit clipboardRequested(client); });
}

Win32Desktop::~Win32Desktop() = default;

bool Win32Desktop::isAvailable() const
{
    return m_hotKeys->isAvailable();
}

QString Win32Desktop::unavailableReason() const
{
    return isAvailable() ? QString() : toQString(m_hotKeys->unavailableReason());
}

bool Win32Desktop::reportsWindowChanges() const
{
    return m_windows->reportsEvents();
}

WindowInfo Win32Desktop::foregroundWindow()
{
    return toInfo(m_windows->foregroundWindow());
}

WindowInfo Win32Desktop::window(WindowId id)
{
    return toInfo(m_windows->window(toHandle(id)));
}

bool Win32Desktop::activate(WindowId id)
{
    const Win32Windows::Activation activation = Win32Windows::activate(toHandle(id));
    // The paste says only that the window did not come back; why is the agent's to know.
    if (activation.outcome == Win32Windows::Activation::Outcome::Refused)
        emit problem(toQString(activation.reason));
    return activation.ok();
}

DesktopResult Win32Desktop::sendKeys(const QList<KeyStroke>& keys)
{
    std::vector<Win32Keyboard::KeyPress> presses;
    presses.reserve(static_cast<size_t>(keys.size()));
    for (const KeyStroke& key : keys)
        presses.push_back({key.virtualKey, key.down});
    return toResult(Win32Keyboard::send(presses));
}

int Win32Desktop::heldModifiers()
{
    return Win32Keyboard::heldModifiers();
}

bool Win32Desktop::hotKeyHeld()
{
    return m_hotKeys->held();
}

DesktopResult Win32Desktop::registerHotKey(int id, int virtualKey, int modifierMask)
{
    return toResult(m_hotKeys->add(id, virtualKey, modifierMask));
}

void Win32Desktop::unregisterHotKey(int id)
{
    m_hotKeys->remove(id);
}

QString Win32Desktop::keyName(int virtualKey)
{
    return toQString(Win32Keys::keyName(virtualKey));
}

bool Win32Desktop::reportsClipboardRequests() const
{
    // Both ways of reading must be seen: a read that is not would hold the send key back.
    return m_clipboard->watchesClipboardData() && m_clipboard->watchesDataObjectCalls();
}

quint64 Win32Desktop::clientOf(WindowId id)
{
    return Win32ClipboardRequests::clientOfWindow(toHandle(id));
}

Desktop::OpenResult Win32Desktop::openPath(const QString& path)
{
    return NullDesktop::openLocalPath(path);
}

Desktop::OpenResult Win32Desktop::openUrl(const QUrl& url)
{
    return NullDesktop::openExternalUrl(url);
}
