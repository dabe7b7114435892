#include "data/StoreMaintenance.h"

#include "data/DbError.h"
#include "data/ReplaceFile.h"
#include "data/Schema.h"
#include "data/ServerMaintenance.h"
#include "data/SqlRun.h"
#include "data/SqliteFile.h"
#include "data/Store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <atomic>
#include <optional>
#include <sqlite3.h>

namespace {

QString uri(const QString& path, const char* mode)
{
    return QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString(QUrl::FullyEncoded) +
           QLatin1String("?mode=") + QLatin1String(mode);
}

QString shown(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

// A connection of its own, closed and removed with this object; queries on it must be gone
// first, which the functions below ensure by keeping theirs local.
class Connection {
public:
    Connection(const QString& path, const char* mode, int busyTimeoutMs)
    {
        static std::atomic<int> counter{0};
        m_name = QStringLiteral("quillmate-maintenance-%1").arg(counter++);
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        db.setDatabaseName(uri(path, mode));
        db.setConnectOptions(
            QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
        if (!db.open())
            m_error = DbError::fromQuery(db.lastError());
    }
    ~Connection()
    {
        QSqlDatabase::database(m_name, false).close();
        QSqlDatabase::removeDatabase(m_name);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    const std::optional<Error>& error() const { return m_error; }
    QSqlDatabase db() const { return QSqlDatabase::database(m_name, false); }

    // Runs a statement to its end; the first column of every row lands in `out`.
    Result<void> exec(const QString& sql, const QVariantList& values = {},
                      QStringList* out = nullptr) const
    {
        Result<QSqlQuery> q = SqlRun::run(db(), sql, values);
        if (!q)
            return q.error();
        while (out && q.value().next())
            *out << q.value().value(0).toString();
        return {};
    }

private:
    QString m_name;
    std::optional<Error> m_error;
};

// Lets the long statements of one connection tell their progress and be stopped: SQLite calls
// back every so many steps of its virtual machine, and a false answer interrupts the statement,
// which then rolls back like any failed one.
class Watch {
public:
    Watch(const Connection& c, const Progress& progress, std::function<qint64()> measure,
          qint64 total)
        : m_progress(progress), m_measure(std::move(measure)), m_total(total)
    {
        const QVariant handle = c.db().driver()->handle();
        if (progress && qstrcmp(handle.typeName(), "sqlite3*") == 0)
            m_db = *static_cast<sqlite3* const*>(handle.constData());
        if (m_db)
            sqlite3_progress_handler(m_db, StepsPerCall, &Watch::call, this);
    }
    ~Watch()
    {
        if (m_db)
            sqlite3_progress_handler(m_db, 0, nullptr, nullptr);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    static constexpr int StepsPerCall = 10000;
    static int call(void* self)
    {
        auto* w = static_cast<Watch*>(self);
        return w->m_progress(w->m_measure ? w->m_measure() : 0, w->m_total) ? 0 : 1;
    }

    Progress m_progress;
    std::function<qint64()> m_measure;
    qint64 m_total;
    sqlite3* m_db = nullptr;
};

QString kindName(StoreId kind)
{
    return kind == StoreId::Assistant ? QStringLiteral("共享数据库") : QStringLiteral("私人数据库");
}

QString quoted(const QString& name)
{
    return QLatin1Char('"') + name + QLatin1Char('"');
}

// The columns both copies of a table have, in the current store's order: a backup made before
// a column existed restores with that column's default.
Result<QStringList> sharedColumns(const Connection& c, const QString& table)
{
    QStringList ours;
    QStringList theirs;
    const QString info = QStringLiteral("SELECT name FROM pragma_table_info(?, ?)");
    if (Result<void> r = c.exec(info, {table, QStringLiteral("main")}, &ours); !r)
        return r.error();
    if (Result<void> r = c.exec(info, {table, QStringLiteral("backup")}, &theirs); !r)
        return r.error();
    QSet<QString> present;
    for (const QString& column : theirs)
        present.insert(column.toLower());
    QStringList out;
    for (const QString& column : ours) {
        if (present.contains(column.toLower()))
            out << quoted(column);
    }
    return out;
}

Result<void> replaceTable(const Connection& c, const QString& table)
{
    const Result<QStringList> columns = sharedColumns(c, table);
    if (!columns)
        return columns.error();
    if (Result<void> r = c.exec(QStringLiteral("DELETE FROM main.%1").arg(quoted(table))); !r)
        return r;
    if (columns.value().isEmpty())
        return {};
    const QString list = columns.value().join(QLatin1Char(','));
    return c.exec(QStringLiteral("INSERT INTO main.%1 (%2) SELECT %2 FROM backup.%1")
                      .arg(quoted(table), list));
}

} // namespace

StoreMaintenance::StoreMaintenance(QString storePath, StoreId kind, int busyTimeoutMs)
    : m_path(std::move(storePath)), m_kind(kind), m_busyTimeoutMs(busyTimeoutMs)
{}

StoreMaintenance StoreMaintenance::onServer(const PgUrl& url)
{
    StoreMaintenance out(url.shown(), StoreId::Assistant);
    out.m_server = url;
    return out;
}

StoreMaintenance StoreMaintenance::forStore(const Store& store, StoreId kind, Work work)
{
    if (const std::optional<PgUrl> url = store.serverUrl(); url && kind == StoreId::Assistant)
        return onServer(*url);
    QString path = store.filePath(kind);
    if (kind == StoreId::Personal && work == Work::Compaction &&
        !store.isOnServer(StoreId::Assistant))
        path = QFileInfo(store.filePath(StoreId::Assistant))
                   .dir()
                   .filePath(QFileInfo(path).fileName());
    return StoreMaintenance(path, kind, Store::BusyTimeoutMs);
}

QString StoreMaintenance::backupName(StoreId kind, const QDateTime& when)
{
    return (kind == StoreId::Assistant ? QStringLiteral("Assistant") : QStringLiteral("personal")) +
           when.toString(QStringLiteral("yyyyMMddhhmmss")) + QStringLiteral(".bak");
}

Setting StoreMaintenance::folderSetting(StoreId kind)
{
    return kind == StoreId::Assistant ? Setting::BackupInitPath : Setting::BackupInitPathPer;
}

QString StoreMaintenance::initialFolder(const QString& rootFolder, StoreId kind,
                                        const QString& setting)
{
    const QString chosen = setting.trimmed();
    if (!chosen.isEmpty()) {
        const QString folder = QDir(rootFolder).absoluteFilePath(chosen);
        if (QFileInfo(folder).isDir())
            return QDir::cleanPath(folder);
    }
    const QString folder = QDir(rootFolder)
                               .filePath(kind == StoreId::Assistant ? QStringLiteral("backup")
                                                                    : QStringLiteral("pbackup"));
    QDir().mkpath(folder);
    return QDir::cleanPath(folder);
}

Result<void> StoreMaintenance::check(const QString& file, bool thorough) const
{
    const QString name = shown(file);
    const QString notOurs =
        QStringLiteral("文件 %1 不是客服Tavro的%2或其备份。").arg(name, kindName(m_kind));
    switch (SqliteFile::inspect(file)) {
    case SqliteFile::State::Database:
    case SqliteFile::State::Recovering:
        break;
    case SqliteFile::State::Missing:
        return DbError::described(14, QStringLiteral("文件 %1 不存在。").arg(name));
    case SqliteFile::State::Truncated:
        return DbError::described(11, QStringLiteral("文件 %1 不完整或已损坏。").arg(name));
    case SqliteFile::State::Unreadable:
        return DbError::described(3, QStringLiteral("无法读取文件 %1。").arg(name));
    default:
        return DbError::described(26, notOurs);
    }

    // A store in use is opened as any seat opens it, so that a commit a crash cut off is rolled
    // back; a file to restore from is only read.
    const Connection c(file, thorough ? "ro" : "rw", m_busyTimeoutMs);
    if (c.error())
        return *c.error();
    QStringList id;
    QStringList tables;
    Result<void> r = c.exec(QStringLiteral("PRAGMA application_id"), {}, &id);
    if (r)
        r = c.exec(QStringLiteral("SELECT lower(name) FROM sqlite_master WHERE type = 'table'"), {},
                   &tables);
    if (!r)
        return r.error().code == 11 || r.error().code == 26
                   ? DbError::described(11, QStringLiteral("文件 %1 已损坏。").arg(name))
                   : r.error();
    if (id.value(0).toInt() != Schema::ApplicationId && id.value(0).toInt() != 0)
        return DbError::described(26, QStringLiteral("文件 %1 属于其他程序。").arg(name));
    const StoreId other = m_kind == StoreId::Assistant ? StoreId::Personal : StoreId::Assistant;
    bool otherKind = true;
    for (const QString& marker : Schema::markerTables(other))
        otherKind = otherKind && tables.contains(marker);
    for (const QString& marker : Schema::markerTables(m_kind)) {
        if (tables.contains(marker))
            continue;
        if (otherKind)
            return DbError::described(26, QStringLiteral("文件 %1 是%2的备份，不能用于%3。")
                                              .arg(name, kindName(other), kindName(m_kind)));
        return DbError::described(26, notOurs);
    }
    if (!thorough)
        return {};
    QStringList verdict;
    r = c.exec(QStringLiteral("PRAGMA integrity_check"), {}, &verdict);
    if (!r || verdict != QStringList{QStringLiteral("ok")})
        return DbError::described(
            11, QStringLiteral("文件 %1 已损坏：%2")
                    .arg(name, r ? verdict.mid(0, 3).join(QLatin1Char(' ')) : r.error().message));
    return {};
}

Result<void> StoreMaintenance::backup(const QString& target, const Progress& progress) const
{
    const QFileInfo info(target);
    const QString temp = QStringLiteral("%1/%2.%3.tmp")
                             .arg(info.absolutePath(), info.fileName(),
                                  QString::number(QRandomGenerator::global()->generate64(), 36));
    Result<void> written =
        m_server ? ServerMaintenance::backup(*m_server, temp, progress) : check(m_path, false);
    if (written && !m_server) {
        // VACUUM INTO reads one consistent snapshot; writers of other seats wait through their
        // busy timeout only while it reads.
        const Connection c(m_path, "rw", m_busyTimeoutMs);
        const Watch watch(
            c, progress, [&temp] { return QFileInfo(temp).size(); }, QFileInfo(m_path).size());
        written = c.error()
                      ? Result<void>(*c.error())
                      : c.exec(QStringLiteral("VACUUM INTO ?"), {QDir::toNativeSeparators(temp)});
    }
    if (written)
        written = check(temp);
    if (written)
        written = replaceFile(temp, target);
    if (!written) {
        QFile::remove(temp + QLatin1String("-journal"));
        QFile::remove(temp);
    }
    return written;
}

Result<QString> StoreMaintenance::restore(const QString& file, const QString& safetyFolder) const
{
    if (QFileInfo(file).canonicalFilePath() == QFileInfo(m_path).canonicalFilePath())
        return DbError::described(
            26, QStringLiteral("文件 %1 就是正在使用的数据库。").arg(shown(file)));
    if (Result<void> r = check(file); !r)
        return r.error();

    // The current content is kept under a name no earlier backup has.
    const QString stem = backupName(m_kind).chopped(4) + QStringLiteral("_恢复前");
    QString safety = QDir(safetyFolder).filePath(stem + QStringLiteral(".bak"));
    for (int n = 2; QFileInfo::exists(safety); ++n)
        safety = QDir(safetyFolder).filePath(stem + QStringLiteral("_%1.bak").arg(n));
    if (Result<void> r = backup(safety); !r)
        return r.error();
    if (m_server) {
        if (Result<void> r = ServerMaintenance::restore(*m_server, file); !r)
            return r.error();
        return safety;
    }

    const Connection c(m_path, "rw", m_busyTimeoutMs);
    if (c.error())
        return *c.error();
    if (Result<void> r = c.exec(QStringLiteral("ATTACH DATABASE ? AS backup"), {uri(file, "ro")});
        !r)
        return r.error();
    QStringList tables;
    for (Table t : Tables::ofStore(m_kind))
        tables << Tables::name(t);
    Result<void> r = c.exec(QStringLiteral("BEGIN IMMEDIATE"));
    for (const QString& table : std::as_const(tables)) {
        if (r)
            r = replaceTable(c, table);
    }
    // Ids handed out since the backup stay used: hot keys and other seats may still name them.
    if (r)
        r = c.exec(QStringLiteral(
            "UPDATE main.sqlite_sequence SET seq = max(seq, coalesce((SELECT b.seq FROM "
            "backup.sqlite_sequence b WHERE b.name = main.sqlite_sequence.name), 0))"));
    if (r)
        r = c.exec(QStringLiteral("INSERT INTO main.sqlite_sequence (name, seq) SELECT name, seq "
                                  "FROM backup.sqlite_sequence WHERE name NOT IN (SELECT name "
                                  "FROM main.sqlite_sequence)"));
    if (r)
        r = c.exec(QStringLiteral("COMMIT"));
    if (!r)
        (void)c.exec(QStringLiteral("ROLLBACK"));
    (void)c.exec(QStringLiteral("DETACH DATABASE backup"));
    if (!r)
        return r.error();
    return safety;
}

Result<StoreMaintenance::Sizes> StoreMaintenance::compact(const Progress& progress) const
{
    if (m_server) {
        const Result<ServerMaintenance::Sizes> done =
            ServerMaintenance::compact(*m_server, progress);
        if (!done)
            return done.error();
        return Sizes{done->before, done->after};
    }
    if (Result<void> r = check(m_path, false); !r)
        return r.error();
    Sizes sizes;
    sizes.before = QFileInfo(m_path).size();
    {
        // SQLite rebuilds the file through its rollback journal: cut off anywhere, the journal
        // puts the old file back on the next open.
        const Connection c(m_path, "rw", m_busyTimeoutMs);
        if (c.error())
            return *c.error();
        const Watch watch(c, progress, {}, 0);
        if (Result<void> r = c.exec(QStringLiteral("VACUUM")); !r)
            return r.error();
    }
    sizes.after = QFileInfo(m_path).size();
    return sizes;
}
