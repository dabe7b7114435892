#pragma once

#include "app/CommandLine.h"

#include <QTextStream>

class Startup;

// The import and export commands, for administrators and scripts. A running panel may stay
// open: it sees the imported rows as it sees another seat's.
namespace ExchangeCommands {

// 0 done, 1 failed or refused (the reasons on `err`).
int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err);

} // namespace ExchangeCommands
