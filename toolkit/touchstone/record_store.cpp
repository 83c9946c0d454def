#include "touchstone/record_store.h"

#include <algorithm>
#include <cstring>

namespace zefra::tk {
namespace {

constexpr std::size_t kBlockDoubles = (std::size_t{1} << 20) / sizeof(double);

}  // namespace

RecordStore::RecordStore(std::size_t recordSize)
    : recordSize_(recordSize),
      perBlock_(recordSize == 0 ? 1 : std::max<std::size_t>(1, kBlockDoubles / recordSize)) {}

double* RecordStore::append() {
  const auto index = static_cast<std::size_t>(records_);
  const std::size_t block = index / perBlock_;
  if (block == blocks_.size()) {
    blocks_.push_back(std::make_unique_for_overwrite<double[]>(perBlock_ * recordSize_));
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
