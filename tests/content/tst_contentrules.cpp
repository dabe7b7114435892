#include "content/DeletePolicy.h"
#include "content/EntryValidator.h"
#include "content/FilePicker.h"
#include "content/KindDescriptor.h"
#include "content/ListRows.h"
#include "content/PathText.h"
#include "content/SizeRule.h"
#include "data/IniFile.h"
#include "support/TestRoot.h"

#include <QSet>
#include <QTest>

// The decisions of the content windows, without a window: the order of the checks and their
// messages per kind, the size rules, the delete rules, path parts, filters and list cells.

namespace {

// One check step: the message expected now, then the field value that satisfies it.
struct Step {
    QString message;
    QString column;
    QVariant value;
};
using Steps = QList<Step>;

constexpr qint64 MB = 1024 * 1024;

QString failure(ContentKind kind, const EntryValues& values, SaveContext context = {})
{
    return EntryValidator::firstFailure(Kinds::descriptor(kind), values, context)
        .value_or("passed");
}

QString refusal(const std::optional<QString>& refused)
{
    return refused.value_or("taken");
}

EntryValues withFile()
{
    EntryValues v;
    v.attachment.state = Attachment::State::Replace;
    v.attachment.bytes = "x";
    return v;
}

} // namespace

Q_DECLARE_METATYPE(ContentKind)
Q_DECLARE_METATYPE(Steps)
Q_DECLARE_METATYPE(SaveContext)

class TestContentRules : public QObject {
    Q_OBJECT
private slots:
    void checksStopAtTheFirstFailureInOrder_data();
    void checksStopAtTheFirstFailureInOrder();
    void conditionalAndLengthRules();
    void storedFileCountsOnlyWhileKept();
    void megabytesRoundHalfToEven_data();
    void megabytesRoundHalfToEven();
    void sizeRefusals();
    void deleteRulesFollowTypeDelMode_data();
    void deleteRulesFollowTypeDelMode();
    void pathParts_data();
    void pathParts();
    void dialogFilterForTheSystemDialog();
    void filtersMatchLiterallyAndOnlyWhenSet();
    void listCells();
    void descriptorsNameRealColumnsAndUniqueControls();
};

void TestContentRules::checksStopAtTheFirstFailureInOrder_data()
{
    QTest::addColumn<ContentKind>("kind");
    QTest::addColumn<SaveContext>("context");
    QTest::addColumn<QVariantMap>("initial");
    QTest::addColumn<Steps>("steps");
    const SaveContext list{false, false};
    const SaveContext newDialog{false, true};
    const SaveContext edit{true, false};
    // Blanks alone count as empty in the boxes that are compared trimmed.
    const QVariantMap blank{{"name", "   "}};

    QTest::newRow("big category") << ContentKind::BigCategory << list << blank
                                  << Steps{{"请输入名称!", "name", " 手机 "}};
    QTest::newRow("small category")
        << ContentKind::SmallCategory << list << blank
        << Steps{{"请选择大类!", "typeid", 3}, {"请输入名称!", "name", "华为"}};
    QTest::newRow("knowledge") << ContentKind::Knowledge << list << blank
                               << Steps{{"请选择大类!", "typeid", 1},
                                        {"请选择小类!", "goodsid", 2},
                                        {"请输入标题!", "name", "退货"},
                                        {"请输入描述!", "description", "七天"}};
    QTest::newRow("affair, address enabled")
        << ContentKind::Affair << list << QVariantMap{{"flag", 1}, {"url", " "}}
        << Steps{{"请输入标题!", "name", "地址"},
                 {"请输入描述!", "description", "杭州"},
                 {"启用网址后，网址不能为空!", "url", "https://a.example"}};
    QTest::newRow("courier add") << ContentKind::Courier << newDialog << blank
                                 << Steps{{"请输入名称!", "name", "顺丰"},
                                          {"请输入网址!", "url", "https://sf.example"}};
    QTest::newRow("courier edit") << ContentKind::Courier << edit << blank
                                  << Steps{{"请输入名称!", "name", "顺丰"},
                                           {"网址不能为空!", "url", "https://sf.example"}};
    for (ContentKind k : {ContentKind::SimpleType, ContentKind::FileType, ContentKind::ToolsType,
                          ContentKind::PersonalType})
        QTest::newRow(qPrintable(Kinds::descriptor(k).stem))
            << k << edit << blank << Steps{{"请输入名称!", "name", "常用"}};
    QTest::newRow("phrase in list")
        << ContentKind::Simple << list << blank
        << Steps{{"请输入内容!", "name", "亲"}, {"请选择分类!", "typeid", 1}};
    QTest::newRow("phrase in New")
        << ContentKind::Simple << newDialog << blank
        << Steps{{"内容不能为空!", "name", "亲"}, {"请选择分类!", "typeid", 1}};
    QTest::newRow("phrase edit") << ContentKind::Simple << edit << blank
                                 << Steps{{"请输入内容!", "name", "亲"},
                                          {"请选择分类!", "typeid", 1}};
    QTest::newRow("tool in New") << ContentKind::Tools << newDialog << blank
                                 << Steps{{"名称不能为空!", "name", "记事本"},
                                          {"请输入工具或者文件的路径!", "path", "C:\\a.exe"},
                                          {"请选择分类!", "typeid", 1}};
    QTest::newRow("tool in list") << ContentKind::Tools << list << blank
                                  << Steps{{"请输入名称!", "name", "记事本"},
                                           {"请输入工具或者文件的路径!", "path", "/usr/bin/x"},
                                           {"请选择分类!", "typeid", 1}};
    QTest::newRow("private knowledge") << ContentKind::Personal << newDialog << blank
                                       << Steps{{"请选择分类!", "typeid", 1},
                                                {"请输入标题!", "name", "密码"},
                                                {"请输入描述!", "description", "见本子"}};
}

void TestContentRules::checksStopAtTheFirstFailureInOrder()
{
    QFETCH(ContentKind, kind);
    QFETCH(SaveContext, context);
    QFETCH(QVariantMap, initial);
    QFETCH(Steps, steps);
    EntryValues values;
    values.fields = initial;
    for (const Step& step : steps) {
        QCOMPARE(failure(kind, values, context), step.message);
        values.fields.insert(step.column, step.value);
    }
    QCOMPARE(failure(kind, values, context), QString("passed"));
}

void TestContentRules::conditionalAndLengthRules()
{
    EntryValues a;
    a.fields = {{"name", "地址"}, {"description", "杭州"}, {"flag", 0}, {"url", ""}};
    QCOMPARE(failure(ContentKind::Affair, a), QString("passed"));
    a.fields.insert("flag", 1);
    a.fields.insert("url", "   ");
    QCOMPARE(failure(ContentKind::Affair, a), "启用网址后，网址不能为空!");
    // A description of blanks is still a description; only titles and addresses are trimmed.
    a.fields.insert("url", "https://a.example");
    a.fields.insert("description", "  ");
    QCOMPARE(failure(ContentKind::Affair, a), QString("passed"));

    EntryValues t;
    t.fields = {{"name", "工具"}, {"path", QString(250, 'p')}, {"typeid", 1}};
    QCOMPARE(failure(ContentKind::Tools, t), QString("passed"));
    t.fields.insert("path", QString(251, 'p'));
    t.fields.insert("typeid", 0);
    QCOMPARE(failure(ContentKind::Tools, t), "路径不能超过250个字符!");
    // The limit counts the trimmed path.
    t.fields.insert("path", " " + QString(250, 'p') + " ");
    QCOMPARE(failure(ContentKind::Tools, t), "请选择分类!");
}

void TestContentRules::storedFileCountsOnlyWhileKept()
{
    EntryValues v;
    v.fields = {{"name", "报价单"}, {"typeid", 1}};
    QCOMPARE(failure(ContentKind::File, v), "请选择文件!");
    v.hasStoredAttachment = true;
    QCOMPARE(failure(ContentKind::File, v, {true, false}), QString("passed"));
    v.attachment.state = Attachment::State::Clear;
    QCOMPARE(failure(ContentKind::File, v, {true, false}), "请选择文件!");
    v = withFile();
    v.fields = {{"name", ""}, {"typeid", 0}};
    QCOMPARE(failure(ContentKind::File, v), "请输入名称!");
    v.fields.insert("name", "报价单");
    QCOMPARE(failure(ContentKind::File, v), "请选择分类!");
}

void TestContentRules::megabytesRoundHalfToEven_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<qint64>("megabytes");
    QTest::newRow("0") << qint64(0) << qint64(0);
    QTest::newRow("0.5 to even 0") << MB / 2 << qint64(0);
    QTest::newRow("1.5 to even 2") << MB + MB / 2 << qint64(2);
    QTest::newRow("4.5 to even 4") << 4 * MB + MB / 2 << qint64(4);
    QTest::newRow("5.4") << qint64(5.4 * MB) << qint64(5);
    QTest::newRow("5.5 to even 6") << 5 * MB + MB / 2 << qint64(6);
    QTest::newRow("just over 4.5") << 4 * MB + MB / 2 + 1 << qint64(5);
}

void TestContentRules::megabytesRoundHalfToEven()
{
    QFETCH(qint64, bytes);
    QFETCH(qint64, megabytes);
    QCOMPARE(SizeRule::megabytes(bytes), megabytes);
}

void TestContentRules::sizeRefusals()
{
    QCOMPARE(refusal(SizeRule::refusePicture(qint64(5.4 * MB), 5)), QString("taken"));
    QCOMPARE(refusal(SizeRule::refusePicture(qint64(5.6 * MB), 5)), "图片不能大于5M！");
    QCOMPARE(refusal(SizeRule::refusePicture(0, 5)), QString("taken"));
    QCOMPARE(refusal(SizeRule::refuseFile(20 * MB, 20)), QString("taken"));
    QCOMPARE(refusal(SizeRule::refuseFile(qint64(20.6 * MB), 20)), "文件不能大于20M！");
    // An empty file is refused before its size is looked at, even under a limit of 0.
    QCOMPARE(refusal(SizeRule::refuseFile(0, 0)), "文件内容不能为空！");
    QCOMPARE(refusal(SizeRule::refuseFile(1, 0)), QString("taken"));
}

void TestContentRules::deleteRulesFollowTypeDelMode_data()
{
    QTest::addColumn<ContentKind>("kind");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("children");
    QTest::addColumn<bool>("fromMenu");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<QString>("text");

    const QString big = "此大类下的所有的小类包括记录将被\r\n一起删除,您确定要删除此大类吗?";
    QTest::newRow("big, refuse") << ContentKind::BigCategory << "0" << 2 << false << true
                                 << "请先删除此大类下所有的小类!";
    QTest::newRow("big, empty, refuse mode")
        << ContentKind::BigCategory << "0" << 0 << false << false << "您确认要删除此大类吗?";
    QTest::newRow("big, cascade") << ContentKind::BigCategory << "1" << 2 << false << false << big;
    QTest::newRow("big, empty, cascade mode")
        << ContentKind::BigCategory << "1" << 0 << false << false << "您确认要删除此大类吗?";
    QTest::newRow("big from menu, refuse")
        << ContentKind::BigCategory << "0" << 1 << true << true << "请先删除此大类下所有小类!";
    QTest::newRow("big from menu, cascade")
        << ContentKind::BigCategory << "1" << 1 << true << false
        << "此大类下的所有小类包括知识将被\r\n一起删除,您确定要删除此大类吗?";
    QTest::newRow("small, refuse")
        << ContentKind::SmallCategory << "0" << 3 << false << true << "请先删除此小类下的所有记录!";
    QTest::newRow("small, cascade") << ContentKind::SmallCategory << "1" << 3 << false << false
                                    << "此小类下的所有记录将被一起删除,\r\n您确定要删除此小类吗?";
    QTest::newRow("small, empty") << ContentKind::SmallCategory << "0" << 0 << false << false
                                  << "您确认要删除此小类吗?";
    // Only "0" refuses; an unknown mode deletes with the children, as the default "1" does.
    QTest::newRow("small, unknown mode")
        << ContentKind::SmallCategory << "2" << 1 << false << false
        << "此小类下的所有记录将被一起删除,\r\n您确定要删除此小类吗?";
    for (ContentKind k : {ContentKind::SimpleType, ContentKind::FileType, ContentKind::ToolsType,
                          ContentKind::PersonalType}) {
        const QByteArray stem = Kinds::descriptor(k).stem.toLatin1();
        QTest::newRow((stem + ", refuse").constData())
            << k << "0" << 1 << false << true << "请先删除此分类下所有的记录!";
        QTest::newRow((stem + ", cascade").constData())
            << k << "1" << 1 << false << false
            << "此分类下的所有的记录将被\r\n一起删除,您确定要删除此分类吗?";
        QTest::newRow((stem + ", empty").constData())
            << k << "0" << 0 << false << false << "您确认要删除此分类吗?";
    }
    QTest::newRow("entry") << ContentKind::Knowledge << "0" << 0 << false << false
                           << "您确认要删除此条记录吗?";
    QTest::newRow("courier from menu")
        << ContentKind::Courier << "0" << 0 << true << false << "您确认要删除此条记录吗?";
}

void TestContentRules::deleteRulesFollowTypeDelMode()
{
    QFETCH(ContentKind, kind);
    QFETCH(QString, mode);
    TestRoot root(false);
    QVERIFY(root.settings->setValue(Setting::TypeDelMode, mode).ok());
    QFETCH(int, children);
    QFETCH(bool, fromMenu);
    QFETCH(bool, refused);
    QFETCH(QString, text);
    const DeletePolicy::Plan plan = DeletePolicy::plan(
        Kinds::descriptor(kind), root.settings->flag(Setting::TypeDelMode), children, fromMenu);
    QCOMPARE(plan.refused, refused);
    QCOMPARE(plan.text, text);
}

void TestContentRules::pathParts_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("bare");
    QTest::addColumn<QString>("withExtension");
    QTest::addColumn<QString>("extension");
    QTest::addColumn<QString>("folder");
    QTest::newRow("windows") << "C:\\Program Files\\工具\\记事本.exe"
                             << "记事本"
                             << "记事本.exe"
                             << "exe"
                             << "C:\\Program Files\\工具\\";
    QTest::newRow("unix, dotted folder") << "/home/a.b/report.final.docx"
                                         << "report.final"
                                         << "report.final.docx"
                                         << "docx"
                                         << "/home/a.b/";
    QTest::newRow("no extension") << "/opt/a.d/run"
                                  << "run"
                                  << "run"
                                  << ""
                                  << "/opt/a.d/";
    QTest::newRow("no folder") << "notepad.exe"
                               << "notepad"
                               << "notepad.exe"
                               << "exe"
                               << "";
}

void TestContentRules::pathParts()
{
    QFETCH(QString, path);
    QFETCH(QString, bare);
    QFETCH(QString, withExtension);
    QFETCH(QString, extension);
    QFETCH(QString, folder);
    QCOMPARE(PathText::title(path, false), bare);
    QCOMPARE(PathText::title(path, true), withExtension);
    QCOMPARE(PathText::extension(path), extension);
    QCOMPARE(PathText::containingFolder(path), folder);
}

void TestContentRules::dialogFilterForTheSystemDialog()
{
    QCOMPARE(
        FilePicker::dialogFilter(Kinds::pictureFilter()),
        "图片文件(*.jpg;*.jpeg) (*.jpg *.jpeg);;图片文件(*.gif;*.bmp;*.png) (*.gif *.bmp *.png)");
    QCOMPARE(FilePicker::dialogFilter(Kinds::toolFilter()).split(";;").size(), 5);
    QCOMPARE(FilePicker::dialogFilter(Kinds::fileFilter()).split(";;").first(),
             "所有文件(*.*) (*.*)");
}

void TestContentRules::filtersMatchLiterallyAndOnlyWhenSet()
{
    const KindDescriptor& k = Kinds::descriptor(ContentKind::Knowledge);
    const Row row{
        {"name", "Return 100% refund_policy"}, {"typeid", 2}, {"goodsid", 5}, {"commonflag", 0}};
    EntryValues f;
    QVERIFY(ListRows::matches(k, row, f));
    f.fields = {{"name", "100%"}, {"typeid", 0}, {"goodsid", 0}, {"commonflag", 0}};
    QVERIFY(ListRows::matches(k, row, f));
    f.fields.insert("name", "0% R");
    QVERIFY(ListRows::matches(k, row, f));
    f.fields.insert("name", "n_p");
    QVERIFY(!ListRows::matches(k, row, f));
    f.fields.insert("name", "REFUND_");
    QVERIFY(ListRows::matches(k, row, f));
    f.fields.insert("goodsid", 6);
    QVERIFY(!ListRows::matches(k, row, f));
    f.fields.insert("goodsid", 5);
    f.fields.insert("commonflag", 1);
    QVERIFY(!ListRows::matches(k, row, f));

    // Affairs filter the address as well; a phrase's category does not narrow its list.
    const KindDescriptor& affair = Kinds::descriptor(ContentKind::Affair);
    const Row a{{"name", "地址"}, {"flag", 0}, {"url", "https://a.example/x"}};
    QVERIFY(ListRows::matches(affair, a, EntryValues{{{"url", "A.EXAMPLE"}}, {}, false}));
    QVERIFY(!ListRows::matches(affair, a, EntryValues{{{"url", "b.example"}}, {}, false}));
    const KindDescriptor& simple = Kinds::descriptor(ContentKind::Simple);
    QVERIFY(ListRows::matches(simple, {{"name", "亲"}, {"typeid", 1}},
                              EntryValues{{{"typeid", 2}}, {}, false}));

    QVERIFY(ListRows::matchesName(k, row, " refund "));
    QVERIFY(!ListRows::matchesName(k, row, "%%"));
}

void TestContentRules::listCells()
{
    const Row r{{"flag", 1}, {"commonflag", 0}, {"type", 2}, {"name", "x"}};
    QCOMPARE(ListRows::cellText({"", "flag", CellFormat::UrlEnabled}, r), "已启用");
    QCOMPARE(ListRows::cellText({"", "flag", CellFormat::UrlEnabled}, {{"flag", 0}}), "未启用");
    QCOMPARE(ListRows::cellText({"", "commonflag", CellFormat::CommonMark}, r), "");
    QCOMPARE(ListRows::cellText({"", "commonflag", CellFormat::CommonMark}, {{"commonflag", 1}}),
             "√");
    QCOMPARE(ListRows::cellText({"", "type", CellFormat::ToolKind}, r), "网址");
    QCOMPARE(ListRows::cellText({"", "type", CellFormat::ToolKind}, {{"type", 9}}), "9");
    QCOMPARE(ListRows::countText(12), "数量：12");
}

void TestContentRules::descriptorsNameRealColumnsAndUniqueControls()
{
    const QStringList viewColumns{"typename", "goodsname"};
    QSet<QString> windows;
    for (ContentKind kind : Kinds::all()) {
        const KindDescriptor& d = Kinds::descriptor(kind);
        QCOMPARE(d.kind, kind);
        QVERIFY2(!windows.contains(d.windowName()), qPrintable(d.stem));
        windows.insert(d.windowName());
        QCOMPARE(d.nameField().column, QString("name"));
        QSet<QString> controls;
        for (const FieldDef& f : d.fields) {
            QVERIFY2(Tables::hasColumn(d.table, f.column), qPrintable(d.stem + "." + f.column));
            QVERIFY2(!controls.contains(f.control), qPrintable(d.stem + "." + f.control));
            controls.insert(f.control);
            if (f.type == FieldType::Category)
                QVERIFY(viewColumns.contains(f.nameColumn));
        }
        for (const ListColumn& c : d.columns)
            QVERIFY2(Tables::hasColumn(d.table, c.column) || viewColumns.contains(c.column),
                     qPrintable(d.stem + "." + c.column));
        for (const CopyButton& c : d.copies)
            for (const QString& column : c.columns)
                QVERIFY2(Tables::hasColumn(d.table, column), qPrintable(d.stem + "." + column));
        if (d.searchKind)
            QCOMPARE(Kinds::forSearchKind(*d.searchKind), std::optional<ContentKind>(kind));
        if (d.isCategory())
            QCOMPARE(d.deleting.refuse.isEmpty(), false);
    }
    QCOMPARE(windows.size(), ContentKindCount);
}

QTEST_GUILESS_MAIN(TestContentRules)
#include "tst_contentrules.moc"
