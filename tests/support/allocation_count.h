// Counts the allocations of a test program that is built with allocation_count.cpp.
#pragma once

namespace support {

// Calls of operator new since the start, by all threads. Thread-safe.
long AllocationCount();

}  // namespace support
