#include "panel/PanelTray.h"

#include "widgets/Skin.h"

#include <QMenu>
#include <QSystemTrayIcon>

PanelTray::PanelTray(const QString& title, QWidget* panel)
    : QObject(panel), m_icon(new QSystemTrayIcon(Skin::appIcon(), panel)), m_title(title)
{
    m_icon->setObjectName(QStringLiteral("trayNotify1"));
    auto* menu = new QMenu(panel);
    QAction* show = menu->addAction(QStringLiteral("显示主界面"));
    show->setObjectName(QStringLiteral("mnuTrayShow"));
    menu->addSeparator();
    m_exit = menu->addAction(QStringLiteral("退出"));
    m_exit->setObjectName(QStringLiteral("mnuTrayExit"));
    connect(show, &QAction::triggered, this, &PanelTray::showRequested);
    connect(m_exit, &QAction::triggered, this, &PanelTray::exitRequested);
    connect(m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason r) {
        if (r == QSystemTrayIcon::Trigger || r == QSystemTrayIcon::DoubleClick)
            emit showRequested();
    });
    m_icon->setContextMenu(menu);
    update();
    m_icon->show();
}

void PanelTray::addCommands(const QList<QAction*>& commands)
{
    QMenu* menu = m_icon->contextMenu();
    for (QAction* command : commands)
        menu->insertAction(m_exit, command);
    menu->insertSeparator(m_exit);
}

void PanelTray::setDocking(bool docked, const QString& chatTitle)
{
    m_docked = docked;
    m_chatTitle = chatTitle;
    update();
}

void PanelTray::setHotKeys(bool on)
{
    m_hotKeys = on;
    update();
}

QString PanelTray::toolTip(const QString& title, bool docked, const QString& chatTitle,
                           bool hotKeys)
{
    QString docking = QStringLiteral("未吸附");
    if (docked)
        docking = QStringLiteral("吸附：") +
                  (chatTitle.isEmpty() ? QStringLiteral("等待聊天窗口") : chatTitle);
    return title + u'\n' + docking + u'\n' +
           (hotKeys ? QStringLiteral("热键：已启用") : QStringLiteral("热键：未启用"));
}

void PanelTray::update()
{
    m_icon->setToolTip(toolTip(m_title, m_docked, m_chatTitle, m_hotKeys));
}
