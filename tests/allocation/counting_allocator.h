// Heap accounting for the allocation tests: the test executable defines the
// C allocation functions itself (counting_allocator.cpp) and forwards them to
// glibc, so every heap block the process takes or gives back -- including
// those of the shared libraries it loads, which bind to the executable's
// definitions -- passes through one pair of counters.
//
// Linux with glibc only, and only in builds without a sanitizer (a sanitizer
// runtime brings its own allocator).
#pragma once

#include <cstddef>

namespace zefra_alloc {

// Bytes currently held in live heap blocks (usable sizes, as glibc reports
// them for each block).
std::size_t liveBytes();

// Starts a measurement: the peak is set to the bytes live right now.
void resetPeak();

// Highest number of live bytes since the last resetPeak(), minus the bytes
// that were live when it was called.
std::size_t peakAboveStart();

}  // namespace zefra_alloc
