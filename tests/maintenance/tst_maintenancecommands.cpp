#include "../exchange/BookWriter.h"
#include "data/Columns.h"
#include "data/SearchService.h"
#include "data/Services.h"
#include "data/StoreMaintenance.h"
#include "maintenance/CompactWindow.h"
#include "maintenance/MaintenanceCommands.h"
#include "platform/fake/FakeDesktop.h"
#include "support/Gui.h"
#include "support/TestRoot.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QTest>

namespace {

// Answers the file dialogs as the user would have, and remembers where they started.
struct AnsweringPicker : MaintenanceFilePicker {
    QString answer;
    QString folder;
    QString proposed;
    QString saveBackup(QWidget*, const QString& f, const QString& p) override { return note(f, p); }
    QString openBackup(QWidget*, const QString& f) override { return note(f, {}); }
    QString saveWorkbook(QWidget*, const QString& f, const QString& p) override
    {
        return note(f, p);
    }
    QString openWorkbook(QWidget*, const QString& f) override { return note(f, {}); }
    QString note(const QString& f, const QString& p)
    {
        folder = f;
        proposed = p;
        return answer;
    }
};

struct Rig {
    TestRoot root;
    FakeDesktop desktop;
    SearchService search{*root.store, *root.settings};
    QWidget owner;
    AnsweringPicker picker;
    MaintenanceCommands commands{root.services(search, desktop), &owner};
    Rig()
    {
        commands.setPicker(&picker);
        Dialogs::setRecording(true);
    }
    ~Rig() { Dialogs::setRecording(false); }
};

} // namespace

class TestMaintenanceCommands : public QObject {
    Q_OBJECT
private slots:
    void menusCarryTheWorkbookCommands();
    void importChecksPreviewsAsksAndWrites();
    void exportWritesWhatImportReads();
    void backupAndCompactionRunWithTheirWindows();
};

void TestMaintenanceCommands::menusCarryTheWorkbookCommands()
{
    Rig rig;
    QMenu menu;
    rig.commands.addWorkbookCommands(&menu, ExchangeScope::Everything, false);
    rig.commands.addWorkbookCommands(&menu, ExchangeScope::Private, true);
    QStringList names;
    for (QAction* a : menu.actions())
        names << a->objectName() + (a->isEnabled() ? "+" : "-");
    QCOMPARE(names, QStringList({"mnuManageImport-", "mnuManageExport-", "mnuAboutImportPer+",
                                 "mnuAboutExportPer+"}));
}

void TestMaintenanceCommands::importChecksPreviewsAsksAndWrites()
{
    Rig rig;
    const QStringList headings = sheetHeadings(SheetKind::Knowledge);
    const QString bad = rig.root.path("bad.xlsx");
    const QString good = rig.root.path("good.xlsx");
    QVERIFY(writeBook(bad, {{"知识库", {headings, {"t", "", "s", "b"}}}}));
    QVERIFY(writeBook(good, {{"知识库", {headings, {"退货", "七天", "售后", "服务"}}}}));

    rig.picker.answer = bad;
    QVERIFY(!rig.commands.importWorkbook(ExchangeScope::Everything));
    QCOMPARE(shownTexts(), QStringList{"知识库第2行,描述不能为空!\r\n\r\n没有导入任何记录。"});

    // The preview is a question; No leaves the store alone.
    rig.picker.answer = good;
    Dialogs::queueAnswer(false);
    QVERIFY(!rig.commands.importWorkbook(ExchangeScope::Everything));
    const QStringList asked = shownTexts();
    QCOMPARE(asked.size(), 1);
    QVERIFY2(asked[0].startsWith("知识库：新增1条，名称已存在0条，新建分类2个\r\n"),
             qPrintable(asked[0]));
    QCOMPARE(rig.root.store->count(Table::Knowledge).value(), 0);

    Dialogs::queueAnswer(true);
    QVERIFY(rig.commands.importWorkbook(ExchangeScope::Everything));
    QCOMPARE(shownTexts().value(1), "成功导入知识库：1条,公司事务：0条,快递：0条!\r\n简洁：0条"
                                    "\r\n工具：0条\r\n私人知识库：0条");
    QCOMPARE(rig.root.store->count(Table::Knowledge).value(), 1);

    // Nothing new the second time: no question, just the preview.
    QVERIFY(!rig.commands.importWorkbook(ExchangeScope::Everything));
    QVERIFY(shownTexts().value(0).endsWith("没有要导入的新记录。"));

    rig.picker.answer = rig.root.path("config.ini");
    QVERIFY(!rig.commands.importWorkbook(ExchangeScope::Everything));
    QVERIFY(shownTexts().value(0).contains("不是Excel工作簿"));
}

void TestMaintenanceCommands::exportWritesWhatImportReads()
{
    Rig rig;
    rig.root.add(Table::Knowledge, {{Column::Name, "退货"}, {Column::Description, "七天"}});
    const QString file = rig.root.path("out.xlsx");
    rig.picker.answer = file;
    QVERIFY(rig.commands.exportWorkbook(ExchangeScope::Private));
    QVERIFY(rig.picker.proposed.startsWith("personal") && rig.picker.proposed.endsWith(".xlsx"));
    QCOMPARE(shownTexts(), QStringList{"成功导出工具：0条,私人知识库：0条!"});
    QVERIFY(rig.commands.exportWorkbook(ExchangeScope::Everything));
    QVERIFY(shownTexts().value(0).startsWith("成功导出知识库：1条,"));
    QVERIFY(QFileInfo(file).size() > 0);

    rig.picker.answer.clear(); // cancelled dialog
    QVERIFY(!rig.commands.exportWorkbook(ExchangeScope::Everything));
    QVERIFY(shownTexts().isEmpty());
}

void TestMaintenanceCommands::backupAndCompactionRunWithTheirWindows()
{
    Rig rig;
    rig.root.addRows(Table::Simple, 3000, [](int i) {
        return Row{{Column::Name, QString("phrase %1 ").arg(i).repeated(8)}};
    });
    QVERIFY(rig.root.ok());
    const QString target = rig.root.path("copy.bak");

    // Stopped, neither leaves a trace: no backup file, the store whole.
    const StoreMaintenance work = StoreMaintenance::forStore(*rig.root.store, StoreId::Assistant,
                                                             StoreMaintenance::Work::Compaction);
    int calls = 0;
    const auto stop = [&](qint64, qint64) { return ++calls < 3; };
    QVERIFY(!work.backup(target, stop));
    QVERIFY(calls >= 3);
    QCOMPARE(QDir(rig.root.path(".")).entryList({"copy.bak*"}, QDir::Files), QStringList());
    calls = 0;
    QVERIFY(!work.compact(stop));
    QVERIFY(calls >= 3);
    QCOMPARE(rig.root.store->count(Table::Simple).value(), 3000);

    rig.picker.answer = target;
    QVERIFY(rig.commands.backup(StoreId::Assistant));
    QCOMPARE(shownTexts(), QStringList{"备份成功!"});
    QVERIFY(work.check(target));

    CompactWindow window(StoreMaintenance::forStore(*rig.root.store, StoreId::Assistant,
                                                    StoreMaintenance::Work::Compaction),
                         StoreId::Assistant);
    window.start();
    QCOMPARE(child<QLabel>(&window, "lblPrompt")->text(), "数据压缩完成！");
    QVERIFY(child<QWidget>(&window, "btnClose")->isEnabled());
    QVERIFY(shownTexts().isEmpty());
}

QTEST_MAIN(TestMaintenanceCommands)
#include "tst_maintenancecommands.moc"
