#include "panel/PanelDocking.h"

#include "data/Settings.h"
#include "panel/BottomQueryBar.h"
#include "panel/docking/DockGeometry.h"
#include "send/InputWindow.h"
#include "widgets/Skin.h"

#include <QCursor>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

namespace {
constexpr int EdgeIntervalMs = 300;
constexpr int HandleWidth = 10;

bool isDockingSetting(Setting s)
{
    switch (s) {
    case Setting::XiFuQQ:
    case Setting::XiFuWeiXin:
    case Setting::XiFuQiYeWeiXin:
    case Setting::XiFuQianNiu:
    case Setting::XiFuWangWang:
    case Setting::XiFuDingDing:
    case Setting::XiFuBaiduShangQiao:
    case Setting::XiFuCustomWindows:
        return true;
    default:
        return false;
    }
}
} // namespace

PanelDocking::PanelDocking(QWidget& panel, Desktop& desktop, Settings& settings, Store& store,
                           SearchService& search, Sender& sender, InputWindow& input,
                           QPushButton* dockButton)
    : QObject(&panel), m_panel(panel), m_input(input), m_desktop(desktop), m_settings(settings),
      m_controller(desktop, settings, m_chats), m_button(dockButton)
{
    m_chats.rebuild(settings);
    connect(&settings, &Settings::changed, this, [this](Setting s) {
        if (isDockingSetting(s))
            m_chats.rebuild(m_settings);
        if (s == Setting::LeftAndRightHideMini)
            updateEdgeTimer();
    });

    m_bar = new BottomQueryBar(store, search, settings, sender, input, &panel);
    m_bar->setAttribute(Qt::WA_ShowWithoutActivating);
    connect(m_bar, &BottomQueryBar::activated, this, &PanelDocking::barActivated);

    // The handle a floating panel shrinks to at a screen edge.
    auto* handle =
        new QLabel(&panel, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    handle->setObjectName(QStringLiteral("picMini"));
    handle->setAttribute(Qt::WA_ShowWithoutActivating);
    handle->setStyleSheet(QStringLiteral("background: #2a9d8f;"));
    m_handle = handle;

    m_button->setText(m_switch.caption());
    connect(m_button, &QPushButton::clicked, this, &PanelDocking::toggle);

    connect(&m_controller, &DockingController::placePanel, this, [this](const QRect& r) {
        if (m_switch.docked())
            m_panel.setGeometry(r);
    });
    connect(&m_controller, &DockingController::placeBar, this, [this](const QRect& r) {
        m_bar->placeAt(r);
        m_bar->show();
    });
    connect(&m_controller, &DockingController::hideBar, m_bar, &QWidget::hide);
    connect(&m_controller, &DockingController::foregroundInfo, this, &PanelDocking::foregroundInfo);
    connect(&m_controller, &DockingController::targetChanged, this, [this](WindowId window) {
        m_input.setChatWindow(window);
        emit chatWindowChanged(window ? m_desktop.window(window).title : QString());
    });

    m_edgeTimer.setInterval(EdgeIntervalMs);
    connect(&m_edgeTimer, &QTimer::timeout, this, &PanelDocking::checkEdge);
}

PanelDocking::~PanelDocking() = default;

void PanelDocking::start()
{
    m_controller.setPanelWidth(m_panel.width());
    m_controller.start();
    updateEdgeTimer();
}

void PanelDocking::setDocked(bool docked, bool byButton)
{
    m_button->setText(m_switch.caption());
    m_input.setDocked(docked);
    emit dockedChanged(docked, byButton);
    m_controller.setPanelWidth(m_panel.width());
    m_controller.setDocked(docked);
    if (m_handle->isVisible()) {
        m_handle->hide();
        m_panel.show();
    }
    updateEdgeTimer();
}

void PanelDocking::toggle()
{
    setDocked(m_switch.click() == DockSwitch::Action::Dock, true);
}

void PanelDocking::undock()
{
    if (m_switch.undock())
        setDocked(false, false);
}

void PanelDocking::updateEdgeTimer()
{
    const bool wanted = !m_switch.docked() && m_settings.flag(Setting::LeftAndRightHideMini);
    if (wanted && !m_edgeTimer.isActive())
        m_edgeTimer.start();
    else if (!wanted)
        m_edgeTimer.stop();
}

void PanelDocking::checkEdge()
{
    QScreen* screen = m_panel.screen();
    if (!screen)
        return;
    const bool hidden = m_handle->isVisible();
    DockGeometry::EdgeInput in;
    in.panel = hidden ? m_handle->geometry() : m_panel.frameGeometry();
    in.available = screen->availableGeometry();
    in.cursor = QCursor::pos();
    in.hideEnabled = m_settings.flag(Setting::LeftAndRightHideMini);
    in.floating = !m_switch.docked();
    in.hidden = hidden;
    switch (DockGeometry::edgeAction(in)) {
    case DockGeometry::EdgeAction::Hide:
        m_beforeHide = m_panel.geometry();
        m_handle->setGeometry(DockGeometry::handleRect(m_beforeHide, in.available, HandleWidth));
        m_handle->show();
        m_panel.hide();
        break;
    case DockGeometry::EdgeAction::Show:
        m_handle->hide();
        m_panel.setGeometry(m_beforeHide);
        m_panel.show();
        break;
    case DockGeometry::EdgeAction::Stay:
        break;
    }
}
