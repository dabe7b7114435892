#include "panel/docking/DockingController.h"

#include "data/Settings.h"
#include "panel/docking/DockGeometry.h"

#include <QGuiApplication>
#include <QScreen>
#include <utility>

namespace {

constexpr double defaultDpi = 96.0;

// Window frames are in device pixels, so the screen's dots per inch are taken per device pixel.
double screenDpi(const QRect& frame)
{
    if (qGuiApp == nullptr)
        return defaultDpi;
    QScreen* screen = QGuiApplication::screenAt(frame.center());
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    if (screen == nullptr)
        return defaultDpi;
    return screen->logicalDotsPerInch() * screen->devicePixelRatio();
}

} // namespace

DockingController::DockingController(Desktop& desktop, const Settings& settings,
                                     const ChatWindowList& chats, QObject* parent)
    : QObject(parent), m_desktop(desktop), m_settings(settings), m_chats(chats), m_dpi(screenDpi)
{
    m_fallback.setInterval(FallbackIntervalMs);
    connect(&m_fallback, &QTimer::timeout, this, &DockingController::onFallbackTick);
    connect(&m_desktop, &Desktop::foregroundChanged, this, [this] {
        m_eventSinceTick = true;
        if (m_running)
            step();
    });
    connect(&m_desktop, &Desktop::windowMoved, this,
            [this](WindowId id, const QRect&) { onEvent(id); });
    connect(&m_desktop, &Desktop::windowTitleChanged, this,
            [this](WindowId id, const QString&) { onEvent(id); });
    // The bar and the side follow the settings at once, not at the chat window's next move.
    connect(&m_settings, &Settings::changed, this, [this](Setting s) {
        if (s == Setting::QueryBarShowFlag && !m_settings.flag(s))
            concealBar();
        else if (s == Setting::QueryBarShowFlag || s == Setting::XiFuMainShowPos)
            refresh();
    });
}

void DockingController::start()
{
    if (m_running || !m_desktop.isAvailable())
        return;
    m_running = true;
    step();
    // Where the desktop reports changes, the tick is only a slow safety net for a change a
    // window manager reports in pieces (a resize done in two steps); otherwise it is the
    // follow step itself.
    const bool reported = m_eventDriven && m_desktop.reportsWindowChanges();
    m_fallback.start(reported ? SafetyIntervalMs : FallbackIntervalMs);
}

void DockingController::stop()
{
    m_running = false;
    m_fallback.stop();
}

void DockingController::setDocked(bool docked)
{
    m_dockingOn = docked ? QStringLiteral("1") : QStringLiteral("0");
    m_panelRect.reset();
    // The dock button is on the panel, so the panel is in front now: place without looking
    // at the foreground.
    if (m_running && docked)
        place();
}

void DockingController::setPanelWidth(int pixels)
{
    if (m_panelWidth == pixels)
        return;
    m_panelWidth = pixels;
    if (m_running && docked())
        place();
}

void DockingController::setBarHeight(int pixels)
{
    m_barHeight = pixels;
}

void DockingController::setDpiProvider(DpiProvider provider)
{
    m_dpi = std::move(provider);
}

void DockingController::refresh()
{
    m_barState = BarState::Unknown;
    m_panelRect.reset();
    if (m_running)
        place();
}

void DockingController::onEvent(WindowId id)
{
    m_eventSinceTick = true;
    // Only the window in front (it may have become a chat by its new title) and the chat
    // window being followed matter.
    if (m_running && id != 0 && (id == m_front || id == m_target.window))
        step();
}

void DockingController::onFallbackTick()
{
    const bool skip = m_eventDriven && m_eventSinceTick;
    m_eventSinceTick = false;
    if (!skip)
        step();
}

void DockingController::step()
{
    const WindowInfo front = m_desktop.foregroundWindow();
    m_front = front.id;
    if (front.isValid()) {
        if (DockGeometry::isOwnTitle(front.title)) {
            // Our own window in front changes nothing, but a chat window that was minimised or
            // closed meanwhile still takes the bar with it.
            const WindowInfo chat =
                m_target.window ? m_desktop.window(m_target.window) : WindowInfo{};
            if (m_target.window &&
                (!chat.isValid() || DockGeometry::isGone(chat) || DockGeometry::isMinimized(chat)))
                concealBar();
            return;
        }
        const bool readoutChanged =
            front.className != m_foreground.className || front.title != m_foreground.title;
        m_foreground = front;
        if (readoutChanged)
            emit foregroundInfo(front.className, front.title);
        const ChatWindowList::Match match =
            m_chats.recognize(front.className.trimmed(), front.title.trimmed());
        if (match.chat)
            setTarget(front.id, match.kind);
    }
    place();
}

void DockingController::setTarget(WindowId window, const QString& kind)
{
    if (m_target.window == window && m_target.kind == kind)
        return;
    m_target = {window, kind};
    emit targetChanged(window, kind);
}

void DockingController::place()
{
    if (m_target.window == 0)
        return;
    const WindowInfo chat = m_desktop.window(m_target.window);
    if (!chat.isValid()) {
        setTarget(0, ChatWindowList::emptyKind());
        concealBar();
        return;
    }
    if (DockGeometry::isGone(chat) || DockGeometry::isMinimized(chat)) {
        concealBar();
        return;
    }
    const double dpi = m_dpi(chat.frame);
    if (m_settings.flag(Setting::QueryBarShowFlag))
        showBar(DockGeometry::queryBarRect(chat.frame, m_barHeight, dpi));
    else
        m_barState = BarState::Unknown;
    if (docked()) {
        const DockGeometry::Side side =
            DockGeometry::panelSide(m_settings.value(Setting::XiFuMainShowPos));
        const QRect rect = DockGeometry::panelRect(chat.frame, m_panelWidth, side, dpi);
        // Moving a window to where it already is still costs the window system work.
        if (m_panelRect != rect) {
            m_panelRect = rect;
            emit placePanel(rect);
        }
    }
}

void DockingController::showBar(const QRect& rect)
{
    if (m_barState == BarState::Placed && m_barRect == rect)
        return;
    m_barState = BarState::Placed;
    m_barRect = rect;
    emit placeBar(rect);
}

void DockingController::concealBar()
{
    if (m_barState == BarState::Hidden)
        return;
    m_barState = BarState::Hidden;
    emit hideBar();
}
