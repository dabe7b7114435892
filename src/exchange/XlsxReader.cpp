#include "exchange/XlsxReader.h"

#include "exchange/XlsxParts.h"
#include "exchange/ZipPackage.h"

#include <QDir>
#include <QHash>
#include <QXmlStreamReader>
#include <algorithm>

using namespace Qt::StringLiterals;
using namespace XlsxParts;

namespace {

bool isTrue(QStringView value)
{
    return value == u"1"_s || value == u"true"_s;
}

// A relationship's target, relative to xl/ unless it starts at the package root.
QString partPath(const QString& target)
{
    const QString path = target.startsWith(u'/') ? target.mid(1) : u"xl/"_s + target;
    return QDir::cleanPath(path);
}

} // namespace

Result<std::unique_ptr<WorkbookReader>> XlsxReader::open(const QString& path)
{
    std::unique_ptr<XlsxReader> reader(new XlsxReader(path));
    if (Result<void> r = reader->load(); !r)
        return r.error();
    return std::unique_ptr<WorkbookReader>(std::move(reader));
}

Result<void> XlsxReader::load()
{
    ZipPackage zip(m_path);
    if (!zip.isValid())
        return Error{
            u"文件 %1 不是完好的Excel工作簿：无法解压。"_s.arg(QDir::toNativeSeparators(m_path))};

    QHash<QString, QString> targets;
    Result<void> r = withPart(zip, m_path, u"xl/_rels/workbook.xml.rels"_s, [&](auto& xml) {
        while (!xml.atEnd()) {
            if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == "Relationship"_L1)
                targets.insert(xml.attributes().value("Id"_L1).toString(),
                               partPath(xml.attributes().value("Target"_L1).toString()));
        }
    });
    if (!r)
        return r;
    r = withPart(zip, m_path, u"xl/workbook.xml"_s, [&](auto& xml) {
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            if (xml.name() == "workbookPr"_L1) {
                m_date1904 = isTrue(xml.attributes().value("date1904"_L1));
            } else if (xml.name() == "sheet"_L1) {
                QString relation;
                for (const QXmlStreamAttribute& a : xml.attributes()) {
                    if (a.name() == "id"_L1)
                        relation = a.value().toString();
                }
                m_sheets.append(
                    {xml.attributes().value("name"_L1).toString(), targets.value(relation), 0});
            }
        }
    });
    if (!r)
        return r;

    // Styles and shared strings are optional parts.
    if (zip.contains(u"xl/styles.xml"_s)) {
        r = withPart(zip, m_path, u"xl/styles.xml"_s, [&](auto& xml) {
            QHash<int, QString> codes;
            bool inCellXfs = false;
            while (!xml.atEnd()) {
                const auto token = xml.readNext();
                if (token == QXmlStreamReader::EndElement && xml.name() == "cellXfs"_L1)
                    inCellXfs = false;
                if (token != QXmlStreamReader::StartElement)
                    continue;
                const QXmlStreamAttributes a = xml.attributes();
                if (xml.name() == "numFmt"_L1) {
                    codes.insert(a.value("numFmtId"_L1).toInt(),
                                 a.value("formatCode"_L1).toString());
                } else if (xml.name() == "cellXfs"_L1) {
                    inCellXfs = true;
                } else if (inCellXfs && xml.name() == "xf"_L1) {
                    const int id = a.value("numFmtId"_L1).toInt();
                    m_dateStyles.append(isDateFormat(id, codes.value(id)));
                }
            }
        });
        if (!r)
            return r;
    }
    if (zip.contains(u"xl/sharedStrings.xml"_s)) {
        r = withPart(zip, m_path, u"xl/sharedStrings.xml"_s, [&](auto& xml) {
            while (!xml.atEnd()) {
                if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == "si"_L1)
                    m_shared.append(richText(xml));
            }
        });
        if (!r)
            return r;
    }

    // The rows a sheet spans, from its <dimension>, which comes before the cells.
    for (Sheet& sheet : m_sheets) {
        r = withPart(zip, m_path, sheet.part, [&](auto& xml) {
            while (xml.readNextStartElement()) {
                if (xml.name() == "worksheet"_L1)
                    continue;
                if (xml.name() == "dimension"_L1)
                    sheet.rows = mergeOf(xml.attributes().value("ref"_L1)).bottom + 1;
                break;
            }
        });
        if (!r)
            return r;
    }
    return {};
}

QStringList XlsxReader::sheetNames() const
{
    QStringList names;
    for (const Sheet& s : m_sheets)
        names << s.name;
    return names;
}

qint64 XlsxReader::rowCount(int sheet) const
{
    return m_sheets.value(sheet).rows;
}

Result<void> XlsxReader::readRows(int sheet, int columns, const Visit& visit)
{
    const QString part = m_sheets.value(sheet).part;
    ZipPackage zip(m_path);
    if (!zip.isValid())
        return Error{
            u"文件 %1 不是完好的Excel工作簿：无法解压。"_s.arg(QDir::toNativeSeparators(m_path))};

    // Merged cells are listed after the rows, so they are read first: a value merged down over
    // several rows (a category, typically) belongs to each of them.
    QList<Merge> merges;
    Result<void> r = withPart(zip, m_path, part, [&](auto& xml) {
        while (!xml.atEnd()) {
            if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == "mergeCell"_L1) {
                const Merge m = mergeOf(xml.attributes().value("ref"_L1));
                if (m.top >= 0 && m.left >= 0 && m.left < columns)
                    merges.append(m);
            }
        }
    });
    if (!r)
        return r;
    std::sort(merges.begin(), merges.end(),
              [](const Merge& a, const Merge& b) { return a.top < b.top; });
    QList<std::pair<Merge, QString>> active;
    qsizetype nextMerge = 0;
    auto applyMerges = [&](int index, QStringList& cells) {
        active.removeIf([index](const auto& m) { return m.first.bottom < index; });
        for (; nextMerge < merges.size() && merges[nextMerge].top <= index; ++nextMerge) {
            if (merges[nextMerge].bottom >= index)
                active.append({merges[nextMerge], cells.value(merges[nextMerge].left)});
        }
        for (const auto& [m, value] : std::as_const(active)) {
            for (int c = m.left; c <= m.right && c < columns; ++c)
                cells[c] = value;
        }
    };

    return withPart(zip, m_path, part, [&](auto& xml) {
        int nextRow = 1;
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != "row"_L1)
                continue;
            Row row;
            const QStringView number = xml.attributes().value("r"_L1);
            row.number = number.isEmpty() ? nextRow : number.toInt();
            nextRow = row.number + 1;
            row.cells = QStringList(columns);
            int nextColumn = 0;
            while (xml.readNextStartElement()) {
                if (xml.name() != "c"_L1) {
                    xml.skipCurrentElement();
                    continue;
                }
                const QXmlStreamAttributes a = xml.attributes();
                const QStringView reference = a.value("r"_L1);
                const int column = reference.isEmpty() ? nextColumn : columnOf(reference);
                nextColumn = column + 1;
                const QString type = a.value("t"_L1).toString();
                const int style = a.value("s"_L1).toInt();
                QString text;
                while (xml.readNextStartElement()) {
                    if (xml.name() == "v"_L1)
                        text = xml.readElementText();
                    else if (xml.name() == "is"_L1)
                        text = richText(xml);
                    else
                        xml.skipCurrentElement();
                }
                if (column < 0 || column >= columns)
                    continue;
                if (type == "s"_L1)
                    text = m_shared.value(text.toInt());
                else if (type == "b"_L1)
                    text = isTrue(text) ? u"TRUE"_s : u"FALSE"_s;
                else if (type == "str"_L1)
                    text = unescaped(text);
                else if (type.isEmpty() || type == "n"_L1)
                    text = numberText(text, m_dateStyles.value(style), m_date1904);
                row.cells[column] = text;
            }
            applyMerges(row.number - 1, row.cells);
            if (row.number < 2)
                continue;
            const bool blank = std::all_of(row.cells.cbegin(), row.cells.cend(),
                                           [](const QString& c) { return c.trimmed().isEmpty(); });
            if (!blank && !visit(row)) {
                xml.raiseError(u"stopped"_s);
                return;
            }
        }
    });
}
