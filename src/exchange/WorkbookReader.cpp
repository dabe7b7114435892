#include "exchange/WorkbookReader.h"

#include "exchange/XlsReader.h"
#include "exchange/XlsxReader.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

Result<std::unique_ptr<WorkbookReader>> WorkbookReader::open(const QString& path)
{
    const QString shown = QDir::toNativeSeparators(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{u"无法打开文件 %1：%2"_s.arg(shown, file.errorString())};
    const QByteArray head = file.read(8);
    file.close();
    // A zip package (.xlsx) or a compound document (.xls), whatever the file is called.
    if (head.startsWith("PK\x03\x04"))
        return XlsxReader::open(path);
    if (head == QByteArray::fromHex("D0CF11E0A1B11AE1"))
        return XlsReader::open(path);
    return Error{u"文件 %1 不是Excel工作簿，只能导入Excel文件（.xlsx 或 .xls）。"_s.arg(shown)};
}
