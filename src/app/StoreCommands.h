#pragma once

#include "app/CommandLine.h"

#include <QTextStream>

class Startup;

// The backup, restore and compact commands, for a nightly job without a window. A restore takes
// the program folder's panel lock first: it must not replace the store under a running panel of
// the same folder, and no panel may start while it works.
namespace StoreCommands {

// 0 done, 1 failed (the reason on `err`).
int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err);

} // namespace StoreCommands
