#include "data/StoreFile.h"

#include "data/DbError.h"
#include "data/NoReplaceMove.h"
#include "data/Schema.h"
#include "data/SqliteFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRandomGenerator>
#include <QSet>
#include <QSqlQuery>
#include <QUrl>
#include <atomic>
#include <optional>

namespace {

using Failure = std::optional<QSqlError>;

QString uri(const QString& path, const char* mode)
{
    return QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded) + QLatin1String("?mode=") +
           QLatin1String(mode);
}

// Runs a statement to its end and lets go of it, so that no read lock is left open: a read
// transaction held into BEGIN IMMEDIATE makes SQLite report a deadlock instead of waiting.
Failure exec(const QSqlDatabase& db, const QString& sql, QVariant* first = nullptr)
{
    QSqlQuery q(db);
    q.setForwardOnly(true);
    if (!q.exec(sql))
        return q.lastError();
    if (first)
        *first = q.next() ? q.value(0) : QVariant();
    q.finish();
    return std::nullopt;
}

Failure column(const QSqlDatabase& db, const QString& sql, QSet<QString>& out)
{
    QSqlQuery q(db);
    q.setForwardOnly(true);
    if (!q.exec(sql))
        return q.lastError();
    while (q.next())
        out.insert(q.value(0).toString().toLower());
    return std::nullopt;
}

// What the file holds, read before anything is written.
struct Probe {
    int applicationId = 0;
    int userVersion = 0;
    QString journalMode;
    QSet<QString> tables;
    QSet<QString> views;
    QSet<QString> indexes;
    QSet<QString> brokenViews;
    QHash<QString, QSet<QString>> columns; // of our tables that are present
};

Failure probe(const QSqlDatabase& db, StoreId store, Probe& p)
{
    // The first read rolls back a commit another process left unfinished, and finds a header
    // that promises more than the file holds.
    QVariant value;
    if (Failure f = exec(db, QStringLiteral("PRAGMA application_id"), &value))
        return f;
    p.applicationId = value.toInt();
    if (Failure f = exec(db, QStringLiteral("PRAGMA user_version"), &value))
        return f;
    p.userVersion = value.toInt();
    if (Failure f = exec(db, QStringLiteral("PRAGMA journal_mode"), &value))
        return f;
    p.journalMode = value.toString().toLower();
    const QString master = QStringLiteral(
        "SELECT name FROM sqlite_master WHERE type = '%1' AND name NOT LIKE 'sqlite_%'");
    if (Failure f = column(db, master.arg(QLatin1String("table")), p.tables))
        return f;
    if (Failure f = column(db, master.arg(QLatin1String("view")), p.views))
        return f;
    if (Failure f = column(db, master.arg(QLatin1String("index")), p.indexes))
        return f;
    for (Table t : Tables::ofStore(store)) {
        const QString name = Tables::name(t).toLower();
        if (!p.tables.contains(name))
            continue;
        if (Failure f =
                column(db, QStringLiteral("SELECT name FROM pragma_table_info('%1')").arg(name),
                       p.columns[name]))
            return f;
    }
    // A view outlives the table or column it reads; it then fails on every use.
    for (const QString& view : Schema::viewNames(store)) {
        if (p.views.contains(view) &&
            exec(db, QStringLiteral("SELECT * FROM %1 LIMIT 0").arg(view)).has_value())
            p.brokenViews.insert(view);
    }
    return std::nullopt;
}

// What completing the schema takes.
struct Plan {
    QStringList statements;
    QStringList lost;   // what the user is told was added back
    QString impossible; // what cannot be added back
    bool needed = false;
};

Plan plan(const Probe& p, StoreId store)
{
    Plan out;
    bool createMissing = false;
    QStringList drops;
    QStringList alters;
    for (Table t : Tables::ofStore(store)) {
        const QString name = Tables::name(t).toLower();
        if (!p.tables.contains(name)) {
            createMissing = true;
            out.lost << QStringLiteral("表 %1").arg(Tables::name(t));
            continue;
        }
        for (const ColumnDef& c : Tables::columnDefs(t)) {
            if (p.columns.value(name).contains(QString::fromLatin1(c.name).toLower()))
                continue;
            const QString what =
                QStringLiteral("表 %1 的列 %2").arg(Tables::name(t), QLatin1String(c.name));
            const QString sql = Schema::addColumnStatement(t, c);
            if (sql.isEmpty()) {
                out.impossible = what;
                return out;
            }
            alters << sql;
            out.lost << what;
        }
    }
    if (store == StoreId::Personal && !p.tables.contains(QLatin1String(Schema::MemoryTable)))
        createMissing = true;
    for (const QString& view : Schema::viewNames(store)) {
        // A view that fails only because its table or column is gone works again once they are
        // back; it is made again all the same, in case it was changed.
        if (p.brokenViews.contains(view)) {
            drops << QStringLiteral("DROP VIEW IF EXISTS %1").arg(view);
            createMissing = true;
        } else if (!p.views.contains(view)) {
            createMissing = true;
            out.lost << QStringLiteral("视图 %1").arg(view);
        }
    }
    for (const QString& index : Schema::indexNames(store))
        createMissing = createMissing || !p.indexes.contains(index);

    out.needed = createMissing || !alters.isEmpty() || p.applicationId != Schema::ApplicationId ||
                 p.userVersion < Schema::Version;
    if (out.needed) {
        out.statements =
            drops + alters + Schema::createStatements(store) + Schema::seedStatements(store);
        out.statements << QStringLiteral("PRAGMA application_id = %1").arg(Schema::ApplicationId);
        if (p.userVersion < Schema::Version)
            out.statements << QStringLiteral("PRAGMA user_version = %1").arg(Schema::Version);
    }
    return out;
}

Error refused(int code, const QString& text)
{
    return DbError::fromOpen(code, text);
}

// What the header shows before SQLite is let near the file.
std::optional<Error> checkHeader(const QString& path, const QString& shown)
{
    switch (SqliteFile::inspect(path)) {
    case SqliteFile::State::Database:
    case SqliteFile::State::Recovering:
        return std::nullopt;
    case SqliteFile::State::Missing:
        return refused(14, QStringLiteral("数据库文件 %1 不存在。").arg(shown));
    case SqliteFile::State::Empty:
        return refused(
            26,
            QStringLiteral("文件 %1 不是客服Tavro的数据库（空文件），程序没有改动它。").arg(shown));
    case SqliteFile::State::NotDatabase:
        return refused(26,
                       QStringLiteral("文件 %1 不是客服Tavro的数据库（其他格式），程序没有改动它。")
                           .arg(shown));
    case SqliteFile::State::Truncated:
        return refused(11, QStringLiteral("数据库文件 %1 不完整或已损坏，程序没有改动它。"
                                          "请从备份中恢复。")
                               .arg(shown));
    case SqliteFile::State::NotAFile:
        return refused(14, QStringLiteral("%1 不是普通文件（而是文件夹、管道、设备或失效的链接），"
                                          "程序没有打开它。")
                               .arg(shown));
    case SqliteFile::State::Unreadable:
        return refused(3, QStringLiteral("无法读取文件 %1（%2），程序没有改动它。")
                              .arg(shown, QFileInfo(path).isReadable()
                                              ? QStringLiteral("被其他程序占用")
                                              : QStringLiteral("没有读取权限")));
    }
    return std::nullopt;
}

std::optional<Error> checkOwner(const Probe& p, StoreId store, const QString& shown)
{
    if (p.applicationId != 0 && p.applicationId != Schema::ApplicationId)
        return refused(26, QStringLiteral("文件 %1 属于其他程序，程序没有改动它。").arg(shown));
    // Stores of older versions carry no application id; their tables tell.
    if (p.applicationId == 0 && !p.tables.isEmpty()) {
        for (const QString& marker : Schema::markerTables(store)) {
            if (!p.tables.contains(marker))
                return refused(
                    26,
                    QStringLiteral("文件 %1 不是客服Tavro的数据库，程序没有改动它。").arg(shown));
        }
    }
    return std::nullopt;
}

Error damaged(const QString& shown, const QString& what)
{
    return refused(11, QStringLiteral("数据库文件 %1 已损坏：缺少%2，无法自动补上，程序没有改动它。"
                                      "请从备份中恢复。")
                           .arg(shown, what));
}

// Completes the schema under the write lock, judged again there: another seat may have done it
// while this one waited.
Result<QStringList> complete(const QSqlDatabase& db, StoreId store, const QString& shown,
                             double busySeconds)
{
    if (Failure f = exec(db, QStringLiteral("BEGIN IMMEDIATE")))
        return DbError::openFailure(shown, *f, busySeconds);
    auto rollBack = [&](Error e) -> Result<QStringList> {
        exec(db, QStringLiteral("ROLLBACK"));
        return e;
    };
    Probe p;
    if (Failure f = probe(db, store, p))
        return rollBack(DbError::openFailure(shown, *f, busySeconds));
    const Plan work = plan(p, store);
    if (!work.impossible.isEmpty())
        return rollBack(damaged(shown, work.impossible));
    for (const QString& sql : work.statements) {
        if (Failure f = exec(db, sql))
            return rollBack(DbError::openFailure(shown, *f, busySeconds));
    }
    if (Failure f = exec(db, QStringLiteral("COMMIT")))
        return rollBack(DbError::openFailure(shown, *f, busySeconds));
    const bool claimedComplete =
        p.applicationId == Schema::ApplicationId && p.userVersion >= Schema::Version;
    return claimedComplete ? work.lost : QStringList();
}

Failure build(const QSqlDatabase& db, StoreId store)
{
    QStringList statements = Schema::createStatements(store) + Schema::seedStatements(store);
    statements << QStringLiteral("PRAGMA application_id = %1").arg(Schema::ApplicationId)
               << QStringLiteral("PRAGMA user_version = %1").arg(Schema::Version);
    if (Failure f = exec(db, QStringLiteral("BEGIN IMMEDIATE")))
        return f;
    for (const QString& sql : statements) {
        if (Failure f = exec(db, sql)) {
            exec(db, QStringLiteral("ROLLBACK"));
            return f;
        }
    }
    if (Failure f = exec(db, QStringLiteral("COMMIT"))) {
        exec(db, QStringLiteral("ROLLBACK"));
        return f;
    }
    return std::nullopt;
}

} // namespace

namespace StoreFile {

Result<void> create(const QString& path, StoreId store)
{
    static std::atomic<int> counter{0};
    const QFileInfo target(path);
    const QString temp = QStringLiteral("%1/%2.%3.tmp")
                             .arg(target.absolutePath(), target.fileName(),
                                  QString::number(QRandomGenerator::global()->generate64(), 36));
    const QString connection = QStringLiteral("quillmate-create-%1").arg(counter++);
    Failure failure;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(uri(temp, "rwc"));
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI"));
        failure = db.open() ? build(db, store) : Failure(db.lastError());
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);

    const NoReplaceMove::Outcome moved =
        failure ? NoReplaceMove::Outcome::Failed : NoReplaceMove::move(temp, path);
    if (moved == NoReplaceMove::Outcome::Moved)
        return {};
    QFile::remove(temp + QLatin1String("-journal"));
    QFile::remove(temp);
    const QString shown = QDir::toNativeSeparators(path);
    if (failure)
        return DbError::openFailure(shown, *failure, 0);
    if (moved == NoReplaceMove::Outcome::TargetExists)
        return {};
    return refused(14,
                   QStringLiteral("无法在文件夹 %1 中新建数据库文件 %2。")
                       .arg(QDir::toNativeSeparators(target.absolutePath()), target.fileName()));
}

Result<QStringList> open(QSqlDatabase db, const QString& path, StoreId store, int busyTimeoutMs)
{
    const QString shown = QDir::toNativeSeparators(path);
    if (std::optional<Error> e = checkHeader(path, shown))
        return *e;

    const double busySeconds = busyTimeoutMs / 1000.0;
    db.close();
    // mode=rw never creates a file: a store that vanished since the check stays missing.
    db.setDatabaseName(uri(path, "rw"));
    db.setConnectOptions(
        QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
    if (!db.open())
        return DbError::openFailure(shown, db.lastError(), busySeconds);

    auto fail = [&](Error e) -> Result<QStringList> {
        db.close();
        return e;
    };
    Probe p;
    if (Failure f = probe(db, store, p))
        return fail(DbError::openFailure(shown, *f, busySeconds));
    if (std::optional<Error> e = checkOwner(p, store, shown))
        return fail(*e);

    const Plan work = plan(p, store);
    if (!work.impossible.isEmpty())
        return fail(damaged(shown, work.impossible));

    // WAL does not work on a network folder, and another tool may have switched the file to it.
    if (p.journalMode == QLatin1String("wal")) {
        QVariant mode;
        Failure f = exec(db, QStringLiteral("PRAGMA journal_mode = DELETE"), &mode);
        if (f || mode.toString().compare(QLatin1String("delete"), Qt::CaseInsensitive) != 0)
            return fail(refused(
                5,
                QStringLiteral("数据库文件 %1 被其他程序改成了 WAL 日志模式，而共享文件夹上只能用"
                               "回滚日志；它正被使用，无法改回。请关闭其他程序后再试。%2")
                    .arg(shown, f ? f->databaseText() : QString())));
    }

    if (!work.needed)
        return QStringList();
    Result<QStringList> lost = complete(db, store, shown, busySeconds);
    if (!lost)
        return fail(lost.error());
    return lost;
}

} // namespace StoreFile
