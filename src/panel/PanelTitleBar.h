#pragma once

#include <QPoint>
#include <QWidget>

class QCheckBox;
class QLabel;
class QMenu;
class QPushButton;

// The top of the panel: the caption strip (logo, title, minimise, roll up, close), which drags
// the frameless window, and the row of tools below it (top-most box, dock button, the 菜单 menu
// with the readout of the window in front, management and users). Widgets carry their
// historic names (imgLogo, lblTitle, chkTop, btnXiFu...).
class PanelTitleBar : public QWidget {
    Q_OBJECT
public:
    PanelTitleBar(const QString& title, bool administrator, QWidget* parent = nullptr);

    QCheckBox* topBox() const { return m_top; }
    QPushButton* dockButton() const { return m_dock; }
    QPushButton* manageButton() const { return m_manage; }
    QPushButton* usersButton() const { return m_users; }
    // Where other parts of the program add their commands.
    QMenu* menu() const { return m_menu; }
    // The class and title of the window in front, as docking sees it.
    void showForeground(const QString& className, const QString& title);

signals:
    void minimizeClicked();
    void rollClicked();
    void closeClicked();
    // A press on the logo floats a docked panel.
    void logoPressed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildStrip(const QString& title);
    QMenu* buildMenu(QPushButton* button);

    QWidget* m_strip = nullptr;
    QLabel* m_logo = nullptr;
    QCheckBox* m_top = nullptr;
    QPushButton* m_dock = nullptr;
    QPushButton* m_manage = nullptr;
    QPushButton* m_users = nullptr;
    QMenu* m_menu = nullptr;
    QLabel* m_foregroundClass = nullptr;
    QLabel* m_foregroundTitle = nullptr;
    QPoint m_dragOffset;
    bool m_dragging = false;
};
