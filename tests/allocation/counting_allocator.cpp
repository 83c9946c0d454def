// The process's allocation functions, counting live bytes and their peak.
//
// Each function forwards to glibc's own entry point (__libc_malloc and
// friends) and then books the block's usable size, malloc_usable_size(),
// both when the block is handed out and when it comes back, so that the
// two always balance whatever size was requested.  operator new and delete
// are not replaced: libstdc++ implements them on malloc and free.
#include "counting_allocator.h"

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

// Signed: a block the process received before these counters existed
// could in principle be given back, which must not wrap the count.
std::atomic<std::int64_t> gLive{0};
std::atomic<std::int64_t> gPeak{0};
std::atomic<std::int64_t> gStart{0};

std::int64_t usableSize(void* block) {
  return block == nullptr ? 0 : static_cast<std::int64_t>(malloc_usable_size(block));
}

void bookedBytes(std::int64_t bytes) {
  const std::int64_t now = gLive.fetch_add(bytes, std::memory_order_relaxed) + bytes;
  std::int64_t peak = gPeak.load(std::memory_order_relaxed);
  while (now > peak &&
         !gPeak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

void booked(void* block) {
  if (block != nullptr) {
    bookedBytes(usableSize(block));
  }
}

void released(std::int64_t bytes) {
  gLive.fetch_sub(bytes, std::memory_order_relaxed);
}

bool isPowerOfTwo(std::size_t v) { return v != 0 && (v & (v - 1)) == 0; }

std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

}  // namespace

namespace zefra_alloc {

std::size_t liveBytes() {
  const std::int64_t live = gLive.load(std::memory_order_relaxed);
  return live > 0 ? static_cast<std::size_t>(live) : 0;
}

void resetPeak() {
  const std::int64_t live = gLive.load(std::memory_order_relaxed);
  gStart.store(live, std::memory_order_relaxed);
  gPeak.store(live, std::memory_order_relaxed);
}

std::size_t peakAboveStart() {
  const std::int64_t above =
      gPeak.load(std::memory_order_relaxed) - gStart.load(std::memory_order_relaxed);
  return above > 0 ? static_cast<std::size_t>(above) : 0;
}

}  // namespace zefra_alloc

// The definitions must be visible in the executable's dynamic symbol table
// (the project builds with hidden visibility by default), so that the C
// and C++ runtimes and the libraries under test bind to them.
#define ZEFRA_ALLOC_EXPORT __attribute__((visibility("default")))

extern "C" {

ZEFRA_ALLOC_EXPORT void* malloc(std::size_t size) noexcept {
  void* block = __libc_malloc(size);
  booked(block);
  return block;
}

ZEFRA_ALLOC_EXPORT void* calloc(std::size_t count, std::size_t size) noexcept {
  void* block = __libc_calloc(count, size);
  booked(block);
  return block;
}

ZEFRA_ALLOC_EXPORT void* realloc(void* block, std::size_t size) noexcept {
  const std::int64_t oldBytes = usableSize(block);
  void* moved = __libc_realloc(block, size);
  if (moved == nullptr) {
    // glibc frees the block for realloc(block, 0); on any other failure
    // the block stays as it was.
    if (block != nullptr && size == 0) {
      released(oldBytes);
    }
    return nullptr;
  }
  if (moved == block) {
    // Resized in place: only the difference changes hands.
    const std::int64_t delta = usableSize(moved) - oldBytes;
    if (delta > 0) {
      bookedBytes(delta);
    } else {
      released(-delta);
    }
    return moved;
  }
  // A moved block briefly coexists with the old one: book the new block
  // before giving back the old, so the peak sees both.
  booked(moved);
  released(oldBytes);
  return moved;
}

ZEFRA_ALLOC_EXPORT void free(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  released(usableSize(block));
  __libc_free(block);
}

ZEFRA_ALLOC_EXPORT void* memalign(std::size_t alignment, std::size_t size) noexcept {
  void* block = __libc_memalign(alignment, size);
  booked(block);
  return block;
}

ZEFRA_ALLOC_EXPORT void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  if (!isPowerOfTwo(alignment)) {
    errno = EINVAL;
    return nullptr;
  }
  return memalign(alignment, size);
}

ZEFRA_ALLOC_EXPORT int posix_memalign(void** out, std::size_t alignment,
                                      std::size_t size) noexcept {
  if (!isPowerOfTwo(alignment) || alignment % sizeof(void*) != 0) {
    return EINVAL;
  }
  void* block = __libc_memalign(alignment, size);
  if (block == nullptr) {
    return ENOMEM;
  }
  booked(block);
  *out = block;
  return 0;
}

ZEFRA_ALLOC_EXPORT void* valloc(std::size_t size) noexcept {
  return memalign(pageSize(), size);
}

ZEFRA_ALLOC_EXPORT void* pvalloc(std::size_t size) noexcept {
  const std::size_t page = pageSize();
  const std::size_t rounded = size == 0 ? page : (size + page - 1) / page * page;
  if (rounded < size) {
    errno = ENOMEM;
    return nullptr;
  }
  return memalign(page, rounded);
}

// glibc's own reallocarray does not go through realloc: replaced too, so
// that its blocks are booked like every other.
ZEFRA_ALLOC_EXPORT void* reallocarray(void* block, std::size_t count, std::size_t size) noexcept {
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    errno = ENOMEM;
    return nullptr;
  }
  return realloc(block, bytes);
}

}  // extern "C"
