#include "BookWriter.h"
#include "data/Columns.h"
#include "data/TreeSection.h"
#include "exchange/WorkbookExporter.h"
#include "exchange/WorkbookImporter.h"
#include "exchange/WorkbookReader.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/TestRoot.h"

#include <QDir>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTest>

namespace {

// Every kind's rows as text, sorted, with the category names they hang under: two stores with
// equal snapshots hold the same material.
QStringList snapshot(Store& store)
{
    const QList<std::pair<StoreId, QString>> reads = {
        {StoreId::Assistant, "SELECT 'K', name, description, goodsname, typename FROM v_knowledge"},
        {StoreId::Assistant, "SELECT 'T' || itemid, name, description, url, flag FROM type "
                             "WHERE itemid IN (3, 4)"},
        {StoreId::Assistant, "SELECT 'S', name, typename FROM v_simple"},
        {StoreId::Personal, "SELECT 'L', name, path, tooldesc, type, typename FROM v_tools"},
        {StoreId::Personal, "SELECT 'P', name, description, typename FROM v_personal"},
    };
    QStringList rows;
    for (const auto& [id, sql] : reads) {
        QSqlQuery q(store.database(id));
        if (!q.exec(sql))
            return {"cannot read: " + sql};
        while (q.next()) {
            QStringList fields;
            for (int i = 0; i < q.record().count(); ++i)
                fields << q.value(i).toString();
            rows << fields.join('|');
        }
    }
    rows.sort();
    return rows;
}

int rowsOf(Store& store, Table table)
{
    const Result<int> n = store.count(table);
    return n ? n.value() : -1;
}

Result<ImportReport> importBook(TestRoot& root, const QString& file,
                                ExchangeScope scope = ExchangeScope::Everything,
                                const Progress& progress = {})
{
    Result<std::unique_ptr<WorkbookReader>> book = WorkbookReader::open(file);
    if (!book)
        return book.error();
    return WorkbookImporter(*root.store, scope).run(*book.value(), progress);
}

} // namespace

class TestExchange : public QObject {
    Q_OBJECT
private slots:
    void checks_data();
    void checks();
    void categoriesAreFoundByNameCreatedAndReused();
    void exportThenImportGivesTheSameRows();
    void filesFromASpreadsheetProgram_data();
    void filesFromASpreadsheetProgram();
    void mergedCellsBelongToEveryRowTheyCover();
    void damagedOrForeignFilesAreRefused_data() { fixtureData("damaged-books.txt"); }
    void damagedOrForeignFilesAreRefused();
    void aCancelledImportLeavesBothStoresAsTheyWere();
    void aCancelledExportLeavesTheOldFile();
};

void TestExchange::checks_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QStringList>("cells");
    QTest::addColumn<QString>("problems");
    const QString t50(50, u'题');
    QTest::newRow("50 characters pass")
        << int(SheetKind::Knowledge) << QStringList{t50, "d", "s", "b"} << QString();
    QTest::newRow("51 characters fail")
        << int(SheetKind::Knowledge) << QStringList{t50 + "x", "d", "s", "b"}
        << "知识库第2行,标题不能大于50个字符!";
    QTest::newRow("blanks around do not count")
        << int(SheetKind::Knowledge) << QStringList{"  " + t50 + " ", "d", "s", "b"} << QString();
    QTest::newRow("every empty column, in order")
        << int(SheetKind::Knowledge) << QStringList{"t", " ", "", ""}
        << "知识库第2行,描述不能为空!\r\n知识库第2行,小类名称不能为空!\r\n"
           "知识库第2行,大类名称不能为空!";
    QTest::newRow("affair description 2001")
        << int(SheetKind::Affairs) << QStringList{"t", QString(2001, u'x')}
        << "公司事务第2行,描述不能大于2000个字符!";
    QTest::newRow("courier without address")
        << int(SheetKind::Couriers) << QStringList{"c", ""} << "快递第2行,网址不能为空!";
    QTest::newRow("phrase of 151")
        << int(SheetKind::Phrases) << QStringList{QString(151, u'x'), "c"}
        << "简洁第2行,简洁内容不能大于150个字符!";
    QTest::newRow("tool of an unknown kind")
        << int(SheetKind::Tools) << QStringList{"n", "p", "", "c", "游戏"}
        << "工具第2行,工具类型只能是程序、文件或网址!";
    QTest::newRow("tool kind by number")
        << int(SheetKind::Tools) << QStringList{"n", "p", "", "c", "2"} << QString();
    QTest::newRow("private category of 21")
        << int(SheetKind::Private) << QStringList{"t", "c", QString(21, u'类')}
        << "私人知识库第2行,分类名称不能大于20个字符!";
}

void TestExchange::checks()
{
    QFETCH(int, kind);
    QFETCH(QStringList, cells);
    QFETCH(QString, problems);
    TestRoot root;
    QVERIFY(root.ok());
    const auto k = static_cast<SheetKind>(kind);
    const QString file = root.path("book.xlsx");
    QVERIFY(writeBook(file, {{SheetLayouts::of(k).sheetName, {sheetHeadings(k), cells}}}));

    const Result<ImportReport> report = importBook(root, file);
    QVERIFY2(report, qPrintable(report.message()));
    QCOMPARE(report->problemsText(), problems);
    // A failed check writes nothing at all.
    QCOMPARE(rowsOf(*root.store, SheetLayouts::of(k).table), problems.isEmpty() ? 1 : 0);
    QCOMPARE(report->added(), problems.isEmpty() ? 1 : 0);
}

void TestExchange::categoriesAreFoundByNameCreatedAndReused()
{
    TestRoot root;
    const qint64 service = root.add(
        Table::Type, {{Column::Name, "服务"}, {Column::ItemId, sectionId(TreeSection::Product)}});
    root.add(Table::Knowledge, {{Column::Name, "Refund"}, {Column::Description, "d"}});
    QVERIFY(root.ok());
    const QString file = root.path("book.xlsx");
    QVERIFY(writeBook(file, {{"知识库",
                              {sheetHeadings(SheetKind::Knowledge),
                               {"退货", "d1", "售后", "服务"},
                               {"换货", "d2", "售后", "服务"},
                               {"发票", "d3", "开票", "财务"},
                               {"REFUND", "named like an existing entry", "售后", "服务"},
                               {"换货", "again in the same book", "售后", "服务"}}},
                             {"简洁", {sheetHeadings(SheetKind::Phrases)}}}));

    Result<std::unique_ptr<WorkbookReader>> book = WorkbookReader::open(file);
    QVERIFY(book);
    WorkbookImporter importer(*root.store, ExchangeScope::Everything);
    const Result<ImportReport> preview = importer.preview(*book.value());
    QVERIFY(preview);
    QCOMPARE(rowsOf(*root.store, Table::Knowledge), 1); // a preview writes nothing

    const Result<ImportReport> done = importer.run(*book.value());
    QVERIFY2(done && done->problems.isEmpty(), qPrintable(done.message()));
    for (const Result<ImportReport>* r : {&preview, &done}) {
        const ImportReport::Kind& k = (*r)->of(SheetKind::Knowledge);
        QCOMPARE(k.added, 3);
        QCOMPARE(k.skipped, 2);
        QCOMPARE(k.categories, 3); // 售后 under the existing 服务; 财务 with 开票
        QCOMPARE((*r)->of(SheetKind::Phrases).sheet, 1);
        QCOMPARE((*r)->of(SheetKind::Phrases).added, 0); // headings only
        QCOMPARE((*r)->of(SheetKind::Couriers).sheet, -1);
    }
    QSqlQuery q(root.store->database(StoreId::Assistant));
    QVERIFY(q.exec("SELECT count(DISTINCT goodsid), min(typeid), max(typeid) FROM knowledge "
                   "WHERE name IN ('退货', '换货')") &&
            q.next());
    QCOMPARE(q.value(0).toInt(), 1);
    QCOMPARE(q.value(1).toLongLong(), service);
    QCOMPARE(q.value(2).toLongLong(), service);
    QVERIFY(q.exec("SELECT pycode, username FROM knowledge WHERE name = '退货'") && q.next());
    QCOMPARE(q.value(0).toString(), "TH");
    QCOMPARE(q.value(1).toString(), "tester");

    // A second import of the same book adds nothing.
    const Result<ImportReport> again = importer.run(*book.value());
    QVERIFY(again);
    QCOMPARE(again->added(), 0);
    QCOMPARE(again->of(SheetKind::Knowledge).skipped, 5);
    QCOMPARE(rowsOf(*root.store, Table::Knowledge), 4);
}

void TestExchange::exportThenImportGivesTheSameRows()
{
    TestRoot source;
    const qint64 big = source.add(
        Table::Type, {{Column::Name, "服务"}, {Column::ItemId, sectionId(TreeSection::Product)}});
    const qint64 small = source.add(Table::Goods, {{Column::Name, "售后"}, {Column::TypeId, big}});
    source.add(Table::Knowledge, {{Column::Name, "退货"},
                                  {Column::Description, "第一行\r\n=1+1 不是公式\t制表"},
                                  {Column::TypeId, big},
                                  {Column::GoodsId, small}});
    source.add(Table::Knowledge, {{Column::Name, "0012"},
                                  {Column::Description, "1e5"},
                                  {Column::TypeId, big},
                                  {Column::GoodsId, small}});
    source.add(Table::Type, {{Column::Name, "年假"},
                             {Column::Description, "五天"},
                             {Column::Url, "http://hr/leave"},
                             {Column::Flag, 1},
                             {Column::ItemId, sectionId(TreeSection::Affairs)}});
    source.add(Table::Type, {{Column::Name, "报销"},
                             {Column::Description, "月底"},
                             {Column::Flag, 0},
                             {Column::ItemId, sectionId(TreeSection::Affairs)}});
    source.add(Table::Type, {{Column::Name, "顺丰"},
                             {Column::Url, "https://sf/track"},
                             {Column::Flag, 1},
                             {Column::ItemId, sectionId(TreeSection::Couriers)}});
    const qint64 greet = source.add(Table::SimpleType, {{Column::Name, "问候"}});
    source.add(Table::Simple,
               {{Column::Name, "您好，请问有什么可以帮您？"}, {Column::TypeId, greet}});
    const qint64 tools = source.add(Table::ToolsType, {{Column::Name, "常用"}});
    source.add(Table::Tools, {{Column::Name, "查单"},
                              {Column::Path, "https://orders"},
                              {Column::ToolDesc, "订单系统"},
                              {Column::Type, 2},
                              {Column::TypeId, tools}});
    const qint64 mine = source.add(Table::PersonalType, {{Column::Name, "笔记"}});
    source.add(Table::Personal,
               {{Column::Name, "暗号"}, {Column::Description, "芝麻开门"}, {Column::TypeId, mine}});
    QVERIFY(source.ok());
    const QStringList before = snapshot(*source.store);
    QCOMPARE(before.size(), 8);

    const QString file = source.path("library.xlsx");
    const Result<ExportReport> exported =
        WorkbookExporter(*source.store, ExchangeScope::Everything).run(file);
    QVERIFY2(exported, qPrintable(exported.message()));
    QCOMPARE(exported->message(),
             "成功导出知识库：2条,公司事务：2条,快递：1条,简洁：1条,工具：1条,私人知识库：1条!");

    TestRoot target;
    const Result<ImportReport> imported = importBook(target, file);
    QVERIFY2(imported && imported->problems.isEmpty(),
             qPrintable(imported.message() + imported->problemsText()));
    QCOMPARE(snapshot(*target.store), before);

    // The private workbook carries the private store's two kinds only.
    const QString mineFile = source.path("private.xlsx");
    QVERIFY(WorkbookExporter(*source.store, ExchangeScope::Private).run(mineFile));
    TestRoot seat;
    QVERIFY(importBook(seat, mineFile, ExchangeScope::Private));
    QCOMPARE(rowsOf(*seat.store, Table::Tools), 1);
    QCOMPARE(rowsOf(*seat.store, Table::Personal), 1);
    QCOMPARE(rowsOf(*seat.store, Table::Knowledge), 0);
}

void TestExchange::filesFromASpreadsheetProgram_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("xlsx") << "spreadsheet.xlsx";
    QTest::newRow("xls") << "spreadsheet.xls";
}

void TestExchange::filesFromASpreadsheetProgram()
{
    QFETCH(QString, file);
    TestRoot root;
    QVERIFY(root.ok());
    const Result<ImportReport> report =
        importBook(root, QStringLiteral(QUILLMATE_FIXTURES "/") + file);
    QVERIFY2(report && report->problems.isEmpty(), qPrintable(report.message()));
    // Numbers read as a person sees them, dates as yyyy-MM-dd, blanks trimmed, the empty row
    // between entries passed over.
    QCOMPARE(snapshot(*root.store),
             QStringList({"K|12345|2024-03-05|售后|服务", "K|发票|开具发票|财务|服务",
                          "K|换货|3.5|售后|服务", "K|退货流程|七天无理由退货|售后|服务",
                          "T4|顺丰||https://example.com/track?id=1&x=2|1"}));
}

void TestExchange::mergedCellsBelongToEveryRowTheyCover()
{
    TestRoot root;
    QVERIFY(root.ok());
    const QString file = root.path("merged.xlsx");
    QVERIFY(writeBook(file, {{"知识库",
                              {sheetHeadings(SheetKind::Knowledge),
                               {"a", "1", "售后", "服务"},
                               {"b", "2"},
                               {"c", "3"},
                               {"d", "4", "开票", "财务"}},
                              {{1, 2, 3, 2}, {1, 3, 3, 3}}}}));
    const Result<ImportReport> report = importBook(root, file);
    QVERIFY2(report && report->problems.isEmpty(), qPrintable(report->problemsText()));
    QCOMPARE(snapshot(*root.store), QStringList({"K|a|1|售后|服务", "K|b|2|售后|服务",
                                                 "K|c|3|售后|服务", "K|d|4|开票|财务"}));
}

// A row of damaged-books.txt: what was done to the workbook.
void TestExchange::damagedOrForeignFilesAreRefused()
{
    QFETCH(QStringList, row);
    const QString damage = row.value(1);
    TestRoot root;
    QVERIFY(root.ok());
    const QString file = root.path("book.xlsx");
    QList<QStringList> rows{sheetHeadings(SheetKind::Knowledge)};
    for (int i = 0; i < 400; ++i)
        rows << QStringList{QString("标题%1").arg(i), QString("描述%1").arg(i), "s", "b"};
    QVERIFY(writeBook(file, {{"知识库", rows}}));
    QByteArray bytes = readBytes(file);
    if (damage == "text")
        bytes = "标题,描述\n退货,七天\n";
    else if (damage == "truncated")
        bytes.truncate(bytes.size() * 2 / 3);
    else
        for (qsizetype i = bytes.size() / 4; i < bytes.size() / 4 + 8; ++i)
            bytes[i] = static_cast<char>(bytes[i] ^ 0x5a);
    QVERIFY(writeBytes(file, bytes));

    const Result<ImportReport> report = importBook(root, file);
    QVERIFY(!report);
    QVERIFY2(report.message().contains(QDir::toNativeSeparators(file)),
             qPrintable(report.message()));
    QCOMPARE(rowsOf(*root.store, Table::Knowledge), 0);
}

void TestExchange::aCancelledImportLeavesBothStoresAsTheyWere()
{
    TestRoot root;
    QVERIFY(root.ok());
    const QString file = root.path("big.xlsx");
    QList<QStringList> knowledge{sheetHeadings(SheetKind::Knowledge)};
    for (int i = 0; i < 300; ++i)
        knowledge << QStringList{QString("k%1").arg(i), "d", QString("s%1").arg(i % 7), "b"};
    QList<QStringList> tools{sheetHeadings(SheetKind::Tools)};
    QList<QStringList> mine{sheetHeadings(SheetKind::Private)};
    for (int i = 0; i < 150; ++i) {
        tools << QStringList{QString("t%1").arg(i), "p", "", "c"};
        mine << QStringList{QString("p%1").arg(i), "d", "c"};
    }
    QVERIFY(writeBook(file, {{"知识库", knowledge}, {"工具", tools}, {"私人知识库", mine}}));
    QSignalSpy changes(root.store.get(), &Store::changed);

    // Stop in the writing pass, on the last sheet: both stores have rows written by then.
    qint64 seen = 0;
    const Result<ImportReport> cancelled =
        importBook(root, file, ExchangeScope::Everything, [&](qint64 done, qint64 total) {
            seen = done;
            return done < total - 5;
        });
    QVERIFY(cancelled);
    QVERIFY(cancelled->cancelled);
    const qint64 rows = 301 + 151 + 151; // with the headings
    QVERIFY(seen > rows + 300 + 150);
    QCOMPARE(cancelled->added(), 0);
    for (Table t : {Table::Knowledge, Table::Goods, Table::Type, Table::Tools, Table::ToolsType,
                    Table::Personal, Table::PersonalType})
        QCOMPARE(rowsOf(*root.store, t), 0);
    QCOMPARE(changes.count(), 0);

    // Done in full, the lists hear of it once per table rather than once per row.
    const Result<ImportReport> done = importBook(root, file);
    QVERIFY(done);
    QCOMPARE(done->added(), 600);
    QVERIFY2(changes.count() <= TableCount, qPrintable(QString::number(changes.count())));
    QCOMPARE(changes.first().at(2).value<Change>(), Change::Reset);
}

void TestExchange::aCancelledExportLeavesTheOldFile()
{
    TestRoot root;
    for (int i = 0; i < 50; ++i)
        root.add(Table::Knowledge,
                 {{Column::Name, QString("k%1").arg(i)}, {Column::Description, "d"}});
    QVERIFY(root.ok());
    QDir folder(root.path("out"));
    QVERIFY(folder.mkpath("."));
    const QString file = folder.filePath("library.xlsx");
    QVERIFY(writeBytes(file, "the export of last week"));

    const Result<ExportReport> cancelled =
        WorkbookExporter(*root.store, ExchangeScope::Everything).run(file, [](qint64 done, qint64) {
            return done < 20;
        });
    QVERIFY(cancelled);
    QVERIFY(cancelled->cancelled);
    QCOMPARE(readBytes(file), QByteArray("the export of last week"));
    QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden), QStringList{"library.xlsx"});

    const Result<ExportReport> nowhere = WorkbookExporter(*root.store, ExchangeScope::Everything)
                                             .run(root.path("missing/library.xlsx"));
    QVERIFY(!nowhere);
    QVERIFY2(nowhere.message().contains("library.xlsx"), qPrintable(nowhere.message()));
}

QTEST_GUILESS_MAIN(TestExchange)
#include "tst_exchange.moc"
