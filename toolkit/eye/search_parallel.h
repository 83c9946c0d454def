// A deterministic parallel-for over the candidates of a search.
#pragma once

#include <cstdint>
#include <functional>

namespace zefra::tk::search {

// Worker count for `threads` (0: one per hardware thread, at least 1),
// never more than `items`.
int32_t workerCount(int32_t threads, int64_t items);

// Runs body(i) once for every i in 0 .. count-1 on `workers` threads (the
// calling thread is one of them).  Items are handed out in increasing i
// from one atomic counter and each writes only its own result, so the
// results do not depend on the worker count.  body must not throw; when it
// returns false no further item is handed out, but every item already
// handed out (all i below the failing one among them) still completes.
// Throws std::bad_alloc only before any item has run; a worker thread that
// cannot be started leaves its share to the others.
void parallelFor(int64_t count, int32_t workers, const std::function<bool(int64_t)>& body);

}  // namespace zefra::tk::search
