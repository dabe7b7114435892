#pragma once

#include "content/EntryValues.h"
#include "content/KindDescriptor.h"

#include <optional>

// The checks a form passes before its row is written, in the kind's order: the first failure
// is the one the user is told. The duplicate test against the store comes after these.
class EntryValidator {
public:
    static std::optional<QString> firstFailure(const KindDescriptor& kind,
                                               const EntryValues& values, SaveContext context);

    // The text a field writes: trimmed where the kind compares it trimmed.
    static QString text(const FieldDef& field, const EntryValues& values);

    // The message for a field left empty, in the wording of where it was left empty.
    static QString missingMessage(const FieldDef& field, SaveContext context);
};
