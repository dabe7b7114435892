#include "data/SearchService.h"
#include "support/TestRoot.h"

#include <QRandomGenerator>
#include <QSignalSpy>

namespace {

// "W12 S3 ..." : kind letters and ids of the hits, in order.
QString shape(const Result<QList<SearchHit>>& hits)
{
    if (!hits.ok())
        return QStringLiteral("error: ") + hits.message();
    QStringList parts;
    for (const SearchHit& h : hits.value())
        parts << SearchService::letter(h.kind) + QString::number(h.id);
    return parts.join(QLatin1Char(' '));
}

struct Library {
    TestRoot root;
    qint64 k1, k2, k3, affair, courier, simple, file, tool, personal;

    Library()
    {
        const qint64 big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        const qint64 small = root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
        k1 = root.add(Table::Knowledge,
                      {{"name", "退货流程"}, {"goodsid", small}, {"commonflag", 1}});
        k2 = root.add(Table::Knowledge, {{"name", "发货时间"}, {"goodsid", small}});
        k3 = root.add(Table::Knowledge, {{"name", "Return policy 退换"}, {"goodsid", small}});
        affair = root.add(Table::Type,
                          {{"name", "退货地址"}, {"itemid", 3}, {"flag", 1}, {"url", "https://a"}});
        courier =
            root.add(Table::Type, {{"name", "退货快递"}, {"itemid", 4}, {"url", "https://e"}});
        const qint64 st = root.add(Table::SimpleType, {{"name", "问候"}});
        simple = root.add(Table::Simple, {{"name", "亲，退货请联系我们"}, {"typeid", st}});
        const qint64 ft = root.add(Table::FileType, {{"name", "文档"}});
        file = root.add(Table::File, {{"name", "退货单"}, {"typeid", ft}, {"extname", "docx"}});
        const qint64 tt = root.add(Table::ToolsType, {{"name", "工具"}});
        tool =
            root.add(Table::Tools,
                     {{"name", "退货计算器"}, {"typeid", tt}, {"path", "/bin/true"}, {"type", 1}});
        const qint64 pt = root.add(Table::PersonalType, {{"name", "私人"}});
        personal = root.add(Table::Personal, {{"name", "我的退货笔记"}, {"typeid", pt}});
    }
};

SearchIndex::Source source(qint64 id, const QString& name, const QString& pycode)
{
    SearchIndex::Source s;
    s.id = id;
    s.name = name;
    s.pycode = pycode;
    return s;
}

// The ids of the entries the index finds for `needle`, in the order it reports them.
QList<qint64> found(const SearchIndex& index, const QString& needle)
{
    QList<qint64> ids;
    for (quint32 position : index.match(SearchIndex::fold(needle)))
        ids << index.at(position).id;
    return ids;
}

} // namespace

class TestSearch : public QObject {
    Q_OBJECT
private slots:
    void allKindsInPageOrderWithFlags();
    void modes();
    void nameOrInitialsCaseInsensitiveLiteral();
    void followsListOrder();
    void followsOwnWrites();
    void followsOtherConnections();
    void typeFilterAndRows();
    void upperCaseAndMixedQueries();
    void newestFirstWithoutRewrites();
    void indexMatchesAtBufferEdges();
    void indexNeverSpansEntries();
    void indexInitialsQueries();
    void indexFrequentThenRareCharacters();
    void indexForgetsReplacedEntries();
    void indexInitialsAfterCompaction();
    void indexMixedAndNonAsciiNeedles();
    void indexAgreesWithPlainScan();
};

void TestSearch::allKindsInPageOrderWithFlags()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    const auto all = search.search(QStringLiteral(" 退货 "), SearchMode::All);
    QCOMPARE(shape(all), QStringLiteral("W%1 S%2 C%3 E%4 F%5 L%6 P%7")
                             .arg(lib.k1)
                             .arg(lib.simple)
                             .arg(lib.affair)
                             .arg(lib.courier)
                             .arg(lib.file)
                             .arg(lib.tool)
                             .arg(lib.personal));

    for (Setting flag : {Setting::QueryShowSimpleFlag, Setting::QueryShowFileFlag,
                         Setting::QueryShowToolsFlag, Setting::QueryShowPersonalFlag})
        QVERIFY(lib.root.settings->setValue(flag, "0").ok());
    QCOMPARE(shape(search.search("退货", SearchMode::All)),
             QStringLiteral("W%1 C%2 E%3").arg(lib.k1).arg(lib.affair).arg(lib.courier));
    // Anything but "1" is off, as every flag.
    QVERIFY(lib.root.settings->setValue(Setting::QueryShowToolsFlag, "yes").ok());
    QCOMPARE(search.search("退货", SearchMode::All).value().size(), 3);
}

void TestSearch::modes()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    QCOMPARE(shape(search.search("货", SearchMode::Common)), QStringLiteral("W%1").arg(lib.k1));
    QCOMPARE(shape(search.search("货", SearchMode::Knowledge)),
             QStringLiteral("W%1 W%2").arg(lib.k1).arg(lib.k2));
    QCOMPARE(shape(search.search("货", SearchMode::Affairs)),
             QStringLiteral("C%1").arg(lib.affair));
    QCOMPARE(shape(search.search("货", SearchMode::Couriers)),
             QStringLiteral("E%1").arg(lib.courier));
    QCOMPARE(shape(search.search("货", SearchMode::Simple)), QStringLiteral("S%1").arg(lib.simple));
    QCOMPARE(shape(search.search("货", SearchMode::Files)), QStringLiteral("F%1").arg(lib.file));
    QCOMPARE(shape(search.search("货", SearchMode::Tools)), QStringLiteral("L%1").arg(lib.tool));
    QCOMPARE(shape(search.search("货", SearchMode::Personal)),
             QStringLiteral("P%1").arg(lib.personal));
    // An empty text lists everything of the mode.
    QCOMPARE(search.search("", SearchMode::Knowledge).value().size(), 3);
}

void TestSearch::nameOrInitialsCaseInsensitiveLiteral()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    // 退货流程 -> THLC, 发货时间 -> FHSJ
    QCOMPARE(shape(search.search("thl", SearchMode::Knowledge)), QStringLiteral("W%1").arg(lib.k1));
    QCOMPARE(shape(search.search("HS", SearchMode::Knowledge)), QStringLiteral("W%1").arg(lib.k2));
    QCOMPARE(shape(search.search("RETURN", SearchMode::Knowledge)),
             QStringLiteral("W%1").arg(lib.k3));
    // A match never spans the name and its initials.
    QCOMPARE(shape(search.search("程T", SearchMode::Knowledge)), QString());

    const qint64 pct = lib.root.add(Table::Simple, {{"name", "满100%减_20"}});
    lib.root.add(Table::Simple, {{"name", "满100元减20"}});
    QCOMPARE(shape(search.search("100%", SearchMode::Simple)), QStringLiteral("S%1").arg(pct));
    QCOMPARE(shape(search.search("减_", SearchMode::Simple)), QStringLiteral("S%1").arg(pct));
    const qint64 quote = lib.root.add(Table::Simple, {{"name", "it's fine"}});
    QCOMPARE(shape(search.search("'s", SearchMode::Simple)), QStringLiteral("S%1").arg(quote));
}

void TestSearch::followsListOrder()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    const qint64 k4 = lib.root.add(
        Table::Knowledge,
        {{"name", "货到付款"}, {"serialnum", 1}, {"commonflag", 1}, {"commonserialnum", 9}});
    QVERIFY(
        lib.root.store->update(Table::Knowledge, lib.k1, {{"serialnum", 3}, {"commonserialnum", 1}})
            .ok());
    QVERIFY(lib.root.store->update(Table::Knowledge, lib.k2, {{"serialnum", 2}}).ok());
    QVERIFY(lib.root.store->addUse(Table::Knowledge, lib.k2).ok());

    auto order = [&](const QString& sort, SearchMode mode) {
        [&] { QVERIFY(lib.root.settings->setValue(Setting::Sort, sort).ok()); }();
        return shape(search.search("货", mode));
    };
    const QString k1 = QStringLiteral("W%1").arg(lib.k1), k2 = QStringLiteral("W%1").arg(lib.k2),
                  w4 = QStringLiteral("W%1").arg(k4);
    QCOMPARE(order("1", SearchMode::Knowledge), QStringList({k1, k2, w4}).join(' '));
    QCOMPARE(order("2", SearchMode::Knowledge), QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(order("3", SearchMode::Knowledge), QStringList({k2, k1, w4}).join(' '));
    QCOMPARE(order("4", SearchMode::Knowledge), QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(order("4", SearchMode::Common), QStringList({k1, w4}).join(' '));
    QCOMPARE(order("9", SearchMode::Knowledge), QStringList({k1, k2, w4}).join(' '));
}

void TestSearch::followsOwnWrites()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    QCOMPARE(search.search("快递", SearchMode::Knowledge).value().size(), 0);

    const qint64 k = lib.root.add(Table::Knowledge, {{"name", "快递时效"}});
    QCOMPARE(shape(search.search("快递", SearchMode::Knowledge)), QStringLiteral("W%1").arg(k));
    QCOMPARE(shape(search.search("KDSX", SearchMode::Knowledge)), QStringLiteral("W%1").arg(k));

    QVERIFY(lib.root.store->update(Table::Knowledge, k, {{"name", "物流时效"}}).ok());
    QCOMPARE(shape(search.search("快递", SearchMode::Knowledge)), QString());
    QCOMPARE(search.name(search.search("物流", SearchMode::Knowledge).value().first()),
             QStringLiteral("物流时效"));

    QVERIFY(lib.root.store->setCommon(k, true).ok());
    QCOMPARE(search.search("物流", SearchMode::Common).value().size(), 1);

    // An affair turned into a courier moves between the two kinds.
    QVERIFY(lib.root.store->update(Table::Type, lib.affair, {{"itemid", 4}}).ok());
    QCOMPARE(shape(search.search("退货", SearchMode::Affairs)), QString());
    QCOMPARE(search.search("退货", SearchMode::Couriers).value().size(), 2);

    QVERIFY(lib.root.store
                ->deleteSmallCategory(
                    lib.root.store->idByName(Table::Goods, "name", "华为").value().value())
                .ok());
    QCOMPARE(search.search("", SearchMode::Knowledge).value().size(), 1);

    // Many renames in a row keep exactly one entry per row.
    for (int i = 0; i < 3000; ++i) {
        QVERIFY(
            lib.root.store->update(Table::Knowledge, k, {{"name", QStringLiteral("名%1").arg(i)}})
                .ok());
        QVERIFY(search.search("名", SearchMode::Knowledge).ok());
    }
    QCOMPARE(shape(search.search("名", SearchMode::Knowledge)), QStringLiteral("W%1").arg(k));
    QCOMPARE(search.name(search.search("名", SearchMode::Knowledge).value().first()),
             QStringLiteral("名2999"));
}

void TestSearch::followsOtherConnections()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    QCOMPARE(search.search("清单", SearchMode::Simple).value().size(), 0);

    // Another program (here: a second store on the same files) adds and removes rows.
    Store other(lib.root.dir.path(), *lib.root.settings);
    QVERIFY(other.open().ok());
    const qint64 id =
        other.insert(Table::Simple, {{"name", "发货清单"}, {"pycode", "FHQD"}}).value();
    QVERIFY(other.remove(Table::Tools, lib.tool).ok());
    QCOMPARE(shape(search.search("清单", SearchMode::Simple)), QStringLiteral("S%1").arg(id));
    QCOMPARE(shape(search.search("退货", SearchMode::Tools)), QString());
}

void TestSearch::typeFilterAndRows()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    const qint64 st2 = lib.root.add(Table::SimpleType, {{"name", "售后"}});
    const qint64 s2 = lib.root.add(Table::Simple, {{"name", "退货需要七天内"}, {"typeid", st2}});
    QCOMPARE(shape(search.search("退货", SearchMode::Simple, st2)), QStringLiteral("S%1").arg(s2));
    QCOMPARE(search.search("退货", SearchMode::Simple).value().size(), 2);

    QVERIFY(lib.root.store->setBlob(Table::Knowledge, lib.k1, QByteArray("png")).ok());
    QVERIFY(lib.root.store->update(Table::Knowledge, lib.k1, {{"description", "七天无理由"}}).ok());
    const auto hits = search.search("退货", SearchMode::All);
    const Result<QList<SearchRow>> rows = search.rows(hits.value());
    QVERIFY2(rows.ok(), qPrintable(rows.message()));
    QCOMPARE(rows.value().size(), hits.value().size());
    for (int i = 0; i < rows.value().size(); ++i) {
        QCOMPARE(rows.value()[i].kind, hits.value()[i].kind);
        QCOMPARE(rows.value()[i].id, hits.value()[i].id);
    }
    const SearchRow& knowledge = rows.value()[0];
    QCOMPARE(knowledge.name, QStringLiteral("退货流程"));
    QCOMPARE(knowledge.description, QStringLiteral("七天无理由"));
    QVERIFY(knowledge.hasPicture);
    auto find = [&](SearchKind kind) {
        for (const SearchRow& r : rows.value())
            if (r.kind == kind)
                return r;
        return SearchRow{};
    };
    QCOMPARE(find(SearchKind::Affair).flag, 1);
    QCOMPARE(find(SearchKind::Affair).url, QStringLiteral("https://a"));
    QCOMPARE(find(SearchKind::File).extname, QStringLiteral("docx"));
    QCOMPARE(find(SearchKind::Tool).path, QStringLiteral("/bin/true"));
    QCOMPARE(find(SearchKind::Tool).toolType, 1);
    QVERIFY(!find(SearchKind::Personal).hasPicture);
}

void TestSearch::upperCaseAndMixedQueries()
{
    Library lib;
    SearchService search(*lib.root.store, *lib.root.settings);
    // 退货流程 -> THLC: the whole initials, in either case.
    QCOMPARE(shape(search.search("THLC", SearchMode::Knowledge)),
             QStringLiteral("W%1").arg(lib.k1));
    QCOMPARE(shape(search.search("tHlC", SearchMode::Knowledge)),
             QStringLiteral("W%1").arg(lib.k1));
    QCOMPARE(shape(search.search("THLCX", SearchMode::Knowledge)), QString());
    // A needle with a Chinese character can only be part of a name.
    QCOMPARE(shape(search.search("POLICY 退", SearchMode::Knowledge)),
             QStringLiteral("W%1").arg(lib.k3));
    QCOMPARE(shape(search.search("退货L", SearchMode::Knowledge)), QString());
    QCOMPARE(shape(search.search("T退", SearchMode::Knowledge)), QString());
}

void TestSearch::newestFirstWithoutRewrites()
{
    Library lib;
    const qint64 k4 = lib.root.add(Table::Knowledge, {{"name", "货到付款"}});
    SearchService search(*lib.root.store, *lib.root.settings);
    const QString k1 = QStringLiteral("W%1").arg(lib.k1), k2 = QStringLiteral("W%1").arg(lib.k2),
                  w4 = QStringLiteral("W%1").arg(k4);
    QCOMPARE(shape(search.search("货", SearchMode::Knowledge)),
             QStringList({k1, k2, w4}).join(' '));
    QVERIFY(lib.root.settings->setValue(Setting::Sort, "2").ok());
    QCOMPARE(shape(search.search("货", SearchMode::Knowledge)),
             QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(shape(search.search("", SearchMode::Knowledge)),
             QStringList({w4, QStringLiteral("W%1").arg(lib.k3), k2, k1}).join(' '));
    QCOMPARE(shape(search.search("货", SearchMode::Common)), k1);
}

void TestSearch::indexMatchesAtBufferEdges()
{
    SearchIndex index;
    index.upsert(source(1, QStringLiteral("甲乙丙"), QStringLiteral("JYB")));
    index.upsert(source(2, QStringLiteral("丁戊"), QStringLiteral("DW")));
    index.upsert(source(3, QStringLiteral("己庚辛"), QStringLiteral("JGX")));
    QCOMPARE(found(index, QStringLiteral("甲")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("甲乙")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("甲乙丙")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("辛")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("庚辛")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("己庚辛")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("己庚辛壬")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("jyb")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("x")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("gx")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("j")), QList<qint64>({1, 3}));
    QCOMPARE(found(index, QString()), QList<qint64>({1, 2, 3}));
}

void TestSearch::indexNeverSpansEntries()
{
    SearchIndex index;
    // Every pair of each needle below occurs in some entry, but the needle only across the
    // end of entry 1 and the start of entry 2.
    index.upsert(source(1, QStringLiteral("甲乙"), QStringLiteral("XAB")));
    index.upsert(source(2, QStringLiteral("丙丁"), QStringLiteral("CD")));
    index.upsert(source(3, QStringLiteral("乙丙戊"), QStringLiteral("BCQ")));
    QCOMPARE(found(index, QStringLiteral("甲乙丙")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("乙丙")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("abc")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("bc")), QList<qint64>({3}));
    // Nor the name and the initials of one entry.
    QCOMPARE(found(index, QStringLiteral("乙x")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("乙")), QList<qint64>({1, 3}));
}

void TestSearch::indexInitialsQueries()
{
    SearchIndex index;
    index.upsert(source(1, QStringLiteral("退货流程"), QStringLiteral("THLC")));
    index.upsert(source(2, QStringLiteral("发货时间"), QStringLiteral("FHSJ")));
    index.upsert(source(3, QStringLiteral("退款"), QStringLiteral("TK")));
    index.upsert(source(4, QStringLiteral("好"), QStringLiteral("H")));
    index.upsert(source(5, QStringLiteral("哈哈哈"), QStringLiteral("HHH")));

    QCOMPARE(found(index, QStringLiteral("t")), QList<qint64>({1, 3}));
    QCOMPARE(found(index, QStringLiteral("h")), QList<qint64>({1, 2, 4, 5}));
    QCOMPARE(found(index, QStringLiteral("K")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("z")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("th")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("hs")), QList<qint64>({2}));
    QCOMPARE(found(index, QStringLiteral("TK")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("kt")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("hh")), QList<qint64>({5}));
    // The whole initials, and needles longer than the initials that start them.
    QCOMPARE(found(index, QStringLiteral("thlc")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("FHSJ")), QList<qint64>({2}));
    QCOMPARE(found(index, QStringLiteral("hhh")), QList<qint64>({5}));
    QCOMPARE(found(index, QStringLiteral("hhhh")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("thlcf")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("tkt")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("fhsjthlc")), QList<qint64>());
}

void TestSearch::indexFrequentThenRareCharacters()
{
    SearchIndex index;
    for (int i = 0; i < 300; ++i)
        index.upsert(source(i + 1, QStringLiteral("退货%1").arg(i), QStringLiteral("TH%1").arg(i)));
    index.upsert(source(1000, QStringLiteral("退款到账"), QStringLiteral("TKDZ")));
    // Its rare pair, without the frequent first character.
    index.upsert(source(1001, QStringLiteral("款到"), QStringLiteral("KD")));
    index.upsert(source(1002, QStringLiteral("到账退"), QStringLiteral("DZT")));

    QCOMPARE(found(index, QStringLiteral("退款到")), QList<qint64>({1000}));
    QCOMPARE(found(index, QStringLiteral("退款到账")), QList<qint64>({1000}));
    QCOMPARE(found(index, QStringLiteral("款到")), QList<qint64>({1000, 1001}));
    QCOMPARE(found(index, QStringLiteral("账退")), QList<qint64>({1002}));
    QCOMPARE(found(index, QStringLiteral("tkd")), QList<qint64>({1000}));
    QCOMPARE(found(index, QStringLiteral("tkdz")), QList<qint64>({1000}));
    QCOMPARE(found(index, QStringLiteral("zt")), QList<qint64>({1002}));
    QCOMPARE(found(index, QStringLiteral("退")).size(), 302);
    QCOMPARE(found(index, QStringLiteral("th29")),
             QList<qint64>({30, 291, 292, 293, 294, 295, 296, 297, 298, 299, 300}));
}

void TestSearch::indexForgetsReplacedEntries()
{
    SearchIndex index;
    index.upsert(source(1, QStringLiteral("退货流程"), QStringLiteral("THLC")));
    // Fewer replacements than a compaction needs: the old versions stay in the buffers.
    for (int i = 0; i < 500; ++i)
        index.upsert(source(2, QStringLiteral("旧名%1").arg(i), QStringLiteral("JM%1").arg(i)));
    index.upsert(source(2, QStringLiteral("新名"), QStringLiteral("XM")));
    index.upsert(source(3, QStringLiteral("其他"), QStringLiteral("QT")));
    QCOMPARE(index.size(), 3);

    QCOMPARE(found(index, QStringLiteral("旧")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("旧名")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("旧名1")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("j")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("jm")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("jm4")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("名")), QList<qint64>({2}));
    QCOMPARE(found(index, QStringLiteral("m")), QList<qint64>({2}));
    QCOMPARE(found(index, QStringLiteral("xm")), QList<qint64>({2}));
    // The replaced entry now comes after the ones that were added once.
    QCOMPARE(found(index, QString()), QList<qint64>({1, 2, 3}));
    QCOMPARE(index.name(*index.find(2)), QStringLiteral("新名"));

    index.remove(2);
    QCOMPARE(found(index, QStringLiteral("名")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("xm")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("m")), QList<qint64>());
    QCOMPARE(found(index, QString()), QList<qint64>({1, 3}));
    QVERIFY(!index.find(2));
}

void TestSearch::indexInitialsAfterCompaction()
{
    SearchIndex index;
    for (int i = 0; i < 50; ++i)
        index.upsert(
            source(i + 1, QStringLiteral("Item %1 货").arg(i), QStringLiteral("A%1").arg(i)));
    // Enough replacements for the dead entries to be compacted away more than once.
    for (int i = 0; i < 5000; ++i)
        index.upsert(source(100, QStringLiteral("Name%1").arg(i), QStringLiteral("ZQ%1").arg(i)));
    QCOMPARE(index.size(), 51);

    QList<qint64> items;
    for (int i = 0; i < 50; ++i)
        items << i + 1;
    // "a" is also in the name of the replaced entry.
    QCOMPARE(found(index, QStringLiteral("a")), items + QList<qint64>({100}));
    QCOMPARE(found(index, QStringLiteral("A4")),
             QList<qint64>({5, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50}));
    QCOMPARE(found(index, QStringLiteral("a49")), QList<qint64>({50}));
    QCOMPARE(found(index, QStringLiteral("zq")), QList<qint64>({100}));
    QCOMPARE(found(index, QStringLiteral("ZQ4999")), QList<qint64>({100}));
    QCOMPARE(found(index, QStringLiteral("zq4998")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("z")), QList<qint64>({100}));
    QCOMPARE(found(index, QStringLiteral("name4999")), QList<qint64>({100}));
    QCOMPARE(found(index, QStringLiteral("name1")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("ITEM 7 货")), QList<qint64>({8}));
    // Names that folding changes keep their own letters.
    QCOMPARE(index.name(*index.find(8)), QStringLiteral("Item 7 货"));
    QCOMPARE(index.name(*index.find(100)), QStringLiteral("Name4999"));
}

void TestSearch::indexMixedAndNonAsciiNeedles()
{
    SearchIndex index;
    index.upsert(source(1, QStringLiteral("Wi-Fi密码"), QStringLiteral("WI-FIMM")));
    index.upsert(source(2, QStringLiteral("其他"), QStringLiteral("QT")));
    // Initials beyond ASCII, as another program may have written them.
    index.upsert(source(3, QStringLiteral("学校"), QStringLiteral("ÉCOLE")));
    index.upsert(source(4, QStringLiteral("密"), QStringLiteral("M")));

    QCOMPARE(found(index, QStringLiteral("fi密")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("WI-FI密码")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("m密")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("mm")), QList<qint64>({1}));
    QCOMPARE(found(index, QStringLiteral("m")), QList<qint64>({1, 4}));
    QCOMPARE(found(index, QStringLiteral("密")), QList<qint64>({1, 4}));
    QCOMPARE(found(index, QStringLiteral("qt其")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("é")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("Éc")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("cole")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("c")), QList<qint64>({3}));
    QCOMPARE(found(index, QStringLiteral("i")), QList<qint64>({1}));
    index.upsert(source(3, QStringLiteral("学校"), QStringLiteral("XX")));
    QCOMPARE(found(index, QStringLiteral("é")), QList<qint64>());
    QCOMPARE(found(index, QStringLiteral("c")), QList<qint64>());
}

void TestSearch::indexAgreesWithPlainScan()
{
    // Small alphabets make repeated characters, partial matches and shared pairs frequent;
    // 'É' sends some initials down the path for those beyond ASCII.
    const QString nameChars = QStringLiteral("退货款快aAbB1 ");
    const QString codeChars = QStringLiteral("tThHkK1?É");
    const QString needleChars = nameChars + codeChars;
    QRandomGenerator random(20240611);
    auto text = [&](const QString& chars, int maxLength) {
        QString s;
        for (int n = static_cast<int>(random.bounded(maxLength + 1)); n > 0; --n)
            s += chars[static_cast<qsizetype>(random.bounded(static_cast<int>(chars.size())))];
        return s;
    };

    SearchIndex index;
    QList<qint64> order; // ids in the order they were last added
    QHash<qint64, std::pair<QString, QString>> rows;
    // The first query on which the index and a plain scan of the folded texts disagree.
    auto disagreement = [&]() -> QString {
        for (int q = 0; q < 60; ++q) {
            const QString needle = text(needleChars, 4);
            const QString folded = SearchIndex::fold(needle);
            QList<qint64> expected;
            for (qint64 id : order) {
                const auto& [name, pycode] = rows.value(id);
                if (SearchIndex::fold(name).contains(folded) ||
                    SearchIndex::fold(pycode).contains(folded))
                    expected << id;
            }
            if (found(index, needle) != expected)
                return QStringLiteral("needle \"%1\"").arg(needle);
        }
        for (qint64 id : order) {
            const SearchIndex::Entry* e = index.find(id);
            if (!e || index.name(*e) != rows.value(id).first)
                return QStringLiteral("name of %1").arg(id);
        }
        return {};
    };

    for (int op = 1; op <= 8000; ++op) {
        const qint64 id = 1 + random.bounded(300);
        if (random.bounded(4) == 0) {
            index.remove(id);
            rows.remove(id);
            order.removeOne(id);
        } else {
            const QString name = text(nameChars, 8);
            const QString pycode = text(codeChars, 6);
            index.upsert(source(id, name, pycode));
            rows.insert(id, {name, pycode});
            order.removeOne(id);
            order << id;
        }
        if (op % 250 == 0) {
            QCOMPARE(index.size(), rows.size());
            const QString problem = disagreement();
            QVERIFY2(problem.isEmpty(),
                     qPrintable(QStringLiteral("after %1 writes: %2").arg(op).arg(problem)));
        }
    }
}

QTEST_GUILESS_MAIN(TestSearch)
#include "tst_search.moc"
