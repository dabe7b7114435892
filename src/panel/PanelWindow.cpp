#include "panel/PanelWindow.h"

#include "content/ContentWindows.h"
#include "data/SearchService.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "data/TreeSection.h"
#include "hotkeys/HotKeyManager.h"
#include "hotkeys/HotKeyWindow.h"
#include "maintenance/MaintenanceCommands.h"
#include "panel/BottomQueryBar.h"
#include "panel/EdgeGrip.h"
#include "panel/EntryView.h"
#include "panel/ListPage.h"
#include "panel/PanelDocking.h"
#include "panel/PanelEditing.h"
#include "panel/PanelTitleBar.h"
#include "panel/PanelTray.h"
#include "panel/QueryPage.h"
#include "panel/TreePage.h"
#include "panel/Twips.h"
#include "platform/Desktop.h"
#include "send/InputWindow.h"
#include "send/Sender.h"
#include "settings/AutoStart.h"
#include "settings/FolderPicker.h"
#include "settings/SettingsWindow.h"
#include "users/PasswordWindow.h"
#include "users/UserAccounts.h"
#include "users/UserWindow.h"
#include "widgets/Dialogs.h"
#include "widgets/FontPreset.h"
#include "widgets/Skin.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QSystemTrayIcon>
#include <QTabBar>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>

namespace {

constexpr int GripSize = 5;

QIcon nodeIcon(const KnowledgeTreeModel::Node& n)
{
    using K = KnowledgeTreeModel::NodeKind;
    switch (n.kind) {
    case K::Item:
        return Skin::icon(SkinIcon::SectionRoot);
    case K::Type:
        if (n.itemId == sectionId(TreeSection::Affairs))
            return Skin::icon(n.flag != 0 ? SkinIcon::AffairWithWeb : SkinIcon::Affair);
        if (n.itemId == sectionId(TreeSection::Couriers))
            return Skin::icon(n.flag != 0 ? SkinIcon::CourierWithWeb : SkinIcon::Courier);
        return Skin::icon(SkinIcon::BigCategory);
    case K::Goods:
        return Skin::icon(SkinIcon::SmallCategory);
    case K::Knowledge:
        return Skin::icon(n.hasPicture ? SkinIcon::KnowledgeWithPicture : SkinIcon::Knowledge);
    case K::Common:
        return Skin::icon(n.hasPicture ? SkinIcon::KnowledgeWithPicture : SkinIcon::Common);
    }
    return {};
}

QVariant rowIcon(const SearchRow& r)
{
    switch (r.kind) {
    case SearchKind::Knowledge:
    case SearchKind::Personal:
        return Skin::icon(r.hasPicture ? SkinIcon::KnowledgeWithPicture : SkinIcon::Knowledge);
    case SearchKind::Affair:
        return Skin::icon(r.flag != 0 ? SkinIcon::AffairWithWeb : SkinIcon::Affair);
    case SearchKind::Courier:
        return Skin::icon(r.flag != 0 ? SkinIcon::CourierWithWeb : SkinIcon::Courier);
    default:
        return {};
    }
}

} // namespace

QString PanelWindow::windowCaption()
{
    return QStringLiteral("客服Tavro(Quillmate)");
}

QString PanelWindow::titleText()
{
    return QStringLiteral("客服Tavro V") + QLatin1String(QUILLMATE_VERSION);
}

PanelWindow::PanelWindow(const Services& services, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint), m_ctx(services)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(windowCaption());
    setWindowIcon(Skin::appIcon());
    setAttribute(Qt::WA_StyledBackground);
    // The panel's own chrome on top of the program's skin: a framed body, light caption
    // buttons, and tabs narrow enough for six on a narrow panel.
    setStyleSheet(QStringLiteral(
        "QWidget#frmMain { background: #f6f8f9; border: 1px solid #9fb3ba; }"
        "QWidget#titleBar QToolButton { color: #ffffff; border: none; padding: 0 5px; }"
        "QWidget#titleBar QToolButton:hover { background: rgba(255,255,255,0.25); }"
        "QWidget#titleBar QToolButton#imgClose:hover { background: #d9534f; }"
        "QTabBar::tab { padding: 4px 2px; min-width: 20px; }"
        "QWidget#frmMain QPushButton { padding: 3px 5px; min-width: 0; }"
        "QWidget#picQuery QPushButton { padding: 3px 1px; min-width: 0; }"));

    buildSending();
    m_titleBar = new PanelTitleBar(titleText(), m_ctx.user.isAdministrator, this);
    auto* content = new QVBoxLayout(this);
    content->setContentsMargins(GripSize, 0, GripSize, GripSize);
    content->setSpacing(2);
    content->addWidget(m_titleBar);
    m_passwordNotice = addNotice(
        content, QStringLiteral("lblPasswordNotice"),
        QStringLiteral("管理员尚未设置密码，打开本软件的人都是管理员。请在“菜单 → 修改密码”中设置。"
                       " <a href=\"close\">知道了</a>"));
    connect(m_passwordNotice, &QLabel::linkActivated, m_passwordNotice, &QWidget::hide);
    // A lost server is told once, in place, without stopping the agent: the lists keep what
    // they show and fill again by themselves when the connection is back.
    m_serverNotice = addNotice(content, QStringLiteral("lblServerNotice"), QString());
    connect(&m_ctx.store, &Store::serverLost, m_serverNotice, [this](const QString& message) {
        m_serverNotice->setText(
            QStringLiteral("与共享数据库的连接已断开，正在自动重新连接；此间显示的是断开前的内容，"
                           "保存会失败。（%1）")
                .arg(message.toHtmlEscaped()));
        m_serverNotice->show();
    });
    connect(&m_ctx.store, &Store::serverRestored, m_serverNotice, &QWidget::hide);
    buildPages(content);
    m_grips = {new EdgeGrip(QStringLiteral("imgLeft"), EdgeGrip::Left, this),
               new EdgeGrip(QStringLiteral("imgRight"), EdgeGrip::Right, this),
               new EdgeGrip(QStringLiteral("imgBottom"), EdgeGrip::Bottom, this),
               new EdgeGrip(QStringLiteral("imgJiao"), EdgeGrip::Right | EdgeGrip::Bottom, this)};
    buildTray();
    buildDocking();
    connectTitleBar();
    connectEditing();
    updatePasswordNotice();
    for (QLineEdit* edit : findChildren<QLineEdit*>()) {
        if (edit->window() == this)
            edit->installEventFilter(this);
    }
    loadAsConfigured();

    m_hotKeys = new HotKeyManager(m_ctx.settings, m_ctx.store, m_ctx.desktop, *m_sender, this);
    if (m_ctx.settings.flag(Setting::StartHotKey))
        m_hotKeys->enableAll();
    QAction* hotKeys = menu()->addAction(QStringLiteral("热键设置"));
    hotKeys->setObjectName(QStringLiteral("mnuHotKey"));
    connect(hotKeys, &QAction::triggered, this, &PanelWindow::openHotKeyWindow);
    // Every user may open the settings: config.ini is the seat's own file.
    QAction* settingsCommand = menu()->addAction(QStringLiteral("设置"));
    settingsCommand->setObjectName(QStringLiteral("mnuSet"));
    connect(settingsCommand, &QAction::triggered, this, &PanelWindow::openSettingsWindow);
    m_panelTray->addCommands(
        {menu()->findChild<QAction*>(QStringLiteral("mnuPassword")), hotKeys, settingsCommand});
    // The private store is the seat's own: every user keeps it.
    menu()->addSeparator();
    m_editing->windows().maintenance().addStoreCommands(menu(), StoreId::Personal, true);
    m_editing->windows().maintenance().addWorkbookCommands(menu(), ExchangeScope::Private, true);
    connect(&m_editing->windows().maintenance(), &MaintenanceCommands::restartRequired, this,
            [this] {
                m_exiting = true;
                m_tray->hide();
                emit exitConfirmed();
            });
    m_panelTray->setHotKeys(m_ctx.settings.flag(Setting::StartHotKey));
    // A new text size applies to every window at once, the panel's lists included.
    connect(&m_ctx.settings, &Settings::changed, this, [this](Setting s) {
        if (s == Setting::StartHotKey)
            m_panelTray->setHotKeys(m_ctx.settings.flag(s));
        if (s != Setting::MainFontSize)
            return;
        const FontPreset preset =
            FontPreset::fromSetting(m_ctx.settings.value(Setting::MainFontSize));
        auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
        if (app && app->styleSheet() != Skin::styleSheet(preset))
            Skin::apply(*app, preset);
        applyFontPreset();
    });
}

PanelWindow::~PanelWindow() = default;

void PanelWindow::buildSending()
{
    m_input = new InputWindow(m_ctx.desktop,
                              {windowCaption(), QStringLiteral("QuillmateBottomQuery")}, this);
    m_sender =
        new Sender(m_ctx.store, m_ctx.settings, m_ctx.desktop, *m_input, m_ctx.root.folder(), this);
    m_sender->setPastingEnabled(m_ctx.desktop.isAvailable());
    connect(m_sender, &Sender::viewRequested, this, &PanelWindow::viewRequested);
    connect(m_sender, &Sender::message, this, &PanelWindow::showProblem);
    connect(&m_ctx.desktop, &Desktop::problem, this, &PanelWindow::showDesktopProblem);
}

void PanelWindow::buildPages(QVBoxLayout* layout)
{
    m_tabs = new QTabBar(this);
    m_tabs->setObjectName(QStringLiteral("TabStrip1"));
    m_tabs->setExpanding(true);
    m_tabs->setDrawBase(false);
    m_tabs->setUsesScrollButtons(false);
    m_pages = new QStackedWidget(this);

    m_tree = new TreePage(m_ctx.store, m_ctx.settings, m_pages);
    m_query = new QueryPage(m_ctx.store, m_ctx.search, m_ctx.settings, m_pages);
    m_tree->model()->setIconProvider(
        [](const KnowledgeTreeModel::Node& n) { return QVariant(nodeIcon(n)); });
    m_query->model()->setIconProvider(rowIcon);
    m_query->view()->lockColumnWidths();
    m_pages->addWidget(m_tree);
    m_pages->addWidget(m_query);
    connect(m_tree, &TreePage::activated, this, [this](const EntryRef& e, bool onIcon) {
        activateEntry(e, onIcon, ClickSource::Tree);
    });
    connect(m_query, &QueryPage::activated, this, [this](const EntryRef& e, bool onIcon) {
        activateEntry(e, onIcon, ClickSource::QueryList);
    });
    connect(m_tree, &TreePage::problem, this, &PanelWindow::showProblem);
    connect(m_query, &QueryPage::problem, this, &PanelWindow::showProblem);
    for (const ListPage::PageDef& def : ListPage::pageDefs()) {
        auto* page = new ListPage(def, m_ctx.store, m_ctx.search, m_ctx.settings, m_pages);
        page->model()->setIconProvider(rowIcon);
        if (def.kind == EntryListModel::ListKind::Simple ||
            def.kind == EntryListModel::ListKind::Tools)
            page->view()->lockColumnWidths();
        connect(page, &ListPage::activated, this, [this](const EntryRef& e, bool onIcon) {
            activateEntry(e, onIcon, ClickSource::PageList);
        });
        connect(page, &ListPage::problem, this, &PanelWindow::showProblem);
        m_pages->addWidget(page);
        m_lists << page;
    }
    for (const QString& caption :
         {QStringLiteral("树结构"), QStringLiteral("查询"), QStringLiteral("简洁"),
          QStringLiteral("文件"), QStringLiteral("工具"), QStringLiteral("私人")})
        m_tabs->addTab(caption);
    connect(m_tabs, &QTabBar::currentChanged, this, [this](int index) {
        m_pages->setCurrentIndex(index);
        m_tree->refreshButton()->setVisible(index == 0);
    });
    layout->addWidget(m_tabs);
    layout->addWidget(m_pages, 1);
}

void PanelWindow::buildDocking()
{
    m_docking = new PanelDocking(*this, m_ctx.desktop, m_ctx.settings, m_ctx.store, m_ctx.search,
                                 *m_sender, *m_input, m_titleBar->dockButton());
    connect(m_docking, &PanelDocking::foregroundInfo, m_titleBar, &PanelTitleBar::showForeground);
    connect(m_docking, &PanelDocking::barActivated, this, [this](const EntryRef& e, bool onIcon) {
        activateEntry(e, onIcon, ClickSource::QueryList, PasteOrigin::QueryBar);
    });
    connect(m_docking, &PanelDocking::chatWindowChanged, this, [this](const QString& title) {
        m_chatTitle = title;
        m_panelTray->setDocking(m_docking->dockSwitch().docked(), title);
    });
    connect(m_docking, &PanelDocking::dockedChanged, this, [this](bool docked, bool byButton) {
        m_panelTray->setDocking(docked, m_chatTitle);
        setKeepsFocusAway(docked);
        // Either way the button leaves the panel on top; floating, back in its own place.
        if (byButton)
            setTopMost(true);
        if (byButton && !docked)
            placeOnScreen();
    });
}

void PanelWindow::connectTitleBar()
{
    connect(m_titleBar->topBox(), &QCheckBox::toggled, this, [this](bool on) {
        const bool shown = isVisible();
        setWindowFlag(Qt::WindowStaysOnTopHint, on);
        if (shown)
            show();
    });
    connect(m_titleBar, &PanelTitleBar::minimizeClicked, this, &QWidget::showMinimized);
    connect(m_titleBar, &PanelTitleBar::closeClicked, this, &QWidget::close);
    connect(m_titleBar, &PanelTitleBar::logoPressed, m_docking, &PanelDocking::undock);
    connect(m_titleBar, &PanelTitleBar::rollClicked, this, [this] {
        // Rolled up, only the title bar stays on screen.
        m_rolledUp = !m_rolledUp;
        m_tabs->setVisible(!m_rolledUp);
        m_pages->setVisible(!m_rolledUp);
        if (m_rolledUp) {
            m_unrolledHeight = height();
            resize(width(), m_titleBar->sizeHint().height() + GripSize);
        } else {
            resize(width(), m_unrolledHeight);
        }
    });
}

void PanelWindow::loadAsConfigured()
{
    // The start-up order: place, top-most, first tab, fonts, tree, lists, query list.
    placeOnScreen();
    m_titleBar->topBox()->setChecked(m_ctx.settings.flag(Setting::StartTop));
    setWindowFlag(Qt::WindowStaysOnTopHint, m_titleBar->topBox()->isChecked());
    selectTab(m_ctx.settings.integer(Setting::StartInterface));
    m_tree->refreshButton()->setVisible(currentTab() == 1);
    applyFontPreset();
    m_tree->load();
    for (ListPage* page : std::as_const(m_lists))
        page->load(m_ctx.settings.flag(page->pageDef().startLoad));
    if (m_ctx.settings.flag(Setting::StartLoadQuery))
        m_query->setMode(SearchMode::All);
}

QMenu* PanelWindow::menu() const
{
    return m_titleBar->menu();
}

void PanelWindow::connectEditing()
{
    m_editing = new PanelEditing(m_ctx, this);
    m_titleBar->manageButton()->setMenu(m_editing->windows().managementMenu(this));
    connect(this, &PanelWindow::viewRequested, &m_editing->windows(), &ContentWindows::openView);
    connect(m_tree, &TreePage::nodeMenuRequested, this,
            [this](const KnowledgeTreeModel::Node* node, QMenu* menu) {
                m_editing->addCommands(menu, EditActions::forTreeNode(*node));
            });
    auto rows = [this](bool fromQueryBar) {
        return [this, fromQueryBar](const EntryRef& e, QMenu* menu) {
            m_editing->addCommands(menu, EditActions::forRow(e.kind, e.id, fromQueryBar));
        };
    };
    connect(m_query, &QueryPage::menuRequested, this, rows(false));
    for (ListPage* page : m_lists)
        connect(page, &ListPage::menuRequested, this, rows(false));
    connect(m_docking->bar(), &BottomQueryBar::menuRequested, this, rows(true));

    connect(m_titleBar->usersButton(), &QPushButton::clicked, this, &PanelWindow::openUserWindow);
    QAction* password = menu()->addAction(QStringLiteral("修改密码"));
    password->setObjectName(QStringLiteral("mnuPassword"));
    connect(password, &QAction::triggered, this, &PanelWindow::openPasswordWindow);
}

void PanelWindow::openUserWindow()
{
    if (!m_ctx.user.isAdministrator)
        return;
    UserAccounts accounts(m_ctx.store);
    UserWindow window(accounts, this);
    window.exec();
    updatePasswordNotice();
}

void PanelWindow::openPasswordWindow()
{
    UserAccounts accounts(m_ctx.store);
    PasswordWindow window(accounts, m_ctx.user.name, this);
    window.exec();
    updatePasswordNotice();
}

QLabel* PanelWindow::addNotice(QBoxLayout* layout, const QString& name, const QString& text)
{
    auto* notice = new QLabel(text, this);
    notice->setObjectName(name);
    notice->setWordWrap(true);
    notice->setStyleSheet(
        QStringLiteral("background: #fff6d5; border: 1px solid #e0c36b; padding: 3px;"));
    notice->hide();
    layout->addWidget(notice);
    return notice;
}

void PanelWindow::updatePasswordNotice()
{
    bool bare = false;
    if (m_ctx.user.isAdministrator) {
        const Result<QList<UserAccount>> users = UserAccounts(m_ctx.store).users();
        if (users) {
            for (const UserAccount& a : users.value())
                bare = bare || (a.name == m_ctx.user.name && !a.hasPassword);
        }
    }
    if (!bare)
        m_passwordNotice->hide();
    else if (!m_passwordNoticeShown)
        m_passwordNotice->show();
    m_passwordNoticeShown = m_passwordNoticeShown || bare;
}

void PanelWindow::buildTray()
{
    m_panelTray = new PanelTray(titleText(), this);
    m_tray = m_panelTray->icon();
    connect(m_panelTray, &PanelTray::showRequested, this, &PanelWindow::showPanel);
    connect(m_panelTray, &PanelTray::exitRequested, this, &PanelWindow::requestExit);
}

void PanelWindow::applyFontPreset()
{
    // The three numbers of a preset: icon size in pixels, then the widths (twips) of the icon
    // column and the id column of the lists.
    const FontPreset preset = FontPreset::fromSetting(m_ctx.settings.value(Setting::MainFontSize));
    const double dpi = screen() ? screen()->logicalDotsPerInch() : 96.0;
    QFont f = font();
    f.setPointSizeF(preset.pointSize);
    const QSize icon(preset.metrics[0], preset.metrics[0]);
    QList<EntryView*> lists{m_query->view()};
    for (ListPage* page : std::as_const(m_lists))
        lists << page->view();
    m_tree->view()->setFont(f);
    m_tree->view()->setIconSize(icon);
    for (EntryView* v : lists) {
        v->setFont(f);
        v->setIconSize(icon);
        v->header()->resizeSection(0, Twips::toPixels(preset.metrics[1], dpi));
        v->header()->resizeSection(1, Twips::toPixels(preset.metrics[2], dpi));
    }
}

void PanelWindow::placeOnScreen()
{
    QScreen* s = screen() ? screen() : QGuiApplication::primaryScreen();
    const double dpi = s ? s->logicalDotsPerInch() : 96.0;
    const QRect area = s ? s->availableGeometry() : QRect(0, 0, 1280, 800);
    // Whatever config.ini says, the whole panel stays on the screen.
    const int w = std::min(Twips::toPixels(m_ctx.settings.integer(Setting::StartMainWidth), dpi),
                           area.width());
    const int h = std::min(Twips::toPixels(m_ctx.settings.integer(Setting::StartMainHeight), dpi),
                           area.height());
    const int left = std::max(area.left(), area.right() + 1 - w - Twips::toPixels(80, dpi));
    const int top = std::min(
        Twips::toPixels(m_ctx.settings.integer(Setting::MainStartTopSize), dpi), area.height() - h);
    setGeometry(left, area.top() + top, w, h);
}

int PanelWindow::currentTab() const
{
    return m_tabs->currentIndex() + 1;
}

void PanelWindow::selectTab(int oneBased)
{
    m_tabs->setCurrentIndex(oneBased - 1);
    m_pages->setCurrentIndex(oneBased - 1);
}

void PanelWindow::showProblem(const QString& message)
{
    Dialogs::message(this, message);
}

void PanelWindow::showDesktopProblem(const QString& message)
{
    if (m_toldProblems.contains(message))
        return;
    m_toldProblems.insert(message);
    showProblem(message);
}

void PanelWindow::openHotKeyWindow()
{
    HotKeyWindow window(*m_hotKeys, this);
    window.exec();
}

void PanelWindow::openSettingsWindow()
{
    SystemFolderPicker folders;
    SettingsWindow window(m_ctx.settings, *m_hotKeys, folders, m_ctx.root.folder(), this);
    AutoStart autoStart(QCoreApplication::applicationFilePath(), m_ctx.root.folder());
    window.setAutoStart(&autoStart);
    window.showForeground(m_docking->controller().currentForeground());
    window.exec();
}

void PanelWindow::activateEntry(const EntryRef& entry, bool onIcon, ClickSource source,
                                PasteOrigin origin)
{
    m_sender->perform(SendAction::forDoubleClick(entry, onIcon, source, m_ctx.settings), origin);
}

void PanelWindow::startDocking()
{
    m_docking->start();
}

void PanelWindow::setKeepsFocusAway(bool on)
{
    m_keepFocusAway = on;
    // Changed on the native window, so the panel is not hidden and shown again.
    if (QWindow* w = windowHandle())
        w->setFlag(Qt::WindowDoesNotAcceptFocus, on);
}

void PanelWindow::setTopMost(bool on)
{
    QCheckBox* top = m_titleBar->topBox();
    if (top->isChecked() != on)
        top->setChecked(on);
    else if (windowFlags().testFlag(Qt::WindowStaysOnTopHint) != on) {
        setWindowFlag(Qt::WindowStaysOnTopHint, on);
        show();
    }
}

void PanelWindow::showPanel()
{
    m_docking->undock();
    showNormal();
    raise();
    activateWindow();
}

bool PanelWindow::requestExit()
{
    if (!Dialogs::askYesNo(this, Dialogs::exitQuestion(), Dialogs::defaultCaption()))
        return false;
    m_exiting = true;
    m_tray->hide();
    const double dpi = screen() ? screen()->logicalDotsPerInch() : 96.0;
    const int h = m_rolledUp ? m_unrolledHeight : height();
    Result<void> w = m_ctx.settings.setValue(Setting::StartMainWidth,
                                             QString::number(Twips::fromPixels(width(), dpi)));
    Result<void> hh = m_ctx.settings.setValue(Setting::StartMainHeight,
                                              QString::number(Twips::fromPixels(h, dpi)));
    if (!w || !hh)
        showProblem(!w ? w.message() : hh.message());
    emit exitConfirmed();
    close();
    return true;
}

void PanelWindow::closeEvent(QCloseEvent* event)
{
    if (m_exiting || requestExit()) {
        event->accept();
        return;
    }
    event->ignore();
}

void PanelWindow::changeEvent(QEvent* event)
{
    // Once the agent is done typing in the panel, clicks leave the focus where it is again.
    if (event->type() == QEvent::ActivationChange && !isActiveWindow() && m_keepFocusAway)
        setKeepsFocusAway(true);
    // Brought to the front by the agent: the window in front before it is where pastes go.
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_input->noteForeground();
    QWidget::changeEvent(event);
}

bool PanelWindow::eventFilter(QObject* watched, QEvent* event)
{
    // Typing needs the focus: a click into a text box takes it even while docked.
    if (m_keepFocusAway && event->type() == QEvent::MouseButtonPress &&
        qobject_cast<QLineEdit*>(watched)) {
        if (QWindow* w = windowHandle())
            w->setFlag(Qt::WindowDoesNotAcceptFocus, false);
        activateWindow();
        static_cast<QWidget*>(watched)->setFocus(Qt::MouseFocusReason);
    }
    return QWidget::eventFilter(watched, event);
}

void PanelWindow::resizeEvent(QResizeEvent* event)
{
    if (m_docking)
        m_docking->controller().setPanelWidth(width());
    const int w = width();
    const int h = height();
    m_grips[0]->setGeometry(0, 0, GripSize, h - GripSize);
    m_grips[1]->setGeometry(w - GripSize, 0, GripSize, h - 3 * GripSize);
    m_grips[2]->setGeometry(0, h - GripSize, w - 3 * GripSize, GripSize);
    m_grips[3]->setGeometry(w - 3 * GripSize, h - 3 * GripSize, 3 * GripSize, 3 * GripSize);
    for (EdgeGrip* g : m_grips)
        g->raise();
    QWidget::resizeEvent(event);
}
