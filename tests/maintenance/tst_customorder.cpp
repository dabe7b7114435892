#include "data/Columns.h"
#include "data/CustomOrder.h"
#include "support/TestRoot.h"

#include <QSignalSpy>
#include <QTest>

using Scope = CustomOrder::Scope;

class TestCustomOrder : public QObject {
    Q_OBJECT
private slots:
    void eachNodeWritesItsOwnColumn_data();
    void eachNodeWritesItsOwnColumn();
    void movingRenumbersAndKeysThatAreNoListAreRefused();
};

namespace {

// One library with a row in every list, its ids by name.
struct Library {
    TestRoot root;
    QHash<QString, qint64> id;

    Library()
    {
        id["A"] = root.add(Table::Type, {{"name", "A"}, {"itemid", 2}});
        id["B"] = root.add(Table::Type, {{"name", "B"}, {"itemid", 2}});
        id["g"] = root.add(Table::Goods, {{"name", "g"}, {"typeid", id["A"]}});
        id["g2"] = root.add(Table::Goods, {{"name", "g2"}, {"typeid", id["A"]}});
        for (const QString k : {"k1", "k2", "k3"})
            id[k] = root.add(Table::Knowledge, {{"name", k},
                                                {"typeid", id[k == "k3" ? "B" : "A"]},
                                                {"goodsid", k == "k3" ? 0 : id["g"]},
                                                {"commonflag", k == "k3" ? 0 : 1}});
        id["st"] = root.add(Table::SimpleType, {{"name", "st"}});
        id["st2"] = root.add(Table::SimpleType, {{"name", "st2"}});
        for (const QString s : {"s1", "s2"})
            id[s] = root.add(Table::Simple, {{"name", s}, {"typeid", id["st"]}});
        id["lt"] = root.add(Table::ToolsType, {{"name", "lt"}});
        for (const QString t : {"t1", "t2"})
            id[t] = root.add(Table::Tools, {{"name", t}, {"typeid", id["lt"]}});
    }
};

const QStringList serialColumns = {"serialnum", "bigserialnum", "littleserialnum",
                                   "commonserialnum", "typeserialnum"};

} // namespace

void TestCustomOrder::eachNodeWritesItsOwnColumn_data()
{
    QTest::addColumn<QString>("key"); // a name of the library stands for its id
    QTest::addColumn<int>("scope");
    QTest::addColumn<int>("table");
    QTest::addColumn<QString>("column");
    QTest::addColumn<QStringList>("rows");
    auto row = [](const char* tag, QString key, Scope scope, Table table, QString column,
                  QStringList rows) {
        QTest::newRow(tag) << key << int(scope) << int(table) << column << rows;
    };
    row("common", "I1", Scope::Entries, Table::Knowledge, "commonserialnum", {"k1", "k2"});
    row("all knowledge", "I2", Scope::Entries, Table::Knowledge, "serialnum", {"k1", "k2", "k3"});
    row("big categories", "I2", Scope::Categories, Table::Type, "serialnum", {"A", "B"});
    row("entries of a big category", "T:A", Scope::Entries, Table::Knowledge, "bigserialnum",
        {"k1", "k2"});
    row("small categories", "T:A", Scope::Categories, Table::Goods, "serialnum", {"g", "g2"});
    row("entries of a small category", "G:g", Scope::Categories, Table::Knowledge,
        "littleserialnum", {"k1", "k2"});
    row("all phrases", "S", Scope::Entries, Table::Simple, "serialnum", {"s1", "s2"});
    row("phrase categories", "S", Scope::Categories, Table::SimpleType, "serialnum", {"st", "st2"});
    row("phrases of a category", "ST:st", Scope::Categories, Table::Simple, "typeserialnum",
        {"s1", "s2"});
    row("all tools (private store)", "L", Scope::Entries, Table::Tools, "serialnum", {"t1", "t2"});
    row("tools of a category", "LT:lt", Scope::Entries, Table::Tools, "typeserialnum",
        {"t1", "t2"});
}

void TestCustomOrder::eachNodeWritesItsOwnColumn()
{
    QFETCH(QString, key);
    QFETCH(int, scope);
    QFETCH(int, table);
    QFETCH(QString, column);
    QFETCH(QStringList, rows);
    Library lib;
    QVERIFY(lib.root.ok());
    if (key.contains(':'))
        key = key.section(':', 0, 0) + QString::number(lib.id[key.section(':', 1)]);

    const std::optional<CustomOrder::Target> target =
        CustomOrder::target(key, static_cast<Scope>(scope));
    QVERIFY(target);
    QCOMPARE(int(target->table), table);
    QCOMPARE(QString(target->column), column);
    CustomOrder order(*lib.root.store);
    Result<QList<CustomOrder::Row>> loaded = order.load(*target);
    QVERIFY(loaded.ok());
    QStringList names;
    for (const CustomOrder::Row& r : loaded.value())
        names << r.name;
    QCOMPARE(names, rows);

    // Last first: every row gets a new number, announced once the transaction is committed.
    QList<CustomOrder::Row> reordered = loaded.value();
    std::reverse(reordered.begin(), reordered.end());
    CustomOrder::renumber(reordered);
    QSignalSpy changed(lib.root.store.get(), &Store::changed);
    QVERIFY(order.save(*target, reordered).ok());
    QCOMPARE(changed.size(), rows.size());

    for (const CustomOrder::Row& r : reordered) {
        const auto stored = lib.root.store->row(Table(table), r.id).value();
        QVERIFY(stored);
        for (const QString& c : serialColumns) {
            if (!Tables::hasColumn(Table(table), c))
                continue;
            QCOMPARE(stored->value(c).toLongLong(), c == column ? r.number : 0);
        }
    }
    QCOMPARE(order.load(*target).value(), reordered);
}

void TestCustomOrder::movingRenumbersAndKeysThatAreNoListAreRefused()
{
    QList<CustomOrder::Row> rows = {{1, "a", 7}, {2, "b", 7}, {3, "c", 0}};
    CustomOrder::move(rows, 2, 0);
    QCOMPARE(rows, (QList<CustomOrder::Row>{{3, "c", 1}, {1, "a", 2}, {2, "b", 3}}));
    CustomOrder::move(rows, 0, 3); // past the end: nothing moves
    QCOMPARE(rows.first().id, 3);
    for (const QString key : {"X1", "T", "G", "S3", "ST", "I", ""})
        QVERIFY2(!CustomOrder::target(key, Scope::Entries), qPrintable(key));
}

QTEST_GUILESS_MAIN(TestCustomOrder)
#include "tst_customorder.moc"
