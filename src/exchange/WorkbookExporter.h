#pragma once

#include "data/Progress.h"
#include "data/Result.h"
#include "exchange/SheetLayout.h"

#include <array>

class Store;

struct ExportReport {
    ExchangeScope scope = ExchangeScope::Everything;
    std::array<qint64, 6> rows{};
    bool cancelled = false;

    qint64 of(SheetKind kind) const { return rows[static_cast<size_t>(kind)]; }
    // "成功导出知识库：N条,…" in the words of the import's counts.
    QString message() const;
};

// Writes the stores' material to an .xlsx workbook laid out as the import reads it: one sheet
// per kind, headings in row 1. Rows are streamed to the file, so a large library needs little
// memory; the workbook appears under its name only when it is complete, and a cancelled or
// failed export leaves no file behind (and an older file of that name as it was).
class WorkbookExporter {
public:
    WorkbookExporter(Store& store, ExchangeScope scope) : m_store(store), m_scope(scope) {}

    Result<ExportReport> run(const QString& target, const Progress& progress = {});

private:
    Store& m_store;
    ExchangeScope m_scope;
};
