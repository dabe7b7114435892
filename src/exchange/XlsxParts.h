#pragma once

#include "data/Result.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <functional>

class ZipPackage;
class QXmlStreamReader;

// The pieces of an .xlsx package that XlsxReader reads, each a small function over one XML part.
namespace XlsxParts {

// Runs `read` over the part `name` of the zip; a missing or damaged part is an error naming the
// file. `read` may stop early (a custom error of the reader is not a failure).
Result<void> withPart(ZipPackage& zip, const QString& file, const QString& name,
                      const std::function<void(QXmlStreamReader&)>& read);

// "_x000D_" and the like, the escapes the format uses for control characters, decoded.
QString unescaped(const QString& text);

// The text of an <si> or <is> element, the reader on its start: runs joined, phonetic guides
// left out. Leaves the reader on the element's end.
QString richText(QXmlStreamReader& xml);

// "AB12" -> column 27 (0-based); -1 when it is not a cell reference.
int columnOf(QStringView reference);
int rowOf(QStringView reference);

// Whether a number format shows a date or time.
bool isDateFormat(int numFmtId, const QString& formatCode);

// A cell's number as a person sees it: integers without a fraction, dates as yyyy-MM-dd
// (with the time when there is one).
QString numberText(const QString& value, bool date, bool date1904);

// A rectangle of merged cells, 0-based and inclusive.
struct Merge {
    int top = 0, left = 0, bottom = 0, right = 0;
};
Merge mergeOf(QStringView range);

} // namespace XlsxParts
