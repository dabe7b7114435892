#pragma once

#include "content/KindDescriptor.h"

// What deleting a row asks or refuses, by TypeDelMode: "0" refuses to delete a category that
// still has children; any other value asks and deletes the children with it. Rows without
// children are only asked about.
class DeletePolicy {
public:
    struct Plan {
        bool refused = false; // `text` is the refusal; otherwise it is the question
        QString text;
    };

    // `fromMenu`: the panel's menu command, which words a big category's texts its own way.
    static Plan plan(const KindDescriptor& kind, const QString& typeDelMode, int childCount,
                     bool fromMenu = false);
};
