#include "data/Settings.h"
#include "data/Store.h"
#include "support/Files.h"
#include "support/SqlFile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Outcome {
    bool killed = false;
    int code = -1;
    QString err;
};

using Env = QList<std::pair<QString, QString>>;

// store_child where nobody can run it: the build may lie under a folder only root may enter.
QString g_nobodyChild;

QString childForNobody()
{
    if (g_nobodyChild.isEmpty()) {
        g_nobodyChild = QDir::temp().filePath(
            QStringLiteral("quillmate-store-child-%1").arg(QCoreApplication::applicationPid()));
        QFile::remove(g_nobodyChild);
        QFile::copy(QCoreApplication::applicationDirPath() + "/store_child", g_nobodyChild);
        QFile::setPermissions(g_nobodyChild, QFile::permissions(g_nobodyChild) |
                                                 QFileDevice::ExeOther | QFileDevice::ReadOther);
    }
    return g_nobodyChild;
}

// A store_child process; `limit` caps the size of every file it writes, as a full disk would.
QProcess* launch(const QString& root, const QStringList& args, const Env& env = {},
                 rlim_t limit = RLIM_INFINITY, bool unprivileged = false)
{
    auto* p = new QProcess;
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : env)
        e.insert(name, value);
#ifdef QUILLMATE_CRASH_SHIM
    if (!unprivileged)
        e.insert("LD_PRELOAD", QStringLiteral(QUILLMATE_CRASH_SHIM));
#endif
    p->setProcessEnvironment(e);
    p->setChildProcessModifier([limit, unprivileged] {
        const rlimit size{limit, limit};
        ::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails with EFBIG instead
        if (::setrlimit(RLIMIT_FSIZE, &size) != 0)
            ::_exit(3);
        // Permissions do not hold for root; the seat then runs as nobody.
        if (unprivileged && ::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
            ::_exit(3);
    });
    const bool asNobody = unprivileged && ::geteuid() == 0;
    p->start(asNobody ? childForNobody() : QCoreApplication::applicationDirPath() + "/store_child",
             QStringList{root} + args);
    return p;
}

Outcome finish(QProcess* p, int timeoutMs = 20000)
{
    Outcome o;
    if (p->waitForFinished(timeoutMs)) {
        o.killed = p->exitStatus() == QProcess::CrashExit;
        o.code = p->exitCode();
        o.err = QString::fromUtf8(p->readAllStandardError());
    } else {
        p->kill();
        p->waitForFinished();
        o.err = "hung";
    }
    delete p;
    return o;
}

Outcome seat(const QString& root, const QStringList& args, const Env& env = {},
             rlim_t limit = RLIM_INFINITY, bool unprivileged = false)
{
    return finish(launch(root, args, env, limit, unprivileged));
}

QString makeRoot(const QTemporaryDir& dir, const QString& name = "root")
{
    const QString root = dir.filePath(name);
    QDir().mkpath(root);
    if (!Settings::ensureFile(root + "/config.ini").ok())
        return {};
    return root;
}

// The stores of a data root, opened in this process as a start opens them.
struct Seat {
    explicit Seat(const QString& root) : settings(root + "/config.ini"), store(root, settings)
    {
        loaded = settings.load().ok();
    }
    Result<void> open() { return loaded ? store.open() : Error{"config.ini"}; }
    int count(Table table) { return store.count(table).value(); }
    QString scalar(StoreId id, const QString& sql)
    {
        QSqlQuery q(store.database(id));
        return q.exec(sql) && q.next() ? q.value(0).toString() : q.lastError().text();
    }

    Settings settings;
    Store store;
    bool loaded = false;
};

// Opens the root and checks that it holds a whole assistant store with `knowledge` entries.
#define VERIFY_WHOLE(root, knowledge, context)                                                     \
    do {                                                                                           \
        Seat check(root);                                                                          \
        const Result<void> opened = check.open();                                                  \
        QVERIFY2(opened.ok(), qPrintable(QString(context) + ": " + opened.message()));             \
        QCOMPARE(check.scalar(StoreId::Assistant, "PRAGMA integrity_check"), "ok");                \
        QCOMPARE(check.count(Table::Item), 4);                                                     \
        QCOMPARE(check.count(Table::Users), 1);                                                    \
        QCOMPARE(check.count(Table::Knowledge), knowledge);                                        \
    } while (false)

} // namespace

// Faults reproduced for real: seats killed in the middle of a commit or of creating a store,
// full disks, seats starting together, files that are not what they should be.
class TestStoreFaults : public QObject {
    Q_OBJECT
private slots:
    void cleanupTestCase() { QFile::remove(g_nobodyChild); }
    void killedMidCommitLosesNothing();
    void killedWhileCreatingBlocksNoLaterStart();
    void fullDiskLeavesNoHalfStore();
    void seatsStartingTogetherAllOpen();
    void seatsWritingTogetherLoseNothing();
    void oddFilesAndLocksAreNamedWithTheirCause();
    void damagedSchemaIsCompletedOrRefused();
    void storeStaysOnTheRollbackJournal();
    void sharedStoreIsNeverSwappedForAnEmptyOne();
};

void TestStoreFaults::killedMidCommitLosesNothing()
{
#ifndef QUILLMATE_CRASH_SHIM
    QSKIP("the crash shim is preloaded on Linux only");
#else
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    constexpr int Kept = 150;
    QCOMPARE(seat(root, {"fill", QString::number(Kept), "8192"}).code, 0);
    const QString journal = root + "/assistant.dll-journal";
    // The commit writes page 1 (with the new page count) first and then ~200 pages, most of them
    // past the end of the file: killed in between, the file is shorter than its header says
    // until SQLite rolls the journal back.
    int hotJournals = 0;
    for (int at : {1, 2, 3, 5, 20, 60, 120, 180}) {
        const Outcome o =
            seat(root, {"fill", "100", "8192"},
                 {{"QM_CRASH_FILE", "assistant.dll"}, {"QM_CRASH_AT", QString::number(at)}});
        QVERIFY2(o.killed, qPrintable(QString("write %1 never came: %2").arg(at).arg(o.err)));
        hotJournals += QFileInfo(journal).size() > 0;
        VERIFY_WHOLE(root, Kept, QString("killed at write %1").arg(at));
    }
    QCOMPARE(hotJournals, 8);
    QCOMPARE(seat(root, {"fill", "100", "8192"}).code, 0);
    VERIFY_WHOLE(root, Kept + 100, "after a whole commit");
#endif
}

void TestStoreFaults::killedWhileCreatingBlocksNoLaterStart()
{
#ifndef QUILLMATE_CRASH_SHIM
    QSKIP("the crash shim is preloaded on Linux only");
#else
    // Every write of the assistant store's creation, its journal and any temporary file
    // included, until a seat gets through.
    int at = 1;
    for (;; ++at) {
        QTemporaryDir dir;
        const QString root = makeRoot(dir);
        const Outcome o =
            seat(root, {"open"},
                 {{"QM_CRASH_FILE", "assistant.dll*"}, {"QM_CRASH_AT", QString::number(at)}});
        if (!o.killed) {
            QCOMPARE(o.code, 0);
            break;
        }
        VERIFY_WHOLE(root, 0, QString("killed at write %1").arg(at));
        QVERIFY(at < 200);
    }
    QVERIFY2(at > 10, qPrintable(QString::number(at)));
#endif
}

void TestStoreFaults::fullDiskLeavesNoHalfStore()
{
    // Creating: limits below one store, between the personal and the assistant store, and just
    // short of a whole assistant store.
    for (rlim_t limit : {0, 8192, 40960, 61440, 98304, 110592}) {
        QTemporaryDir dir;
        const QString root = makeRoot(dir);
        const Outcome o = seat(root, {"open"}, {}, limit);
        QCOMPARE(o.code, 1);
        QVERIFY2(o.err.contains("磁盘已满"), qPrintable(o.err));
        VERIFY_WHOLE(root, 0, QString("after a full disk at %1 bytes").arg(limit));
    }

    // Committing: the store keeps what it had.
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    QCOMPARE(seat(root, {"fill", "20", "4096"}).code, 0);
    const rlim_t size = static_cast<rlim_t>(QFileInfo(root + "/assistant.dll").size());
    const Outcome o = seat(root, {"fill", "100", "4096"}, {}, size + 65536);
    QCOMPARE(o.code, 1);
    QVERIFY2(o.err.contains("错误号"), qPrintable(o.err));
    VERIFY_WHOLE(root, 20, "after a full disk mid-commit");
}

void TestStoreFaults::seatsStartingTogetherAllOpen()
{
    constexpr int Seats = 4;
    constexpr int Rounds = 4;
    auto together = [&](const QString& root) {
        const Env at = {
            {"QM_START_AT", QString::number(QDateTime::currentMSecsSinceEpoch() + 400)}};
        QList<QProcess*> seats;
        for (int s = 0; s < Seats; ++s)
            seats << launch(root, {"open"}, at);
        QStringList failures;
        for (QProcess* p : seats) {
            const Outcome o = finish(p);
            if (o.killed || o.code != 0)
                failures << o.err;
        }
        return failures;
    };
    for (int round = 0; round < Rounds; ++round) {
        QTemporaryDir dir;
        const QString root = makeRoot(dir);
        QStringList failures = together(root); // a fresh folder
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));

        // Stores of an older version: no application id yet, so every seat completes them.
        for (const char* name : {"assistant.dll", "personal.dll"})
            QVERIFY(
                sqlOn(root + '/' + name, {"PRAGMA application_id = 0", "PRAGMA user_version = 0"}));
        failures = together(root);
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));
        VERIFY_WHOLE(root, 0, QString("round %1").arg(round));
    }
}

void TestStoreFaults::seatsWritingTogetherLoseNothing()
{
    // Each waits for the others' locks, and no row is lost or given an id twice.
    constexpr int Seats = 6;
    constexpr int Rows = 60;
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    QVERIFY(Seat(root).open().ok());
    QList<QProcess*> seats;
    for (int s = 0; s < Seats; ++s)
        seats << launch(root, {"write", QString("seat%1").arg(s), QString::number(Rows)});
    for (QProcess* p : seats) {
        const Outcome o = finish(p, 120000);
        QVERIFY2(!o.killed && o.code == 0, qPrintable(o.err));
    }

    Seat check(root);
    QVERIFY(check.open().ok());
    Query q;
    q.table = Table::Simple;
    const Result<QList<Row>> rows = check.store.rows(q);
    QVERIFY(rows.ok());
    QSet<qint64> ids;
    QSet<QString> names;
    int used = 0;
    for (const Row& r : rows.value()) {
        ids.insert(r.value("id").toLongLong());
        names.insert(r.value("name").toString());
        used += r.value("usetime").toInt();
    }
    QCOMPARE((QList<qsizetype>{rows.value().size(), ids.size(), names.size(), used}),
             (QList<qsizetype>{Seats * Rows, Seats * Rows, Seats * Rows, Seats * Rows / 2}));
}

void TestStoreFaults::oddFilesAndLocksAreNamedWithTheirCause()
{
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    const QString path = root + "/assistant.dll";
    const QString shown = QDir::toNativeSeparators(path);
    {
        Seat first(root);
        QVERIFY(first.open().ok());
    }

    // Another seat holds the lock longer than this one waits.
    {
        QSqlDatabase holder = QSqlDatabase::addDatabase("QSQLITE", "holder");
        holder.setDatabaseName(path);
        QVERIFY(holder.open());
        QVERIFY(QSqlQuery(holder).exec("BEGIN EXCLUSIVE"));
        Seat waiting(root);
        waiting.store.setBusyTimeout(300);
        const Result<void> r = waiting.open();
        QVERIFY(!r.ok());
        QVERIFY2(r.message().contains(shown) && r.message().contains("锁住"),
                 qPrintable(r.message()));
        QSqlQuery(holder).exec("ROLLBACK");
        QVERIFY(waiting.open().ok());
        holder.close();
    }
    QSqlDatabase::removeDatabase("holder");

    // A file this seat may not read: refused as such, not as a foreign format.
    QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                          QFileDevice::ExeOther);
    QFile::setPermissions(root, QFile::permissions(dir.path()));
    QFile::setPermissions(root + "/config.ini", QFileDevice::ReadOwner | QFileDevice::ReadOther);
    QFile::setPermissions(root + "/personal.dll", QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                      QFileDevice::ReadOther);
    const QByteArray before = sha256(path);
    QFile::setPermissions(path, QFileDevice::Permissions());
    Outcome o = seat(root, {"open"}, {}, RLIM_INFINITY, true);
    QCOMPARE(o.code, 1);
    QVERIFY2(o.err.contains(shown) && o.err.contains("没有读取权限"), qPrintable(o.err));
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QCOMPARE(sha256(path), before);

    // A pipe in place of the store: reading it would wait forever for a writer.
    QVERIFY(QFile::remove(path));
    QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    o = seat(root, {"open"});
    QCOMPARE(o.code, 1);
    QVERIFY2(o.err.contains(shown) && o.err.contains("不是普通文件"), qPrintable(o.err));
}

void TestStoreFaults::damagedSchemaIsCompletedOrRefused()
{
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    const QString path = root + "/assistant.dll";
    {
        Seat first(root);
        QVERIFY(first.open().ok());
        QVERIFY(first.store.insert(Table::Simple, {{"name", "kept"}}).ok());
        QSqlQuery q(first.store.database(StoreId::Assistant));
        QVERIFY(q.exec("DROP VIEW v_simple"));
        QVERIFY(q.exec("ALTER TABLE simple DROP COLUMN usetime"));
        QVERIFY(q.exec("DROP TABLE goods"));
    }
    {
        Seat damaged(root);
        QVERIFY(damaged.open().ok());
        const QString told = damaged.store.warnings().join('\n');
        for (const char* part : {"simple 的列 usetime", "表 goods", "视图 v_simple"})
            QVERIFY2(told.contains(QString::fromUtf8(part)), qPrintable(told));
        QVERIFY2(told.contains(QDir::toNativeSeparators(path)), qPrintable(told));
        Query q;
        q.table = Table::Simple;
        q.withNames = true;
        QCOMPARE(damaged.store.rows(q).value().size(), 1);
        QVERIFY(damaged.store.addUse(Table::Simple, 1).ok());
        QVERIFY(damaged.store.insert(Table::Goods, {{"name", "g"}}).ok());
    }
    {
        Seat again(root);
        QVERIFY(again.open().ok());
        QCOMPARE(again.store.warnings(), QStringList());
    }

    // A key column cannot be added back: the file is refused and left as it is.
    {
        Seat first(root);
        QVERIFY(first.open().ok());
        QSqlQuery q(first.store.database(StoreId::Assistant));
        QVERIFY(q.exec("DROP TABLE item"));
        QVERIFY(q.exec("CREATE TABLE item(name TEXT)"));
    }
    const QByteArray before = sha256(path);
    Seat broken(root);
    const Result<void> r = broken.open();
    QVERIFY(!r.ok());
    QVERIFY2(r.message().contains(QDir::toNativeSeparators(path)) &&
                 r.message().contains("表 item 的列 id"),
             qPrintable(r.message()));
    QCOMPARE(sha256(path), before);
}

void TestStoreFaults::storeStaysOnTheRollbackJournal()
{
    QTemporaryDir dir;
    const QString root = makeRoot(dir);
    const QString path = root + "/assistant.dll";
    {
        Seat first(root);
        QVERIFY(first.open().ok());
        QSqlQuery q(first.store.database(StoreId::Assistant));
        QVERIFY(q.exec("PRAGMA journal_mode = WAL") && q.next());
        QCOMPARE(q.value(0).toString(), "wal");
    }
    Seat seat(root);
    QVERIFY(seat.open().ok());
    QCOMPARE(seat.scalar(StoreId::Assistant, "PRAGMA journal_mode"), "delete");
    QVERIFY(seat.store.insert(Table::Simple, {{"name", "x"}}).ok());
    QVERIFY(!QFileInfo::exists(path + "-wal"));
}

void TestStoreFaults::sharedStoreIsNeverSwappedForAnEmptyOne()
{
    QTemporaryDir dir;
    const QString share = dir.filePath("share");
    QVERIFY(QDir().mkpath(share));
    auto open = [&](const QString& root, const QString& databasePath) {
        Seat s(root);
        if (!s.settings.setValue(Setting::DatabasePath, databasePath).ok())
            return QString("config.ini");
        const Result<void> r = s.open();
        return r.ok() ? QString() : r.message();
    };

    // A relative DatabasePath belongs to the data root, wherever the program was started from.
    const QString other = makeRoot(dir, "other");
    QVERIFY(QDir().mkpath(other + "/team"));
    const QString cwd = QDir::currentPath();
    QDir::setCurrent(dir.path());
    const QString relative = open(other, "team");
    QDir::setCurrent(cwd);
    QCOMPARE(relative, QString());
    QVERIFY(QFileInfo::exists(other + "/team/assistant.dll"));
    QVERIFY(!QFileInfo::exists(dir.filePath("team")));

    const QString root = makeRoot(dir);
    const QString local = root + "/assistant.dll";
    QCOMPARE(open(root, share), QString());
    // config.ini lost its DatabasePath, or names a folder that is gone: the shared store is
    // still there, so no empty one is made in its place.
    for (const QString& elsewhere : {QString(), dir.filePath("gone")}) {
        const QString refused = open(root, elsewhere);
        QVERIFY2(refused.contains(QDir::toNativeSeparators(share + "/assistant.dll")),
                 qPrintable(refused));
        QVERIFY2(refused.contains(QDir::toNativeSeparators(elsewhere.isEmpty() ? root : elsewhere)),
                 qPrintable(refused));
        QVERIFY(!QFileInfo::exists(local));
    }
    QCOMPARE(open(root, share), QString());

    // A store known to be gone (its folder is there without it) stands in the way of nothing.
    QVERIFY(QFile::remove(share + "/assistant.dll"));
    QCOMPARE(open(root, QString()), QString());
    QVERIFY(QFileInfo::exists(local));
}

QTEST_GUILESS_MAIN(TestStoreFaults)
#include "tst_storefaults.moc"
