#include "data/SearchService.h"
#include "hotkeys/HotKeyManager.h"
#include "panel/BottomQueryBar.h"
#include "panel/EntryView.h"
#include "panel/KnowledgeTreeModel.h"
#include "panel/PanelDocking.h"
#include "panel/PanelWindow.h"
#include "panel/QueryPage.h"
#include "panel/TreePage.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/FolderPicker.h"
#include "settings/SettingsWindow.h"
#include "support/Files.h"
#include "support/Gui.h"
#include "support/TestRoot.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSet>
#include <QSignalSpy>
#include <QSystemTrayIcon>

namespace {

// Some of the controls pressed sit on tabs that are not shown.
void press(QWidget* window, const char* name)
{
    child<QAbstractButton>(window, name)->click();
}

QList<qint64> ids(const QAbstractItemModel* model)
{
    QList<qint64> out;
    for (int r = 0; r < model->rowCount(); ++r)
        out << model->index(r, 0).data(Qt::UserRole).toLongLong();
    return out;
}

class FakeFolders : public FolderPicker {
public:
    QString answer;
    QStringList prompts;
    QString chooseFolder(QWidget*, const QString& prompt, const QString&) override
    {
        prompts << prompt;
        return answer;
    }
};

// The panel over a small library, a chat window of a custom rule in front.
struct Rig {
    TestRoot root;
    FakeDesktop desktop;
    FakeFolders folders;
    SearchService search{*root.store, *root.settings};
    std::unique_ptr<PanelWindow> panel;
    qint64 phrase1 = 0, phrase2 = 0, big1 = 0, big2 = 0;

    explicit Rig(const QList<std::pair<Setting, QString>>& settings)
    {
        root.set(settings);
        big1 = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        big2 = root.add(Table::Type, {{"name", "电脑"}, {"itemid", 2}});
        const qint64 type = root.add(Table::SimpleType, {{"name", "问候"}});
        phrase1 = root.add(Table::Simple, {{"name", "亲，您好"}, {"typeid", type}});
        phrase2 = root.add(Table::Simple, {{"name", "亲，再见"}, {"typeid", type}});
        desktop.addWindow({100, "ChatClient", "客户", QRect(0, 0, 800, 600), true, false});
        desktop.setForeground(100);
        panel = std::make_unique<PanelWindow>(root.services(search, desktop, {"tester", false}));
        panel->show();
        QVERIFY(QTest::qWaitForWindowExposed(panel.get()));
    }
    std::unique_ptr<SettingsWindow> openWindow()
    {
        auto window = std::make_unique<SettingsWindow>(*root.settings, panel->hotKeys(), folders,
                                                       root.dir.path(), panel.get());
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            qFatal("the settings window is not shown");
        return window;
    }
    QString stored(Setting key) const
    {
        Settings fresh(root.configPath());
        if (!fresh.load().ok())
            qFatal("config.ini cannot be read");
        return fresh.value(key);
    }
    QStringList productCategories() const
    {
        KnowledgeTreeModel* tree = panel->treePage()->model();
        const QModelIndex product = tree->indexForKey("I2");
        QStringList keys;
        for (int r = 0; r < tree->rowCount(product); ++r)
            keys << tree->index(r, 0, product).data(KnowledgeTreeModel::KeyRole).toString();
        return keys;
    }
    bool queryFindsPhrases() const
    {
        const EntryListModel* model = panel->queryPage()->model();
        for (int r = 0; r < model->rowCount(); ++r) {
            if (model->hit(r).kind == SearchKind::Simple)
                return true;
        }
        return false;
    }
};

} // namespace

class TestSettingsWindow : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void init() { Dialogs::takeShown(); }
    void confirmingWritesEveryKeyAndApplies();
    void defaultsAndRefusalsWriteNothing();
};

void TestSettingsWindow::confirmingWritesEveryKeyAndApplies()
{
    Rig rig({{Setting::XiFuCustomWindows, "ChatClient"}});
    // Every user reaches the window from the panel's 菜单 and from the tray.
    auto* command = rig.panel->findChild<QAction*>(QStringLiteral("mnuSet"));
    QVERIFY(rig.panel->tray()->contextMenu()->actions().contains(command));
    QCOMPARE(modalOpenedBy([command] { command->trigger(); }), "frmSet");
    rig.panel->startDocking();
    BottomQueryBar* bar = rig.panel->docking()->bar();
    QTRY_VERIFY(bar->isVisible());
    QVERIFY(rig.desktop.hotKeys().isEmpty());
    auto* phrases = child<EntryView>(rig.panel.get(), "lvSimple");
    QCOMPARE(ids(phrases->model()), (QList<qint64>{rig.phrase1, rig.phrase2}));
    const QString t1 = "T" + QString::number(rig.big1), t2 = "T" + QString::number(rig.big2);
    QCOMPARE(rig.productCategories(), (QStringList{t1, t2}));
    rig.panel->queryPage()->setMode(SearchMode::All);
    QVERIFY(rig.queryFindsPhrases());

    QVERIFY(QDir().mkpath(rig.root.path("备份")));
    rig.folders.answer = rig.root.path("备份");
    const auto window = rig.openWindow();
    QSignalSpy written(rig.root.settings.get(), &Settings::changed);
    for (const char* name : {"optFile", "chkQueryBarShow", "chkStartHotKey", "optDesc",
                             "optFontBig", "chkQueryShowSimple", "optEnter", "btnBackupSelectPath"})
        press(window.get(), name);
    QCOMPARE(rig.folders.prompts, QStringList{"请选择备份初始化路径："});
    QCOMPARE(child<QLineEdit>(window.get(), "txtBackupInitPath")->text(), rig.folders.answer);
    press(window.get(), "btnComfirm");
    QCOMPARE(shownTexts(), QStringList{"设置成功!"});
    QCOMPARE(window->result(), int(QDialog::Accepted));

    // Every key of the window went through Settings, so whatever owns it heard of it.
    QSet<Setting> announced;
    for (const QList<QVariant>& signal : std::as_const(written))
        announced.insert(signal.at(0).value<Setting>());
    const QList<Setting>& keys = SettingsForm::keys();
    QCOMPARE(announced, QSet<Setting>(keys.begin(), keys.end()));
    const QList<std::pair<Setting, QString>> expected = {
        {Setting::StartInterface, "4"},
        {Setting::QueryBarShowFlag, "0"},
        {Setting::StartHotKey, "1"},
        {Setting::Sort, "2"},
        {Setting::MainFontSize, "big"},
        {Setting::QueryShowSimpleFlag, "0"},
        {Setting::AutoPressSendKey, "0|Enter"},
        {Setting::BackupInitPath, rig.folders.answer},
        {Setting::XiFuCustomWindows, "ChatClient"},
        {Setting::EndNewLineTwo, "0"},
    };
    for (const auto& [key, value] : expected)
        QCOMPARE(rig.stored(key), value);

    // Applied at once: the bar goes, the keys are taken, lists and tree re-sort, the text grows,
    // and "all" leaves the phrases out.
    QTRY_VERIFY(!bar->isVisible());
    QCOMPARE(rig.desktop.hotKeys().size(), 12);
    QTRY_COMPARE(ids(phrases->model()), (QList<qint64>{rig.phrase2, rig.phrase1}));
    QTRY_COMPARE(rig.productCategories(), (QStringList{t2, t1}));
    QCOMPARE(phrases->iconSize(), QSize(24, 24));
    QCOMPARE(child<EntryView>(rig.panel.get(), "TreeView1")->iconSize(), QSize(24, 24));
    QTRY_VERIFY(!rig.queryFindsPhrases());
}

void TestSettingsWindow::defaultsAndRefusalsWriteNothing()
{
    Rig rig({{Setting::StartInterface, "5"},
             {Setting::Sort, "3"},
             {Setting::MainFontSize, "big"},
             {Setting::XiFuCustomWindows, "Foo"}});
    const QByteArray before = readBytes(rig.root.configPath());
    const auto window = rig.openWindow();
    QSignalSpy written(rig.root.settings.get(), &Settings::changed);
    QWidget* w = window.get();
    QVERIFY(child<QAbstractButton>(w, "optTools")->isChecked());
    QVERIFY(child<QAbstractButton>(w, "optTime")->isChecked());

    // The window in front is what a custom rule needs.
    QCOMPARE(child<QLabel>(w, "lblForegroundClass")->text(), "类名：ChatClient");
    QCOMPARE(child<QLabel>(w, "lblForegroundTitle")->text(), "标题：客户");
    press(w, "btnAddCustomWindow");
    QCOMPARE(child<QLineEdit>(w, "txtXiFuCustomWindows")->text(), "Foo;ChatClient");
    QCOMPARE(modalOpenedBy([w] { press(w, "btnSetHotKey"); }), "frmHotKey");

    press(w, "btnDefault");
    for (const char* name : {"optTree", "optAsc", "optFontSmall", "optCtrlEnter",
                             "optXiFuMainShowRight", "chkDbClickChat", "chkEndNewLineOne"})
        QVERIFY2(child<QAbstractButton>(w, name)->isChecked(), name);
    for (const char* name : {"chkAutoPressSendKey", "chkEndNewLineTwo", "chkStartHotKey"})
        QVERIFY2(!child<QAbstractButton>(w, name)->isChecked(), name);
    QCOMPARE(child<QLineEdit>(w, "txtXiFuCustomWindows")->text(), QString());

    // A refused path takes the focus with its text selected.
    auto* database = child<QLineEdit>(w, "txtDatabasePath");
    database->setText("没有这个文件夹");
    press(w, "btnComfirm");
    QCOMPARE(shownTexts(), QStringList{"共享数据库路径不存在!"});
    QVERIFY(window->isVisible());
    QCOMPARE(w->focusWidget(), database);
    QCOMPARE(database->selectedText(), database->text());

    press(w, "btnCancel");
    QCOMPARE(window->result(), int(QDialog::Rejected));
    QCOMPARE(written.size(), 0);
    QCOMPARE(readBytes(rig.root.configPath()), before);
}

QTEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
