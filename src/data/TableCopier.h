#pragma once

#include "data/Progress.h"
#include "data/Result.h"
#include "data/Tables.h"

#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <functional>
#include <optional>

// Copies the shared store's tables from one connection to another, each a store file (QSQLITE)
// or the server (QPSQL): every row with its id, blobs included, and the id counters. The source
// is read in one snapshot and the target written in one transaction, its rows replaced, so that
// a failure or a stop leaves the target as it was. Moving a file onto the server, backing the
// server up into a file and restoring a backup onto the server all go through here.
class TableCopier {
public:
    enum class Engine { File, Server };
    struct End {
        QSqlDatabase db;
        Engine engine = Engine::File;
        QString shown; // names it in messages (a server without its password)
    };
    struct Copied {
        Table table;
        qint64 rows = 0;
    };

    TableCopier(End source, End target);

    // Runs first inside the target's transaction (migrate makes the server's tables there).
    void setPrepare(std::function<Result<void>()> prepare) { m_prepare = std::move(prepare); }
    // Ids the target handed out stay used after the copy: seats working on it may still name
    // them. Without it the target's counters become the source's.
    void setKeepTargetIds(bool keep) { m_keepTargetIds = keep; }
    // Hears the rows copied of all the source's rows and may stop the copy.
    void setProgress(Progress progress) { m_progress = std::move(progress); }

    // The rows copied per table, in creation order.
    Result<QList<Copied>> run();

private:
    Result<QList<Copied>> copyAll();
    Result<qint64> copyTable(Table table, const QStringList& columns, qint64& done, qint64 total);
    Result<QStringList> sourceColumns(Table table);
    // The highest id a table has handed out: its counter, or its highest row.
    Result<qint64> lastId(const End& end, Table table);
    Result<void> setLastId(Table table, qint64 id);
    Error sourceError(const QSqlError& error) const;
    Error targetError(const QSqlError& error) const;

    End m_source;
    End m_target;
    std::function<Result<void>()> m_prepare;
    bool m_keepTargetIds = false;
    Progress m_progress;
    // Kept until after a rollback: a prepared statement freed inside a failed transaction
    // cannot be deallocated on the server and the driver complains.
    std::optional<QSqlQuery> m_insert;
};
