#pragma once

#include "data/Services.h"
#include "send/InputWindow.h"
#include "send/SendAction.h"

#include <QSet>
#include <QWidget>
#include <array>

class Desktop;
class EdgeGrip;
class HotKeyManager;
class InputWindow;
class ListPage;
class PanelDocking;
class PanelEditing;
class QLabel;
class PanelTitleBar;
class PanelTray;
class QBoxLayout;
class QVBoxLayout;
class QMenu;
class QStackedWidget;
class QSystemTrayIcon;
class QTabBar;
class QueryPage;
class SearchService;
class Sender;
class Settings;
class Store;
class TreePage;

// The main panel `frmMain`: a narrow frameless window with the knowledge tree and five lists
// on six tabs, the tray icon, and the double-click that sends the chosen entry.
class PanelWindow : public QWidget {
    Q_OBJECT
public:
    static QString windowCaption(); // 客服Tavro(Quillmate), by which the panel knows itself
    static QString titleText();     // 客服Tavro V2.1.8

    explicit PanelWindow(const Services& services, QWidget* parent = nullptr);
    ~PanelWindow() override;

    TreePage* treePage() const { return m_tree; }
    QueryPage* queryPage() const { return m_query; }
    ListPage* listPage(int index) const { return m_lists.value(index); }
    Sender& sender() const { return *m_sender; }
    // K1..K12, hidden children of the panel.
    HotKeyManager& hotKeys() const { return *m_hotKeys; }
    InputWindow& inputWindow() const { return *m_input; }
    QSystemTrayIcon* tray() const { return m_tray; }
    int currentTab() const; // 1..6

    void selectTab(int oneBased);
    // What a double-click on an entry does, wherever it came from.
    void activateEntry(const EntryRef& entry, bool onIcon, ClickSource source,
                       PasteOrigin origin = PasteOrigin::Panel);
    // Shows the panel again (tray, docking).
    void showPanel();
    // Asks the exit question; on yes the panel's size is kept and the program ends.
    bool requestExit();
    // Back to the position and size of the settings.
    void placeOnScreen();
    void setTopMost(bool on);
    // While docked the panel does not take the keyboard focus from the chat window when it is
    // clicked; a click into one of its text boxes takes it until the panel loses it again.
    void setKeepsFocusAway(bool on);
    bool keepsFocusAway() const { return m_keepFocusAway; }
    PanelDocking* docking() const { return m_docking; }
    // The menu of the 菜单 button, where other parts of the program add their commands.
    QMenu* menu() const;
    // The management windows, and the New, Edit and Delete of the right-click menus.
    PanelEditing& editing() const { return *m_editing; }
    // Starts following chat windows (after the panel is shown).
    void startDocking();

signals:
    void viewRequested(SearchKind kind, qint64 id);
    void exitConfirmed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildSending();
    void buildPages(QVBoxLayout* layout);
    void buildTray();
    void buildDocking();
    void connectTitleBar();
    void loadAsConfigured();
    void applyFontPreset();
    void showProblem(const QString& message);
    // A problem of the window system is told once, however often it recurs.
    void showDesktopProblem(const QString& message);
    void openHotKeyWindow();
    void openSettingsWindow();
    void openUserWindow();
    void openPasswordWindow();
    void connectEditing();
    // Shown while the signed-in administrator has no password, until closed.
    void updatePasswordNotice();
    QLabel* addNotice(QBoxLayout* layout, const QString& name, const QString& text);

    Services m_ctx;
    InputWindow* m_input;
    Sender* m_sender;
    HotKeyManager* m_hotKeys = nullptr;
    QSet<QString> m_toldProblems;
    QTabBar* m_tabs = nullptr;
    QStackedWidget* m_pages = nullptr;
    TreePage* m_tree = nullptr;
    QueryPage* m_query = nullptr;
    QList<ListPage*> m_lists;
    QSystemTrayIcon* m_tray = nullptr;
    PanelTray* m_panelTray = nullptr;
    QString m_chatTitle; // the chat window docking follows
    PanelTitleBar* m_titleBar = nullptr;
    PanelDocking* m_docking = nullptr;
    PanelEditing* m_editing = nullptr;
    QLabel* m_passwordNotice = nullptr;
    QLabel* m_serverNotice = nullptr;
    std::array<EdgeGrip*, 4> m_grips{};
    bool m_exiting = false;
    bool m_keepFocusAway = false;
    bool m_rolledUp = false;
    bool m_passwordNoticeShown = false; // once a run: closed, it stays closed
    int m_unrolledHeight = 0;
};
