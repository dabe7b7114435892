#pragma once

#include "data/PgUrl.h"
#include "data/Progress.h"
#include "data/Result.h"
#include "data/SettingsTable.h"
#include "data/Tables.h"

#include <QDateTime>
#include <QString>
#include <optional>

// Backup, restore and compaction of one store file. All of it goes through SQLite's own locking,
// so other seats keep the store open and working meanwhile: a backup is a consistent snapshot,
// a restore replaces every row in one transaction (other connections stay valid and see the new
// data through PRAGMA data_version), and a compaction interrupted at any point leaves the store
// as it was. The shared store on a server is backed up into the same kind of file and restored
// from one (ServerMaintenance).
class Store;

class StoreMaintenance {
public:
    enum class Work { BackupRestore, Compaction };
    struct Sizes {
        qint64 before = 0;
        qint64 after = 0;
    };

    StoreMaintenance(QString storePath, StoreId kind, int busyTimeoutMs = 30000);
    // The shared store on the server `url` names.
    static StoreMaintenance onServer(const PgUrl& url);

    // The store each kind of work acts on. The private store is backed up and restored in the
    // program folder but compacted as "personal.dll" in the shared store's folder, as the program
    // always has: with DatabasePath set, those are different files. A server has no folder: the
    // private store compacted is then the seat's own, in the program folder.
    static StoreMaintenance forStore(const Store& store, StoreId kind, Work work);

    // "Assistant" or "personal", the time as yyyyMMddhhmmss, ".bak".
    static QString backupName(StoreId kind, const QDateTime& when = QDateTime::currentDateTime());
    // The key naming the folder that backups of this kind start in.
    static Setting folderSetting(StoreId kind);
    // Where the backup and restore dialogs start: the setting's folder when it exists (relative
    // to the program folder), otherwise backup/ or pbackup/ of the program folder, created here.
    static QString initialFolder(const QString& rootFolder, StoreId kind, const QString& setting);

    // Writes a snapshot of the store to `target`, replacing a file of that name only once the
    // snapshot has been checked. `progress` hears the bytes written of about the store's size and
    // may stop the work, which then leaves no file behind. It is called on the working thread.
    Result<void> backup(const QString& target, const Progress& progress = {}) const;

    // Whether `file` is an intact store of this kind. `thorough` also reads every page and
    // opens the file read-only; otherwise it is opened as a seat opens a store in use.
    Result<void> check(const QString& file, bool thorough = true) const;

    // Replaces the store's content with the backup's, after a backup of the current content into
    // `safetyFolder`, whose path is returned. The seat's own memory (which shared store it used)
    // is not part of the content and stays.
    Result<QString> restore(const QString& file, const QString& safetyFolder) const;

    // `progress` (total unknown) may stop the work: the store is then left as it was.
    Result<Sizes> compact(const Progress& progress = {}) const;

    QString storePath() const { return m_path; }

private:
    QString m_path; // on a server, its address without the password
    std::optional<PgUrl> m_server;
    StoreId m_kind;
    int m_busyTimeoutMs;
};
