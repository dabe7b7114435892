#pragma once

#include <QString>

// What a store file on disk holds, judged from its header before SQLite is allowed to touch it:
// SQLite would happily turn an empty file into a new database, and a damaged one is only noticed
// by the first query that reaches the damage.
namespace SqliteFile {

enum class State {
    Missing,     // no file: a new store may be created
    Database,    // an SQLite database whose size agrees with its header
    Empty,       // a file of 0 bytes
    NotDatabase, // another format, or garbage
    Truncated,   // an SQLite header, but fewer bytes than the header promises
};

State inspect(const QString& path);

} // namespace SqliteFile
