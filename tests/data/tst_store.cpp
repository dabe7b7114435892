#include "data/DbError.h"
#include "support/TestRoot.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QSqlRecord>

namespace {

QByteArray digest(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256);
}

QStringList columnsOf(const QSqlDatabase& db, const QString& relation)
{
    QSqlQuery q(db);
    q.exec(QStringLiteral("SELECT * FROM %1 LIMIT 0").arg(relation));
    QStringList out;
    for (int i = 0; i < q.record().count(); ++i)
        out << q.record().fieldName(i).toLower();
    return out;
}

QList<qint64> ids(const Result<QList<Row>>& rows)
{
    QList<qint64> out;
    for (const Row& r : rows.value())
        out << r.value(QStringLiteral("id")).toLongLong();
    return out;
}

} // namespace

class TestStore : public QObject {
    Q_OBJECT
private slots:
    void schemaHasEveryTableColumnAndView();
    void newRowsStartAtZeroAndCarryUserAndInitials();
    void namesAreUniqueWithoutRegardToCase();
    void idsAreNeverReused();
    void quotesAreOrdinaryCharacters();
    void sortModes_data();
    void sortModes();
    void pickersAndLookups();
    void blobsRoundTrip();
    void useCountAndCommonFlag();
    void everyWriteIsAnnounced();
    void bigCategoryCascadeLeavesNoOrphans();
    void categoryCascadesPerKind();
    void failedCascadeRollsBackWhole();
    void assistantFolderFollowsDatabasePath_data();
    void assistantFolderFollowsDatabasePath();
    void foreignFilesAreRefusedUntouched_data();
    void foreignFilesAreRefusedUntouched();
    void errorsCarryTheDatabaseReport();
};

void TestStore::schemaHasEveryTableColumnAndView()
{
    TestRoot root;
    QVERIFY(root.ok());

    // Kept in a fixture rather than taken from the table descriptions, so a dropped column fails.
    QFile fixture(QStringLiteral(QUILLMATE_FIXTURES "/store-columns.txt"));
    QVERIFY(fixture.open(QIODevice::ReadOnly | QIODevice::Text));
    int relations = 0;
    while (!fixture.atEnd()) {
        const QString line = QString::fromUtf8(fixture.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QString store = line.section(QLatin1Char(' '), 0, 0);
        const QString relation = line.section(QLatin1Char(' '), 1, 1).chopped(1);
        const QSqlDatabase db = root.store->database(
            store == QLatin1String("personal") ? StoreId::Personal : StoreId::Assistant);
        const QStringList columns = columnsOf(db, relation);
        QVERIFY2(columns == line.section(QLatin1String(": "), 1).split(QLatin1Char(' ')),
                 qPrintable(relation + ": " + columns.join(QLatin1Char(' '))));
        ++relations;
    }
    QCOMPARE(relations, 21);

    Query items;
    items.table = Table::Item;
    items.ordered = false;
    const Result<QList<Row>> sections = root.store->rows(items);
    QCOMPARE(ids(sections), (QList<qint64>{1, 2, 3, 4}));

    // The views join the category names in.
    const qint64 big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
    const qint64 small = root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
    root.add(Table::Knowledge, {{"name", "保修期"}, {"typeid", big}, {"goodsid", small}});
    Query view;
    view.table = Table::Knowledge;
    view.withNames = true;
    view.columns = {"name", "goodsname", "typename"};
    const Result<QList<Row>> joined = root.store->rows(view);
    QVERIFY2(joined.ok(), qPrintable(joined.message()));
    QCOMPARE(joined.value().first().value("goodsname").toString(), QStringLiteral("华为"));
    QCOMPARE(joined.value().first().value("typename").toString(), QStringLiteral("手机"));
}

void TestStore::newRowsStartAtZeroAndCarryUserAndInitials()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 id = root.add(Table::Knowledge, {{"name", "客服 AB"}, {"description", "x"}});
    const auto row = root.store->row(Table::Knowledge, id);
    QVERIFY(row.ok() && row.value().has_value());
    const Row& r = *row.value();
    for (const char* column : {"serialnum", "bigserialnum", "littleserialnum", "commonserialnum",
                               "usetime", "commonflag"})
        QCOMPARE(r.value(QLatin1String(column)).toInt(), 0);
    QCOMPARE(r.value("username").toString(), QStringLiteral("tester"));
    QCOMPARE(r.value("pycode").toString(), QStringLiteral("KFAB"));

    // An edit of the name computes the initials again; other edits leave them.
    QVERIFY(root.store->update(Table::Knowledge, id, {{"name", "退货"}}).ok());
    QCOMPARE(root.store->row(Table::Knowledge, id).value()->value("pycode").toString(),
             QStringLiteral("TH"));
    QVERIFY(root.store->update(Table::Knowledge, id, {{"description", "y"}}).ok());
    QCOMPARE(root.store->row(Table::Knowledge, id).value()->value("pycode").toString(),
             QStringLiteral("TH"));
}

void TestStore::namesAreUniqueWithoutRegardToCase()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 first = root.add(Table::Simple, {{"name", "Hello 您好"}});
    QCOMPARE(root.store->nameExists(Table::Simple, "hello 您好").value(), true);
    QCOMPARE(root.store->nameExists(Table::Simple, "hello 您好", {}, first).value(), false);
    QCOMPARE(root.store->nameExists(Table::Simple, "hello").value(), false);

    // The constraint holds even when the check was skipped (another seat, a moment earlier).
    const Result<qint64> dup = root.store->insert(Table::Simple, {{"name", "HELLO 您好"}});
    QVERIFY(!dup.ok());
    QVERIFY(DbError::isUniqueViolation(dup.error()));
    QVERIFY(dup.message().startsWith(QStringLiteral("错误号为：")));
    const qint64 other = root.add(Table::Simple, {{"name", "再见"}});
    QVERIFY(!root.store->update(Table::Simple, other, {{"name", "hello 您好"}}).ok());

    // Types are unique within their section: an affair and a courier may share a name.
    root.add(Table::Type, {{"name", "顺丰"}, {"itemid", 3}});
    QVERIFY(root.store->insert(Table::Type, {{"name", "顺丰"}, {"itemid", 4}}).ok());
    QVERIFY(!root.store->insert(Table::Type, {{"name", "顺丰"}, {"itemid", 3}}).ok());
    QCOMPARE(root.store->nameExists(Table::Type, "顺丰", {{"itemid", 2}}).value(), false);
    QCOMPARE(root.store->nameExists(Table::Type, "顺丰", {{"itemid", 4}}).value(), true);

    QVERIFY(!root.store->insert(Table::Users, {{"username", "ADMIN"}}).ok());
}

void TestStore::idsAreNeverReused()
{
    TestRoot root;
    QVERIFY(root.ok());
    QVERIFY(!root.store->maxId(Table::Simple).value().has_value());
    const qint64 a = root.add(Table::Simple, {{"name", "a"}});
    const qint64 b = root.add(Table::Simple, {{"name", "b"}});
    QVERIFY(root.store->remove(Table::Simple, b).ok());
    const qint64 c = root.add(Table::Simple, {{"name", "c"}});
    QVERIFY(c > b && b > a);
    QCOMPARE(root.store->maxId(Table::Simple).value(), std::optional<qint64>(c));

    // Also across a reopen of the file.
    QVERIFY(root.store->remove(Table::Simple, c).ok());
    root.openStore();
    QVERIFY(root.add(Table::Simple, {{"name", "d"}}) > c);
}

void TestStore::quotesAreOrdinaryCharacters()
{
    TestRoot root;
    QVERIFY(root.ok());
    const QString name = QStringLiteral("it's 'quoted'; DROP TABLE simple; --");
    const qint64 id = root.add(Table::Simple, {{"name", name}});
    QCOMPARE(root.store->nameExists(Table::Simple, name).value(), true);
    QCOMPARE(root.store->idByName(Table::Simple, "name", name).value(), std::optional<qint64>(id));
    QCOMPARE(root.store->typeName(Table::Simple, "name", id).value(), name);
    QCOMPARE(root.store->count(Table::Simple).value(), 1);
}

void TestStore::sortModes_data()
{
    QTest::addColumn<QString>("sort");
    QTest::addColumn<QList<int>>("order"); // positions of the inserted rows a, b, c

    // usetime: a 1, b 5, c 1; custom positions: a 3, b 2, c 1.
    QTest::newRow("1 oldest first") << "1" << QList<int>{0, 1, 2};
    QTest::newRow("2 newest first") << "2" << QList<int>{2, 1, 0};
    QTest::newRow("3 most used, ties oldest first") << "3" << QList<int>{1, 0, 2};
    QTest::newRow("4 custom") << "4" << QList<int>{2, 1, 0};
    QTest::newRow("0 unknown") << "0" << QList<int>{0, 1, 2};
    QTest::newRow("5 unknown") << "5" << QList<int>{0, 1, 2};
    QTest::newRow("empty") << "" << QList<int>{0, 1, 2};
}

void TestStore::sortModes()
{
    QFETCH(QString, sort);
    QFETCH(QList<int>, order);
    TestRoot root;
    QVERIFY(root.settings->setValue(Setting::Sort, sort).ok());
    const qint64 type = root.add(Table::SimpleType, {{"name", "t"}});
    QList<qint64> made;
    const QList<std::pair<int, int>> useAndPos = {{1, 3}, {5, 2}, {1, 1}};
    for (int i = 0; i < 3; ++i) {
        made << root.add(Table::Simple, {{"name", QString(QChar(u'a' + i))},
                                         {"typeid", type},
                                         {"typeserialnum", useAndPos[i].second}});
        for (int u = 0; u < useAndPos[i].first; ++u)
            QVERIFY(root.store->addUse(Table::Simple, made.last()).ok());
    }
    Query q;
    q.table = Table::Simple;
    q.where = {{"typeid", type}};
    q.sortColumn = "typeserialnum";
    QList<qint64> expected;
    for (int i : order)
        expected << made[i];
    QCOMPARE(ids(root.store->rows(q)), expected);
}

void TestStore::pickersAndLookups()
{
    TestRoot root;
    QVERIFY(root.ok());
    const Result<QList<NamedId>> empty = root.store->categoryList(Table::SimpleType, "请选择分类");
    QCOMPARE(empty.value(), (QList<NamedId>{{0, QStringLiteral("请选择分类")}}));

    const qint64 big1 = root.add(Table::Type, {{"name", "大1"}, {"itemid", 2}});
    const qint64 big2 = root.add(Table::Type, {{"name", "大2"}, {"itemid", 2}});
    root.add(Table::Type, {{"name", "事务"}, {"itemid", 3}});
    const qint64 s1 = root.add(Table::Goods, {{"name", "小1"}, {"typeid", big1}});
    root.add(Table::Goods, {{"name", "小2"}, {"typeid", big2}});

    const Result<QList<NamedId>> bigs =
        root.store->categoryList(Table::Type, "请选择大类", {{"itemid", 2}});
    QCOMPARE(bigs.value(), (QList<NamedId>{{0, QStringLiteral("请选择大类")},
                                           {big1, QStringLiteral("大1")},
                                           {big2, QStringLiteral("大2")}}));
    QCOMPARE(root.store->idByName(Table::Goods, "name", "小1", {{"typeid", big1}}).value(),
             std::optional<qint64>(s1));
    QCOMPARE(root.store->idByName(Table::Goods, "name", "小1", {{"typeid", big2}}).value(),
             std::optional<qint64>());
    QCOMPARE(root.store->typeName(Table::Type, "name", big2).value(), QStringLiteral("大2"));
    QCOMPARE(root.store->typeName(Table::Type, "name", 999).value(), QString());
    QCOMPARE(root.store->childCount(Table::Type, big1).value(), 1);
    // Column names never come from user text.
    QVERIFY(!root.store->typeName(Table::Type, "name; DROP TABLE type", big2).ok());
}

void TestStore::blobsRoundTrip()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 id = root.add(Table::Personal, {{"name", "图"}});
    QCOMPARE(root.store->blob(Table::Personal, id).value(), std::optional<QByteArray>());

    QByteArray bytes(300000, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7);
    QVERIFY(root.store->setBlob(Table::Personal, id, bytes).ok());
    QCOMPARE(root.store->blob(Table::Personal, id).value(), std::optional<QByteArray>(bytes));

    QVERIFY(root.store->setBlob(Table::Personal, id, std::nullopt).ok());
    QCOMPARE(root.store->blob(Table::Personal, id).value(), std::optional<QByteArray>());

    const qint64 file = root.add(Table::File, {{"name", "说明书"}, {"file", QByteArray("PDF")}});
    QCOMPARE(root.store->blob(Table::File, file).value(), std::optional<QByteArray>("PDF"));
    QVERIFY(!root.store->blob(Table::Simple, 1).ok());
}

void TestStore::useCountAndCommonFlag()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 k = root.add(Table::Knowledge, {{"name", "k"}});
    const qint64 t = root.add(Table::Tools, {{"name", "t"}});
    QVERIFY(root.store->addUse(Table::Knowledge, k).ok());
    QVERIFY(root.store->addUse(Table::Knowledge, k).ok());
    QVERIFY(root.store->addUse(Table::Tools, t).ok());
    QCOMPARE(root.store->row(Table::Knowledge, k).value()->value("usetime").toInt(), 2);
    QCOMPARE(root.store->row(Table::Tools, t).value()->value("usetime").toInt(), 1);

    QVERIFY(root.store->setCommon(k, true).ok());
    QCOMPARE(root.store->count(Table::Knowledge, {{"commonflag", 1}}).value(), 1);
    QVERIFY(root.store->setCommon(k, false).ok());
    QCOMPARE(root.store->count(Table::Knowledge, {{"commonflag", 1}}).value(), 0);
}

void TestStore::everyWriteIsAnnounced()
{
    TestRoot root;
    QVERIFY(root.ok());
    QSignalSpy spy(root.store.get(), &Store::changed);
    const qint64 id = root.add(Table::Knowledge, {{"name", "k"}});
    QVERIFY(root.store->update(Table::Knowledge, id, {{"description", "d"}}).ok());
    QVERIFY(root.store->addUse(Table::Knowledge, id).ok());
    QVERIFY(root.store->setCommon(id, true).ok());
    QVERIFY(root.store->setBlob(Table::Knowledge, id, QByteArray("x")).ok());
    QVERIFY(root.store->remove(Table::Knowledge, id).ok());
    QVERIFY(!root.store->insert(Table::Knowledge, {{"name", QVariant()}}).ok()); // refused
    QVERIFY(root.store->remove(Table::Knowledge, id).ok());                      // nothing left

    const QList<Change> expected = {Change::Inserted, Change::Updated, Change::Updated,
                                    Change::Updated,  Change::Updated, Change::Removed};
    QCOMPARE(spy.count(), expected.size());
    for (int i = 0; i < spy.count(); ++i) {
        QCOMPARE(spy.at(i).at(0).value<Table>(), Table::Knowledge);
        QCOMPARE(spy.at(i).at(1).toLongLong(), id);
        QCOMPARE(spy.at(i).at(2).value<Change>(), expected[i]);
    }
}

void TestStore::bigCategoryCascadeLeavesNoOrphans()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
    const qint64 keep = root.add(Table::Type, {{"name", "电脑"}, {"itemid", 2}});
    const qint64 s1 = root.add(Table::Goods, {{"name", "s1"}, {"typeid", big}});
    const qint64 s2 = root.add(Table::Goods, {{"name", "s2"}, {"typeid", big}});
    const qint64 s3 = root.add(Table::Goods, {{"name", "s3"}, {"typeid", keep}});
    const qint64 k1 =
        root.add(Table::Knowledge, {{"name", "k1"}, {"goodsid", s1}, {"commonflag", 1}});
    const qint64 k2 = root.add(Table::Knowledge, {{"name", "k2"}, {"goodsid", s2}});
    const qint64 k3 = root.add(Table::Knowledge, {{"name", "k3"}, {"goodsid", s3}});

    QSignalSpy spy(root.store.get(), &Store::changed);
    const Result<Cascade> cascade = root.store->deleteBigCategory(big);
    QVERIFY2(cascade.ok(), qPrintable(cascade.message()));
    QCOMPARE(cascade.value().categories, (QList<qint64>{s1, s2}));
    QCOMPARE(cascade.value().entries.size(), 2);
    QCOMPARE(cascade.value().entries[0].id, k1);
    QVERIFY(cascade.value().entries[0].common);
    QCOMPARE(cascade.value().entries[1].id, k2);
    QVERIFY(!cascade.value().entries[1].common);
    QCOMPARE(spy.count(), 5); // two entries, two small categories, the big category

    QCOMPARE(root.store->count(Table::Type, {{"id", big}}).value(), 0);
    QCOMPARE(root.store->count(Table::Goods, {{"typeid", big}}).value(), 0);
    QCOMPARE(root.store->count(Table::Knowledge).value(), 1);
    QVERIFY(root.store->row(Table::Knowledge, k3).value().has_value());
}

void TestStore::categoryCascadesPerKind()
{
    TestRoot root;
    QVERIFY(root.ok());
    const QList<std::pair<Table, Table>> pairs = {{Table::SimpleType, Table::Simple},
                                                  {Table::FileType, Table::File},
                                                  {Table::ToolsType, Table::Tools},
                                                  {Table::PersonalType, Table::Personal}};
    for (const auto& [category, child] : pairs) {
        const qint64 gone = root.add(category, {{"name", "gone"}});
        const qint64 kept = root.add(category, {{"name", "kept"}});
        root.add(child, {{"name", "a"}, {"typeid", gone}});
        root.add(child, {{"name", "b"}, {"typeid", gone}});
        root.add(child, {{"name", "c"}, {"typeid", kept}});
        QCOMPARE(root.store->childCount(category, gone).value(), 2);
        const Result<Cascade> c = root.store->deleteCategory(category, gone);
        QVERIFY2(c.ok(), qPrintable(c.message()));
        QCOMPARE(c.value().entries.size(), 2);
        QCOMPARE(root.store->count(child).value(), 1);
        QCOMPARE(root.store->count(category).value(), 1);
    }
    QVERIFY(!root.store->deleteCategory(Table::Knowledge, 1).ok());

    const qint64 small = root.add(Table::Goods, {{"name", "s"}});
    root.add(Table::Knowledge, {{"name", "k"}, {"goodsid", small}});
    QVERIFY(root.store->deleteSmallCategory(small).ok());
    QCOMPARE(root.store->count(Table::Knowledge).value(), 0);
}

void TestStore::failedCascadeRollsBackWhole()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 big = root.add(Table::Type, {{"name", "big"}, {"itemid", 2}});
    const qint64 s1 = root.add(Table::Goods, {{"name", "s1"}, {"typeid", big}});
    const qint64 s2 = root.add(Table::Goods, {{"name", "s2"}, {"typeid", big}});
    root.add(Table::Knowledge, {{"name", "k1"}, {"goodsid", s1}});
    root.add(Table::Knowledge, {{"name", "k2"}, {"goodsid", s2}});
    // The second small category cannot be deleted: the cascade fails half-way.
    QSqlQuery trigger(root.store->database(StoreId::Assistant));
    QVERIFY(trigger.exec(QStringLiteral("CREATE TRIGGER stop BEFORE DELETE ON goods "
                                        "WHEN old.id = %1 BEGIN SELECT RAISE(ABORT, 'held'); END")
                             .arg(s2)));

    QSignalSpy spy(root.store.get(), &Store::changed);
    const Result<Cascade> cascade = root.store->deleteBigCategory(big);
    QVERIFY(!cascade.ok());
    QVERIFY(cascade.message().contains(QLatin1String("held")));
    QCOMPARE(spy.count(), 0);
    QCOMPARE(root.store->count(Table::Goods).value(), 2);
    QCOMPARE(root.store->count(Table::Knowledge).value(), 2);
    QCOMPARE(root.store->count(Table::Type, {{"id", big}}).value(), 1);
    // The store is usable afterwards: no transaction was left open.
    QVERIFY(root.store->insert(Table::Simple, {{"name", "after"}}).ok());
}

void TestStore::assistantFolderFollowsDatabasePath_data()
{
    QTest::addColumn<QString>("databasePath");
    QTest::addColumn<QString>("folder");
    QTest::newRow("empty") << ""
                           << "/root/data";
    QTest::newRow("plain") << "/srv/share"
                           << "/srv/share";
    QTest::newRow("slash") << "/srv/share/"
                           << "/srv/share";
    QTest::newRow("backslash") << "\\\\server\\share\\"
                               << "\\\\server\\share";
    QTest::newRow("only one removed") << "/srv/share//"
                                      << "/srv/share/";
}

void TestStore::assistantFolderFollowsDatabasePath()
{
    QFETCH(QString, databasePath);
    QFETCH(QString, folder);
    QCOMPARE(Store::assistantFolder("/root/data", databasePath), folder);
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
    TestRoot root(false);
    QVERIFY(root.ok());
    const QString path = root.path(QStringLiteral("assistant.dll"));
    if (cut >= 0) {
        TestRoot donor;
        QVERIFY(donor.ok());
        donor.add(Table::Simple, {{"name", "x"}});
        QFile f(donor.path(QStringLiteral("assistant.dll")));
        QVERIFY(f.open(QIODevice::ReadOnly));
        content = f.read(cut);
    } else if (content == "other") {
        const QString name = QStringLiteral("other-program");
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
            db.setDatabaseName(path);
            QVERIFY(db.open());
            QSqlQuery(db).exec(QStringLiteral("CREATE TABLE notes(id INTEGER, body TEXT)"));
            db.close();
        }
        QSqlDatabase::removeDatabase(name);
    }
    if (!QFileInfo::exists(path)) {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    const QByteArray before = digest(path);
    const qint64 sizeBefore = QFileInfo(path).size();

    Store store(root.dir.path(), *root.settings);
    const Result<void> r = store.open();
    QVERIFY(!r.ok());
    QVERIFY2(r.message().startsWith(QStringLiteral("错误号：")), qPrintable(r.message()));
    QVERIFY2(r.message().contains(QDir::toNativeSeparators(path)), qPrintable(r.message()));
    QCOMPARE(digest(path), before);
    QCOMPARE(QFileInfo(path).size(), sizeBefore);
    QVERIFY(!QFileInfo::exists(path + QStringLiteral("-journal")));
}

void TestStore::errorsCarryTheDatabaseReport()
{
    TestRoot root;
    QVERIFY(root.ok());
    const Result<qint64> r = root.store->insert(Table::Simple, {{"nosuchcolumn", 1}});
    QVERIFY(!r.ok());
    const Result<qint64> missingName = root.store->insert(Table::Simple, {{"typeid", 1}});
    QVERIFY(!missingName.ok());
    const QStringList lines = missingName.message().split(QStringLiteral("\r\n"));
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines[0].startsWith(QStringLiteral("错误号为：")));
    QVERIFY(lines[0].mid(5).toInt() > 0);
    QVERIFY(lines[1].startsWith(QStringLiteral("错误描述为：")));
    QVERIFY(lines[1].contains(QLatin1String("NOT NULL")));
}

QTEST_GUILESS_MAIN(TestStore)
#include "tst_store.moc"
