#pragma once

#include "data/SearchService.h"

#include <QString>

class Settings;

// The text pasted for an entry: the phrase itself, or title and/or description, with the
// configured line breaks appended.
namespace TextComposer {

// The line break of pasted text: CR LF on Windows, LF where chat clients expect it (X11).
QString lineBreak();
QString compose(SearchKind kind, const QString& title, const QString& description,
                const Settings& settings);

} // namespace TextComposer
