#include "data/SearchService.h"
#include "panel/BottomQueryBar.h"
#include "panel/EntryView.h"
#include "panel/ListPage.h"
#include "panel/PanelDocking.h"
#include "panel/PanelWindow.h"
#include "panel/QueryPage.h"
#include "panel/TreePage.h"
#include "platform/fake/FakeDesktop.h"
#include "send/Sender.h"
#include "send/TextComposer.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/Gui.h"
#include "support/TestRoot.h"
#include "widgets/Dialogs.h"
#include "widgets/FramelessDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTabBar>

namespace {

// A data root with a small library, a fake desktop with a chat window in front, and the panel.
struct Panel {
    TestRoot root;
    FakeDesktop desktop;
    SearchService search{*root.store, *root.settings};
    std::unique_ptr<PanelWindow> window;
    qint64 big = 0, small = 0, k1 = 0, k2 = 0, phrase = 0, affair = 0, courier = 0;

    explicit Panel(const QList<std::pair<Setting, QString>>& settings = {}, bool admin = true,
                   const QString& user = "tester")
    {
        root.set(settings);
        big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        small = root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
        k1 = root.add(Table::Knowledge, {{"name", "退货流程"},
                                         {"description", "七天无理由"},
                                         {"goodsid", small},
                                         {"commonflag", 1}});
        k2 = root.add(Table::Knowledge,
                      {{"name", "发货时间"}, {"description", "48小时"}, {"goodsid", small}});
        affair = root.add(Table::Type, {{"name", "退货地址"}, {"itemid", 3}});
        courier =
            root.add(Table::Type, {{"name", "顺丰"}, {"itemid", 4}, {"url", "https://sf.example"}});
        const qint64 st = root.add(Table::SimpleType, {{"name", "问候"}});
        phrase = root.add(Table::Simple, {{"name", "亲，您好"}, {"typeid", st}});
        desktop.addWindow({100, "ChatClient", "客户", QRect(0, 0, 800, 600), true, false});
        desktop.setForeground(100);
        window = std::make_unique<PanelWindow>(root.services(search, desktop, {user, admin}));
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }
    template <class T> T* find(const char* name)
    {
        return window->findChild<T*>(QLatin1String(name));
    }
    KnowledgeTreeModel* tree() { return window->treePage()->model(); }
    bool expanded(const QString& key)
    {
        return window->treePage()->view()->isExpanded(tree()->indexForKey(key));
    }
    void doubleClick(EntryView* view, const QModelIndex& index, bool onIcon = false)
    {
        view->scrollTo(index);
        const QRect r = view->visualRect(index);
        const QPoint at =
            onIcon ? QPoint(r.left() + 4, r.center().y()) : QPoint(r.right() - 4, r.center().y());
        // A double-click on a view only counts where the mouse went down first.
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
    }
    // The right-click menu of `index`, its commands by object name.
    QHash<QString, QAction*> menuOf(EntryView* view, const QModelIndex& index)
    {
        view->scrollTo(index);
        menu.reset(view->menuAt(view->visualRect(index).center()));
        QHash<QString, QAction*> commands;
        if (menu) {
            for (QAction* a : menu->actions())
                commands.insert(a->objectName(), a);
        }
        return commands;
    }
    // The caption of the dialog a command opened; the dialog is closed.
    QString opened(QAction* command, const QString& name)
    {
        command->trigger();
        for (QWidget* w : QApplication::topLevelWidgets()) {
            auto* dialog = qobject_cast<FramelessDialog*>(w);
            if (dialog && dialog->objectName() == name && dialog->isVisible()) {
                const QString caption = dialog->caption();
                delete dialog;
                return caption;
            }
        }
        return {};
    }
    std::unique_ptr<QMenu> menu;
};

} // namespace

class TestPanel : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void init() { Dialogs::takeShown(); }
    void showsItselfAsConfigured();
    void startFlagsShapeTheTree();
    void placedFromTwipsSettings();
    void editingFromWhereTheAgentWorks();
    void accountsAndManagingFromThePanel();
    void pagesLoadAsTheirStartFlagsSay();
    void exitIsAskedAndKeepsTheSize();
    void doubleClicksSendOrOpen();
    void queryPageSearchesAndCounts();
    void docksBesideTheChatWindow();
};

void TestPanel::showsItselfAsConfigured()
{
    Panel p({{Setting::StartInterface, "3"}});
    QVERIFY(p.root.ok());
    QCOMPARE(p.window->windowTitle(), QStringLiteral("客服Tavro(Quillmate)"));
    QCOMPARE(p.window->objectName(), QStringLiteral("frmMain"));
    QCOMPARE(p.find<QLabel>("lblTitle")->text(), QStringLiteral("客服Tavro V2.1.8"));
    auto* tabs = p.find<QTabBar>("TabStrip1");
    QStringList captions;
    for (int i = 0; i < tabs->count(); ++i)
        captions << tabs->tabText(i);
    QCOMPARE(captions, (QStringList{"树结构", "查询", "简洁", "文件", "工具", "私人"}));
    QCOMPARE(p.window->currentTab(), 3);
    auto* refresh = p.find<QPushButton>("btnRefresh");
    QVERIFY(!refresh->isVisible());
    tabs->setCurrentIndex(0);
    QVERIFY(refresh->isVisible());
    tabs->setCurrentIndex(1);
    QVERIFY(!refresh->isVisible());
    QVERIFY(p.find<QCheckBox>("chkTop")->isChecked());
    QVERIFY(p.window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QCOMPARE(p.find<QSystemTrayIcon>("trayNotify1")->isVisible(), true);

    // The lists' columns against the golden file: the view's name, then its captions.
    for (const QStringList& row : fixtureRows("panel-lists.txt")) {
        auto* view = p.window->findChild<EntryView*>(row.first());
        QVERIFY2(view, qPrintable(row.first()));
        QStringList shown{row.first()};
        for (int c = 0; c < view->model()->columnCount(); ++c)
            shown << view->model()->headerData(c, Qt::Horizontal).toString();
        QCOMPARE(shown, row);
    }

    Panel off({{Setting::StartTop, "0"}, {Setting::StartInterface, "9"}});
    QVERIFY(off.root.ok());
    QVERIFY(!off.find<QCheckBox>("chkTop")->isChecked());
    QVERIFY(!off.window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QCOMPARE(off.window->currentTab(), 1);
}

void TestPanel::startFlagsShapeTheTree()
{
    {
        Panel p;
        QVERIFY(p.root.ok());
        QVERIFY(p.expanded("I1") && p.expanded("I2") && p.expanded("I3") && p.expanded("I4"));
        QTRY_VERIFY(p.expanded(QStringLiteral("T%1").arg(p.big)));
        QTRY_VERIFY(p.expanded(QStringLiteral("G%1").arg(p.small)));
        QVERIFY(p.tree()->indexForKey(QStringLiteral("C%1").arg(p.k1)).isValid());
        QVERIFY(p.tree()->indexForKey(QStringLiteral("K%1").arg(p.k2)).isValid());
        // By default the simple page is filled at start and the query page is not.
        QCOMPARE(p.find<EntryView>("lvSimple")->model()->rowCount(), 1);
        QCOMPARE(p.find<EntryView>("lvQuery")->model()->rowCount(), 0);
    }
    {
        // The courier section follows the company-affairs flag, not StartExpress.
        Panel p({{Setting::StartCompanyAffairs, "0"},
                 {Setting::StartExpress, "1"},
                 {Setting::StartCommon, "0"},
                 {Setting::StartGoodsType, "0"}});
        QVERIFY(p.root.ok());
        QVERIFY(!p.expanded("I1") && p.expanded("I2") && !p.expanded("I3") && !p.expanded("I4"));
        QTest::qWait(20);
        QVERIFY(!p.expanded(QStringLiteral("T%1").arg(p.big)));
        // Nothing below an unexpanded category has been read.
        QVERIFY(!p.tree()->indexForKey(QStringLiteral("G%1").arg(p.small)).isValid());
    }
    {
        Panel p({{Setting::StartCompanyAffairs, "1"}, {Setting::StartExpress, "0"}});
        QVERIFY(p.root.ok());
        QVERIFY(p.expanded("I3") && p.expanded("I4"));
    }
}

void TestPanel::placedFromTwipsSettings()
{
    Panel p({{Setting::StartMainWidth, "4500"},
             {Setting::StartMainHeight, "7500"},
             {Setting::MainStartTopSize, "300"}});
    QVERIFY(p.root.ok());
    const double dpi = p.window->screen()->logicalDotsPerInch();
    const QRect area = p.window->screen()->availableGeometry();
    const int w = qRound(4500 * dpi / 1440), h = qRound(7500 * dpi / 1440);
    QCOMPARE(p.window->size(), QSize(w, h));
    QCOMPARE(p.window->y(), area.top() + qRound(300 * dpi / 1440));
    QCOMPARE(p.window->x(), area.right() + 1 - w - qRound(80 * dpi / 1440));

    // Sizes and places out of all proportion (a hand-edited file) still leave it all on screen.
    Panel huge({{Setting::StartMainWidth, "2147483647"},
                {Setting::StartMainHeight, "99999"},
                {Setting::MainStartTopSize, "50000"}});
    QVERIFY(huge.root.ok());
    QVERIFY(area.contains(huge.window->geometry()));
}

void TestPanel::editingFromWhereTheAgentWorks()
{
    Panel p;
    QVERIFY(p.root.ok());
    EntryView* tree = p.window->treePage()->view();
    // The categories chosen in the New dialog that is open; the dialog is closed.
    auto pickers = [] {
        QStringList chosen;
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (w->objectName() == "frmKnowledgeNew" && w->isVisible()) {
                chosen << w->findChild<QComboBox*>("cbGoodsType")->currentText()
                       << w->findChild<QComboBox*>("cbGoods")->currentText();
                delete w;
                break;
            }
        }
        return chosen;
    };
    // A small category and an entry below it both offer a new entry in that category.
    for (const QString& key : {QString("G%1").arg(p.small), QString("K%1").arg(p.k2)}) {
        tree->expand(p.tree()->indexForKey(QString("T%1").arg(p.big)));
        tree->expand(p.tree()->indexForKey(QString("G%1").arg(p.small)));
        QTRY_VERIFY(p.tree()->indexForKey(key).isValid());
        QHash<QString, QAction*> commands = p.menuOf(tree, p.tree()->indexForKey(key));
        QCOMPARE(commands.value("mnuNew")->text(), QStringLiteral("新增知识"));
        commands.value("mnuNew")->trigger();
        QCOMPARE(pickers(), (QStringList{"手机", "华为"}));
    }
    QCOMPARE(p.opened(p.menuOf(tree, p.tree()->indexForKey(QString("K%1").arg(p.k2)))["mnuEdit"],
                      "frmKnowledgeEdit"),
             QStringLiteral("知识库-编辑"));
    QCOMPARE(p.opened(p.menuOf(tree, p.tree()->indexForKey(QString("T%1").arg(p.big)))["mnuNew"],
                      "frmGoodsNew"),
             QStringLiteral("小类-新增"));
    // Deleting from the tree removes the row, and the tree follows.
    Dialogs::queueAnswer(true);
    p.menuOf(tree, p.tree()->indexForKey(QString("K%1").arg(p.k2)))["mnuDelete"]->trigger();
    QTRY_VERIFY(!p.tree()->indexForKey(QString("K%1").arg(p.k2)).isValid());

    // The query page and the page lists edit their rows; the bottom bar says where it came from.
    p.window->selectTab(2);
    p.find<QLineEdit>("txtName")->setText("退货流程");
    auto* query = p.find<EntryView>("lvQuery");
    QTRY_COMPARE(query->model()->rowCount(), 1);
    QCOMPARE(p.opened(p.menuOf(query, query->model()->index(0, 0))["mnuEdit"], "frmKnowledgeEdit"),
             QStringLiteral("知识库-编辑"));
    p.window->selectTab(3);
    auto* simple = p.find<EntryView>("lvSimple");
    QTRY_COMPARE(simple->model()->rowCount(), 1);
    QCOMPARE(p.opened(p.menuOf(simple, simple->model()->index(0, 0))["mnuEdit"], "frmSimpleEdit"),
             QStringLiteral("简洁-编辑"));
    BottomQueryBar* bar = p.window->docking()->bar();
    bar->searchBox()->setText("顺丰");
    QTRY_COMPARE(bar->view()->model()->rowCount(), 1);
    const QHash<QString, QAction*> barCommands = p.menuOf(bar->view(), bar->model()->index(0, 0));
    QVERIFY(!barCommands.value("mnuCopyPic")->isEnabled());
    QCOMPARE(p.opened(barCommands.value("mnuEdit"), "frmExpressEdit"),
             QStringLiteral("快递-底部查询-编辑"));

    // Column widths of these lists stay where they are.
    for (const char* name : {"lvQuery", "lvSimple", "lvTools"})
        QCOMPARE(p.find<EntryView>(name)->header()->sectionResizeMode(0), QHeaderView::Fixed);

    // An agent sees the shared library's commands disabled, and manages their own notes.
    Panel agent({}, false);
    QVERIFY(agent.root.ok());
    const QHash<QString, QAction*> shared = agent.menuOf(
        agent.window->treePage()->view(),
        agent.tree()->indexForKey(QString("I%1").arg(sectionId(TreeSection::Product))));
    QVERIFY(!shared.value("mnuNew")->isEnabled());
    const qint64 note = agent.root.add(Table::Personal, {{"name", "我的备忘"}});
    agent.window->selectTab(6);
    auto* personal = agent.find<EntryView>("lvPersonal");
    QTRY_COMPARE(personal->model()->rowCount(), 1);
    const QHash<QString, QAction*> own = agent.menuOf(personal, personal->model()->index(0, 0));
    QVERIFY(own.value("mnuEdit")->isEnabled());
    Dialogs::queueAnswer(true);
    own.value("mnuDelete")->trigger();
    QCOMPARE(agent.root.store->row(Table::Personal, note, {"name"}).value(), std::nullopt);
    QCOMPARE(Dialogs::takeShown().size(), 2); // the two questions before deleting
}

void TestPanel::accountsAndManagingFromThePanel()
{
    // The store's first administrator has no password: the panel says so until closed.
    Panel first;
    QVERIFY(first.root.ok());
    auto* notice = first.find<QLabel>("lblPasswordNotice");
    QVERIFY(!notice->isVisible());
    Panel admin({}, true, "admin");
    QVERIFY(admin.root.ok());
    QVERIFY(admin.find<QPushButton>("btnManage")->isEnabled());
    notice = admin.find<QLabel>("lblPasswordNotice");
    QVERIFY(notice->isVisible());
    QVERIFY(notice->text().contains("修改密码"));
    emit notice->linkActivated("close");
    QVERIFY(!notice->isVisible());
    QCOMPARE(modalOpenedBy([&] { admin.find<QPushButton>("btnUsers")->click(); }),
             QStringLiteral("frmUser"));
    QVERIFY(!notice->isVisible());

    // A lost server is told in place until the store has it back; the pages stay as they were.
    auto* server = first.find<QLabel>("lblServerNotice");
    QVERIFY(!server->isVisible());
    emit first.root.store->serverLost("连接被关闭");
    QVERIFY(server->isVisible());
    QVERIFY(server->text().contains("连接被关闭"));
    emit first.root.store->serverRestored();
    QVERIFY(!server->isVisible());

    // Normal users may change their password, not manage.
    Panel agent({}, false);
    QVERIFY(agent.root.ok());
    QVERIFY(!agent.find<QPushButton>("btnManage")->isEnabled());
    QVERIFY(!agent.find<QPushButton>("btnUsers")->isEnabled());
    QAction* password = agent.window->menu()->findChild<QAction*>("mnuPassword");
    QVERIFY(password && password->isEnabled());
    QCOMPARE(modalOpenedBy([&] { password->trigger(); }), QStringLiteral("frmPassword"));
}

void TestPanel::pagesLoadAsTheirStartFlagsSay()
{
    Panel p({{Setting::StartLoadSimple, "0"}, {Setting::StartLoadQuery, "1"}});
    QVERIFY(p.root.ok());
    auto* simple = p.find<EntryView>("lvSimple");
    QCOMPARE(simple->model()->rowCount(), 0);
    auto* picker = p.find<QComboBox>("cmdSimpleType");
    QCOMPARE(picker->count(), 2);
    QCOMPARE(picker->itemText(0), QStringLiteral("请选择分类"));
    // Picking a category fills the list.
    picker->setCurrentIndex(1);
    emit picker->activated(1);
    QCOMPARE(simple->model()->rowCount(), 1);
    // The query page was filled with every kind at start.
    QCOMPARE(p.find<EntryView>("lvQuery")->model()->rowCount(), 5);
    QCOMPARE(p.find<QLabel>("lblCount")->text(), QStringLiteral("数量：5"));
}

void TestPanel::exitIsAskedAndKeepsTheSize()
{
    Panel p;
    QVERIFY(p.root.ok());
    // A hot key lost when the keyboard layout changed is said once, not on every change.
    const QString lost = QStringLiteral("键盘布局改变后，热键 F3 无法重新注册。");
    p.desktop.problemOccurred(lost);
    p.desktop.problemOccurred(lost);
    p.desktop.problemOccurred(QStringLiteral("模拟按键失败：BadValue"));
    QCOMPARE(shownTexts(), (QStringList{lost, "模拟按键失败：BadValue"}));

    p.window->resize(333, 444);
    const QByteArray before = sha256(p.root.configPath());
    Dialogs::queueAnswer(false);
    QVERIFY(!p.window->close());
    const QList<ShownDialog> shown = Dialogs::takeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().text, QStringLiteral("您确认要退出吗？"));
    QCOMPARE(shown.first().caption, QStringLiteral("客服Tavro"));
    QVERIFY(p.window->isVisible());
    QVERIFY(p.find<QSystemTrayIcon>("trayNotify1")->isVisible());
    QCOMPARE(sha256(p.root.configPath()), before);

    p.window->resize(320, 640);
    QSignalSpy exited(p.window.get(), &PanelWindow::exitConfirmed);
    Dialogs::queueAnswer(true);
    QVERIFY(p.window->close());
    QCOMPARE(exited.count(), 1);
    QVERIFY(!p.find<QSystemTrayIcon>("trayNotify1")->isVisible());
    const double dpi = p.window->screen()->logicalDotsPerInch();
    Settings reread(p.root.configPath());
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.integer(Setting::StartMainWidth), qRound(320 * 1440 / dpi));
    QCOMPARE(reread.integer(Setting::StartMainHeight), qRound(640 * 1440 / dpi));
}

void TestPanel::doubleClicksSendOrOpen()
{
    Panel p({{Setting::SendCaptionDesc, "1"}});
    QVERIFY(p.root.ok());
    QVERIFY(p.root.store->setBlob(Table::Knowledge, p.k2, QByteArray("not really a png")).ok());
    QVERIFY(p.root.store->update(Table::Knowledge, p.k2, {{"extname", "png"}}).ok());
    QSignalSpy done(&p.window->sender(), &Sender::pasteFinished);
    // The agent clicks into the panel: the chat window is where pastes go back to.
    p.desktop.addWindow({200, "Quillmate", PanelWindow::windowCaption(), QRect(), true, false});
    p.desktop.setForeground(200);

    auto* tree = p.find<EntryView>("TreeView1");
    QTRY_VERIFY(p.tree()->indexForKey(QStringLiteral("K%1").arg(p.k1)).isValid());
    p.doubleClick(tree, p.tree()->indexForKey(QStringLiteral("C%1").arg(p.k1)));
    QTRY_COMPARE(done.count(), 1);
    const QString nl = TextComposer::lineBreak();
    QCOMPARE(p.desktop.pastes().last().text, "退货流程" + nl + "七天无理由" + nl);
    QCOMPARE(
        p.root.store->row(Table::Knowledge, p.k1, {"usetime"}).value()->value("usetime").toInt(),
        1);

    // On the icon of an entry with a picture: the picture, a png as a file.
    p.doubleClick(tree, p.tree()->indexForKey(QStringLiteral("K%1").arg(p.k2)), true);
    QTRY_COMPARE(done.count(), 2);
    QCOMPARE(p.desktop.pastes().last().urls.size(), 1);
    QVERIFY(p.desktop.pastes().last().urls.first().toLocalFile().endsWith(
        QStringLiteral("/%1.png").arg(p.k2)));

    // A courier with its address off opens its view; a section does nothing.
    QSignalSpy views(p.window.get(), &PanelWindow::viewRequested);
    p.doubleClick(tree, p.tree()->indexForKey(QStringLiteral("T%1").arg(p.courier)));
    QCOMPARE(views.count(), 1);
    QCOMPARE(views.last(), (QVariantList{QVariant::fromValue(SearchKind::Courier), p.courier}));

    p.window->selectTab(3);
    auto* simple = p.find<EntryView>("lvSimple");
    p.doubleClick(simple, simple->model()->index(0, 2));
    QTRY_COMPARE(done.count(), 3);
    QCOMPARE(p.desktop.pastes().last().text, "亲，您好" + nl);
}

void TestPanel::queryPageSearchesAndCounts()
{
    Panel p;
    QVERIFY(p.root.ok());
    p.window->selectTab(2);
    auto* text = p.find<QLineEdit>("txtName");
    QTest::keyClicks(text, "th");
    auto* list = p.find<EntryView>("lvQuery");
    // 退货流程 (knowledge) and 退货地址 (affair) by their initials.
    QCOMPARE(list->model()->rowCount(), 2);
    QCOMPARE(list->model()->index(0, 0).data().toString(), QStringLiteral("W"));
    QCOMPARE(list->model()->index(1, 0).data().toString(), QStringLiteral("C"));
    QCOMPARE(p.find<QLabel>("lblCount")->text(), QStringLiteral("数量：2"));
    QTest::mouseClick(p.find<QPushButton>("btnAffairs"), Qt::LeftButton);
    QCOMPARE(list->model()->rowCount(), 1);
    QCOMPARE(p.find<QLabel>("lblCount")->text(), QStringLiteral("数量：1"));
    QTest::mouseClick(p.find<QPushButton>("btnCommon"), Qt::LeftButton);
    QCOMPARE(list->model()->rowCount(), 1);
    QCOMPARE(list->model()->index(0, 2).data().toString(), QStringLiteral("退货流程"));

    // A new entry written elsewhere shows up in the open result list.
    const qint64 k = p.root.add(Table::Knowledge, {{"name", "退换货"}, {"commonflag", 1}});
    QTRY_COMPARE(list->model()->rowCount(), 2);
    QCOMPARE(list->model()->index(1, 1).data().toString(), QString::number(k));
    QTRY_COMPARE(p.find<QLabel>("lblCount")->text(), QStringLiteral("数量：2"));

    p.doubleClick(list, list->model()->index(0, 2));
    QTRY_COMPARE(p.desktop.pastes().size(), 1);
    QCOMPARE(p.desktop.pastes().last().text, "七天无理由" + TextComposer::lineBreak());
}

void TestPanel::docksBesideTheChatWindow()
{
    Panel p;
    QVERIFY(p.root.ok());
    p.desktop.addWindow({300, "WeChatMainWndForPC", "微信", QRect(100, 50, 700, 600), true, false});
    p.window->startDocking();
    auto* button = p.find<QPushButton>("btnXiFu");
    QCOMPARE(button->text(), QStringLiteral("吸附"));
    p.desktop.setForeground(300);
    // Floating: the panel stays where it is, the query bar sits inside the chat window's bottom.
    const QRect floating = p.window->geometry();
    QTRY_VERIFY(p.window->docking()->bar()->isVisible());
    QCOMPARE(p.window->geometry(), floating);
    const double dpi = p.window->screen()->logicalDotsPerInch();
    const int overlap = qRound(90 * dpi / 1440);
    const QRect bar = p.window->docking()->bar()->geometry();
    QCOMPARE((QList<int>{bar.left(), bar.top(), bar.width()}),
             (QList<int>{100 + overlap, 650 - overlap, 700 - 2 * overlap}));

    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(button->text(), QStringLiteral("悬停"));
    QTRY_COMPARE(p.window->geometry().left(), 800 - overlap);
    QCOMPARE(p.window->geometry().top(), 50 + overlap);
    // The tray says where the panel is and whether the hot keys are on.
    QTRY_COMPARE(p.window->tray()->toolTip(), p.window->titleText() + "\n吸附：微信\n热键：未启用");
    QVERIFY(p.root.settings->setValue(Setting::StartHotKey, "1").ok());
    QVERIFY(p.window->tray()->toolTip().endsWith("热键：已启用"));

    // It follows the chat window, and shows the window in front in its menu.
    p.desktop.moveWindow(300, QRect(200, 80, 700, 600));
    QTRY_COMPARE(p.window->geometry().left(), 900 - overlap);
    QCOMPARE(p.find<QLabel>("txtTitle")->text(), QStringLiteral("标题：微信"));

    // A minimised chat window takes the bar with it.
    p.desktop.addWindow(
        {300, "WeChatMainWndForPC", "微信", QRect(-32000, -32000, 160, 30), true, true});
    p.desktop.moveWindow(300, QRect(-32000, -32000, 160, 30));
    QTRY_VERIFY(!p.window->docking()->bar()->isVisible());

    // The logo floats the panel again.
    QTest::mouseClick(p.find<QLabel>("imgLogo"), Qt::LeftButton);
    QCOMPARE(button->text(), QStringLiteral("吸附"));
    QVERIFY(!p.window->docking()->dockSwitch().docked());
    QVERIFY(p.window->tray()->toolTip().contains("\n未吸附\n"));
    // The tray offers the commands of the 菜单 between its own.
    QStringList tray;
    for (QAction* a : p.window->tray()->contextMenu()->actions())
        tray << a->objectName();
    tray.removeAll(QString());
    QCOMPARE(tray,
             (QStringList{"mnuTrayShow", "mnuPassword", "mnuHotKey", "mnuSet", "mnuTrayExit"}));
}

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
