#pragma once

#include <QObject>
#include <QString>

class QAction;
class QSystemTrayIcon;
class QWidget;

// The panel's tray icon: a click shows the panel, its menu offers 显示主界面, the commands of
// the panel's 菜单 and 退出, and its tooltip tells where the panel is docked and whether the hot
// keys are on.
class PanelTray : public QObject {
    Q_OBJECT
public:
    PanelTray(const QString& title, QWidget* panel);

    QSystemTrayIcon* icon() const { return m_icon; }
    // Shared with the 菜单: the same actions, so both stay alike.
    void addCommands(const QList<QAction*>& commands);
    // `chatTitle` empty while docked: no chat window is in front yet.
    void setDocking(bool docked, const QString& chatTitle);
    void setHotKeys(bool on);

    static QString toolTip(const QString& title, bool docked, const QString& chatTitle,
                           bool hotKeys);

signals:
    void showRequested();
    void exitRequested();

private:
    void update();

    QSystemTrayIcon* m_icon;
    QAction* m_exit;
    QString m_title;
    bool m_docked = false;
    QString m_chatTitle;
    bool m_hotKeys = false;
};
