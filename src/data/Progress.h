#pragma once

#include <QtGlobal>
#include <functional>

// Told how far long work has come (`total` 0 when unknown). Returning false asks the work to stop
// at the next point where stopping leaves everything as it was.
using Progress = std::function<bool(qint64 done, qint64 total)>;
