// Sleeps that end early.
#pragma once

#include <atomic>
#include <chrono>

namespace Varno {

// Sleeps for `duration`, and ends at most 20 ms after `stop` becomes true. True when the whole time has passed, false
// when it was stopped. Thread-safe.
bool SleepUnless(const std::atomic<bool>& stop, std::chrono::milliseconds duration);

// Sleeps for `duration` with SIGINT and SIGTERM open for the calling thread meanwhile, so that the program can be ended
// from within a busy-wait. UI thread.
void SleepSignalsOpen(std::chrono::milliseconds duration);

}  // namespace Varno
