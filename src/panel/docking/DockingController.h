#pragma once

#include "panel/docking/ChatWindowList.h"
#include "platform/Desktop.h"

#include <QObject>
#include <QRect>
#include <QString>
#include <QTimer>
#include <functional>
#include <optional>

class Settings;

// Keeps the bottom query bar and, while docked, the panel next to the chat window the agent
// last had in front. The desktop's events drive it; a 100 ms timer repeats the same step only
// when no event arrived in between, for window systems that do not report every move.
// Rectangles are in the desktop's screen pixels.
class DockingController : public QObject {
    Q_OBJECT
public:
    static constexpr int FallbackIntervalMs = 100;
    static constexpr int SafetyIntervalMs = 1000;
    static constexpr int DefaultBarHeight = 24;

    struct ChatTarget {
        WindowId window = 0; // 0: none yet, or the window has gone
        QString kind;
    };

    // Dots per inch of the screen showing the given rectangle.
    using DpiProvider = std::function<double(const QRect&)>;

    DockingController(Desktop& desktop, const Settings& settings, const ChatWindowList& chats,
                      QObject* parent = nullptr);

    // Runs the first step and starts following; nothing happens where the desktop gives no
    // access to other programs' windows.
    void start();
    void stop();
    bool isRunning() const { return m_running; }

    // Off: the timer runs the step on every tick, whatever events arrive.
    void setEventDriven(bool on) { m_eventDriven = on; }
    bool isEventDriven() const { return m_eventDriven; }

    // DockingOn: "" until the panel is first docked or floated, then "1" or "0".
    void setDocked(bool docked);
    QString dockingOn() const { return m_dockingOn; }
    bool docked() const { return m_dockingOn == QLatin1String("1"); }

    void setPanelWidth(int pixels);
    void setBarHeight(int pixels);
    void setDpiProvider(DpiProvider provider);

    ChatTarget target() const { return m_target; }
    // The last window in front that is not one of ours, for the "当前窗口" readout.
    WindowInfo currentForeground() const { return m_foreground; }

    // Looks at the window in front, then places bar and panel.
    void step();
    // Forgets what was last placed, so that the next placement is sent even when unchanged:
    // for when the panel or bar was moved or hidden by something else.
    void refresh();

signals:
    void targetChanged(WindowId window, const QString& kind);
    void foregroundInfo(const QString& className, const QString& title);
    void placeBar(const QRect& rect);
    void hideBar();
    void placePanel(const QRect& rect);

private:
    enum class BarState { Unknown, Hidden, Placed };

    void onEvent(WindowId id);
    void onFallbackTick();
    void setTarget(WindowId window, const QString& kind);
    void place();
    void showBar(const QRect& rect);
    void concealBar();

    Desktop& m_desktop;
    const Settings& m_settings;
    const ChatWindowList& m_chats;
    QTimer m_fallback;
    DpiProvider m_dpi;
    bool m_running = false;
    bool m_eventDriven = true;
    bool m_eventSinceTick = false;
    QString m_dockingOn;
    int m_panelWidth = 0;
    int m_barHeight = DefaultBarHeight;
    ChatTarget m_target;
    WindowId m_front = 0;
    WindowInfo m_foreground;
    BarState m_barState = BarState::Unknown;
    QRect m_barRect;
    std::optional<QRect> m_panelRect;
};
