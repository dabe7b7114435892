#include "data/StoreMaintenance.h"
#include "support/Files.h"
#include "support/PgServer.h"
#include "support/StoreRows.h"
#include "support/TestRoot.h"

#include <QSqlQuery>
#include <QTest>
#include <QThread>
#include <memory>

namespace {

using Rows = QList<QList<QVariantList>>;

// Every shared table's rows, in creation order.
Rows sharedRows(QSqlDatabase db)
{
    Rows out;
    for (Table t : Tables::ofStore(StoreId::Assistant))
        out << rowsOf(db, t);
    return out;
}

// Where each id sequence stands, which a failed restore must leave as it was.
QStringList sequences(QSqlDatabase db)
{
    QStringList out;
    QSqlQuery q(db);
    for (Table t : Tables::ofStore(StoreId::Assistant)) {
        q.exec(QStringLiteral("SELECT pg_get_serial_sequence('%1', 'id')")
                   .arg(Tables::name(t).toLower()));
        q.next();
        q.exec(QStringLiteral("SELECT last_value, is_called FROM ") + q.value(0).toString());
        q.next();
        out << Tables::name(t) + ' ' + q.value(0).toString() + ' ' + q.value(1).toString();
    }
    return out;
}

// The work runs off the seat's thread, as the maintenance windows run it.
template <class F> void elsewhere(F work)
{
    std::unique_ptr<QThread> thread(QThread::create(work));
    thread->start();
    thread->wait();
}

QByteArray everyByte()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes += char(i);
    return bytes;
}

} // namespace

class TestPgMaintenance : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void backupIsOneSnapshotOfEveryRow();
    void cancelledBackupLeavesNoFile();
    void restoreReplacesEveryRow();
    void failedRestoreLeavesServerAsItWas();
    void compactionFreesDeletedRows();

private:
    StoreMaintenance shared() const
    {
        return StoreMaintenance::forStore(*m_seat->store, StoreId::Assistant,
                                          StoreMaintenance::Work::BackupRestore);
    }
    // A seat of its own whose shared store is the test database.
    std::unique_ptr<TestRoot> seatOnServer() const
    {
        auto root = std::make_unique<TestRoot>(false);
        root->set({{Setting::DatabasePath, m_server->url(Database)}});
        root->openStore();
        return root;
    }
    // A file store's backup holding `fill`'s rows.
    QString fileBackup(const std::function<void(TestRoot&)>& fill)
    {
        TestRoot root;
        fill(root);
        const QString file = m_files.filePath(QStringLiteral("file%1.bak").arg(++m_made));
        const Result<void> r =
            StoreMaintenance(root.store->filePath(StoreId::Assistant), StoreId::Assistant)
                .backup(file);
        return root.ok() && r ? file : QString();
    }

    static constexpr char Database[] = "shared_store";
    std::unique_ptr<PgServer> m_server;
    std::unique_ptr<TestRoot> m_seat;
    std::unique_ptr<TestConnection> m_pg;
    QTemporaryDir m_files;
    int m_made = 0;
    qint64 m_fileId = 0;
    qint64 m_lastSimpleId = 0;
};

#define REQUIRE_SERVER()                                                                           \
    if (!m_server->isRunning())                                                                    \
    QSKIP(qPrintable("no PostgreSQL server: " + m_server->whyNot()))

void TestPgMaintenance::initTestCase()
{
    m_server = std::make_unique<PgServer>();
    if (!m_server->isRunning())
        return;
    QVERIFY(m_server->createDatabase(Database).isEmpty());
    m_pg = std::make_unique<TestConnection>(*m_server, Database);
    QVERIFY(m_pg->db.isOpen());

    // Rows in every shared table, written by a seat on the server: blobs hold every byte value,
    // some text is NULL, and the last simple row is gone, so its id is used but not present.
    m_seat = seatOnServer();
    TestRoot& r = *m_seat;
    const qint64 item = r.add(Table::Item, {{"name", "常用知识"}});
    const qint64 type = r.add(Table::Type, {{"name", "Mixed Case Type"}, {"itemid", item}});
    const qint64 goods = r.add(Table::Goods, {{"name", "Goods Alpha"}, {"typeid", type}});
    const qint64 knowledge = r.add(Table::Knowledge, {{"name", "Answer One"},
                                                      {"description", "第一行\n第二行"},
                                                      {"typeid", type},
                                                      {"goodsid", goods},
                                                      {"extname", "png"}});
    QVERIFY(r.store->setBlob(Table::Knowledge, knowledge, everyByte()).ok());
    r.add(Table::Knowledge, {{"name", "Answer Two"}, {"typeid", type}});
    const qint64 simpleType = r.add(Table::SimpleType, {{"name", "Greetings"}});
    r.add(Table::Simple, {{"name", "Hello There"}, {"typeid", simpleType}});
    m_lastSimpleId = r.add(Table::Simple, {{"name", "Gone"}, {"typeid", simpleType}});
    QVERIFY(r.store->remove(Table::Simple, m_lastSimpleId).ok());
    const qint64 fileType = r.add(Table::FileType, {{"name", "Manuals"}});
    m_fileId = r.add(Table::File, {{"name", "Manual Book"},
                                   {"file", everyByte() + QByteArray(3, '\0')},
                                   {"typeid", fileType}});
    r.add(Table::Users, {{"username", "Agent Li"}, {"userpw", "c2VjcmV0"}, {"grade", 2}});
    r.add(Table::PersonalType, {{"name", "Mine"}});
    QVERIFY(r.ok());
    QVERIFY(r.store->isOnServer(StoreId::Assistant));
    QVERIFY(m_files.isValid());
}

void TestPgMaintenance::cleanupTestCase()
{
    m_seat.reset();
    m_pg.reset();
    m_server.reset();
}

void TestPgMaintenance::backupIsOneSnapshotOfEveryRow()
{
    REQUIRE_SERVER();
    const Rows before = sharedRows(m_pg->db);
    qint64 rows = 0;
    for (const QList<QVariantList>& table : before) {
        QVERIFY(!table.isEmpty());
        rows += table.size();
    }

    // Another seat adds a user (the last table copied) once the copy has begun: the backup is
    // the store as it was when the copy began.
    QTemporaryDir out;
    const QString target = out.filePath("Assistant.bak");
    const StoreMaintenance work = shared();
    Result<void> done;
    qint64 lastDone = 0;
    qint64 lastTotal = 0;
    elsewhere([&] {
        done = work.backup(target, [&](qint64 d, qint64 total) {
            if (lastDone == 0) {
                {
                    QSqlDatabase late = m_server->connect(Database, "late seat");
                    QSqlQuery(late).exec("INSERT INTO users (username) VALUES ('Late Agent')");
                    late.close();
                }
                QSqlDatabase::removeDatabase("late seat");
            }
            lastDone = d;
            lastTotal = total;
            return true;
        });
    });
    QVERIFY2(done, qPrintable(done.message()));
    QCOMPARE(lastDone, rows);
    QCOMPARE(lastTotal, rows);
    QCOMPARE(filesUnder(out.path()), QStringList{"Assistant.bak"});
    QVERIFY(QSqlQuery(m_pg->db).exec("DELETE FROM users WHERE username = 'Late Agent'"));
    {
        TestConnection file(target);
        QCOMPARE(sharedRows(file.db), before);
        // The id of the deleted row stays used in the backup too.
        QSqlQuery q(file.db);
        QVERIFY(q.exec("SELECT seq FROM sqlite_sequence WHERE name = 'simple'") && q.next());
        QCOMPARE(q.value(0).toLongLong(), m_lastSimpleId);
    }

    // The backup is a complete store file: a seat opens it as its shared store.
    TestRoot seat(false);
    QVERIFY(QFile::copy(target, seat.path("assistant.dll")));
    seat.openStore();
    QVERIFY(seat.ok());
    QCOMPARE(seat.store->warnings(), QStringList());
    const Result<std::optional<QByteArray>> blob = seat.store->blob(Table::File, m_fileId);
    QVERIFY(blob && blob->has_value());
    QCOMPARE(**blob, everyByte() + QByteArray(3, '\0'));
}

void TestPgMaintenance::cancelledBackupLeavesNoFile()
{
    REQUIRE_SERVER();
    QTemporaryDir out;
    const StoreMaintenance work = shared();
    Result<void> done;
    elsewhere([&] {
        done = work.backup(out.filePath("Assistant.bak"), [](qint64, qint64) { return false; });
    });
    QVERIFY(!done);
    QCOMPARE(filesUnder(out.path()), QStringList());
}

void TestPgMaintenance::restoreReplacesEveryRow()
{
    REQUIRE_SERVER();
    // A file store's backup: more simple rows than the server ever had, and no files, whose
    // table then ends up empty on the server.
    QList<qint64> simpleIds;
    const QString backup = fileBackup([&](TestRoot& r) {
        const qint64 type = r.add(Table::Type, {{"name", "Restored Type"}, {"itemid", 1}});
        const qint64 k = r.add(Table::Knowledge, {{"name", "Restored Answer"}, {"typeid", type}});
        QVERIFY(r.store->setBlob(Table::Knowledge, k, everyByte().repeated(3)).ok());
        r.add(Table::Goods, {{"name", "Restored Goods"}, {"typeid", type}});
        const qint64 st = r.add(Table::SimpleType, {{"name", "Restored Phrases"}});
        simpleIds = r.addRows(Table::Simple, 30, [st](int i) {
            return Row{{"name", QStringLiteral("Phrase %1").arg(i)}, {"typeid", st}};
        });
        r.add(Table::FileType, {{"name", "Restored Files"}});
    });
    QVERIFY(!backup.isEmpty());
    QVERIFY(simpleIds.last() > m_lastSimpleId);
    const Rows oldRows = sharedRows(m_pg->db);
    const QList<QVariantList> personal =
        rowsOf(m_seat->store->database(StoreId::Personal), Table::PersonalType);
    const std::unique_ptr<TestRoot> otherSeat = seatOnServer();
    QVERIFY(otherSeat->ok());

    QTemporaryDir safetyFolder;
    Result<QString> safety = QString();
    const StoreMaintenance work = shared();
    elsewhere([&] { safety = work.restore(backup, safetyFolder.path()); });
    QVERIFY2(safety, qPrintable(safety.message()));

    {
        TestConnection file(backup);
        QCOMPARE(sharedRows(m_pg->db), sharedRows(file.db));
        TestConnection kept(*safety);
        QCOMPARE(sharedRows(kept.db), oldRows);
    }
    QCOMPARE(rowsOf(m_seat->store->database(StoreId::Personal), Table::PersonalType), personal);
    // A seat on the server reads the restored rows.
    QCOMPARE(otherSeat->store->count(Table::Simple).value(), 30);
    QCOMPARE(otherSeat->store->count(Table::File).value(), 0);

    // New rows continue after the backup's ids, and after ids the server handed out since.
    const qint64 simple = otherSeat->add(Table::Simple, {{"name", "After Restore"}});
    QCOMPARE(simple, simpleIds.last() + 1);
    const qint64 file = otherSeat->add(Table::File, {{"name", "After Restore"}});
    QCOMPARE(file, m_fileId + 1);
}

void TestPgMaintenance::failedRestoreLeavesServerAsItWas()
{
    REQUIRE_SERVER();
    // The file's NOCASE folds only ASCII letters, the server's unique index every letter: the
    // restore fails in Users, the last table, after every other table has been replaced. More
    // simple rows than the server has had would move its sequence on.
    const QString backup = fileBackup([](TestRoot& r) {
        r.add(Table::Knowledge, {{"name", "Kept Only If Committed"}});
        r.addRows(Table::Simple, 40, [](int i) {
            return Row{{"name", QStringLiteral("Never %1").arg(i)}};
        });
        r.add(Table::Users, {{"username", "Änne"}, {"userpw", ""}, {"grade", 2}});
        r.add(Table::Users, {{"username", "änne"}, {"userpw", ""}, {"grade", 2}});
    });
    QVERIFY(!backup.isEmpty());
    QCOMPARE(Tables::ofStore(StoreId::Assistant).constLast(), Table::Users);
    const Rows rows = sharedRows(m_pg->db);
    const QStringList counters = sequences(m_pg->db);

    QTemporaryDir safetyFolder;
    const Result<QString> restored = shared().restore(backup, safetyFolder.path());
    QVERIFY(!restored);
    QVERIFY2(restored.message().contains("Users"), qPrintable(restored.message()));
    QCOMPARE(sharedRows(m_pg->db), rows);
    QCOMPARE(sequences(m_pg->db), counters);
}

void TestPgMaintenance::compactionFreesDeletedRows()
{
    REQUIRE_SERVER();
    QSqlQuery q(m_pg->db);
    QVERIFY(q.exec("INSERT INTO goods (name, typeid) SELECT 'bulk ' || i || repeat(md5(i::text), "
                   "20), 0 FROM generate_series(1, 5000) AS i"));
    QVERIFY(q.exec("DELETE FROM goods WHERE name LIKE 'bulk %'"));
    const Rows before = sharedRows(m_pg->db);

    Result<StoreMaintenance::Sizes> sizes = StoreMaintenance::Sizes{};
    const StoreMaintenance work = StoreMaintenance::forStore(*m_seat->store, StoreId::Assistant,
                                                             StoreMaintenance::Work::Compaction);
    elsewhere([&] { sizes = work.compact(); });
    QVERIFY2(sizes, qPrintable(sizes.message()));
    QVERIFY2(sizes->after < sizes->before,
             qPrintable(QStringLiteral("%1 -> %2").arg(sizes->before).arg(sizes->after)));
    QVERIFY(sizes->after > 0);
    QCOMPARE(sharedRows(m_pg->db), before);

    // The private store of a seat on a server is its own, in the program folder.
    const Result<StoreMaintenance::Sizes> personal =
        StoreMaintenance::forStore(*m_seat->store, StoreId::Personal,
                                   StoreMaintenance::Work::Compaction)
            .compact();
    QVERIFY2(personal, qPrintable(personal.message()));
    QCOMPARE(personal->after, QFileInfo(m_seat->path("personal.dll")).size());
}

QTEST_GUILESS_MAIN(TestPgMaintenance)
#include "tst_pgmaintenance.moc"
