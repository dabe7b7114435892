#pragma once

#include <functional>

// Runs `work` on a thread of its own and returns when it has ended, the calling thread's events
// (painting, timers, clicks on a modal window) handled meanwhile. The work must not touch widgets
// or the calling thread's database connections.
void runOffThread(const std::function<void()>& work);
