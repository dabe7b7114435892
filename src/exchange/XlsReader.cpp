#include "exchange/XlsReader.h"

#include "exchange/XlsxParts.h"

#include <QDir>
#include <QFile>
#include <freexl.h>

using namespace Qt::StringLiterals;

XlsReader::~XlsReader()
{
    if (m_handle)
        freexl_close(m_handle);
}

Result<std::unique_ptr<WorkbookReader>> XlsReader::open(const QString& path)
{
    std::unique_ptr<XlsReader> reader(new XlsReader(path));
    const QString shown = QDir::toNativeSeparators(path);
    const int opened = freexl_open(QFile::encodeName(path).constData(), &reader->m_handle);
    if (opened != FREEXL_OK)
        return Error{u"文件 %1 不是完好的Excel工作簿（错误号为：%2）。"_s.arg(shown).arg(opened)};
    unsigned int password = 0;
    if (freexl_get_info(reader->m_handle, FREEXL_BIFF_PASSWORD, &password) == FREEXL_OK &&
        password == FREEXL_BIFF_OBFUSCATED)
        return Error{u"文件 %1 设有密码，请在表格软件中去掉密码后再导入。"_s.arg(shown)};
    unsigned int sheets = 0;
    if (freexl_get_info(reader->m_handle, FREEXL_BIFF_SHEET_COUNT, &sheets) != FREEXL_OK)
        return Error{u"文件 %1 不是完好的Excel工作簿。"_s.arg(shown)};
    for (unsigned short i = 0; i < sheets; ++i) {
        const char* name = nullptr;
        unsigned int rows = 0;
        unsigned short columns = 0;
        if (freexl_get_worksheet_name(reader->m_handle, i, &name) != FREEXL_OK ||
            freexl_select_active_worksheet(reader->m_handle, i) != FREEXL_OK ||
            freexl_worksheet_dimensions(reader->m_handle, &rows, &columns) != FREEXL_OK)
            return Error{
                u"文件 %1 不是完好的Excel工作簿：第%2个工作表无法读取。"_s.arg(shown).arg(i + 1)};
        reader->m_names << QString::fromUtf8(name);
        reader->m_rows << rows;
    }
    return std::unique_ptr<WorkbookReader>(std::move(reader));
}

Result<void> XlsReader::readRows(int sheet, int columns, const Visit& visit)
{
    const auto index = static_cast<unsigned short>(sheet);
    if (sheet < 0 || sheet >= m_names.size() ||
        freexl_select_active_worksheet(m_handle, index) != FREEXL_OK)
        return Error{
            u"文件 %1 没有第%2个工作表。"_s.arg(QDir::toNativeSeparators(m_path)).arg(sheet + 1)};
    const auto rows = static_cast<unsigned int>(m_rows.value(sheet));
    for (unsigned int r = 1; r < rows; ++r) {
        Row row{static_cast<int>(r) + 1, QStringList(columns)};
        bool blank = true;
        for (unsigned short c = 0; c < columns; ++c) {
            FreeXL_CellValue cell;
            if (freexl_get_cell_value(m_handle, r, c, &cell) != FREEXL_OK)
                continue; // beyond the sheet's last column
            QString& text = row.cells[c];
            switch (cell.type) {
            case FREEXL_CELL_INT:
                text = QString::number(cell.value.int_value);
                break;
            case FREEXL_CELL_DOUBLE:
                text = XlsxParts::numberText(QString::number(cell.value.double_value, 'g', 17),
                                             false, false);
                break;
            case FREEXL_CELL_TEXT:
            case FREEXL_CELL_SST_TEXT:
            case FREEXL_CELL_DATE:
            case FREEXL_CELL_DATETIME:
            case FREEXL_CELL_TIME:
                text = QString::fromUtf8(cell.value.text_value);
                break;
            default:
                break;
            }
            blank = blank && text.trimmed().isEmpty();
        }
        if (!blank && !visit(row))
            break;
    }
    return {};
}
