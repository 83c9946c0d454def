// CallFrame: the wrapping every export performs around its one kernel call.
//
// One rule for the caller's buffers: the kernel reads its inputs and writes
// its outputs in the caller's own memory.  An input record borrows the
// caller's buffer (ownsData false: any growth would first make an owned
// copy, so the caller's input is never written); an output record has the
// caller's buffer as its storage, sized and filled by the kernel.  The
// frame is told up front which caller buffers the kernel writes, and two
// cases of shared memory are resolved by copies:
//   - an input that an output overlaps is copied before the kernel runs, so
//     the kernel never reads a value it has already overwritten;
//   - an output that overlaps another output is staged in a record of the
//     library's own and delivered after the kernel, in parameter order, as
//     if each output had been written whole in turn.
// Records the frame creates are freed, in creation order, when it goes
// away.  Counts are not validated: a negative count becomes a negative
// extent, for which no storage is allocated and nothing is copied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "frame/dyn_array.h"

namespace zefra {

// A caller buffer as a byte range.
struct Span {
  const void* start;
  size_t bytes;
};

template <typename T>
Span spanOf(const T* values, int64_t count) {
  return {values, count > 0 ? static_cast<size_t>(count) * sizeof(T) : 0};
}

class CallFrame {
 public:
  // `outputs`: every caller buffer the kernel writes, in parameter order.
  explicit CallFrame(std::initializer_list<Span> outputs = {});
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;
  ~CallFrame();

  // An input of n caller values as a column {n, 1} or a row {1, n}: the
  // caller's buffer, or a copy of it when an output overlaps it.
  template <typename T>
  const DynArray* input(const T* values, int32_t n) {
    return wrap(values, n, 1, n, sizeof(T));
  }
  template <typename T>
  const DynArray* inputRow(const T* values, int32_t n) {
    return wrap(values, 1, n, n, sizeof(T));
  }

  // An empty record for the output `values` of `capacity` elements: the
  // caller's buffer, or a fresh record when the output overlaps another
  // one.  Either way the kernel sizes it; deliver() completes it.
  template <typename T>
  DynArray* output(T* values, int32_t capacity) {
    return makeOutput(values, capacity, sizeof(T));
  }

  // A copy of n caller values as a column, for kernels that work on their
  // input in place; the caller's buffer stays untouched.
  DynArray* column(const double* values, int32_t n) {
    return copy(values, n, 1, n, sizeof(double));
  }

  // A zero-filled record of the library's own, {rows, cols}, for results
  // the kernel shapes itself and the export hands back afterwards.
  DynArray* doubleOutput(int32_t rows, int32_t cols) { return create(rows, cols, sizeof(double)); }

 private:
  static constexpr int kMaxRecords = 16;
  static constexpr int kMaxOutputs = 4;

  DynArray* create(int32_t rows, int32_t cols, size_t elementSize);
  DynArray* copy(const void* values, int32_t rows, int32_t cols, int32_t n, size_t elementSize);
  const DynArray* wrap(const void* values, int32_t rows, int32_t cols, int32_t n,
                       size_t elementSize);
  DynArray* makeOutput(void* values, int32_t capacity, size_t elementSize);

  Span outputs_[kMaxOutputs] = {};
  int outputCount_ = 0;
  DynArray* records_[kMaxRecords] = {};
  int count_ = 0;
};

// Hands `count` elements of a result back to the caller's buffer `out`,
// unless the kernel wrote them there already (the record still borrows
// `out`).
template <typename T>
void deliver(const DynArray* result, T* out, int32_t count) {
  if (result->data == out && !result->ownsData) {
    return;
  }
  const T* values = elementsOf<T>(result);
  for (int32_t i = 0; i < count; ++i) {
    out[i] = values[i];
  }
}

}  // namespace zefra
