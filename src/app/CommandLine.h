#pragma once

#include "data/SearchService.h"

#include <QString>
#include <QStringList>
#include <optional>

// What the user asked for on the command line.
struct CommandLine {
    enum class Command {
        Panel,
        Version,
        Init,
        Search,
        Help,
        Backup,
        Restore,
        Compact,
        Import,
        Export,
        Migrate
    };

    Command command = Command::Panel;
    QString dataDir;
    bool autoStarted = false; // started at login: the panel waits in the tray
    QString searchText;
    SearchMode searchMode = SearchMode::All;
    bool privateStore = false; // backup, restore, compact, import, export: the private store
    bool dryRun = false;       // import: check and count, write nothing
    QString file;              // backup target, restore source, workbook
    QString databaseUrl;       // migrate: the PostgreSQL database to copy into
    QString error;             // set when the arguments make no sense; shown with the usage text

    static CommandLine parse(const QStringList& arguments);
    static QString usage();
    // "W", "C", "E", "S", "F", "L", "P" or "common".
    static std::optional<SearchMode> modeFromKind(const QString& kind);
};
