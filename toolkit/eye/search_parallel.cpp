// Deterministic parallel-for: workers take item numbers from one atomic
// counter until it passes the end.  Each item is computed by exactly one
// thread and written to its own slot, so the bits of every result are the
// same for any number of workers.
#include "eye/search_parallel.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace zefra::tk::search {

int32_t workerCount(int32_t threads, int64_t items) {
  int64_t workers = threads;
  if (workers <= 0) {
    workers = std::max<int64_t>(1, std::thread::hardware_concurrency());
  }
  return static_cast<int32_t>(std::max<int64_t>(1, std::min(workers, items)));
}

void parallelFor(int64_t count, int32_t workers, const std::function<bool(int64_t)>& body) {
  std::atomic<int64_t> next{0};
  std::atomic<bool> stop{false};
  auto work = [&]() {
    while (!stop.load(std::memory_order_relaxed)) {
      const int64_t i = next.fetch_add(1, std::memory_order_relaxed);
      if (i >= count) {
        return;
      }
      if (!body(i)) {
        stop.store(true, std::memory_order_relaxed);
      }
    }
  };

  std::vector<std::thread> helpers;
  helpers.reserve(static_cast<size_t>(std::max(workers - 1, 0)));
  for (int32_t w = 1; w < workers; ++w) {
    try {
      helpers.emplace_back(work);
    } catch (const std::system_error&) {
      break;  // no more threads to be had: the started ones share the items
    }
  }
  work();
  for (std::thread& t : helpers) {
    t.join();
  }
}

}  // namespace zefra::tk::search
