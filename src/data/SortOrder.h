#pragma once

#include <QString>

// The list order chosen with the `Sort` setting: 1 oldest first, 2 newest first, 3 most used
// first, 4 the user's custom order; any other value orders oldest first.
namespace SortOrder {

enum class Mode { IdAscending, IdDescending, MostUsed, Custom };

Mode mode(const QString& sortSetting);

// The ORDER BY terms (without the keywords) for a list whose custom order lives in
// `customColumn`. Ties are broken by id so that every order is stable.
QString terms(Mode mode, const QString& customColumn);

} // namespace SortOrder
