#include "exchange/XlsxParts.h"

#include "exchange/ZipPackage.h"

#include <QDate>
#include <QDir>
#include <QRegularExpression>
#include <QTime>
#include <QXmlStreamReader>
#include <cmath>

using namespace Qt::StringLiterals;

namespace XlsxParts {

Result<void> withPart(ZipPackage& zip, const QString& file, const QString& name,
                      const std::function<void(QXmlStreamReader&)>& read)
{
    const QString shown = QDir::toNativeSeparators(file);
    std::unique_ptr<ZipEntry> part = zip.open(name);
    if (!part)
        return Error{u"文件 %1 不是完好的Excel工作簿：缺少 %2。"_s.arg(shown, name)};
    QXmlStreamReader xml(part.get());
    read(xml);
    if (xml.hasError() && xml.error() != QXmlStreamReader::CustomError)
        return Error{u"文件 %1 已损坏：%2 第%3行：%4"_s.arg(shown, name)
                         .arg(xml.lineNumber())
                         .arg(xml.errorString())};
    if (!xml.hasError() && !part->finish())
        return Error{u"文件 %1 已损坏：%2 无法完整解压。"_s.arg(shown, name)};
    return {};
}

QString unescaped(const QString& text)
{
    if (!text.contains(u"_x"_s))
        return text;
    static const QRegularExpression escape(u"_x([0-9A-Fa-f]{4})_"_s);
    QString out;
    qsizetype from = 0;
    for (auto it = escape.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += QStringView(text).mid(from, m.capturedStart() - from);
        out += QChar(static_cast<char16_t>(m.capturedView(1).toUInt(nullptr, 16)));
        from = m.capturedEnd();
    }
    out += QStringView(text).mid(from);
    return out;
}

QString richText(QXmlStreamReader& xml)
{
    QString text;
    while (xml.readNextStartElement()) {
        if (xml.name() == "t"_L1)
            text += xml.readElementText();
        else if (xml.name() == "r"_L1)
            text += richText(xml); // a run: its <t> and formatting
        else
            xml.skipCurrentElement(); // <rPh> phonetic guides, <rPr> run formatting
    }
    return unescaped(text);
}

int columnOf(QStringView reference)
{
    int column = 0;
    qsizetype i = 0;
    for (; i < reference.size() && reference[i].isLetter(); ++i)
        column = column * 26 + (reference[i].toUpper().unicode() - u'A' + 1);
    if (i == 0 || i > 3 || i == reference.size())
        return -1;
    return column - 1;
}

int rowOf(QStringView reference)
{
    qsizetype i = 0;
    while (i < reference.size() && reference[i].isLetter())
        ++i;
    bool ok = false;
    const int row = reference.mid(i).toInt(&ok);
    return ok ? row : -1;
}

bool isDateFormat(int numFmtId, const QString& formatCode)
{
    if ((numFmtId >= 14 && numFmtId <= 22) || (numFmtId >= 27 && numFmtId <= 36) ||
        (numFmtId >= 45 && numFmtId <= 47) || (numFmtId >= 50 && numFmtId <= 58))
        return true;
    if (formatCode.isEmpty())
        return false;
    // Quoted text, [colour] and [condition] sections and escaped characters are not codes.
    static const QRegularExpression literal(uR"("[^"]*"|\[[^\]]*\]|\\.)"_s);
    QString codes = formatCode;
    codes.remove(literal);
    for (const QChar c : std::as_const(codes)) {
        switch (c.toLower().unicode()) {
        case u'y':
        case u'm':
        case u'd':
        case u'h':
        case u's':
            return true;
        default:
            break;
        }
    }
    return false;
}

QString numberText(const QString& value, bool date, bool date1904)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!ok)
        return value;
    if (date && number >= 0 && number < 2958466) {
        const double days = std::floor(number);
        const QDate base = date1904 ? QDate(1904, 1, 1) : QDate(1899, 12, 30);
        const int seconds = static_cast<int>(std::lround((number - days) * 86400.0));
        const QDate day = base.addDays(static_cast<qint64>(days) + seconds / 86400);
        const QTime time = QTime(0, 0).addSecs(seconds % 86400);
        if (days == 0 && seconds > 0)
            return time.toString(u"hh:mm:ss"_s);
        if (seconds % 86400 == 0)
            return day.toString(u"yyyy-MM-dd"_s);
        return day.toString(u"yyyy-MM-dd"_s) + u' ' + time.toString(u"hh:mm:ss"_s);
    }
    if (number == std::trunc(number) && std::fabs(number) < 1e15)
        return QString::number(static_cast<qint64>(number));
    return QString::number(number, 'g', 15);
}

Merge mergeOf(QStringView range)
{
    const qsizetype colon = range.indexOf(u':');
    const QStringView first = colon < 0 ? range : range.left(colon);
    const QStringView last = colon < 0 ? range : range.mid(colon + 1);
    return {rowOf(first) - 1, columnOf(first), rowOf(last) - 1, columnOf(last)};
}

} // namespace XlsxParts
