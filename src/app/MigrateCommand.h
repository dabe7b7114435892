#pragma once

#include "app/CommandLine.h"

#include <QTextStream>

class Startup;

// `migrate URL`: the shared store file copied into an empty PostgreSQL database, for a team
// moving its seats onto a server.
namespace MigrateCommand {

// 0 done (one line per table with its row count on `out`), 1 failed or refused.
int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err);

} // namespace MigrateCommand
