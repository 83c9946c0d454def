#include "touchstone/record_store.h"

#include <algorithm>
#include <cstring>
#include <new>

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <sys/mman.h>
#endif

namespace zefra::tk {
namespace {

constexpr std::size_t kBlockDoubles = (std::size_t{1} << 20) / sizeof(double);

double* allocatePages(std::size_t bytes) {
#if defined(_WIN32)
  void* block = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
#else
  // The block is filled at once: its pages are mapped in one call rather
  // than by one fault each.
  int flags = MAP_PRIVATE | MAP_ANONYMOUS;
#  if defined(MAP_POPULATE)
  flags |= MAP_POPULATE;
#  endif
  void* block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
  if (block == MAP_FAILED) {
    throw std::bad_alloc();
  }
#endif
  return static_cast<double*>(block);
}

}  // namespace

void RecordStore::Pages::operator()(double* block) const noexcept {
#if defined(_WIN32)
  VirtualFree(block, 0, MEM_RELEASE);
#else
  munmap(block, bytes);
#endif
}

RecordStore::RecordStore(std::size_t recordSize)
    : recordSize_(recordSize),
      perBlock_(recordSize == 0 ? 1 : std::max<std::size_t>(1, kBlockDoubles / recordSize)) {}

double* RecordStore::append() {
  const auto index = static_cast<std::size_t>(records_);
  const std::size_t block = index / perBlock_;
  if (block == blocks_.size()) {
    const std::size_t bytes = perBlock_ * recordSize_ * sizeof(double);
    if (blocks_.size() == blocks_.capacity()) {
      blocks_.reserve(2 * blocks_.size() + 8);  // before the pages: emplace_back cannot throw
    }
    blocks_.emplace_back(allocatePages(bytes), Pages{bytes});
  }
  ++records_;
  return blocks_[block].get() + (index % perBlock_) * recordSize_;
}

int64_t RecordStore::take(double* out) {
  std::size_t left = static_cast<std::size_t>(records_);
  int64_t written = 0;
  for (auto& block : blocks_) {
    const std::size_t count = std::min(left, perBlock_);
    if (count > 0) {
      std::memcpy(out + written, block.get(), count * recordSize_ * sizeof(double));
    }
    written += static_cast<int64_t>(count * recordSize_);
    left -= count;
    block.reset();
  }
  blocks_.clear();
  records_ = 0;
  return written;
}

}  // namespace zefra::tk
