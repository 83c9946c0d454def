// CallFrame: the wrapping every export performs around its one kernel call.
//
//   1. each caller input buffer is copied, in index order, into a fresh
//      record of the export's shape (column {n, 1} or row {1, n});
//   2. each output gets a fresh zero-filled record;
//   3. the kernel runs on the records;
//   4. the result is copied back into the caller's buffer;
//   5. every record is freed, in creation order, when the frame goes away.
//
// The caller's buffers are never written (except the outputs in step 4) and
// never kept.  Counts are not validated: a negative count becomes a negative
// extent, for which no storage is allocated and nothing is copied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "frame/dyn_array.h"

namespace zefra {

class CallFrame {
 public:
  CallFrame() = default;
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;
  ~CallFrame();

  // Step 1: a copy of n caller values as a column {n, 1} or a row {1, n}.
  DynArray* column(const double* values, int32_t n);
  DynArray* row(const double* values, int32_t n);
  DynArray* complexColumn(const Complex* values, int32_t n);
  DynArray* complexRow(const Complex* values, int32_t n);

  // Step 1 without the copy, for kernels that only read their input: a
  // column {n, 1} record that borrows the caller's buffer (ownsData false).
  // Any growth would replace the borrowed storage by an owned copy, so the
  // caller's buffer is still never written.
  const DynArray* borrowedColumn(const double* values, int32_t n);
  const DynArray* borrowedColumn(const Complex* values, int32_t n);
  const DynArray* borrowedRow(const double* values, int32_t n);
  const DynArray* borrowedRow(const Complex* values, int32_t n);

  // Steps 2 and 4 without the copy: an empty {0, 1} output record whose
  // storage is the caller's buffer of `capacity` doubles, for kernels that
  // size their result to at most that many elements and write every one of
  // them in index order (they never read the zeros a fresh record holds).
  // The kernel then writes the caller's buffer directly.
  DynArray* borrowedOutput(double* values, int32_t capacity);
  DynArray* borrowedOutput(Complex* values, int32_t capacity);

  // Step 2: a zero-filled output record of shape {rows, cols}.
  DynArray* doubleOutput(int32_t rows, int32_t cols);
  DynArray* complexOutput(int32_t rows, int32_t cols);

 private:
  static constexpr int kMaxRecords = 16;

  DynArray* create(int32_t rows, int32_t cols, int32_t elementSize);
  template <typename T>
  DynArray* copyIn(const T* values, int32_t rows, int32_t cols, int32_t n);
  template <typename T>
  DynArray* borrow(T* values, int32_t rows, int32_t capacity);

  DynArray* records_[kMaxRecords] = {};
  int count_ = 0;
};

// True when the byte ranges [a, a + aBytes) and [b, b + bBytes) intersect.
bool sharesMemory(const void* a, size_t aBytes, const void* b, size_t bBytes);

// A caller buffer as a byte range.
struct Span {
  const void* start;
  size_t bytes;
};

template <typename T>
Span spanOf(const T* values, int32_t count) {
  return {values, count > 0 ? static_cast<size_t>(count) * sizeof(T) : 0};
}

// True when an output shares memory with another output or with an input:
// then an export must not let its kernel write the caller's outputs
// directly, because a later read could see an earlier write.
bool anyShared(std::initializer_list<Span> outputs, std::initializer_list<Span> inputs);

// Step 4 for the exports that hand back as many elements as the result's
// first extent holds (a {1, k} result therefore gives one element).
void copyFirstExtentOut(const DynArray* result, double* out);
void copyFirstExtentOut(const DynArray* result, Complex* out);

// Step 4 for the exports that take their point count from the caller.
void copyCountOut(const DynArray* result, double* out, int32_t count);
void copyCountOut(const DynArray* result, Complex* out, int32_t count);

}  // namespace zefra
