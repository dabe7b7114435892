#pragma once

#include "data/Result.h"

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

// A workbook read sheet by sheet and row by row, whatever its file format: a large sheet is
// never held in memory as a whole. Every cell comes as the text a person sees in it (numbers
// without a trailing ".0", dates as yyyy-MM-dd).
class WorkbookReader {
public:
    struct Row {
        int number = 0; // 1-based, as the spreadsheet program shows it
        QStringList cells;
    };
    // Return false to stop reading.
    using Visit = std::function<bool(const Row& row)>;

    virtual ~WorkbookReader() = default;

    virtual QStringList sheetNames() const = 0;
    // How many rows the sheet says it spans, headings included; for progress only.
    virtual qint64 rowCount(int sheet) const = 0;
    // The rows below the headings that hold anything, in order, each with exactly `columns`
    // cells (missing cells empty).
    virtual Result<void> readRows(int sheet, int columns, const Visit& visit) = 0;

    // Opens an .xlsx or .xls file, told apart by its content rather than its name.
    static Result<std::unique_ptr<WorkbookReader>> open(const QString& path);
};
