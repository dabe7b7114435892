#include "content/ListRows.h"

#include "data/ToolKind.h"

using namespace Qt::StringLiterals;

bool ListRows::matchesName(const KindDescriptor& kind, const Row& row, const QString& text)
{
    const QString needle = text.trimmed();
    return needle.isEmpty() ||
           row.value(kind.nameField().column).toString().contains(needle, Qt::CaseInsensitive);
}

bool ListRows::matches(const KindDescriptor& kind, const Row& row, const EntryValues& filter)
{
    for (const FieldDef& f : kind.fields) {
        switch (f.filter) {
        case FilterUse::None:
            break;
        case FilterUse::Contains: {
            const QString needle = filter.fields.value(f.column).toString().trimmed();
            if (!needle.isEmpty() &&
                !row.value(f.column).toString().contains(needle, Qt::CaseInsensitive))
                return false;
            break;
        }
        case FilterUse::Equals: {
            const qint64 wanted = filter.fields.value(f.column).toLongLong();
            if (wanted > 0 && row.value(f.column).toLongLong() != wanted)
                return false;
            break;
        }
        case FilterUse::WhenTicked:
            if (filter.fields.value(f.column).toInt() == 1 && row.value(f.column).toInt() != 1)
                return false;
            break;
        }
    }
    return true;
}

QString ListRows::cellText(const ListColumn& column, const Row& row)
{
    const QVariant value = row.value(column.column);
    switch (column.format) {
    case CellFormat::Plain:
        return value.toString();
    case CellFormat::UrlEnabled:
        return value.toInt() == 1 ? u"已启用"_s : u"未启用"_s;
    case CellFormat::CommonMark:
        return value.toInt() == 1 ? u"√"_s : QString();
    case CellFormat::ToolKind: {
        const QStringList names = ToolKind::names();
        const int kind = value.toInt();
        return kind >= 0 && kind < names.size() ? names.at(kind) : QString::number(kind);
    }
    }
    return value.toString();
}

QString ListRows::countText(int count)
{
    return u"数量："_s + QString::number(count);
}
