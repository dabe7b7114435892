#include "content/DeletePolicy.h"
#include "content/EntryValidator.h"
#include "content/FilePicker.h"
#include "content/KindDescriptor.h"
#include "content/ListRows.h"
#include "content/PathText.h"
#include "content/SizeRule.h"
#include "data/IniFile.h"
#include "support/FixtureRows.h"
#include "support/TestRoot.h"

#include <QSet>
#include <QTest>

// The decisions of the content windows, without a window: the order of the checks and their
// messages per kind, the size rules, the delete rules, path parts, filters and list cells.

namespace {

constexpr qint64 MB = 1024 * 1024;

QString failure(const KindDescriptor& kind, const EntryValues& values, SaveContext context = {})
{
    return EntryValidator::firstFailure(kind, values, context).value_or("passed");
}

QString failure(ContentKind kind, const EntryValues& values, SaveContext context = {})
{
    return failure(Kinds::descriptor(kind), values, context);
}

// The kind whose windows are "frm" + stem, as the fixtures name them.
const KindDescriptor* kindNamed(const QString& stem)
{
    for (ContentKind kind : Kinds::all()) {
        if (Kinds::descriptor(kind).stem == stem)
            return &Kinds::descriptor(kind);
    }
    return nullptr;
}

QString refusal(const std::optional<QString>& refused)
{
    return refused.value_or("taken");
}

// Values written "column=value;column=value".
QVariantMap valuesOf(const QString& text)
{
    QVariantMap out;
    for (const QString& pair : text.split(';', Qt::SkipEmptyParts))
        out.insert(pair.section('=', 0, 0), pair.section('=', 1));
    return out;
}

EntryValues withFile()
{
    EntryValues v;
    v.attachment.state = Attachment::State::Replace;
    v.attachment.bytes = "x";
    return v;
}

} // namespace

class TestContentRules : public QObject {
    Q_OBJECT
private slots:
    void checksStopAtTheFirstFailureInOrder_data() { fixtureData("checks.txt", 2); }
    void checksStopAtTheFirstFailureInOrder();
    void conditionalAndLengthRules();
    void storedFileCountsOnlyWhileKept();
    void megabytesRoundHalfToEven();
    void sizeRefusals();
    void deleteRulesFollowTypeDelMode_data() { fixtureData("delete-texts.txt", 4); }
    void deleteRulesFollowTypeDelMode();
    void pathParts_data() { fixtureData("path-parts.txt"); }
    void pathParts();
    void dialogFilterForTheSystemDialog();
    void filtersMatchLiterallyAndOnlyWhenSet_data() { fixtureData("list-filters.txt"); }
    void filtersMatchLiterallyAndOnlyWhenSet();
    void listCells();
    void descriptorsNameRealColumnsAndUniqueControls();
};

// A row of checks.txt: the kind, where it is saved, then values set before the first check and
// each message followed by the values that satisfy it.
void TestContentRules::checksStopAtTheFirstFailureInOrder()
{
    QFETCH(QStringList, row);
    const KindDescriptor* kind = kindNamed(row.at(0));
    QVERIFY(kind);
    const QMap<QString, SaveContext> contexts = {
        {"list", {false, false}}, {"new", {false, true}}, {"edit", {true, false}}};
    QVERIFY(contexts.contains(row.at(1)));
    EntryValues values;
    // Blanks alone count as empty in the boxes that are compared trimmed.
    values.fields = {{"name", "   "}};
    for (const QString& step : row.mid(2)) {
        if (step.contains('='))
            values.fields.insert(step.section('=', 0, 0), step.section('=', 1));
        else
            QCOMPARE(failure(*kind, values, contexts.value(row.at(1))), step);
    }
    QCOMPARE(failure(*kind, values, contexts.value(row.at(1))), QString("passed"));
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

void TestContentRules::megabytesRoundHalfToEven()
{
    // Bytes and the megabytes they count as: 0.5, 4.5 go down, 1.5, 5.5 up, just over 4.5 up.
    const QList<std::pair<qint64, qint64>> cases = {{0, 0},
                                                    {MB / 2, 0},
                                                    {MB + MB / 2, 2},
                                                    {4 * MB + MB / 2, 4},
                                                    {qint64(5.4 * MB), 5},
                                                    {5 * MB + MB / 2, 6},
                                                    {4 * MB + MB / 2 + 1, 5}};
    for (const auto& [bytes, megabytes] : cases)
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

// A row of delete-texts.txt: the kind, TypeDelMode, the rows below, where the delete was asked
// for, whether it is refused, and the text shown.
void TestContentRules::deleteRulesFollowTypeDelMode()
{
    QFETCH(QStringList, row);
    const KindDescriptor* kind = kindNamed(row.at(0));
    QVERIFY(kind && row.size() == 6);
    TestRoot root(false);
    QVERIFY(root.ok());
    QVERIFY(root.settings->setValue(Setting::TypeDelMode, row.at(1)).ok());
    const DeletePolicy::Plan plan = DeletePolicy::plan(
        *kind, root.settings->flag(Setting::TypeDelMode), row.at(2).toInt(), row.at(3) == "menu");
    QCOMPARE(plan.refused, row.at(4) == "refused");
    QCOMPARE(plan.text, row.at(5));
}

// A row of path-parts.txt: a path, its title without and with the extension, the extension, the
// containing folder.
void TestContentRules::pathParts()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 5);
    QCOMPARE(PathText::title(row[0], false), row[1]);
    QCOMPARE(PathText::title(row[0], true), row[2]);
    QCOMPARE(PathText::extension(row[0]), row[3]);
    QCOMPARE(PathText::containingFolder(row[0]), row[4]);
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

// A row of list-filters.txt: the kind, a row of its table, the whole form or the name typed, and
// whether the row is kept.
void TestContentRules::filtersMatchLiterallyAndOnlyWhenSet()
{
    QFETCH(QStringList, row);
    const KindDescriptor* kind = kindNamed(row.at(1));
    QVERIFY(kind && row.size() == 6);
    const Row listed = valuesOf(row.at(2));
    const bool kept =
        row.at(3) == "name"
            ? ListRows::matchesName(*kind, listed, row.at(4))
            : ListRows::matches(*kind, listed, EntryValues{valuesOf(row.at(4)), {}, false});
    QCOMPARE(kept, row.at(5) == "1");
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
