#include "data/DbError.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/SqlFile.h"
#include "support/TestRoot.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QSqlRecord>

namespace {

QStringList columnsOf(const QSqlDatabase& db, const QString& relation)
{
    QSqlQuery q(db);
    q.exec(QString("SELECT * FROM %1 LIMIT 0").arg(relation));
    QStringList out;
    for (int i = 0; i < q.record().count(); ++i)
        out << q.record().fieldName(i).toLower();
    return out;
}

QList<qint64> ids(const Result<QList<Row>>& rows)
{
    QList<qint64> out;
    for (const Row& r : rows.value())
        out << r.value("id").toLongLong();
    return out;
}

} // namespace

class TestStore : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        m_root.emplace();
        QVERIFY(m_root->ok());
    }

    void schemaHasEveryTableColumnAndView();
    void newRowsStartAtZeroAndCarryUserAndInitials();
    void namesAreUniqueWithoutRegardToCase();
    void idsAreNeverReused();
    void sortModes_data() { fixtureData("sort-modes.txt"); }
    void sortModes();
    void pickersAndLookupsTakeTextAsText();
    void blobsRoundTrip();
    void everyWriteTakesEffectAndIsAnnounced();
    void bigCategoryCascadeLeavesNoOrphans();
    void categoryCascadesPerKind();
    void failedCascadeRollsBackWhole();
    void assistantFolderFollowsDatabasePath_data() { fixtureData("database-paths.txt"); }
    void assistantFolderFollowsDatabasePath();
    void foreignFilesAreRefusedUntouched_data();
    void foreignFilesAreRefusedUntouched();
    void errorsCarryTheDatabaseReport();

private:
    // A fresh data root with both stores open, for every test.
    std::optional<TestRoot> m_root;
};

void TestStore::schemaHasEveryTableColumnAndView()
{
    // Kept in a fixture rather than taken from the table descriptions, so a dropped column fails.
    const QList<QStringList> relations = fixtureRows("store-columns.txt");
    for (const QStringList& row : relations) {
        const QSqlDatabase db = m_root->store->database(
            row.at(0) == QLatin1String("personal") ? StoreId::Personal : StoreId::Assistant);
        const QStringList columns = columnsOf(db, row.value(1));
        QVERIFY2(columns == row.value(2).split(' '),
                 qPrintable(row.value(1) + ": " + columns.join(' ')));
    }
    QCOMPARE(relations.size(), 21);

    Query items;
    items.table = Table::Item;
    items.ordered = false;
    const Result<QList<Row>> sections = m_root->store->rows(items);
    QCOMPARE(ids(sections), (QList<qint64>{1, 2, 3, 4}));

    // The views join the category names in.
    const qint64 big = m_root->add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
    const qint64 small = m_root->add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
    m_root->add(Table::Knowledge, {{"name", "保修期"}, {"typeid", big}, {"goodsid", small}});
    Query view;
    view.table = Table::Knowledge;
    view.withNames = true;
    view.columns = {"name", "goodsname", "typename"};
    const Result<QList<Row>> joined = m_root->store->rows(view);
    QVERIFY2(joined.ok(), qPrintable(joined.message()));
    QCOMPARE(joined.value().first().value("goodsname").toString(), "华为");
    QCOMPARE(joined.value().first().value("typename").toString(), "手机");
}

void TestStore::newRowsStartAtZeroAndCarryUserAndInitials()
{
    const qint64 id = m_root->add(Table::Knowledge, {{"name", "客服 AB"}, {"description", "x"}});
    const auto row = m_root->store->row(Table::Knowledge, id);
    QVERIFY(row.ok() && row.value().has_value());
    const Row& r = *row.value();
    for (const char* column : {"serialnum", "bigserialnum", "littleserialnum", "commonserialnum",
                               "usetime", "commonflag"})
        QCOMPARE(r.value(QLatin1String(column)).toInt(), 0);
    QCOMPARE(r.value("username").toString(), "tester");
    QCOMPARE(r.value("pycode").toString(), "KFAB");

    // An edit of the name computes the initials again; other edits leave them.
    QVERIFY(m_root->store->update(Table::Knowledge, id, {{"name", "退货"}}).ok());
    QCOMPARE(m_root->store->row(Table::Knowledge, id).value()->value("pycode").toString(), "TH");
    QVERIFY(m_root->store->update(Table::Knowledge, id, {{"description", "y"}}).ok());
    QCOMPARE(m_root->store->row(Table::Knowledge, id).value()->value("pycode").toString(), "TH");
}

void TestStore::namesAreUniqueWithoutRegardToCase()
{
    const qint64 first = m_root->add(Table::Simple, {{"name", "Hello 您好"}});
    QCOMPARE(m_root->store->nameExists(Table::Simple, "hello 您好").value(), true);
    QCOMPARE(m_root->store->nameExists(Table::Simple, "hello 您好", {}, first).value(), false);
    QCOMPARE(m_root->store->nameExists(Table::Simple, "hello").value(), false);

    // The constraint holds even when the check was skipped (another seat, a moment earlier).
    const Result<qint64> dup = m_root->store->insert(Table::Simple, {{"name", "HELLO 您好"}});
    QVERIFY(!dup.ok());
    QVERIFY(DbError::isUniqueViolation(dup.error()));
    QVERIFY(dup.message().startsWith("错误号为："));
    const qint64 other = m_root->add(Table::Simple, {{"name", "再见"}});
    QVERIFY(!m_root->store->update(Table::Simple, other, {{"name", "hello 您好"}}).ok());

    // Types are unique within their section: an affair and a courier may share a name.
    m_root->add(Table::Type, {{"name", "顺丰"}, {"itemid", 3}});
    QVERIFY(m_root->store->insert(Table::Type, {{"name", "顺丰"}, {"itemid", 4}}).ok());
    QVERIFY(!m_root->store->insert(Table::Type, {{"name", "顺丰"}, {"itemid", 3}}).ok());
    QCOMPARE(m_root->store->nameExists(Table::Type, "顺丰", {{"itemid", 2}}).value(), false);
    QCOMPARE(m_root->store->nameExists(Table::Type, "顺丰", {{"itemid", 4}}).value(), true);

    QVERIFY(!m_root->store->insert(Table::Users, {{"username", "ADMIN"}}).ok());
}

void TestStore::idsAreNeverReused()
{
    QVERIFY(!m_root->store->maxId(Table::Simple).value().has_value());
    const qint64 a = m_root->add(Table::Simple, {{"name", "a"}});
    const qint64 b = m_root->add(Table::Simple, {{"name", "b"}});
    QVERIFY(m_root->store->remove(Table::Simple, b).ok());
    const qint64 c = m_root->add(Table::Simple, {{"name", "c"}});
    QVERIFY(c > b && b > a);
    QCOMPARE(m_root->store->maxId(Table::Simple).value(), std::optional<qint64>(c));

    // Also across a reopen of the file.
    QVERIFY(m_root->store->remove(Table::Simple, c).ok());
    m_root->openStore();
    QVERIFY(m_root->add(Table::Simple, {{"name", "d"}}) > c);
}

// A row of sort-modes.txt: Sort, and the rows a, b and c in the order listed.
void TestStore::sortModes()
{
    QFETCH(QStringList, row);
    QVERIFY(m_root->settings->setValue(Setting::Sort, row.value(1)).ok());
    const qint64 type = m_root->add(Table::SimpleType, {{"name", "t"}});
    QList<qint64> made;
    const QList<std::pair<int, int>> useAndPos = {{1, 3}, {5, 2}, {1, 1}};
    for (int i = 0; i < 3; ++i) {
        made << m_root->add(Table::Simple, {{"name", QString(QChar(u'a' + i))},
                                            {"typeid", type},
                                            {"typeserialnum", useAndPos[i].second}});
        for (int u = 0; u < useAndPos[i].first; ++u)
            QVERIFY(m_root->store->addUse(Table::Simple, made.last()).ok());
    }
    Query q;
    q.table = Table::Simple;
    q.where = {{"typeid", type}};
    q.sortColumn = "typeserialnum";
    QList<qint64> expected;
    for (const QString& i : row.value(2).split(','))
        expected << made[i.toInt()];
    QCOMPARE(ids(m_root->store->rows(q)), expected);
}

void TestStore::pickersAndLookupsTakeTextAsText()
{
    const QString name = "it's 'quoted'; DROP TABLE simple; --";
    const qint64 id = m_root->add(Table::Simple, {{"name", name}});
    QCOMPARE(m_root->store->nameExists(Table::Simple, name).value(), true);
    QCOMPARE(m_root->store->idByName(Table::Simple, "name", name).value(),
             std::optional<qint64>(id));
    QCOMPARE(m_root->store->typeName(Table::Simple, "name", id).value(), name);
    QCOMPARE(m_root->store->count(Table::Simple).value(), 1);

    const Result<QList<NamedId>> empty =
        m_root->store->categoryList(Table::SimpleType, "请选择分类");
    QCOMPARE(empty.value(), (QList<NamedId>{{0, "请选择分类"}}));

    const qint64 big1 = m_root->add(Table::Type, {{"name", "大1"}, {"itemid", 2}});
    const qint64 big2 = m_root->add(Table::Type, {{"name", "大2"}, {"itemid", 2}});
    m_root->add(Table::Type, {{"name", "事务"}, {"itemid", 3}});
    const qint64 s1 = m_root->add(Table::Goods, {{"name", "小1"}, {"typeid", big1}});
    m_root->add(Table::Goods, {{"name", "小2"}, {"typeid", big2}});

    const Result<QList<NamedId>> bigs =
        m_root->store->categoryList(Table::Type, "请选择大类", {{"itemid", 2}});
    QCOMPARE(bigs.value(), (QList<NamedId>{{0, "请选择大类"}, {big1, "大1"}, {big2, "大2"}}));
    QCOMPARE(m_root->store->idByName(Table::Goods, "name", "小1", {{"typeid", big1}}).value(),
             std::optional<qint64>(s1));
    QCOMPARE(m_root->store->idByName(Table::Goods, "name", "小1", {{"typeid", big2}}).value(),
             std::optional<qint64>());
    QCOMPARE(m_root->store->typeName(Table::Type, "name", big2).value(), "大2");
    QCOMPARE(m_root->store->typeName(Table::Type, "name", 999).value(), QString());
    QCOMPARE(m_root->store->childCount(Table::Type, big1).value(), 1);
    // Column names never come from user text.
    QVERIFY(!m_root->store->typeName(Table::Type, "name; DROP TABLE type", big2).ok());
}

void TestStore::blobsRoundTrip()
{
    const qint64 id = m_root->add(Table::Personal, {{"name", "图"}});
    QCOMPARE(m_root->store->blob(Table::Personal, id).value(), std::optional<QByteArray>());

    QByteArray bytes(300000, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7);
    QVERIFY(m_root->store->setBlob(Table::Personal, id, bytes).ok());
    QCOMPARE(m_root->store->blob(Table::Personal, id).value(), std::optional<QByteArray>(bytes));

    QVERIFY(m_root->store->setBlob(Table::Personal, id, std::nullopt).ok());
    QCOMPARE(m_root->store->blob(Table::Personal, id).value(), std::optional<QByteArray>());

    const qint64 file = m_root->add(Table::File, {{"name", "说明书"}, {"file", QByteArray("PDF")}});
    QCOMPARE(m_root->store->blob(Table::File, file).value(), std::optional<QByteArray>("PDF"));
    QVERIFY(!m_root->store->blob(Table::Simple, 1).ok());
}

void TestStore::everyWriteTakesEffectAndIsAnnounced()
{
    const qint64 tool = m_root->add(Table::Tools, {{"name", "t"}});
    QVERIFY(m_root->store->addUse(Table::Tools, tool).ok());
    QCOMPARE(m_root->store->row(Table::Tools, tool).value()->value("usetime").toInt(), 1);

    QSignalSpy spy(m_root->store.get(), &Store::changed);
    const qint64 id = m_root->add(Table::Knowledge, {{"name", "k"}});
    QVERIFY(m_root->store->update(Table::Knowledge, id, {{"description", "d"}}).ok());
    QVERIFY(m_root->store->addUse(Table::Knowledge, id).ok());
    QVERIFY(m_root->store->addUse(Table::Knowledge, id).ok());
    QCOMPARE(m_root->store->row(Table::Knowledge, id).value()->value("usetime").toInt(), 2);
    QVERIFY(m_root->store->setCommon(id, true).ok());
    QCOMPARE(m_root->store->count(Table::Knowledge, {{"commonflag", 1}}).value(), 1);
    QVERIFY(m_root->store->setCommon(id, false).ok());
    QCOMPARE(m_root->store->count(Table::Knowledge, {{"commonflag", 1}}).value(), 0);
    QVERIFY(m_root->store->setBlob(Table::Knowledge, id, QByteArray("x")).ok());
    QVERIFY(m_root->store->remove(Table::Knowledge, id).ok());
    QVERIFY(!m_root->store->insert(Table::Knowledge, {{"name", QVariant()}}).ok()); // refused
    QVERIFY(m_root->store->remove(Table::Knowledge, id).ok());                      // nothing left

    const QList<Change> expected = {Change::Inserted, Change::Updated, Change::Updated,
                                    Change::Updated,  Change::Updated, Change::Updated,
                                    Change::Updated,  Change::Removed};
    QCOMPARE(spy.count(), expected.size());
    for (int i = 0; i < spy.count(); ++i) {
        QCOMPARE(spy.at(i).at(0).value<Table>(), Table::Knowledge);
        QCOMPARE(spy.at(i).at(1).toLongLong(), id);
        QCOMPARE(spy.at(i).at(2).value<Change>(), expected[i]);
    }
}

void TestStore::bigCategoryCascadeLeavesNoOrphans()
{
    const qint64 big = m_root->add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
    const qint64 keep = m_root->add(Table::Type, {{"name", "电脑"}, {"itemid", 2}});
    const qint64 s1 = m_root->add(Table::Goods, {{"name", "s1"}, {"typeid", big}});
    const qint64 s2 = m_root->add(Table::Goods, {{"name", "s2"}, {"typeid", big}});
    const qint64 s3 = m_root->add(Table::Goods, {{"name", "s3"}, {"typeid", keep}});
    const qint64 k1 =
        m_root->add(Table::Knowledge, {{"name", "k1"}, {"goodsid", s1}, {"commonflag", 1}});
    const qint64 k2 = m_root->add(Table::Knowledge, {{"name", "k2"}, {"goodsid", s2}});
    const qint64 k3 = m_root->add(Table::Knowledge, {{"name", "k3"}, {"goodsid", s3}});

    QSignalSpy spy(m_root->store.get(), &Store::changed);
    const Result<Cascade> cascade = m_root->store->deleteBigCategory(big);
    QVERIFY2(cascade.ok(), qPrintable(cascade.message()));
    QCOMPARE(cascade.value().categories, (QList<qint64>{s1, s2}));
    QList<std::pair<qint64, bool>> entries;
    for (const auto& entry : cascade.value().entries)
        entries << std::pair(entry.id, entry.common);
    QCOMPARE(entries, (QList<std::pair<qint64, bool>>{{k1, true}, {k2, false}}));
    QCOMPARE(spy.count(), 5); // two entries, two small categories, the big category

    QCOMPARE(m_root->store->count(Table::Type, {{"id", big}}).value(), 0);
    QCOMPARE(m_root->store->count(Table::Goods, {{"typeid", big}}).value(), 0);
    QCOMPARE(m_root->store->count(Table::Knowledge).value(), 1);
    QVERIFY(m_root->store->row(Table::Knowledge, k3).value().has_value());
}

void TestStore::categoryCascadesPerKind()
{
    const QList<std::pair<Table, Table>> pairs = {{Table::SimpleType, Table::Simple},
                                                  {Table::FileType, Table::File},
                                                  {Table::ToolsType, Table::Tools},
                                                  {Table::PersonalType, Table::Personal}};
    for (const auto& [category, child] : pairs) {
        const qint64 gone = m_root->add(category, {{"name", "gone"}});
        const qint64 kept = m_root->add(category, {{"name", "kept"}});
        m_root->add(child, {{"name", "a"}, {"typeid", gone}});
        m_root->add(child, {{"name", "b"}, {"typeid", gone}});
        m_root->add(child, {{"name", "c"}, {"typeid", kept}});
        QCOMPARE(m_root->store->childCount(category, gone).value(), 2);
        const Result<Cascade> c = m_root->store->deleteCategory(category, gone);
        QVERIFY2(c.ok(), qPrintable(c.message()));
        QCOMPARE(c.value().entries.size(), 2);
        QCOMPARE(m_root->store->count(child).value(), 1);
        QCOMPARE(m_root->store->count(category).value(), 1);
    }
    QVERIFY(!m_root->store->deleteCategory(Table::Knowledge, 1).ok());

    const qint64 small = m_root->add(Table::Goods, {{"name", "s"}});
    m_root->add(Table::Knowledge, {{"name", "k"}, {"goodsid", small}});
    QVERIFY(m_root->store->deleteSmallCategory(small).ok());
    QCOMPARE(m_root->store->count(Table::Knowledge).value(), 0);
}

void TestStore::failedCascadeRollsBackWhole()
{
    const qint64 big = m_root->add(Table::Type, {{"name", "big"}, {"itemid", 2}});
    const qint64 s1 = m_root->add(Table::Goods, {{"name", "s1"}, {"typeid", big}});
    const qint64 s2 = m_root->add(Table::Goods, {{"name", "s2"}, {"typeid", big}});
    m_root->add(Table::Knowledge, {{"name", "k1"}, {"goodsid", s1}});
    m_root->add(Table::Knowledge, {{"name", "k2"}, {"goodsid", s2}});
    // The second small category cannot be deleted: the cascade fails half-way.
    QSqlQuery trigger(m_root->store->database(StoreId::Assistant));
    if (TestRoot::onServer()) {
        QVERIFY(trigger.exec("CREATE FUNCTION stop() RETURNS trigger LANGUAGE plpgsql AS "
                             "$$ BEGIN RAISE EXCEPTION 'held'; END $$"));
        QVERIFY(trigger.exec(QStringLiteral("CREATE TRIGGER stop BEFORE DELETE ON goods FOR EACH "
                                            "ROW WHEN (old.id = %1) EXECUTE FUNCTION stop()")
                                 .arg(s2)));
    } else {
        QVERIFY(trigger.exec(QStringLiteral("CREATE TRIGGER stop BEFORE DELETE ON goods WHEN "
                                            "old.id = %1 BEGIN SELECT RAISE(ABORT, 'held'); END")
                                 .arg(s2)));
    }

    QSignalSpy spy(m_root->store.get(), &Store::changed);
    const Result<Cascade> cascade = m_root->store->deleteBigCategory(big);
    QVERIFY(!cascade.ok());
    QVERIFY(cascade.message().contains(QLatin1String("held")));
    QCOMPARE(spy.count(), 0);
    QCOMPARE(m_root->store->count(Table::Goods).value(), 2);
    QCOMPARE(m_root->store->count(Table::Knowledge).value(), 2);
    QCOMPARE(m_root->store->count(Table::Type, {{"id", big}}).value(), 1);
    // The store is usable afterwards: no transaction was left open.
    QVERIFY(m_root->store->insert(Table::Simple, {{"name", "after"}}).ok());
}

// A row of database-paths.txt: a name, DatabasePath, the folder of the shared store.
void TestStore::assistantFolderFollowsDatabasePath()
{
    QFETCH(QStringList, row);
    QCOMPARE(Store::assistantFolder("/root/data", row.value(1)), row.value(2));
}

void TestStore::foreignFilesAreRefusedUntouched_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("cut"); // bytes kept of a real store, or -1
    QTest::newRow("empty") << QByteArray() << -1;
    QTest::newRow("garbage") << QByteArray("not a database at all\n").repeated(200) << -1;
    QTest::newRow("zip") << QByteArray("PK\x03\x04", 4) + QByteArray(5000, 'z') << -1;
    QTest::newRow("truncated") << QByteArray() << 9000;
    QTest::newRow("header only") << QByteArray() << 60;
    QTest::newRow("another program's database") << QByteArray("other") << -1;
}

void TestStore::foreignFilesAreRefusedUntouched()
{
    QFETCH(QByteArray, content);
    QFETCH(int, cut);
    if (TestRoot::onServer())
        QSKIP("a file's content: the server's refusals are tst_pgstore's");
    TestRoot root(false);
    QVERIFY(root.ok());
    const QString path = root.path("assistant.dll");
    if (cut >= 0) {
        TestRoot donor;
        QVERIFY(donor.ok());
        donor.add(Table::Simple, {{"name", "x"}});
        content = readBytes(donor.path("assistant.dll")).left(cut);
    }
    if (content == "other")
        QVERIFY(sqlOn(path, {"CREATE TABLE notes(id INTEGER, body TEXT)"}));
    else
        QVERIFY(writeBytes(path, content));
    const QByteArray before = sha256(path);

    Store store(root.dir.path(), *root.settings);
    const Result<void> r = store.open();
    QVERIFY(!r.ok());
    QVERIFY2(r.message().startsWith("错误号："), qPrintable(r.message()));
    QVERIFY2(r.message().contains(QDir::toNativeSeparators(path)), qPrintable(r.message()));
    QCOMPARE(sha256(path), before);
    QVERIFY(!QFileInfo::exists(path + "-journal"));
}

void TestStore::errorsCarryTheDatabaseReport()
{
    const Result<qint64> r = m_root->store->insert(Table::Simple, {{"nosuchcolumn", 1}});
    QVERIFY(!r.ok());
    const Result<qint64> missingName = m_root->store->insert(Table::Simple, {{"typeid", 1}});
    QVERIFY(!missingName.ok());
    const QStringList lines = missingName.message().split("\r\n");
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines[0].startsWith("错误号为："));
    QVERIFY(lines[0].mid(5).toInt() > 0);
    QVERIFY(lines[1].startsWith("错误描述为："));
    QVERIFY(lines[1].contains(
        QRegularExpression("not.null", QRegularExpression::CaseInsensitiveOption)));
}

QTEST_GUILESS_MAIN(TestStore)
#include "tst_store.moc"
