#pragma once

#include <QString>

// The dock button and the DockingOn state behind it. The caption always names the mode a click
// switches to: "吸附" while the panel floats, "悬停" while it is docked. DockingOn is "" until the
// first switch, then "1" or "0".
class DockSwitch {
public:
    enum class Action {
        Dock,   // follow the chat window
        Undock, // float again: back to the stored position and size, top-most
    };

    static QString dockCaption();  // 吸附
    static QString floatCaption(); // 悬停

    QString caption() const { return m_caption; }
    QString dockingOn() const { return m_dockingOn; }
    bool docked() const { return m_dockingOn == QLatin1String("1"); }

    Action click();
    // The logo, the tray action and showing from the tray float the panel again without moving
    // it back. True when it was docked, so the follower is to stop.
    bool undock();

private:
    QString m_caption = dockCaption();
    QString m_dockingOn;
};
