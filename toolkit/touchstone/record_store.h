// The S-parameters of a network as they are read: fixed-size records (one
// frequency's matrix) in blocks of about 1 MiB, so that growing never
// copies what is stored and never needs twice the memory; and handed over
// block by block, each freed once copied, so that the caller's array and
// the store never both exist whole.  The blocks are pages of their own
// (mmap, VirtualAlloc), given back to the system when freed: blocks of the
// C heap of this size may stay in the process once freed (glibc raises its
// mmap threshold after such frees), which would keep both copies resident.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zefra::tk {

class RecordStore {
 public:
  // Records of `recordSize` doubles.
  explicit RecordStore(std::size_t recordSize = 0);

  // Room for one more record at the end (uninitialised).
  double* append();
  int64_t records() const { return records_; }

  // Copies every record into out[records * recordSize], in order, freeing
  // the blocks as it goes; the store is then empty.  Returns the number of
  // doubles written.
  int64_t take(double* out);

 private:
  std::size_t recordSize_;
  std::size_t perBlock_;
  struct Pages {
    void operator()(double* block) const noexcept;
    std::size_t bytes;
  };
  std::vector<std::unique_ptr<double[], Pages>> blocks_;
  int64_t records_ = 0;
};

}  // namespace zefra::tk
