#pragma once

#include "data/Progress.h"
#include "data/Result.h"
#include "exchange/SheetLayout.h"
#include "exchange/WorkbookReader.h"

#include <QHash>
#include <QStringList>
#include <array>

class Store;

struct ImportReport {
    struct Kind {
        int sheet = -1;     // the sheet read for this kind; -1 when the workbook has none
        int added = 0;      // entries new to the store
        int skipped = 0;    // entries whose name the store (or an earlier row) already has
        int categories = 0; // categories created for them
    };

    ExchangeScope scope = ExchangeScope::Everything;
    QStringList problems; // one line per failed check, in the order of the sheets and rows
    bool cancelled = false;
    std::array<Kind, 6> kinds;

    const Kind& of(SheetKind kind) const { return kinds[static_cast<size_t>(kind)]; }
    Kind& of(SheetKind kind) { return kinds[static_cast<size_t>(kind)]; }
    int added() const;
    // "成功导入知识库：N条,公司事务：N条,快递：N条!" and the lines of the other kinds.
    QString countsMessage() const;
    // One line per kind: what an import adds, skips and creates, or that the sheet is missing.
    QString previewText() const;
    // The problems, one per line.
    QString problemsText() const;
};

// Brings a workbook's rows into the stores. Every row is checked first; only a workbook without
// problems is written, all of it in one transaction per store, so a failure or a cancel leaves
// both stores as they were. Categories are found by name or created, and reused by later rows;
// an entry whose name is taken is skipped, so importing a workbook twice adds nothing.
class WorkbookImporter {
public:
    WorkbookImporter(Store& store, ExchangeScope scope) : m_store(store), m_scope(scope) {}

    // The checks and what an import would add, skip and create; nothing is written.
    Result<ImportReport> preview(WorkbookReader& book, const Progress& progress = {});
    // The checks, then the import when nothing failed; `problems` or `cancelled` say why not.
    Result<ImportReport> run(WorkbookReader& book, const Progress& progress = {});

    // The sheet of each kind: by name, or by position when no sheet has any kind's name.
    static QList<int> sheetsOf(const WorkbookReader& book, ExchangeScope scope);

private:
    enum class Pass { Check, Write };

    // `done` counts on from `offset` rows of `total`.
    Result<void> walk(WorkbookReader& book, Pass pass, ImportReport& report,
                      const Progress& progress, qint64 offset, qint64 total);
    Result<void> loadNames();
    void check(SheetKind kind, const WorkbookReader::Row& row, const QStringList& values,
               QStringList& problems) const;
    Result<void> place(SheetKind kind, const QStringList& values, ImportReport::Kind& counts,
                       Pass pass);
    // The category's id, created when missing.
    Result<qint64> category(Table table, int itemId, const QString& name, qint64 parent,
                            ImportReport::Kind& counts, Pass pass);
    Result<qint64> add(Table table, int itemId, const QString& name, QVariantMap values, Pass pass);
    bool taken(Table table, int itemId, const QString& name) const;

    Store& m_store;
    ExchangeScope m_scope;
    // Names in use, letter case ignored as the stores ignore it: "<table>/<itemid>/<name>" -> id.
    QHash<QString, qint64> m_names;
    QHash<qint64, qint64> m_bigOfSmall; // goods.id -> goods.typeid
    qint64 m_plannedId = 0;             // ids handed out while nothing is written
};
