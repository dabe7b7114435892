#pragma once

#include "content/EntryValues.h"
#include "content/KindDescriptor.h"

// What a list window shows of its rows: which rows a filter keeps and each cell's text.
// Texts are matched literally and without regard to letter case.
class ListRows {
public:
    // The query button: every field the kind filters by, each only when it is set.
    static bool matches(const KindDescriptor& kind, const Row& row, const EntryValues& filter);
    // Typing in the name box: the name alone.
    static bool matchesName(const KindDescriptor& kind, const Row& row, const QString& text);

    static QString cellText(const ListColumn& column, const Row& row);
    static QString countText(int count); // "数量：" + count
};
