#pragma once

#include "exchange/SheetLayout.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <xlsxwriter.h>

// Workbooks written the way spreadsheet programs write them (shared strings, numbers as
// numbers), for the import to read.
struct SheetData {
    QString name;
    QList<QStringList> rows;       // row 1 first; a cell that reads as a number is written as one
    QList<QList<int>> merges = {}; // first row, first column, last row, last column (0-based)
};

// Row 1 of a sheet of that kind, as the export writes it.
inline QStringList sheetHeadings(SheetKind kind)
{
    QStringList names;
    for (const SheetColumn& c : SheetLayouts::of(kind).columns)
        names << c.heading;
    return names;
}

inline bool writeBook(const QString& path, const QList<SheetData>& sheets)
{
    lxw_workbook* book = workbook_new(path.toUtf8().constData());
    if (!book)
        return false;
    for (const SheetData& s : sheets) {
        lxw_worksheet* sheet = workbook_add_worksheet(book, s.name.toUtf8().constData());
        for (int r = 0; r < s.rows.size(); ++r) {
            for (int c = 0; c < s.rows[r].size(); ++c) {
                const QString& cell = s.rows[r][c];
                bool number = false;
                const double value = cell.toDouble(&number);
                const auto row = static_cast<lxw_row_t>(r);
                const auto column = static_cast<lxw_col_t>(c);
                if (number)
                    worksheet_write_number(sheet, row, column, value, nullptr);
                else if (!cell.isEmpty())
                    worksheet_write_string(sheet, row, column, cell.toUtf8().constData(), nullptr);
            }
        }
        for (const QList<int>& m : s.merges) {
            const QByteArray value = s.rows.value(m[0]).value(m[1]).toUtf8();
            worksheet_merge_range(sheet, static_cast<lxw_row_t>(m[0]), static_cast<lxw_col_t>(m[1]),
                                  static_cast<lxw_row_t>(m[2]), static_cast<lxw_col_t>(m[3]),
                                  value.constData(), nullptr);
        }
    }
    return workbook_close(book) == LXW_NO_ERROR;
}
