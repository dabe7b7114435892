#include "data/PgSchema.h"
#include "data/PgUrl.h"
#include "support/FixtureRows.h"
#include "support/PgServer.h"
#include "support/ProgramRun.h"
#include "support/StoreRows.h"
#include "support/TestRoot.h"

#include <QSqlQuery>
#include <QSqlRecord>
#include <QTest>
#include <memory>

namespace {

// Everything in the public schema, names and rows: equal before and after a refused command
// when it touched nothing.
QStringList snapshot(QSqlDatabase db)
{
    QStringList out;
    QSqlQuery q(db);
    q.exec("SELECT c.relname, c.relkind FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n "
           "ON n.oid = c.relnamespace WHERE n.nspname = 'public' ORDER BY c.relname");
    QStringList tables;
    while (q.next()) {
        out << q.value(0).toString() + ' ' + q.value(1).toString();
        if (q.value(1).toString() == "r")
            tables << q.value(0).toString();
    }
    for (const QString& t : tables) {
        q.exec(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(t));
        while (q.next()) {
            QStringList fields;
            for (int i = 0; i < q.record().count(); ++i)
                fields << q.value(i).toString();
            out << t + ": " + fields.join('|');
        }
    }
    return out;
}

QString uniqueColumn(Table table)
{
    for (const ColumnDef& c : Tables::columnDefs(table)) {
        if (c.unique)
            return QString::fromLatin1(c.name);
    }
    return {};
}

} // namespace

class TestPgStore : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void parseUrl_data();
    void parseUrl();

    void migrateCopiesEveryRow();
    void secondMigrateRefused();
    void failedMigrationLeavesDatabaseEmpty();
    void foreignDatabaseRefused_data();
    void foreignDatabaseRefused();
    void emptyDatabasePrepared();
    void namesUniqueIgnoringCase();
    void newRowsContinueAfterCopiedIds();

private:
    ProgramRun migrate(const QString& database, const TestRoot* root = nullptr) const
    {
        return runProgram(QStringLiteral(QUILLMATE_EXE),
                          {"--data-dir", (root ? root : m_root.get())->dir.path(), "migrate",
                           m_server->url(database)});
    }
    // A new database with the test store migrated into it; false with the test failed otherwise.
    bool migrated(const QString& database) const;

    std::unique_ptr<PgServer> m_server;
    std::unique_ptr<TestRoot> m_root;
};

#define REQUIRE_SERVER()                                                                           \
    if (!m_server->isRunning())                                                                    \
    QSKIP(qPrintable("no PostgreSQL server: " + m_server->whyNot()))

void TestPgStore::initTestCase()
{
    m_server = std::make_unique<PgServer>();
    if (!m_server->isRunning())
        qWarning("PostgreSQL tests will skip: %s", qPrintable(m_server->whyNot()));

    // Every shared table gets rows; ids have a gap, names mix letter case, blobs hold every byte
    // value and some text is NULL, so that a copy that renumbers, folds or drops shows.
    m_root = std::make_unique<TestRoot>();
    TestRoot& r = *m_root;
    QByteArray picture;
    for (int i = 0; i < 256; ++i)
        picture += char(i);
    const qint64 type = r.add(Table::Type, {{"name", "Mixed Case Type"}, {"itemid", 1}});
    r.add(Table::Type, {{"name", "Mixed Case Type"}, {"itemid", 2}});
    const qint64 goods = r.add(Table::Goods, {{"name", "Goods Alpha"}, {"typeid", type}});
    const qint64 knowledge = r.add(Table::Knowledge, {{"name", "Answer One"},
                                                      {"description", "第一行\n第二行"},
                                                      {"typeid", type},
                                                      {"goodsid", goods},
                                                      {"commonflag", 1},
                                                      {"extname", "png"}});
    QVERIFY(r.store->setBlob(Table::Knowledge, knowledge, picture).ok());
    r.add(Table::Knowledge, {{"name", "Answer Two"}, {"typeid", type}});
    const qint64 simpleType = r.add(Table::SimpleType, {{"name", "Greetings"}});
    r.add(Table::Simple, {{"name", "Hello There"}, {"typeid", simpleType}});
    const qint64 removed = r.add(Table::Simple, {{"name", "Gone"}, {"typeid", simpleType}});
    r.add(Table::Simple, {{"name", "Goodbye"}, {"typeid", simpleType}, {"usetime", 7}});
    QVERIFY(r.store->remove(Table::Simple, removed).ok());
    const qint64 fileType = r.add(Table::FileType, {{"name", "Manuals"}});
    r.add(Table::File, {{"name", "Manual Book"},
                        {"file", picture + QByteArray(3, '\0')},
                        {"extname", "pdf"},
                        {"filedesc", "说明书"},
                        {"typeid", fileType}});
    r.add(Table::Users,
          {{"username", "Agent Li"}, {"userpw", "c2VjcmV0"}, {"defaultuser", 0}, {"grade", 2}});
    QVERIFY(r.ok());
}

void TestPgStore::cleanupTestCase()
{
    m_root.reset();
    m_server.reset();
}

void TestPgStore::parseUrl_data()
{
    fixtureData("urls.txt");
}

void TestPgStore::parseUrl()
{
    QFETCH(QStringList, row);
    const Result<PgUrl> url = PgUrl::parse(row.at(1));
    if (row.at(2) == "!") {
        QVERIFY2(!url, qPrintable("accepted: " + row.at(1)));
        QVERIFY2(url.message().startsWith("数据库地址 "), qPrintable(url.message()));
        QVERIFY2(url.message().contains(row.at(3)), qPrintable(url.message()));
        QVERIFY2(!url.message().contains("secret"), qPrintable(url.message()));
        return;
    }
    QVERIFY2(url, qPrintable(url.message()));
    QCOMPARE(url->user, row.at(2));
    QCOMPARE(url->password, row.at(3));
    QCOMPARE(url->host, row.at(4));
    QCOMPARE(url->port, row.at(5).toInt());
    QCOMPARE(url->database, row.at(6));
    QCOMPARE(url->shown(), row.at(7));
}

bool TestPgStore::migrated(const QString& database) const
{
    const QString made = m_server->createDatabase(database);
    if (!made.isEmpty()) {
        QTest::qFail(qPrintable("creating " + database + ": " + made), __FILE__, __LINE__);
        return false;
    }
    const ProgramRun run = migrate(database);
    if (run.code != 0) {
        QTest::qFail(qPrintable(QStringLiteral("migrate exited %1: %2").arg(run.code).arg(run.err)),
                     __FILE__, __LINE__);
        return false;
    }
    return true;
}

void TestPgStore::migrateCopiesEveryRow()
{
    REQUIRE_SERVER();
    QVERIFY(m_server->createDatabase("roundtrip").isEmpty());
    const ProgramRun run = migrate("roundtrip");
    QVERIFY2(run.code == 0, qPrintable(run.err));

    // One line per table with its row count.
    QMap<QString, qint64> printed;
    for (const QString& line : run.out.split('\n')) {
        const QStringList fields = line.split('\t');
        if (fields.size() == 2)
            printed.insert(fields.at(0), fields.at(1).toLongLong());
    }
    TestConnection pg(*m_server, "roundtrip");
    QVERIFY2(pg.db.isOpen(), qPrintable(pg.db.lastError().text()));
    const QSqlDatabase file = m_root->store->database(StoreId::Assistant);
    QMap<QString, qint64> expected;
    for (Table t : Tables::ofStore(StoreId::Assistant)) {
        const QList<QVariantList> source = rowsOf(file, t);
        const QList<QVariantList> copy = rowsOf(pg.db, t);
        QVERIFY2(!source.isEmpty(), qPrintable("the test store has no rows in " + Tables::name(t)));
        QCOMPARE(copy.size(), source.size());
        for (qsizetype i = 0; i < source.size(); ++i)
            QVERIFY2(copy.at(i) == source.at(i),
                     qPrintable(QStringLiteral("%1 row %2 differs").arg(Tables::name(t)).arg(i)));
        expected.insert(Tables::name(t), source.size());
    }
    QCOMPARE(printed, expected);

    QSqlQuery q(pg.db);
    QVERIFY(q.exec("SELECT version FROM quillmate_schema"));
    QVERIFY(q.next());
    QCOMPARE(q.value(0).toInt(), PgSchema::Version);
    QVERIFY(!q.next());
}

void TestPgStore::secondMigrateRefused()
{
    REQUIRE_SERVER();
    QVERIFY(migrated("twice"));
    TestConnection pg(*m_server, "twice");
    QVERIFY(pg.db.isOpen());
    QSqlQuery q(pg.db);
    QVERIFY(q.exec("UPDATE simpletype SET name = 'Changed Since' WHERE id = 1"));
    const QStringList before = snapshot(pg.db);

    const ProgramRun again = migrate("twice");
    QCOMPARE(again.code, 1);
    QVERIFY2(again.err.contains("不是空的"), qPrintable(again.err));
    QVERIFY2(again.err.contains("/twice"), qPrintable(again.err));
    QCOMPARE(snapshot(pg.db), before);
}

void TestPgStore::failedMigrationLeavesDatabaseEmpty()
{
    REQUIRE_SERVER();
    // The file's NOCASE folds only ASCII letters; the server's lower() folds every letter, so
    // these two users are one name there. Users is copied last: every other table has been
    // written when the copy fails.
    TestRoot root;
    root.add(Table::Knowledge, {{"name", "Kept Only If Committed"}});
    root.add(Table::Users, {{"username", "Änne"}, {"userpw", ""}, {"grade", 2}});
    root.add(Table::Users, {{"username", "änne"}, {"userpw", ""}, {"grade", 2}});
    QVERIFY(root.ok());
    QCOMPARE(Tables::ofStore(StoreId::Assistant).constLast(), Table::Users);
    QVERIFY(m_server->createDatabase("failing").isEmpty());

    const ProgramRun run = migrate("failing", &root);
    QCOMPARE(run.code, 1);
    QVERIFY2(run.err.contains("Users"), qPrintable(run.err));
    TestConnection pg(*m_server, "failing");
    QVERIFY(pg.db.isOpen());
    QCOMPARE(snapshot(pg.db), QStringList());
}

void TestPgStore::foreignDatabaseRefused_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("another program's table")
        << "CREATE TABLE orders (id INTEGER); INSERT INTO orders VALUES (42)"
        << "不是客服Tavro的数据库";
    QTest::newRow("only a view") << "CREATE VIEW answer AS SELECT 42 AS n"
                                 << "不是客服Tavro的数据库";
    QTest::newRow("newer version") << "CREATE TABLE quillmate_schema (version INTEGER); "
                                      "INSERT INTO quillmate_schema VALUES (3)"
                                   << "版本 3 比本程序新";
    QTest::newRow("version unknown") << "CREATE TABLE quillmate_schema (version INTEGER); "
                                        "INSERT INTO quillmate_schema VALUES (0)"
                                     << "不是客服Tavro的数据库";
    QTest::newRow("version table of another shape")
        << "CREATE TABLE quillmate_schema (release TEXT)"
        << "不是客服Tavro的数据库";
}

void TestPgStore::foreignDatabaseRefused()
{
    REQUIRE_SERVER();
    QFETCH(QString, setup);
    QFETCH(QString, refusal);
    static int made = 0;
    const QString name = QStringLiteral("foreign_%1").arg(++made);
    QVERIFY(m_server->createDatabase(name).isEmpty());
    TestConnection pg(*m_server, name);
    QVERIFY(pg.db.isOpen());
    QSqlQuery q(pg.db);
    for (const QString& statement : setup.split("; "))
        QVERIFY2(q.exec(statement), qPrintable(q.lastError().text()));
    const QStringList before = snapshot(pg.db);

    const Result<void> prepared = PgSchema::prepare(pg.db, name);
    QVERIFY(!prepared);
    QVERIFY2(prepared.message().contains(refusal), qPrintable(prepared.message()));
    QVERIFY2(prepared.message().contains(name), qPrintable(prepared.message()));
    QCOMPARE(snapshot(pg.db), before);

    const ProgramRun run = migrate(name);
    QCOMPARE(run.code, 1);
    QVERIFY2(run.err.contains("不是空的"), qPrintable(run.err));
    QCOMPARE(snapshot(pg.db), before);
}

void TestPgStore::emptyDatabasePrepared()
{
    REQUIRE_SERVER();
    QVERIFY(m_server->createDatabase("fresh").isEmpty());
    TestConnection pg(*m_server, "fresh");
    QVERIFY(pg.db.isOpen());
    const Result<void> made = PgSchema::prepare(pg.db, "fresh");
    QVERIFY2(made, qPrintable(made.message()));
    const Result<PgSchema::Inspection> found = PgSchema::inspect(pg.db, "fresh");
    QVERIFY(found);
    QCOMPARE(int(found->state), int(PgSchema::State::Current));
    QCOMPARE(found->version, PgSchema::Version);
    // A database at this version is used as it is.
    const QStringList before = snapshot(pg.db);
    QVERIFY(PgSchema::prepare(pg.db, "fresh"));
    QCOMPARE(snapshot(pg.db), before);

    // One of version 1, made before writes were announced, gets its triggers and keeps its rows.
    QSqlQuery q(pg.db);
    auto triggers = [&] {
        q.exec("SELECT count(*) FROM pg_trigger WHERE NOT tgisinternal");
        return q.next() ? q.value(0).toInt() : -1;
    };
    QCOMPARE(triggers(), 2 * int(Tables::ofStore(StoreId::Assistant).size()));
    QVERIFY(q.exec("DROP FUNCTION quillmate_notify() CASCADE"));
    QVERIFY(q.exec("UPDATE quillmate_schema SET version = 1"));
    QCOMPARE(triggers(), 0);
    QVERIFY(PgSchema::prepare(pg.db, "fresh"));
    QCOMPARE(triggers(), 2 * int(Tables::ofStore(StoreId::Assistant).size()));
    QCOMPARE(snapshot(pg.db), before);
}

void TestPgStore::namesUniqueIgnoringCase()
{
    REQUIRE_SERVER();
    QVERIFY(migrated("unique_case"));
    TestConnection pg(*m_server, "unique_case");
    QVERIFY(pg.db.isOpen());
    int checked = 0;
    for (Table t : Tables::ofStore(StoreId::Assistant)) {
        const QString column = uniqueColumn(t);
        if (column.isEmpty())
            continue;
        const QString table = PgSchema::tableName(t);
        const char* scope = Tables::def(t).uniqueScope;
        QSqlQuery q(pg.db);
        QVERIFY(q.exec(QStringLiteral("SELECT %1, %2 FROM %3 ORDER BY id LIMIT 1")
                           .arg(column, scope ? QString::fromLatin1(scope) : "0", table)));
        QVERIFY2(q.next(), qPrintable(table + " has no rows"));
        const QString name = q.value(0).toString();
        const qint64 scopeValue = q.value(1).toLongLong();
        const QString otherCase = name.toUpper() != name ? name.toUpper() : name.toLower();
        QVERIFY2(otherCase != name, qPrintable(table + ": the name has no letters: " + name));

        const QString insert =
            scope ? QStringLiteral("INSERT INTO %1 (%2, %3) VALUES (?, ?)")
                        .arg(table, column, QString::fromLatin1(scope))
                  : QStringLiteral("INSERT INTO %1 (%2) VALUES (?)").arg(table, column);
        QVERIFY(q.prepare(insert));
        q.addBindValue(otherCase);
        if (scope)
            q.addBindValue(scopeValue);
        QVERIFY2(!q.exec(), qPrintable(table + " took " + otherCase + " beside " + name));
        QCOMPARE(q.lastError().nativeErrorCode(), QStringLiteral("23505"));
        if (scope) {
            q.addBindValue(otherCase);
            q.addBindValue(scopeValue + 1000);
            QVERIFY2(q.exec(), qPrintable(table + ", another scope: " + q.lastError().text()));
        }
        ++checked;
    }
    QCOMPARE(checked, 8);
}

void TestPgStore::newRowsContinueAfterCopiedIds()
{
    REQUIRE_SERVER();
    QVERIFY(migrated("continue_ids"));
    TestConnection pg(*m_server, "continue_ids");
    QVERIFY(pg.db.isOpen());
    for (Table t : Tables::ofStore(StoreId::Assistant)) {
        const Result<std::optional<qint64>> highest = m_root->store->maxId(t);
        QVERIFY(highest && highest->has_value());
        const QString column = uniqueColumn(t).isEmpty() ? "name" : uniqueColumn(t);
        QSqlQuery q(pg.db);
        QVERIFY(q.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (?) RETURNING id")
                              .arg(PgSchema::tableName(t), column)));
        q.addBindValue("a new row");
        QVERIFY2(q.exec() && q.next(), qPrintable(q.lastError().text()));
        QCOMPARE(q.value(0).toLongLong(), **highest + 1);
    }
}

QTEST_GUILESS_MAIN(TestPgStore)
#include "tst_pgstore.moc"
