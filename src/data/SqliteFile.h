#pragma once

#include <QString>

// What a store file on disk holds, judged from its header before SQLite is allowed to touch it.
// Only what SQLite cannot tell is judged here: SQLite would happily turn an empty file into a new
// database, and it would block forever reading a pipe. Damage behind a valid header is left to
// SQLite, which finds it on the first read, after rolling back an interrupted commit.
namespace SqliteFile {

enum class State {
    Missing,     // nothing at the path: a new store may be created
    Database,    // an SQLite database whose size agrees with its header
    Recovering,  // an SQLite database (or an empty file) with a journal beside it: an interrupted
                 // commit that SQLite finishes or undoes on the first read, so its size says
                 // nothing yet
    Empty,       // a file of 0 bytes without a journal
    NotDatabase, // another format, or garbage
    Truncated,   // an SQLite header, but fewer bytes than the header promises, and no journal
    NotAFile,    // a folder, a pipe, a device or a broken link
    Unreadable,  // the file may not be read
};

State inspect(const QString& path);

// Whether a rollback journal or a write-ahead log with content lies beside the database.
bool hasJournal(const QString& path);

} // namespace SqliteFile
