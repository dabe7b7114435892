#include "content/ContentWindows.h"
#include "content/EntryDialog.h"
#include "content/EntryForm.h"
#include "content/EntryViewWindow.h"
#include "content/ManagementListWindow.h"
#include "data/SearchService.h"
#include "panel/KnowledgeTreeModel.h"
#include "platform/fake/FakeDesktop.h"
#include "send/SendAction.h"
#include "send/TextComposer.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/Gui.h"
#include "support/OtherSeat.h"
#include "support/TestRoot.h"
#include "widgets/Dialogs.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSqlQuery>
#include <QTreeWidget>

// The management windows driven as a user drives them, offscreen: buttons clicked, boxes typed
// into, questions answered through the dialog seam and files chosen through a fake picker.

namespace {

constexpr qint64 MB = 1024 * 1024;

// Hands the windows a path instead of showing the system dialog, and remembers what was asked.
struct FakePicker : FilePicker {
    QString answer;
    QString title;
    QString filter;
    int asked = 0;
    QString openFile(QWidget*, const QString& t, const QString& f) override
    {
        ++asked;
        title = t;
        filter = f;
        return answer;
    }
};

struct Windows {
    TestRoot root;
    FakeDesktop desktop;
    FakePicker picker;
    SearchService search{*root.store, *root.settings};
    std::unique_ptr<QWidget> owner = std::make_unique<QWidget>();
    ContentWindows* windows = nullptr;

    explicit Windows(bool admin = true)
    {
        windows =
            new ContentWindows(root.services(search, desktop, {"tester", admin}), owner.get());
        windows->services().setPicker(&picker);
        Dialogs::takeShown();
    }

    // The big category 手机 with its small one 华为.
    std::pair<qint64, qint64> addPhone()
    {
        const qint64 big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        return {big, root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}})};
    }

    QString makeFile(const QString& name, qint64 size) const
    {
        QDir().mkpath(root.path("in"));
        const QString path = root.path("in/" + name);
        return writeBytes(path, QByteArray(size, 'x')) ? path : QString();
    }
    QString makePicture(const QString& name) const
    {
        QDir().mkpath(root.path("in"));
        QImage image(8, 6, QImage::Format_RGB32);
        image.fill(Qt::red);
        const QString path = root.path("in/" + name);
        return image.save(path, "PNG") ? path : QString();
    }
};

void type(QWidget* window, const QString& box, const QString& text)
{
    if (auto* line = window->findChild<QLineEdit*>(box))
        line->setText(text);
    else
        child<QPlainTextEdit>(window, box)->setPlainText(text);
}

void choose(QWidget* window, const QString& box, const QString& text)
{
    auto* combo = child<QComboBox>(window, box);
    const int at = combo->findText(text);
    QVERIFY2(at >= 0, qPrintable(box + ": " + text));
    combo->setCurrentIndex(at);
}

// The texts of a row, or with the header item of the list, its captions.
QStringList texts(const QTreeWidgetItem* item)
{
    QStringList out;
    for (int c = 0; c < item->treeWidget()->columnCount(); ++c)
        out << item->text(c);
    return out;
}

void clickCell(QTreeWidget* list, int row, int column)
{
    QTreeWidgetItem* item = list->topLevelItem(row);
    const QRect r = list->visualItemRect(item);
    const int x =
        list->header()->sectionViewportPosition(column) + list->header()->sectionSize(column) / 2;
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(x, r.center().y()));
}

} // namespace

class TestContentWindows : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void listWindowsMatchTheGoldenFile();
    void knowledgeListChecksInOrderThenSaves();
    void listFiltersAndMarksInPlace();
    void categoryDeleteFollowsTypeDelMode();
    void newDialogFollowsItsSettings();
    void editDialogsWordTheirOwnWay();
    void picturesAreTakenBySize();
    void filesAreTakenBySizeAndNamed();
    void fileEditKeepsBytesAndExportReports();
    void toolPathsAreChosenCheckedAndOpened();
    void affairsEnableTheirAddress();
    void viewWindowsCopyAsTheGoldenFileSays();
    void panelEntryPoints();
};

// Every list window against the golden file: its name, its columns and its named controls.
void TestContentWindows::listWindowsMatchTheGoldenFile()
{
    Windows w;
    QVERIFY(w.root.ok());
    QStringList shown;
    for (ContentKind kind : Kinds::all()) {
        ManagementListWindow* list = w.windows->openManagementList(kind);
        QVERIFY(list && list->isVisible());
        QStringList controls;
        for (const QWidget* c : list->findChildren<QWidget*>()) {
            if (!c->objectName().isEmpty() && !c->objectName().startsWith("qt_"))
                controls << c->objectName();
        }
        controls.sort();
        shown << list->objectName() + '\t' + texts(list->list()->headerItem()).join(' ') + '\t' +
                     controls.join(' ');
        QCOMPARE(child<QLabel>(list, "lblCount")->text(), QString("数量：0"));
        // At its first size the window gives the list, not the form, the room: ten rows at least.
        QTreeWidget* rows = list->list();
        for (int i = 0; i < 30; ++i)
            rows->addTopLevelItem(new QTreeWidgetItem(QStringList(QString::number(i))));
        const int rowHeight = rows->visualItemRect(rows->topLevelItem(0)).height();
        QVERIFY2(rows->viewport()->height() >= 10 * rowHeight, qPrintable(list->objectName()));
        // Asked again, the open window is raised rather than doubled.
        QCOMPARE(w.windows->openManagementList(kind), list);
    }
    QStringList golden;
    for (const QStringList& row : fixtureRows("list-windows.txt"))
        golden << row.join('\t');
    QCOMPARE(shown, golden);
}

void TestContentWindows::knowledgeListChecksInOrderThenSaves()
{
    Windows w;
    QVERIFY(w.root.ok());
    w.addPhone();
    w.root.add(Table::Type, {{"name", "电脑"}, {"itemid", 2}});
    ManagementListWindow* win = w.windows->openManagementList(ContentKind::Knowledge);
    QCOMPARE(child<QComboBox>(win, "cbGoodsType")->itemText(0), QString("请选择大类"));
    QCOMPARE(child<QComboBox>(win, "cbGoods")->count(), 1);

    QCOMPARE(says(win, "btnEdit"), QStringList{"请选择要编辑的记录!"});
    // The first failed check stops the add; the checks and their order are the rules' own.
    type(win, "txtCaption", "  ");
    QCOMPARE(says(win, "btnAdd"), QStringList{"请选择大类!"});
    type(win, "txtCaption", "退货流程");
    type(win, "txtDescribe", "七天无理由");
    // Switching the big category refills the small ones.
    choose(win, "cbGoodsType", "手机");
    QCOMPARE(child<QComboBox>(win, "cbGoods")->count(), 2);
    choose(win, "cbGoodsType", "电脑");
    QCOMPARE(child<QComboBox>(win, "cbGoods")->count(), 1);
    choose(win, "cbGoodsType", "手机");
    choose(win, "cbGoods", "华为");
    QCOMPARE(says(win, "btnAdd"), QStringList{"新增成功!"});
    QCOMPARE(child<QLabel>(win, "lblCount")->text(), QString("数量：1"));
    QCOMPARE(texts(win->list()->topLevelItem(0)).mid(1),
             (QStringList{"退货流程", "七天无理由", "手机", "华为", ""}));
    QCOMPARE(child<QLineEdit>(win, "txtId")->text(), QString::number(win->selectedId()));

    type(win, "txtCaption", "退货流程");
    QCOMPARE(says(win, "btnAdd"), QStringList{"此标题已经存在!"});
    type(win, "txtCaption", "退货须知 FAQ");
    QCOMPARE(says(win, "btnEdit"), QStringList{"编辑成功!"});
    QCOMPARE(win->list()->topLevelItem(0)->text(1), QString("退货须知 FAQ"));
    QCOMPARE(w.root.store->count(Table::Knowledge).value(), 1);
    // Typing filters what was last read, the edit included.
    auto* caption = child<QLineEdit>(win, "txtCaption");
    caption->clear();
    QTest::keyClicks(caption, "faq");
    QCOMPARE(win->list()->topLevelItemCount(), 1);
    QTest::keyClicks(caption, "x");
    QCOMPARE(win->list()->topLevelItemCount(), 0);
}

void TestContentWindows::listFiltersAndMarksInPlace()
{
    Windows w;
    QVERIFY(w.root.ok());
    const auto [big, small] = w.addPhone();
    const qint64 other = w.root.add(Table::Goods, {{"name", "小米"}, {"typeid", big}});
    const qint64 k = w.root.add(Table::Knowledge,
                                {{"name", "Return policy"}, {"goodsid", small}, {"typeid", big}});
    w.root.add(Table::Knowledge,
               {{"name", "退货 return"}, {"goodsid", other}, {"typeid", big}, {"commonflag", 1}});
    w.root.add(Table::Knowledge, {{"name", "发货"}, {"goodsid", other}, {"typeid", big}});
    ManagementListWindow* win = w.windows->openManagementList(ContentKind::Knowledge);
    QCOMPARE(win->list()->topLevelItemCount(), 3);

    // Typing filters by the name alone, at once.
    auto* caption = child<QLineEdit>(win, "txtCaption");
    caption->setFocus();
    QTest::keyClicks(caption, "RETURN");
    QCOMPARE(win->list()->topLevelItemCount(), 2);
    QCOMPARE(child<QLabel>(win, "lblCount")->text(), QString("数量：2"));
    choose(win, "cbGoodsType", "手机");
    choose(win, "cbGoods", "小米");
    click(win, "btnQuery");
    QCOMPARE(win->list()->topLevelItemCount(), 1);
    QCOMPARE(win->list()->topLevelItem(0)->text(1), QString("退货 return"));
    caption->clear();
    child<QCheckBox>(win, "chkCommon")->setChecked(true);
    click(win, "btnQuery");
    QCOMPARE(win->list()->topLevelItemCount(), 1);
    child<QCheckBox>(win, "chkCommon")->setChecked(false);
    click(win, "btnQuery");
    QCOMPARE(win->list()->topLevelItemCount(), 2);

    // A click on the common column toggles the mark of that row at once.
    choose(win, "cbGoods", "华为");
    click(win, "btnQuery");
    QCOMPARE(win->list()->topLevelItemCount(), 1);
    QVERIFY(QTest::qWaitForWindowExposed(win));
    auto common = [&] {
        return w.root.store->row(Table::Knowledge, k).value()->value("commonflag");
    };
    clickCell(win->list(), 0, 1);
    QCOMPARE(common().toInt(), 0);
    clickCell(win->list(), 0, 5);
    QCOMPARE(common().toInt(), 1);
    QCOMPARE(win->list()->topLevelItem(0)->text(5), QString("√"));
    QVERIFY(child<QCheckBox>(win, "chkCommon")->isChecked());
    clickCell(win->list(), 0, 5);
    QCOMPARE(common().toInt(), 0);
    QCOMPARE(win->list()->topLevelItem(0)->text(5), QString());
    // The edit writes the mark as the form now shows it, not as it was loaded.
    click(win, "btnEdit");
    QCOMPARE(common().toInt(), 0);
}

// The store's cascades and the texts of every kind are tried in tst_contentstore and
// tst_contentrules; here the way through the windows of a small and then a big category.
void TestContentWindows::categoryDeleteFollowsTypeDelMode()
{
    Windows w;
    QVERIFY(w.root.ok());
    const auto [big, small] = w.addPhone();
    const qint64 k =
        w.root.add(Table::Knowledge, {{"name", "退货"}, {"goodsid", small}, {"commonflag", 1}});
    const qint64 empty = w.root.add(Table::Type, {{"name", "空类"}, {"itemid", 2}});
    const qint64 other = w.root.add(Table::Goods, {{"name", "分类"}, {"typeid", big}});
    w.root.add(Table::Knowledge, {{"name", "一"}, {"goodsid", other}});
    w.root.add(Table::Knowledge, {{"name", "二"}, {"goodsid", other}});

    ManagementListWindow* goods = w.windows->openManagementList(ContentKind::SmallCategory);
    QCOMPARE(says(goods, "btnEdit"), QStringList{"请选择要编辑的小类!"});
    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "0").ok());
    QVERIFY(goods->selectRow(other));
    QCOMPARE(says(goods, "btnDel"), QStringList{"请先删除此小类下的所有记录!"});
    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "1").ok());
    Dialogs::queueAnswer(true);
    QCOMPARE(says(goods, "btnDel"),
             QStringList{"此小类下的所有记录将被一起删除,\r\n您确定要删除此小类吗?"});
    QCOMPARE(w.root.store->count(Table::Knowledge).value(), 1);
    QCOMPARE(w.root.store->count(Table::Goods).value(), 1);

    KnowledgeTreeModel tree(*w.root.store);
    tree.reload();
    tree.fetchMore(tree.indexForKey("I2"));
    tree.fetchMore(tree.indexForKey(QString("T%1").arg(big)));
    tree.fetchMore(tree.indexForKey(QString("G%1").arg(small)));
    tree.fetchMore(tree.indexForKey("I1"));
    QVERIFY(tree.indexForKey(QString("C%1").arg(k)).isValid());

    ManagementListWindow* win = w.windows->openManagementList(ContentKind::BigCategory);
    QCOMPARE(says(win, "btnDel"), QStringList{"请选择要删除的大类!"});

    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "0").ok());
    QVERIFY(win->selectRow(big));
    QCOMPARE(says(win, "btnDel"), QStringList{"请先删除此大类下所有的小类!"});
    QCOMPARE(w.root.store->count(Table::Goods).value(), 1);

    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "1").ok());
    Dialogs::queueAnswer(false);
    click(win, "btnDel");
    QList<ShownDialog> shown = Dialogs::takeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().kind, DialogKind::Confirm);
    QCOMPARE(shown.first().text,
             QString("此大类下的所有的小类包括记录将被\r\n一起删除,您确定要删除此大类吗?"));
    QCOMPARE(w.root.store->count(Table::Knowledge).value(), 1);

    Dialogs::queueAnswer(true);
    click(win, "btnDel");
    Dialogs::takeShown();
    QCOMPARE(w.root.store->count(Table::Goods).value(), 0);
    QCOMPARE(w.root.store->count(Table::Knowledge).value(), 0);
    QCOMPARE(win->list()->topLevelItemCount(), 1);
    QCOMPARE(child<QLabel>(win, "lblCount")->text(), QString("数量：1"));
    QCOMPARE(child<QLineEdit>(win, "txtId")->text(), QString());
    QCOMPARE(child<QLineEdit>(win, "txtName")->text(), QString());
    QVERIFY(!child<QPushButton>(win, "btnDel")->isEnabled());
    // The panel's tree follows the store, the common list included.
    QTRY_VERIFY(!tree.indexForKey(QString("T%1").arg(big)).isValid());
    QTRY_VERIFY(!tree.indexForKey(QString("C%1").arg(k)).isValid());

    // An empty category is asked about plainly in either mode.
    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "0").ok());
    QVERIFY(win->selectRow(empty));
    QVERIFY(child<QPushButton>(win, "btnDel")->isEnabled());
    Dialogs::queueAnswer(true);
    QCOMPARE(says(win, "btnDel"), QStringList{"您确认要删除此大类吗?"});
    QCOMPARE(w.root.store->count(Table::Type).value(), 0);
}

void TestContentWindows::newDialogFollowsItsSettings()
{
    Windows w;
    QVERIFY(w.root.ok());
    w.root.add(Table::SimpleType, {{"name", "问候"}});
    EntryDialog* dialog = w.windows->openNew(ContentKind::Simple);
    QVERIFY(dialog);
    QCOMPARE(dialog->objectName(), QString("frmSimpleNew"));
    QCOMPARE(dialog->windowTitle(), QString("简洁-新增"));
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"内容不能为空!"});
    type(dialog, "txtContent", "亲，您好");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"请选择分类!"});
    choose(dialog, "cbType", "问候");
    // Defaults: no report, and the dialog stays for the next phrase with the name box emptied.
    QCOMPARE(says(dialog, "btnConfirm"), QStringList());
    QVERIFY(dialog->isVisible());
    QCOMPARE(child<QLineEdit>(dialog, "txtContent")->text(), QString());
    QCOMPARE(child<QComboBox>(dialog, "cbType")->currentText(), QString("问候"));
    const qint64 first = dialog->savedId();
    QCOMPARE(w.root.store->row(Table::Simple, first).value()->value("name").toString(),
             QString("亲，您好"));

    w.root.set({{Setting::CloseMainNewEditPrompt, "0"}, {Setting::MainNewAfterFlag, "1"}});
    type(dialog, "txtContent", "再见");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"新增成功!"});
    QCOMPARE(dialog->result(), int(QDialog::Accepted));
    QVERIFY(!dialog->isVisible());

    // Opened from a small category of the panel, the pickers come chosen.
    const auto [big, small] = w.addPhone();
    EntryDialog* k =
        w.windows->openNew(ContentKind::Knowledge, {{"typeid", big}, {"goodsid", small}});
    QCOMPARE(k->objectName(), QString("frmKnowledgeNew"));
    QCOMPARE(child<QComboBox>(k, "cbGoodsType")->currentText(), QString("手机"));
    QCOMPARE(child<QComboBox>(k, "cbGoods")->currentText(), QString("华为"));
}

void TestContentWindows::editDialogsWordTheirOwnWay()
{
    Windows w;
    QVERIFY(w.root.ok());
    const qint64 id =
        w.root.add(Table::Type, {{"name", "顺丰"}, {"itemid", 4}, {"url", "https://sf.example"}});
    EntryDialog* bar = w.windows->openEdit(ContentKind::Courier, id, true);
    QCOMPARE(bar->objectName(), QString("frmExpressEdit"));
    QCOMPARE(bar->windowTitle(), QString("快递-底部查询-编辑"));
    QCOMPARE(child<QLineEdit>(bar, "txtUrl")->text(), QString("https://sf.example"));
    type(bar, "txtUrl", " ");
    QCOMPARE(says(bar, "btnConfirm"), QStringList{"网址不能为空!"});
    bar->reject();

    QVERIFY(w.root.settings->setValue(Setting::CloseMainNewEditPrompt, "0").ok());
    EntryDialog* edit = w.windows->openEdit(ContentKind::Courier, id);
    QCOMPARE(edit->windowTitle(), QString("快递-编辑"));
    type(edit, "txtName", "顺丰速运");
    QCOMPARE(says(edit, "btnConfirm"), QStringList{"编辑成功!"});
    QCOMPARE(edit->result(), int(QDialog::Accepted));
    QCOMPARE(w.root.store->row(Table::Type, id).value()->value("name").toString(),
             QString("顺丰速运"));

    EntryDialog* add = w.windows->openNew(ContentKind::Courier);
    type(add, "txtName", "圆通");
    QCOMPARE(says(add, "btnConfirm"), QStringList{"请输入网址!"});

    const qint64 knowledge = w.root.add(Table::Knowledge, {{"name", "退货"}});
    QCOMPARE(w.windows->openEdit(ContentKind::Knowledge, knowledge, true)->windowTitle(),
             QString("知识库-底部查询-编辑"));
    QCOMPARE(w.windows->openEdit(ContentKind::Personal, 999), nullptr);
    QCOMPARE(shownTexts(), QStringList{"此记录已不存在!"});

    // A name another seat saved while the dialog was open gets the duplicate message.
    QVERIFY(plantOtherSeat(w.root.store->database(StoreId::Assistant), "type", "地址",
                           "INSERT INTO type(name, itemid, username) VALUES ('地址', 3, 'o')"));
    EntryDialog* dialog = w.windows->openNew(ContentKind::Affair);
    type(dialog, "txtCaption", "地址");
    type(dialog, "txtDescribe", "杭州");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"此标题已经存在!"});
    QVERIFY(dialog->isVisible());
    QCOMPARE(child<QLineEdit>(dialog, "txtCaption")->text(), QString("地址"));
}

void TestContentWindows::picturesAreTakenBySize()
{
    Windows w;
    QVERIFY(w.root.ok());
    const auto [big, small] = w.addPhone();
    EntryDialog* dialog =
        w.windows->openNew(ContentKind::Knowledge, {{"typeid", big}, {"goodsid", small}});
    auto* photo = child<QLabel>(dialog, "imgPhoto");
    QTest::mouseClick(photo, Qt::LeftButton);
    QCOMPARE(w.picker.asked, 1);
    QCOMPARE(w.picker.title, QString("打开"));
    QCOMPARE(
        w.picker.filter,
        QString(
            "图片文件(*.jpg;*.jpeg)|*.jpg;*.jpeg|图片文件(*.gif;*.bmp;*.png)|*.gif;*.bmp;*.png"));
    QCOMPARE(shownTexts(), QStringList());

    w.picker.answer = w.makeFile("big.jpg", qint64(5.6 * MB));
    QTest::mouseClick(photo, Qt::LeftButton);
    QCOMPARE(shownTexts(), QStringList{"图片不能大于5M！"});
    w.picker.answer = w.makeFile("fits.jpeg", qint64(5.4 * MB));
    QTest::mouseClick(photo, Qt::LeftButton);
    QCOMPARE(shownTexts(), QStringList());
    type(dialog, "txtCaption", "大图");
    type(dialog, "txtDescribe", "说明");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList());
    const qint64 saved = dialog->savedId();
    QCOMPARE(w.root.store->blob(Table::Knowledge, saved).value()->size(), qint64(5.4 * MB));
    QCOMPARE(w.root.store->row(Table::Knowledge, saved).value()->value("extname").toString(),
             QString("jpeg"));

    // The limit is read from the configuration each time.
    w.root.set({{Setting::PicMaxSize, "6"}});
    w.picker.answer = w.makeFile("big.jpg", qint64(5.6 * MB));
    QTest::mouseClick(photo, Qt::LeftButton);
    QCOMPARE(shownTexts(), QStringList());
    QTest::mouseClick(child<QLabel>(dialog, "lblClear"), Qt::LeftButton);
    type(dialog, "txtCaption", "无图");
    click(dialog, "btnConfirm");
    QVERIFY(!w.root.store->blob(Table::Knowledge, dialog->savedId()).value());

    // A stored picture is shown, copied out to be opened, and kept by an edit that leaves it.
    const qint64 category = w.root.add(Table::PersonalType, {{"name", "备忘"}});
    const QByteArray bytes = readBytes(w.makePicture("p.png"));
    const qint64 id = w.root.add(Table::Personal, {{"name", "便签"},
                                                   {"description", "内容"},
                                                   {"typeid", category},
                                                   {"pic", bytes},
                                                   {"extname", "png"}});
    EntryDialog* edit = w.windows->openEdit(ContentKind::Personal, id);
    QCOMPARE(edit->windowTitle(), QString("私人知识-编辑"));
    const QString copy = w.root.dir.filePath(QString("ppic/%1.png").arg(id));
    QVERIFY(QFile::exists(copy));
    QVERIFY(!child<QLabel>(edit, "imgPhoto")->pixmap().isNull());
    QTest::mouseClick(child<QLabel>(edit, "lblView"), Qt::LeftButton);
    QCOMPARE(w.desktop.openedPaths(), QStringList{copy});
    type(edit, "txtDescribe", "新内容");
    click(edit, "btnConfirm");
    QCOMPARE(w.root.store->blob(Table::Personal, id).value(), std::optional<QByteArray>(bytes));

    // A newly chosen picture opens from where it was chosen.
    EntryDialog* again = w.windows->openEdit(ContentKind::Personal, id);
    w.picker.answer = w.makePicture("q.png");
    QTest::mouseClick(child<QLabel>(again, "imgPhoto"), Qt::LeftButton);
    QTest::mouseClick(child<QLabel>(again, "lblView"), Qt::LeftButton);
    QCOMPARE(w.desktop.openedPaths().last(), w.picker.answer);
}

void TestContentWindows::filesAreTakenBySizeAndNamed()
{
    Windows w;
    QVERIFY(w.root.ok());
    w.root.add(Table::FileType, {{"name", "资料"}});
    w.root.set({{Setting::FileMaxSize, "1"}});
    EntryDialog* dialog = w.windows->openNew(ContentKind::File);
    QCOMPARE(child<QLabel>(dialog, "lblFile")->text(), QString("无"));
    QVERIFY(child<QCheckBox>(dialog, "chkExtName")->isChecked());

    w.picker.answer = w.makeFile("empty.txt", 0);
    click(dialog, "btnSelect");
    QCOMPARE(w.picker.title, QString("选择文件"));
    QVERIFY(w.picker.filter.startsWith("所有文件(*.*)|*.*|Word文件(*.docx;*.doc)"));
    QVERIFY(w.picker.filter.endsWith("|文本文件(*.txt)|*.txt|可执行文件(*.exe)|*.exe"));
    QCOMPARE(shownTexts(), QStringList{"文件内容不能为空！"});
    w.picker.answer = w.makeFile("large.pdf", qint64(1.6 * MB));
    QCOMPARE(says(dialog, "btnSelect"), QStringList{"文件不能大于1M！"});
    QCOMPARE(child<QLineEdit>(dialog, "txtName")->text(), QString());

    w.picker.answer = w.makeFile("报价单.v2.xlsx", qint64(1.4 * MB));
    QCOMPARE(says(dialog, "btnSelect"), QStringList());
    QCOMPARE(child<QLineEdit>(dialog, "txtName")->text(), QString("报价单.v2.xlsx"));
    child<QCheckBox>(dialog, "chkExtName")->setChecked(false);
    QCOMPARE(w.root.settings->value(Setting::FileTitleExtName), QString("0"));
    click(dialog, "btnSelect");
    QCOMPARE(child<QLineEdit>(dialog, "txtName")->text(), QString("报价单.v2"));
    QCOMPARE(child<QLabel>(dialog, "lblFile")->text(), QDir::toNativeSeparators(w.picker.answer));

    click(dialog, "btnClear");
    QCOMPARE(child<QLabel>(dialog, "lblFile")->text(), QString("无"));
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"请选择文件!"});
    click(dialog, "btnSelect");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList{"请选择分类!"});
    choose(dialog, "cbType", "资料");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList());
    const Row row = *w.root.store->row(Table::File, dialog->savedId()).value();
    QCOMPARE(row.value("extname").toString(), QString("xlsx"));
    QCOMPARE(row.value("filedesc").toString(), QString("无"));
    QCOMPARE(row.value("file").toByteArray().size(), qint64(1.4 * MB));
}

void TestContentWindows::fileEditKeepsBytesAndExportReports()
{
    Windows w;
    QVERIFY(w.root.ok());
    const qint64 category = w.root.add(Table::FileType, {{"name", "资料"}});
    const qint64 id = w.root.add(Table::File, {{"name", "价目"},
                                               {"file", QByteArray("price list")},
                                               {"extname", "txt"},
                                               {"filedesc", "无"},
                                               {"typeid", category}});
    ManagementListWindow* win = w.windows->openManagementList(ContentKind::File);
    click(win, "btnExportFle");
    const QString folder = QDir::toNativeSeparators(w.root.dir.filePath("file") + "/");
    QCOMPARE(shownTexts(), QStringList{"已导出1个文件!\r\n(目录" + folder + ")"});

    QVERIFY(win->selectRow(id));
    QCOMPARE(child<QLabel>(win, "lblFile")->text(), QString("价目.txt"));
    type(win, "txtDesc", "新价目");
    QCOMPARE(says(win, "btnEdit"), QStringList{"编辑成功!"});
    QCOMPARE(w.root.store->blob(Table::File, id).value(),
             std::optional<QByteArray>(QByteArray("price list")));
    QCOMPARE(win->list()->topLevelItem(0)->text(2), QString("新价目"));

    // Adding what the form shows copies the shown file into the new row.
    type(win, "txtName", "价目副本");
    QCOMPARE(says(win, "btnAdd"), QStringList{"新增成功!"});
    QCOMPARE(w.root.store->blob(Table::File, win->selectedId()).value(),
             std::optional<QByteArray>(QByteArray("price list")));

    Dialogs::queueAnswer(true);
    QCOMPARE(says(win, "btnDel"), QStringList{"您确认要删除此条记录吗?"});
    Dialogs::queueAnswer(true);
    QVERIFY(win->selectRow(id));
    click(win, "btnDel");
    shownTexts();
    QCOMPARE(says(win, "btnExportFle"), QStringList{"没有要导出的文件！"});
}

void TestContentWindows::toolPathsAreChosenCheckedAndOpened()
{
    Windows w;
    QVERIFY(w.root.ok());
    w.root.add(Table::ToolsType, {{"name", "常用"}});
    EntryDialog* dialog = w.windows->openNew(ContentKind::Tools);
    QVERIFY(!child<QCheckBox>(dialog, "chkExtName")->isChecked());
    w.picker.answer = w.makeFile("编辑器.exe", 10);
    click(dialog, "btnSelect");
    QCOMPARE(w.picker.title, QString("选择工具"));
    QCOMPARE(w.picker.filter, QString("可执行文件(*.exe)|*.exe|VBS文件(*.vbs)|*.vbs|bat文件(*.bat)|"
                                      "*.bat|reg文件(*.reg)|*.reg|所有文件(*.*)|*.*"));
    QCOMPARE(child<QLineEdit>(dialog, "txtName")->text(), QString("编辑器"));
    QCOMPARE(child<QLineEdit>(dialog, "txtPath")->text(),
             QDir::toNativeSeparators(w.picker.answer));
    child<QCheckBox>(dialog, "chkExtName")->setChecked(true);
    QCOMPARE(w.root.settings->value(Setting::ToolsTitleExtName), QString("1"));
    click(dialog, "btnSelect");
    QCOMPARE(child<QLineEdit>(dialog, "txtName")->text(), QString("编辑器.exe"));

    choose(dialog, "cbType", "常用");
    choose(dialog, "cbToolKind", "文件");
    QCOMPARE(says(dialog, "btnConfirm"), QStringList());

    ManagementListWindow* win = w.windows->openManagementList(ContentKind::Tools);
    QCOMPARE(says(win, "btnOpenPath"), QStringList{"请择要打开的工具或文件路径!"});
    QVERIFY(win->selectRow(dialog->savedId()));
    QCOMPARE(win->list()->topLevelItem(0)->text(3), QString("文件"));
    QCOMPARE(says(win, "btnOpenPath"), QStringList());
    QCOMPARE(w.desktop.openedPaths(), QStringList{QFileInfo(w.picker.answer).absolutePath() + "/"});
    type(win, "txtPath", w.root.dir.filePath("gone/tool.exe"));
    QCOMPARE(says(win, "btnOpenPath"), QStringList{"路径或文件名错误！"});
}

void TestContentWindows::affairsEnableTheirAddress()
{
    Windows w;
    QVERIFY(w.root.ok());
    ManagementListWindow* win = w.windows->openManagementList(ContentKind::Affair);
    type(win, "txtCaption", "退货地址");
    type(win, "txtDescribe", "杭州");
    type(win, "txtUrl", "https://map.example");
    auto* use = child<QCheckBox>(win, "chkUseUrl");
    QCOMPARE(says(win, "btnAffairsAdd"), QStringList{"新增成功!"});
    QCOMPARE(win->list()->topLevelItem(0)->text(3), QString("未启用"));
    QCOMPARE(win->list()->topLevelItem(0)->text(4), QString("https://map.example"));

    use->setChecked(true);
    type(win, "txtUrl", "https://map2.example");
    QCOMPARE(says(win, "btnAffairsEdit"), QStringList{"编辑成功!"});
    QCOMPARE(win->list()->topLevelItem(0)->text(3), QString("已启用"));
    QCOMPARE(w.root.store->row(Table::Type, win->selectedId()).value()->value("flag").toInt(), 1);
}

// Every text copy button of every view window against the golden file: what it copies and what
// it says. The picture buttons are tried in panelEntryPoints.
void TestContentWindows::viewWindowsCopyAsTheGoldenFileSays()
{
    Windows w;
    QVERIFY(w.root.ok());
    const QList<std::pair<QString, QString>> values = {
        {"name", "标题"},       {"description", "描述"},  {"url", "https://x.example"},
        {"path", "/opt/t/run"}, {"tooldesc", "工具说明"}, {"filedesc", "文件说明"}};
    QStringList copied;
    for (ContentKind kind : Kinds::all()) {
        const KindDescriptor& d = Kinds::descriptor(kind);
        if (!d.searchKind)
            continue;
        Row row = d.fixedValues;
        for (const auto& [column, value] : values) {
            if (Tables::hasColumn(d.table, column))
                row.insert(column, value);
        }
        EntryViewWindow* view = w.windows->openView(*d.searchKind, w.root.add(d.table, row));
        QVERIFY(view);
        QVERIFY(child<QLineEdit>(view, d.nameField().control)->isReadOnly());
        for (const CopyButton& c : d.copies) {
            if (c.picture)
                continue;
            QGuiApplication::clipboard()->clear();
            click(view, c.control);
            copied << QStringList{view->objectName(), c.control,
                                  QGuiApplication::clipboard()->text(), shownTexts().join('|')}
                          .join('\t');
        }
    }
    QStringList golden;
    for (const QStringList& row : fixtureRows("view-copies.txt"))
        golden << row.join('\t').replace('\n', TextComposer::lineBreak());
    QCOMPARE(copied, golden);
}

void TestContentWindows::panelEntryPoints()
{
    Windows w;
    QVERIFY(w.root.ok());
    QMenu* menu = w.windows->managementMenu(w.owner.get());
    QStringList names;
    for (QAction* a : menu->actions()) {
        if (!a->isSeparator()) {
            names << a->objectName();
            QVERIFY(a->isEnabled());
        }
    }
    // One list window per kind, then the keeping of the shared library and its workbooks.
    QCOMPARE(names.size(), ContentKindCount + 6);
    QVERIFY(names.contains("mnuManageKnowledge"));
    QCOMPARE(names.mid(ContentKindCount),
             (QStringList{"mnuCustomSort", "mnuAboutBackup", "mnuAboutRestore", "mnuCompact",
                          "mnuManageImport", "mnuManageExport"}));
    menu->findChild<QAction*>("mnuManageExpress")->trigger();
    QVERIFY(w.windows->openManagementList(ContentKind::Courier)->isVisible());

    // A picture stored with an entry is copied as a picture.
    const qint64 id = w.root.add(Table::Knowledge, {{"name", "图"}, {"extname", "png"}});
    QVERIFY(w.root.store->setBlob(Table::Knowledge, id, readBytes(w.makePicture("k.png"))).ok());
    EntryViewWindow* view = w.windows->openView(SearchKind::Knowledge, id);
    QCOMPARE(says(view, "btnCopyPic"), QStringList{"图片复制成功!"});
    QCOMPARE(QGuiApplication::clipboard()->image().size(), QSize(8, 6));
    const qint64 bare = w.root.add(Table::Knowledge, {{"name", "无图"}});
    QVERIFY(!child<QPushButton>(w.windows->openView(SearchKind::Knowledge, bare), "btnCopyPic")
                 ->isEnabled());

    // The panel menu's delete of a big category has its own wording.
    const qint64 big = w.addPhone().first;
    QVERIFY(w.root.settings->setValue(Setting::TypeDelMode, "0").ok());
    QVERIFY(!w.windows->deleteFromMenu(ContentKind::BigCategory, big));
    QCOMPARE(shownTexts(), QStringList{"请先删除此大类下所有小类!"});

    // Normal users may view, not manage.
    Windows user(false);
    QVERIFY(user.root.ok());
    QVERIFY(!user.windows->openManagementList(ContentKind::Knowledge));
    QVERIFY(!user.windows->openNew(ContentKind::Simple));
    const qint64 theirs = user.root.add(Table::Simple, {{"name", "亲"}});
    QVERIFY(!user.windows->deleteFromMenu(ContentKind::Simple, theirs));
    QStringList enabled;
    for (QAction* a : user.windows->managementMenu(user.owner.get())->actions())
        if (!a->isSeparator() && a->isEnabled())
            enabled << a->objectName();
    QCOMPARE(enabled, (QStringList{"mnuManageToolsType", "mnuManageTools", "mnuManagePersonalType",
                                   "mnuManagePersonal"}));
    QVERIFY(user.windows->openView(SearchKind::Simple, theirs));
    QCOMPARE(user.root.store->count(Table::Simple).value(), 1);

    // Their own material in the private store is theirs to manage.
    QVERIFY(user.windows->openNew(ContentKind::Personal));
    const qint64 note = user.root.add(Table::Personal, {{"name", "备忘"}});
    Dialogs::queueAnswer(true);
    QVERIFY(user.windows->deleteFromMenu(ContentKind::Personal, note));
    QCOMPARE(user.root.store->count(Table::Personal).value(), 0);
}

QTEST_MAIN(TestContentWindows)
#include "tst_contentwindows.moc"
