#pragma once

#include "panel/docking/ChatWindowList.h"
#include "panel/docking/DockSwitch.h"
#include "panel/docking/DockingController.h"
#include "send/SendAction.h"

#include <QObject>
#include <QRect>
#include <QTimer>

class BottomQueryBar;
class InputWindow;
class QPushButton;
class QWidget;
class SearchService;
class Sender;
class Settings;
class Store;

// The panel's side of docking: the dock button, following the chat window, the bottom query
// bar, and the edge auto-hide of the floating panel. It moves, shows and hides the panel window;
// everything else the panel does about it, it learns from the signals.
class PanelDocking : public QObject {
    Q_OBJECT
public:
    PanelDocking(QWidget& panel, Desktop& desktop, Settings& settings, Store& store,
                 SearchService& search, Sender& sender, InputWindow& input,
                 QPushButton* dockButton);
    ~PanelDocking() override;

    void start();
    // The dock button.
    void toggle();
    // The logo, the tray action and showing from the tray float a docked panel again.
    void undock();

    BottomQueryBar* bar() const { return m_bar; }
    DockingController& controller() { return m_controller; }
    const DockSwitch& dockSwitch() const { return m_switch; }
    QWidget* handle() const { return m_handle; }

signals:
    void foregroundInfo(const QString& className, const QString& title);
    // Docked or floating now; `byButton`: the agent pressed the dock button.
    void dockedChanged(bool docked, bool byButton);
    // The chat window docking follows now, by its title; empty when there is none.
    void chatWindowChanged(const QString& title);
    // A double-click in the bottom query bar's results.
    void barActivated(const EntryRef& entry, bool onIcon);

private:
    void setDocked(bool docked, bool byButton);
    void checkEdge();
    void updateEdgeTimer();

    QWidget& m_panel;
    InputWindow& m_input;
    Desktop& m_desktop;
    Settings& m_settings;
    ChatWindowList m_chats;
    DockingController m_controller;
    DockSwitch m_switch;
    QPushButton* m_button;
    BottomQueryBar* m_bar;
    QWidget* m_handle;
    QTimer m_edgeTimer;
    QRect m_beforeHide;
};
