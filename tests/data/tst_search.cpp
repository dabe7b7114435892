#include "data/PinyinReadings.h"
#include "data/SearchService.h"
#include "data/StableOrder.h"
#include "support/FixtureRows.h"
#include "support/PlainPinyinRule.h"
#include "support/TestRoot.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QSqlQuery>
#include <cstring>
#include <new>

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

// The orders follow from the id: most entries' category order is their serial and their common
// order 0, as the index assumes until one differs.
SearchIndex::Source source(qint64 id, const QString& name)
{
    SearchIndex::Source s;
    s.id = id;
    s.name = name;
    s.serial = int(id % 7);
    s.typeSerial = s.serial + (id % 4 == 0);
    s.commonSerial = id % 5 == 0 ? 9 : 0;
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
    void pinyinFit_data() { fixtureData("pinyin-match.txt", 2); }
    void pinyinFit();
    void bestMatchFirst();
    void followsOwnWrites();
    void followsOtherConnections();
    void namesReadAsTheDriverReadsThem();
    void typeFilterAndRows();
    void indexAgreesWithPlainScan_data();
    void indexAgreesWithPlainScan();
    void hitsClearedOnlyWhenAsked();
    void stableOrderAgreesWithComparisonSort();
};

void TestSearch::allKindsInPageOrderWithFlags()
{
    Library lib;
    QVERIFY(lib.root.ok());
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
    QVERIFY(lib.root.ok());
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
    QVERIFY(lib.root.ok());
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
    QVERIFY(lib.root.ok());
    SearchService search(*lib.root.store, *lib.root.settings);
    const qint64 k4 = lib.root.add(
        Table::Knowledge,
        {{"name", "货到付款"}, {"serialnum", 1}, {"commonflag", 1}, {"commonserialnum", 9}});
    auto order = [&](const QString& sort, SearchMode mode, const QString& needle = "货",
                     qint64 typeId = 0) {
        [&] { QVERIFY(lib.root.settings->setValue(Setting::Sort, sort).ok()); }();
        return shape(search.search(needle, mode, typeId));
    };
    const QString k1 = QStringLiteral("W%1").arg(lib.k1), k2 = QStringLiteral("W%1").arg(lib.k2),
                  k3 = QStringLiteral("W%1").arg(lib.k3), w4 = QStringLiteral("W%1").arg(k4);
    // Newest first, while the entries are still in the order they were added.
    QCOMPARE(order("2", SearchMode::Knowledge), QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(order("2", SearchMode::Knowledge, ""), QStringList({w4, k3, k2, k1}).join(' '));

    QVERIFY(
        lib.root.store->update(Table::Knowledge, lib.k1, {{"serialnum", 3}, {"commonserialnum", 1}})
            .ok());
    QVERIFY(lib.root.store->update(Table::Knowledge, lib.k2, {{"serialnum", 2}}).ok());
    QVERIFY(lib.root.store->addUse(Table::Knowledge, lib.k2).ok());
    QCOMPARE(order("1", SearchMode::Knowledge), QStringList({k1, k2, w4}).join(' '));
    QCOMPARE(order("2", SearchMode::Knowledge), QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(order("3", SearchMode::Knowledge), QStringList({k2, k1, w4}).join(' '));
    QCOMPARE(order("4", SearchMode::Knowledge), QStringList({w4, k2, k1}).join(' '));
    QCOMPARE(order("4", SearchMode::Common), QStringList({k1, w4}).join(' '));
    QCOMPARE(order("9", SearchMode::Knowledge), QStringList({k1, k2, w4}).join(' '));

    // Within one category the custom order is the category list's own, typeserialnum.
    const qint64 type = lib.root.add(Table::SimpleType, {{"name", "售后"}});
    auto simple = [&](const QString& name, int serial, int typeSerial) {
        return QStringLiteral("S%1").arg(
            lib.root.add(Table::Simple, {{"name", name},
                                         {"typeid", type},
                                         {"serialnum", serial},
                                         {"typeserialnum", typeSerial}}));
    };
    const QString s1 = simple("改地址", 1, 2), s2 = simple("拒收", 2, 1);
    const QString s0 = QStringLiteral("S%1").arg(lib.simple);
    QCOMPARE(order("4", SearchMode::Simple, "", type), QStringList({s2, s1}).join(' '));
    QCOMPARE(order("4", SearchMode::Simple, ""), QStringList({s0, s1, s2}).join(' '));
}

void TestSearch::followsOwnWrites()
{
    Library lib;
    QVERIFY(lib.root.ok());
    const qint64 far = qint64(1) << 50;
    QSqlQuery insert(lib.root.store->database(StoreId::Assistant));
    QVERIFY(insert.exec(
        QStringLiteral("INSERT INTO knowledge (id, name) VALUES (%1, '远方条目')").arg(far)));
    SearchService search(*lib.root.store, *lib.root.settings);
    QCOMPARE(search.search("快递", SearchMode::Knowledge).value().size(), 0);

    const qint64 k = lib.root.add(Table::Knowledge, {{"name", "快递时效"}});
    QCOMPARE(shape(search.search("快递", SearchMode::Knowledge)), QStringLiteral("W%1").arg(k));
    // Hits are packed small; an id far beyond 32 bits, as an imported table may hold, survives.
    QCOMPARE(shape(search.search("远方", SearchMode::Knowledge)), QStringLiteral("W%1").arg(far));
    QVERIFY(lib.root.store->remove(Table::Knowledge, far).ok());
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
}

void TestSearch::followsOtherConnections()
{
    Library lib;
    QVERIFY(lib.root.ok());
    SearchService search(*lib.root.store, *lib.root.settings);
    QCOMPARE(search.search("清单", SearchMode::Simple).value().size(), 0);

    // Another program (here: a second store on the same files) adds and removes rows.
    Store other(lib.root.dir.path(), *lib.root.settings);
    QVERIFY(other.open().ok());
    const qint64 id =
        other.insert(Table::Simple, {{"name", "发货清单"}, {"pycode", "FHQD"}}).value();
    QVERIFY(other.remove(Table::Tools, lib.tool).ok());
    // A server tells of the row within a second, a file at the next look.
    QTRY_COMPARE_WITH_TIMEOUT(shape(search.search("清单", SearchMode::Simple)),
                              QStringLiteral("S%1").arg(id), 1000);
    QCOMPARE(shape(search.search("退货", SearchMode::Tools)), QString());
}

void TestSearch::namesReadAsTheDriverReadsThem()
{
    // The index decodes names itself; every other view reads them through Qt's driver. Well-formed
    // text of every length of sequence, and text another tool stored that is not well-formed
    // UTF-8, must read the same both ways.
    Library lib;
    QVERIFY(lib.root.ok());
    QSqlQuery q(lib.root.store->database(StoreId::Assistant));
    const QStringList names = {QStringLiteral("'Return 退货 𠀃 Ünïcödé'"),
                               QStringLiteral("CAST(X'E98080E4' AS TEXT)"),
                               QStringLiteral("CAST(X'C0AF41' AS TEXT)"),
                               QStringLiteral("CAST(X'EDA080' AS TEXT)"),
                               QStringLiteral("CAST(X'F4908080' AS TEXT)"),
                               QStringLiteral("CAST(X'41FF42' AS TEXT)"),
                               QStringLiteral("CAST(X'F09F9880E8BF94' AS TEXT)"),
                               QStringLiteral("CAST(X'E080AF' AS TEXT)"),
                               QStringLiteral("CAST(X'F08080AF' AS TEXT)")};
    for (const QString& name : names)
        QVERIFY2(q.exec(QStringLiteral("INSERT INTO knowledge (name) VALUES (%1)").arg(name)),
                 qPrintable(name));
    SearchService search(*lib.root.store, *lib.root.settings);
    const Result<QList<SearchHit>> all = search.search("", SearchMode::Knowledge);
    QVERIFY(all.ok());
    QCOMPARE(all.value().size(), 3 + names.size());
    for (const SearchHit& hit : all.value()) {
        QVERIFY(q.exec(QStringLiteral("SELECT name FROM knowledge WHERE id = %1").arg(hit.id)));
        QVERIFY(q.next());
        QCOMPARE(search.name(hit), q.value(0).toString());
    }
    QCOMPARE(search.search("returntuihuo", SearchMode::Knowledge).value().size(), 1);
}

void TestSearch::typeFilterAndRows()
{
    Library lib;
    QVERIFY(lib.root.ok());
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

void TestSearch::pinyinFit()
{
    QFETCH(QStringList, row);
    const QString name = SearchIndex::fold(row[0]), query = SearchIndex::fold(row[1]);
    const PinyinMatcher pinyin(query);
    const QStringList fits = {"none", "inside", "prefix", "whole"};
    QCOMPARE(fits.at(int(pinyin.fit(name))), row[2]);
    QCOMPARE(pinyin.matches(name), row[2] != "none");
    QCOMPARE(PlainPinyinRule::matches(row[0], row[1]), row[2] != "none");
    // The index finds the same, whichever lists it reads.
    for (const int lookups : {4096, 0}) {
        SearchIndex index;
        index.setMostLookups(lookups);
        index.upsert(source(1, row[0]));
        QCOMPARE(found(index, row[1]).size(), row[2] != "none" ? 1 : 0);
    }
}

void TestSearch::bestMatchFirst()
{
    TestRoot root;
    QVERIFY(root.ok());
    SearchService search(*root.store, *root.settings);
    QStringList names = {"延长保修", "型号bx", "保修期限", "冰箱", "bx型号", "保修", "包邮"};
    QList<qint64> ids;
    for (const QString& name : names)
        ids << root.add(Table::Simple, {{"name", name}});
    auto order = [&](const QString& needle) {
        QStringList out;
        const Result<QList<SearchHit>> hits = search.search(needle, SearchMode::Simple);
        for (const SearchHit& hit : hits.value())
            out << names.at(ids.indexOf(hit.id));
        return out;
    };
    QCOMPARE(order("bx"),
             (QStringList{"延长保修", "型号bx", "保修期限", "冰箱", "bx型号", "保修"}));
    QVERIFY(root.settings->setValue(Setting::QueryBestMatchFirst, "1").ok());
    // Whole names, then starts, then literal hits further in, then pinyin ones; each group in the
    // list order.
    QCOMPARE(order("bx"),
             (QStringList{"冰箱", "保修", "保修期限", "bx型号", "型号bx", "延长保修"}));
    QCOMPARE(order("保修"), (QStringList{"保修", "保修期限", "延长保修"}));
    QVERIFY(root.settings->setValue(Setting::Sort, "2").ok());
    QCOMPARE(order("bx"),
             (QStringList{"保修", "冰箱", "bx型号", "保修期限", "型号bx", "延长保修"}));
}

void TestSearch::indexAgreesWithPlainScan_data()
{
    // The index finds a query through runs of the characters that read it where those are few,
    // through lists of initials and name checks otherwise: both must agree with the rule.
    QTest::addColumn<int>("mostLookups");
    QTest::newRow("runs where they are few") << 4096;
    QTest::newRow("runs of few pairs, then pairs of two characters") << 6;
    QTest::newRow("lists of initials only") << 0;
}

void TestSearch::indexAgreesWithPlainScan()
{
    QFETCH(int, mostLookups);
    // The index's one test: thousands of additions, replacements and removals, with compactions
    // among them, each checked against the rule written plainly. Few characters, most of them
    // with several readings, make repeated characters, shared keys and partial readings frequent;
    // half the needles are read off a name, so that hits are many, the others random.
    const QString nameChars = QStringLiteral("长行重银度厦乐aA1 ，𠀋𠀃");
    const QString letters = QStringLiteral("cdhxzyaeil1");
    QRandomGenerator random(20240611);
    auto pick = [&](const QString& chars) {
        return chars[qsizetype(random.bounded(int(chars.size())))];
    };
    auto name = [&] {
        QString s;
        for (int n = int(random.bounded(9)); n > 0; --n) {
            const QChar c = pick(nameChars);
            // A half of a character beyond the BMP stands for one of them: 𠀋, which has no
            // reading, or 𠀃, which has two.
            s += c.isHighSurrogate()  ? QStringLiteral("𠀋")
                 : c.isLowSurrogate() ? QStringLiteral("𠀃")
                                      : QString(c);
        }
        return s;
    };
    // A run of a name's characters, each written as itself or a start of a random reading.
    auto readOff = [&](const QString& text) {
        const QList<uint> chars = SearchIndex::fold(text).toUcs4();
        QString out;
        for (qsizetype i = random.bounded(int(chars.size()) + 1); i < chars.size(); ++i) {
            const std::span<const quint16> readings = PinyinReadings::of(chars[i]);
            if (readings.empty()) {
                out += QString::fromUcs4(reinterpret_cast<const char32_t*>(&chars[i]), 1);
            } else {
                const std::string_view r =
                    PinyinReadings::syllable(readings[random.bounded(int(readings.size()))]);
                out += QLatin1String(r.substr(0, 1 + random.bounded(int(r.size()))));
            }
            if (random.bounded(3) == 0)
                break;
        }
        return out;
    };

    // Initials, one letter a character: the entries of their first three are remembered from one
    // query to the next and must follow every change. More threes than are remembered at once
    // are asked for, so that some are forgotten and worked out again.
    QStringList initials = {QStringLiteral("cdx"), QStringLiteral("cdxy"), QStringLiteral("hcz"),
                            QStringLiteral("hcz1"), QStringLiteral("1ax")};
    for (const QChar a : QStringLiteral("cdx"))
        for (const QChar b : QStringLiteral("zdy"))
            for (const QChar c : QStringLiteral("xcl1"))
                initials << QString(a) + b + c;

    SearchIndex index;
    index.setMostLookups(mostLookups);
    QList<qint64> order; // ids in the order they were last added
    QHash<qint64, QString> rows;
    // The first query on which the index and the plain rule disagree.
    auto disagreement = [&]() -> QString {
        for (int q = 0; q < 60 + initials.size(); ++q) {
            QString needle;
            if (q >= 60)
                needle = initials.at(q - 60);
            else if (q % 2 == 0 && !order.isEmpty())
                needle = readOff(rows.value(order.at(random.bounded(int(order.size())))));
            else
                for (int n = 1 + int(random.bounded(4)); n > 0; --n)
                    needle += pick(letters + nameChars.left(3));
            QList<qint64> expected;
            for (qint64 id : order) {
                if (needle.isEmpty() || PlainPinyinRule::matches(rows.value(id), needle))
                    expected << id;
            }
            if (const QList<qint64> got = found(index, needle); got != expected) {
                auto shown = [&](const QList<qint64>& ids) {
                    QStringList out;
                    for (qint64 id : ids)
                        out << QString::number(id) + ':' + rows.value(id);
                    return out.join(' ');
                };
                return QString("needle \"%1\": the index finds {%2}, the rule {%3}")
                    .arg(needle, shown(got), shown(expected));
            }
        }
        for (qint64 id : order) {
            const std::optional<SearchIndex::Entry> e = index.find(id);
            const SearchIndex::Source s = source(id, rows.value(id));
            if (!e || index.name(*e) != s.name || e->typeSerial != s.typeSerial ||
                e->commonSerial != s.commonSerial)
                return QStringLiteral("entry %1").arg(id);
        }
        return {};
    };

    // Every other stretch of writes adds its entries at once, as loading a kind does; now and
    // then the lists are frozen, as after loading.
    std::vector<SearchIndex::Source> batch;
    for (int op = 1; op <= 8000; ++op) {
        // Some ids lie far beyond the others or below zero, as an imported table's may.
        const int draw = int(random.bounded(320));
        const qint64 id = draw < 300 ? 1 + draw : draw < 310 ? (qint64(1) << 40) + draw : -draw;
        if (random.bounded(4) == 0) {
            std::erase_if(batch, [&](const SearchIndex::Source& s) { return s.id == id; });
            index.remove(id);
            rows.remove(id);
            order.removeOne(id);
        } else {
            const QString text = name();
            if ((op - 1) / 250 % 2 == 0)
                batch.push_back(source(id, text));
            else
                index.upsert(source(id, text));
            rows.insert(id, text);
            order.removeOne(id);
            order << id;
        }
        if (op % 250 == 0) {
            index.upsert(batch);
            batch.clear();
            if (op % 1000 == 0)
                index.squeeze();
            QCOMPARE(index.size(), rows.size());
            const QString problem = disagreement();
            QVERIFY2(problem.isEmpty(),
                     qPrintable(QStringLiteral("after %1 writes: %2").arg(op).arg(problem)));
        }
    }

    // A library large enough that a common needle leaves thousands of names to check, which are
    // then checked in two halves side by side; some entries in both halves are dead. It is
    // loaded whole, as a kind is on its first search: then the lists of characters and adjacent
    // pairs are worked out from those of their units at the end, and must hold the same.
    for (qint64 id = 1000; id < 21000; ++id) {
        const QString text = name();
        rows.insert(id, text);
        order << id;
    }
    std::sort(order.begin(), order.end());
    index.beginLoad();
    for (qsizetype from = 0; from < order.size(); from += 4096) {
        batch.clear();
        for (qint64 id : order.mid(from, 4096))
            batch.push_back(source(id, rows.value(id)));
        index.upsert(batch);
    }
    index.squeeze();
    QCOMPARE(index.size(), rows.size());
    QString problem = disagreement();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    for (qint64 id = 1000; id < 21000; id += 97) {
        index.remove(id);
        rows.remove(id);
        order.removeOne(id);
    }
    // Partial readings of 行, 长 and 重: a list of candidates, each name to be read.
    for (const QString& needle :
         {QStringLiteral("xin"), QStringLiteral("zhan"), QStringLiteral("chon")}) {
        QList<qint64> expected;
        for (qint64 id : order) {
            if (PlainPinyinRule::matches(rows.value(id), needle))
                expected << id;
        }
        QVERIFY2(expected.size() > 4096, qPrintable(needle));
        QCOMPARE(found(index, needle), expected);
    }
    // Changes after loading go to the lists' tails, the worked-out lists' too, and survive
    // freezing again.
    for (qint64 id = 21000; id < 21300; ++id) {
        const QString text = name();
        index.upsert(source(id, text));
        rows.insert(id, text);
        order << id;
    }
    problem = disagreement();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    index.squeeze();
    problem = disagreement();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TestSearch::hitsClearedOnlyWhenAsked()
{
    // QHash::value() of a missing key gives T(): that must be no hit at all, not leftover bytes.
    // QList(size) default-initialises, which must leave the room for the search to write.
    alignas(SearchHit) unsigned char room[sizeof(SearchHit)];
    std::memset(room, 0xA5, sizeof room);
    const SearchHit* cleared = new (room) SearchHit();
    QCOMPARE(cleared->id, 0);
    QCOMPARE(cleared->kind, SearchKind::Knowledge);
    std::memset(room, 0xA5, sizeof room);
    new (room) SearchHit;
    QCOMPARE(int(room[sizeof room - 1]), 0xA5);
}

void TestSearch::stableOrderAgreesWithComparisonSort()
{
    // Hits are ordered by a column and then by id through a byte-wise sort. Keys with many ties,
    // negative values and differences only in the top byte, against std::stable_sort.
    QRandomGenerator random(7);
    for (const qint64 spread : {qint64(3), qint64(1000), qint64(1) << 62}) {
        std::vector<qint64> value(3000);
        for (qint64& v : value)
            v = qint64(random.generate64() % quint64(2 * spread)) - spread;
        std::vector<quint32> items(value.size());
        for (size_t i = 0; i < items.size(); ++i)
            items[i] = quint32((i * 7919) % items.size());
        for (const bool down : {false, true}) {
            std::vector<quint32> expected = items;
            std::stable_sort(expected.begin(), expected.end(), [&](quint32 a, quint32 b) {
                return down ? value[a] > value[b] : value[a] < value[b];
            });
            std::vector<quint32> got = items;
            StableOrder::sortBy(got, [&](quint32 i) {
                return down ? StableOrder::descending(value[i]) : StableOrder::ascending(value[i]);
            });
            QVERIFY2(got == expected, qPrintable(QStringLiteral("spread %1").arg(spread)));
        }
    }
}

QTEST_GUILESS_MAIN(TestSearch)
#include "tst_search.moc"
