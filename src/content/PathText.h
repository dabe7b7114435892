#pragma once

#include <QString>

// The parts of a chosen path that forms take over: its file name, its extension and its
// folder. Both separators count, so paths typed in either form work everywhere.
class PathText {
public:
    // The part after the last separator.
    static QString fileName(const QString& path);
    // The file name, without its extension unless `withExtension`.
    static QString title(const QString& path, bool withExtension);
    // The part of the file name after its last dot; empty when it has none.
    static QString extension(const QString& path);
    // The trimmed path up to and including its last separator; empty when it has none.
    static QString containingFolder(const QString& path);
};
