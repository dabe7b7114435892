#include "panel/EntryListModel.h"
#include "panel/IdSequenceSync.h"
#include "panel/KnowledgeTreeModel.h"
#include "support/FixtureRows.h"
#include "support/TestRoot.h"

#include <QAbstractItemModelTester>

namespace {

// A node's key in the tree: its kind's letter and its row's id.
QString key(char kind, qint64 id)
{
    return QChar(kind) + QString::number(id);
}

QStringList childKeys(const KnowledgeTreeModel& m, const QModelIndex& parent)
{
    QStringList out;
    for (int r = 0; r < m.rowCount(parent); ++r)
        out << m.index(r, 0, parent).data(KnowledgeTreeModel::KeyRole).toString();
    return out;
}

QList<qint64> idList(const QString& text)
{
    QList<qint64> out;
    for (const QString& id : text.split(',', Qt::SkipEmptyParts))
        out << id.toLongLong();
    return out;
}

QList<qint64> listIds(const EntryListModel& m)
{
    QList<qint64> out;
    for (int r = 0; r < m.rowCount(); ++r)
        out << m.hit(r).id;
    return out;
}

struct Library {
    TestRoot root;
    qint64 big = 0, small1 = 0, small2 = 0, k1 = 0, k2 = 0, k3 = 0, affair = 0;
    Library()
    {
        big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        small1 = root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
        small2 = root.add(Table::Goods, {{"name", "小米"}, {"typeid", big}});
        k1 = root.add(Table::Knowledge,
                      {{"name", "退货"}, {"goodsid", small1}, {"typeid", big}, {"commonflag", 1}});
        k2 = root.add(
            Table::Knowledge,
            {{"name", "发货"}, {"goodsid", small1}, {"typeid", big}, {"pic", QByteArray("p")}});
        k3 = root.add(Table::Knowledge, {{"name", "保修"}, {"goodsid", small2}, {"typeid", big}});
        affair = root.add(Table::Type,
                          {{"name", "地址"}, {"itemid", 3}, {"flag", 1}, {"url", "https://a"}});
    }
};

} // namespace

class TestModels : public QObject {
    Q_OBJECT
private slots:
    void sequenceSyncReachesTheWantedOrder_data() { fixtureData("sequence-sync.txt"); }
    void sequenceSyncReachesTheWantedOrder();
    void treeReadsChildrenOnlyWhenExpandedWithWhatSendingNeeds();
    void treeFollowsTheStore();
    void listShowsPagesAndFollowsTheStore();
    void listReadsALargeTableInChunks();
};

// A row of sequence-sync.txt: the ids shown, the ids wanted, whether they are reordered.
void TestModels::sequenceSyncReachesTheWantedOrder()
{
    QFETCH(QStringList, row);
    const QList<qint64> from = idList(row.value(1)), to = idList(row.value(2));
    QList<qint64> shown = from;
    bool didReorder = false;
    IdSequenceSync sync;
    sync.remove = [&](int first, int last) { shown.remove(first, last - first + 1); };
    sync.insert = [&](int at, qint64 id) { shown.insert(at, id); };
    sync.reorder = [&](const QList<qint64>& order) {
        didReorder = true;
        shown = order;
    };
    sync.apply(from, to);
    QCOMPARE(shown, to);
    QCOMPARE(didReorder, row.value(3) == "1");
}

void TestModels::treeReadsChildrenOnlyWhenExpandedWithWhatSendingNeeds()
{
    // No model tester here: it reads every node, which is what this test rules out.
    Library lib;
    QVERIFY(lib.root.ok());
    QVERIFY(lib.root.store->update(Table::Knowledge, lib.k1, {{"description", "七天无理由"}}).ok());
    KnowledgeTreeModel model(*lib.root.store);
    model.reload();
    QCOMPARE(childKeys(model, {}), (QStringList{"I1", "I2", "I3", "I4"}));
    const QModelIndex products = model.indexForKey("I2");
    QVERIFY(model.hasChildren(products));
    QCOMPARE(model.rowCount(products), 0); // nothing read yet
    QVERIFY(model.canFetchMore(products));
    model.fetchMore(products);
    QCOMPARE(childKeys(model, products), QStringList{key('T', lib.big)});
    const QModelIndex big = model.indexForKey(key('T', lib.big));
    QVERIFY(!model.indexForKey(key('K', lib.k1)).isValid());
    model.fetchMore(big);
    model.fetchMore(model.indexForKey(key('G', lib.small1)));
    QCOMPARE(childKeys(model, model.indexForKey(key('G', lib.small1))),
             (QStringList{key('K', lib.k1), key('K', lib.k2)}));
    QVERIFY(!model.indexForKey(key('K', lib.k3)).isValid());

    const QModelIndex common = model.indexForKey("I1");
    model.fetchMore(common);
    QCOMPARE(childKeys(model, common), QStringList{key('C', lib.k1)});
    const QModelIndex affairs = model.indexForKey("I3");
    model.fetchMore(affairs);
    QCOMPARE(childKeys(model, affairs), QStringList{key('T', lib.affair)});
    QVERIFY(!model.hasChildren(model.indexForKey(key('T', lib.affair))));

    // Entries carry what sending them needs; categories and sections are no entries.
    const EntryRef entry = model.entry(model.indexForKey(key('C', lib.k1)));
    QCOMPARE(entry.kind, SearchKind::Knowledge);
    QCOMPARE(entry.id, lib.k1);
    QCOMPARE(entry.description, "七天无理由");
    QVERIFY(model.node(model.indexForKey(key('K', lib.k2)))->hasPicture);
    QVERIFY(!model.node(model.indexForKey(key('K', lib.k1)))->hasPicture);
    const EntryRef affair = model.entry(model.indexForKey(key('T', lib.affair)));
    QCOMPARE(affair.kind, SearchKind::Affair);
    QCOMPARE(affair.flag, 1);
    QCOMPARE(affair.url, "https://a");
    QCOMPARE(model.entry(big).id, 0);
    QCOMPARE(model.entry(products).id, 0);

    // An empty small category shows no expander once read.
    const qint64 empty = lib.root.add(Table::Goods, {{"name", "空"}, {"typeid", lib.big}});
    QTRY_VERIFY(model.indexForKey(key('G', empty)).isValid());
    const QModelIndex emptyIndex = model.indexForKey(key('G', empty));
    model.fetchMore(emptyIndex);
    QVERIFY(!model.hasChildren(emptyIndex));
}

void TestModels::treeFollowsTheStore()
{
    Library lib;
    QVERIFY(lib.root.ok());
    KnowledgeTreeModel model(*lib.root.store);
    model.reload();
    // The tester reads the whole (small) tree once and checks every change from then on.
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QString g1 = key('G', lib.small1), g2 = key('G', lib.small2);

    // A new common entry appears under its category and, as its twin, under the common list.
    const qint64 k4 = lib.root.add(Table::Knowledge,
                                   {{"name", "换货"}, {"goodsid", lib.small2}, {"commonflag", 1}});
    QTRY_VERIFY(model.indexForKey(key('K', k4)).isValid());
    QTRY_VERIFY(model.indexForKey(key('C', k4)).isValid());

    // Renamed, moved to another category, taken off the common list.
    QVERIFY(lib.root.store
                ->update(Table::Knowledge, k4, {{"name", "换货流程"}, {"goodsid", lib.small1}})
                .ok());
    QTRY_COMPARE(
        model.indexForKey(key('K', k4)).parent().data(KnowledgeTreeModel::KeyRole).toString(), g1);
    QCOMPARE(model.indexForKey(key('K', k4)).data().toString(), "换货流程");
    QVERIFY(lib.root.store->setCommon(k4, false).ok());
    QTRY_VERIFY(!model.indexForKey(key('C', k4)).isValid());

    // The custom order moves a node without losing it.
    QVERIFY(lib.root.settings->setValue(Setting::Sort, "4").ok());
    QVERIFY(lib.root.store->update(Table::Knowledge, lib.k1, {{"littleserialnum", 9}}).ok());
    QTRY_COMPARE(childKeys(model, model.indexForKey(g1)).last(), key('K', lib.k1));

    // A deleted small category takes its entries' nodes, and their common twins, with it.
    QVERIFY(lib.root.store->deleteSmallCategory(lib.small1).ok());
    QTRY_VERIFY(!model.indexForKey(g1).isValid());
    QVERIFY(!model.indexForKey(key('K', lib.k1)).isValid());
    QVERIFY(!model.indexForKey(key('C', lib.k1)).isValid());
    QVERIFY(model.indexForKey(g2).isValid());

    QVERIFY(lib.root.store->deleteBigCategory(lib.big).ok());
    QTRY_COMPARE(model.rowCount(model.indexForKey("I2")), 0);
}

void TestModels::listShowsPagesAndFollowsTheStore()
{
    TestRoot root;
    QVERIFY(root.ok());
    SearchService search(*root.store, *root.settings);
    const qint64 type = root.add(Table::SimpleType, {{"name", "问候"}});
    const qint64 other = root.add(Table::SimpleType, {{"name", "售后"}});
    const QList<qint64> ids = root.addRows(Table::Simple, 450, [&](int i) {
        return Row{{"name", QString("短语%1").arg(i)}, {"typeid", i % 3 ? type : other}};
    });
    QVERIFY(root.ok());
    EntryListModel model(EntryListModel::ListKind::Simple, *root.store, search, *root.settings);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(model.rowCount(), 0);
    model.showAll();
    QCOMPARE(listIds(model), ids);
    QCOMPARE(model.index(449, 2).data().toString(), "短语449");

    model.showAll(other);
    QCOMPARE(model.rowCount(), 150);
    model.showSearch("短语44", SearchMode::Simple, type);
    QCOMPARE(listIds(model), (QList<qint64>{ids[44], ids[440], ids[442], ids[443], ids[445],
                                            ids[446], ids[448], ids[449]}));

    // Writes elsewhere: a new match appears, a deleted one goes, a renamed one changes text.
    const qint64 added = root.add(Table::Simple, {{"name", "短语44新"}, {"typeid", type}});
    QTRY_COMPARE(listIds(model).last(), added);
    QVERIFY(root.store->remove(Table::Simple, ids[440]).ok());
    QTRY_VERIFY(!listIds(model).contains(ids[440]));
    QVERIFY(root.store->update(Table::Simple, ids[44], {{"name", "短语44改"}}).ok());
    QTRY_COMPARE(model.index(0, 2).data().toString(), "短语44改");
    // Most used first reorders rows in place.
    QVERIFY(root.settings->setValue(Setting::Sort, "3").ok());
    QVERIFY(root.store->addUse(Table::Simple, ids[449]).ok());
    QTRY_COMPARE(listIds(model).first(), ids[449]);
}

void TestModels::listReadsALargeTableInChunks()
{
    TestRoot root;
    QVERIFY(root.ok());
    SearchService search(*root.store, *root.settings);
    const int total = 2 * EntryListModel::IdChunk + 300;
    root.addRows(Table::Personal, total, [](int i) {
        return Row{{"name", QString("笔记%1").arg(i)}};
    });
    QVERIFY(root.ok());
    // No model tester: it would fetch every chunk, which is what this test looks at.
    EntryListModel model(EntryListModel::ListKind::Personal, *root.store, search, *root.settings);
    model.showAll();
    QCOMPARE(model.rowCount(), EntryListModel::IdChunk);
    QVERIFY(model.canFetchMore({}));
    model.fetchMore({});
    QCOMPARE(model.rowCount(), 2 * EntryListModel::IdChunk);
    // A write while part of the table is shown keeps what was shown and adds nothing twice.
    const qint64 early = model.hit(5).id;
    QVERIFY(root.store->remove(Table::Personal, early).ok());
    QTRY_VERIFY(!listIds(model).contains(early));
    QVERIFY(model.rowCount() >= 2 * EntryListModel::IdChunk - 1);
    while (model.canFetchMore({}))
        model.fetchMore({});
    QCOMPARE(model.rowCount(), total - 1);
    const QList<qint64> shown = listIds(model);
    QCOMPARE(QSet<qint64>(shown.begin(), shown.end()).size(), total - 1);
    QCOMPARE(model.index(total - 2, 2).data().toString(), QString("笔记%1").arg(total - 1));
}

QTEST_MAIN(TestModels)
#include "tst_models.moc"
