#pragma once

#include "data/Tables.h"

#include <QList>
#include <QString>

// How each kind of material lies in a workbook: one sheet per kind, headings in row 1, one entry
// per row from row 2 on. Export, the checks and the import read this one description, so a
// workbook we write is one we read back.
enum class SheetKind { Knowledge, Affairs, Couriers, Phrases, Tools, Private };

// Which kinds a command exchanges: everything (both stores) or the private store's two kinds.
enum class ExchangeScope { Everything, Private };

struct SheetColumn {
    QString heading;
    int limit = 0;         // longest value in characters; 0: any length
    bool required = false; // an empty cell is refused
    QString emptyMessage;  // after "<row label><n>行,"
    QString longMessage;
};

struct SheetLayout {
    SheetKind kind;
    QString sheetName; // the sheet's name in a workbook, and the kind's name in counts
    QString rowLabel;  // "知识库第": how a problem names the row
    Table table;       // where the entries go
    Table categoryTable;
    QList<SheetColumn> columns;
};

namespace SheetLayouts {

const SheetLayout& of(SheetKind kind);
// The kinds a command covers, in the order they are checked and imported.
QList<SheetKind> kinds(ExchangeScope scope);

} // namespace SheetLayouts
