#pragma once

#include "content/KindDescriptor.h"

// What deleting a row asks or refuses, by TypeDelMode: off refuses to delete a category that
// still has children; on asks and deletes the children with it. Rows without children are only
// asked about.
class DeletePolicy {
public:
    struct Plan {
        bool refused = false; // `text` is the refusal; otherwise it is the question
        QString text;
    };

    // `fromMenu`: the panel's menu command, which words a big category's texts its own way.
    static Plan plan(const KindDescriptor& kind, bool cascade, int childCount,
                     bool fromMenu = false);
};
