#pragma once

#include "exchange/WorkbookReader.h"

#include <QList>

// An Office Open XML workbook (.xlsx): a zip of XML parts, read with a streaming XML reader. The
// shared strings are held in memory (each distinct text once); sheet rows are read as they come.
class XlsxReader : public WorkbookReader {
public:
    static Result<std::unique_ptr<WorkbookReader>> open(const QString& path);

    QStringList sheetNames() const override;
    qint64 rowCount(int sheet) const override;
    Result<void> readRows(int sheet, int columns, const Visit& visit) override;

private:
    struct Sheet {
        QString name;
        QString part; // the sheet's path inside the zip
        qint64 rows = 0;
    };

    explicit XlsxReader(QString path) : m_path(std::move(path)) {}
    Result<void> load();

    QString m_path;
    QList<Sheet> m_sheets;
    QStringList m_shared;
    QList<bool> m_dateStyles; // by cell style number
    bool m_date1904 = false;
};
