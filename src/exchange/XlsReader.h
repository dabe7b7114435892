#pragma once

#include "exchange/WorkbookReader.h"

#include <QList>

// A workbook in the binary format of older spreadsheet programs (.xls, BIFF8), read through
// FreeXL. The format caps a sheet at 65,536 rows; FreeXL holds the open sheet in memory.
class XlsReader : public WorkbookReader {
public:
    ~XlsReader() override;
    static Result<std::unique_ptr<WorkbookReader>> open(const QString& path);

    QStringList sheetNames() const override { return m_names; }
    qint64 rowCount(int sheet) const override { return m_rows.value(sheet); }
    Result<void> readRows(int sheet, int columns, const Visit& visit) override;

private:
    explicit XlsReader(QString path) : m_path(std::move(path)) {}

    QString m_path;
    const void* m_handle = nullptr;
    QStringList m_names;
    QList<qint64> m_rows;
};
