// parallelFor: an atomic work counter over std::thread workers.  After the
// first failure no new item starts; the rethrown exception is that of the
// lowest failing item among those that ran, so an error report does not
// depend on timing when only one item can fail.
#include "eye/parallel_for.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace zefra::tk::eye {

int32_t resolveThreads(int32_t threads) {
  if (threads > 0) {
    return threads;
  }
  const unsigned hardware = std::thread::hardware_concurrency();
  return hardware == 0 ? 1 : static_cast<int32_t>(std::min(hardware, 1024u));
}

void parallelFor(int64_t count, int32_t threads, const std::function<void(int64_t)>& body) {
  if (count <= 0) {
    return;
  }
  std::atomic<int64_t> next{0};
  std::atomic<bool> failed{false};
  std::mutex errorLock;
  std::exception_ptr error;
  int64_t errorItem = count;

  const auto work = [&]() {
    for (;;) {
      if (failed.load(std::memory_order_relaxed)) {
        return;
      }
      const int64_t i = next.fetch_add(1);
      if (i >= count) {
        return;
      }
      try {
        body(i);
      } catch (...) {
        const std::lock_guard<std::mutex> guard(errorLock);
        if (i < errorItem) {
          errorItem = i;
          error = std::current_exception();
        }
        failed.store(true, std::memory_order_relaxed);
      }
    }
  };

  const int64_t workers = std::min<int64_t>(resolveThreads(threads), count);
  std::vector<std::thread> pool;
  try {
    pool.reserve(static_cast<std::size_t>(workers - 1));
    for (int64_t t = 1; t < workers; ++t) {
      pool.emplace_back(work);
    }
  } catch (const std::system_error&) {
    // Fewer threads: the started ones and the caller share the items.
  } catch (const std::bad_alloc&) {
  }
  work();
  for (auto& thread : pool) {
    thread.join();
  }
  if (error) {
    std::rethrow_exception(error);
  }
}

}  // namespace zefra::tk::eye
