// A deterministic parallel loop: body(i) for i = 0..count-1, shared among
// worker threads through an atomic counter.  Each item writes only its own
// results, so the outcome does not depend on which thread ran it or when.
#pragma once

#include <cstdint>
#include <functional>

namespace zefra::tk::eye {

// Worker count for a `threads` option: 0 means one per hardware thread (at
// least 1).
int32_t resolveThreads(int32_t threads);

// Runs body(0..count-1) on up to `threads` threads (the caller is one of
// them).  A thread that cannot be started leaves its share to the others.
// When items throw, the exception of the lowest-numbered failing item is
// rethrown after every worker has stopped.
void parallelFor(int64_t count, int32_t threads, const std::function<void(int64_t)>& body);

}  // namespace zefra::tk::eye
