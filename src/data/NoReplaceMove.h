#pragma once

#include <QString>

// Giving a finished file its real name in one step, without ever replacing what already has
// that name: two seats creating the same store at once end with one store, the first one made,
// and nobody sees a half-made file under the real name.
namespace NoReplaceMove {

enum class Outcome {
    Moved,
    TargetExists, // something already has the name; `from` is left where it was
    Failed,
};

Outcome move(const QString& from, const QString& to);

} // namespace NoReplaceMove
