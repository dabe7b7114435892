#include "data/SortOrder.h"

namespace SortOrder {

Mode mode(const QString& sortSetting)
{
    if (sortSetting == QLatin1String("2"))
        return Mode::IdDescending;
    if (sortSetting == QLatin1String("3"))
        return Mode::MostUsed;
    if (sortSetting == QLatin1String("4"))
        return Mode::Custom;
    return Mode::IdAscending;
}

QString terms(Mode mode, const QString& customColumn)
{
    switch (mode) {
    case Mode::IdDescending:
        return QStringLiteral("id desc");
    case Mode::MostUsed:
        return QStringLiteral("usetime desc, id asc");
    case Mode::Custom:
        if (!customColumn.isEmpty())
            return customColumn + QLatin1String(" asc, id asc");
        break;
    case Mode::IdAscending:
        break;
    }
    return QStringLiteral("id asc");
}

} // namespace SortOrder
