#include "frame/call_frame.h"

#include <cstdlib>
#include <cstring>

namespace zefra {
namespace {

bool overlaps(const Span& a, const Span& b) {
  if (a.bytes == 0 || b.bytes == 0) {
    return false;
  }
  const auto startA = reinterpret_cast<uintptr_t>(a.start);
  const auto startB = reinterpret_cast<uintptr_t>(b.start);
  return startA < startB + b.bytes && startB < startA + a.bytes;
}

}  // namespace

CallFrame::CallFrame(std::initializer_list<Span> outputs) {
  if (outputs.size() > kMaxOutputs) {
    std::abort();  // an export writing more buffers than any has
  }
  for (const Span& s : outputs) {
    outputs_[outputCount_++] = s;
  }
}

CallFrame::~CallFrame() {
  for (int i = 0; i < count_; ++i) {
    dynArrayFree(records_[i]);
  }
}

DynArray* CallFrame::create(int32_t rows, int32_t cols, size_t elementSize) {
  if (count_ == kMaxRecords) {
    std::abort();  // an export creating more records than any needs
  }
  DynArray* array = dynArrayInit(2);
  array->size[0] = rows;
  array->size[1] = cols;
  ensureCapacity(array, 1, static_cast<int32_t>(elementSize));
  records_[count_++] = array;
  return array;
}

DynArray* CallFrame::copy(const void* values, int32_t rows, int32_t cols, int32_t n,
                          size_t elementSize) {
  DynArray* array = create(rows, cols, elementSize);
  if (n > 0) {
    std::memcpy(array->data, values, static_cast<size_t>(n) * elementSize);
  }
  return array;
}

const DynArray* CallFrame::wrap(const void* values, int32_t rows, int32_t cols, int32_t n,
                                size_t elementSize) {
  const Span span = {values, n > 0 ? static_cast<size_t>(n) * elementSize : 0};
  for (int i = 0; i < outputCount_; ++i) {
    if (overlaps(span, outputs_[i])) {
      return copy(values, rows, cols, n, elementSize);
    }
  }
  DynArray* array = create(0, 1, elementSize);  // no storage of its own
  array->size[0] = rows;
  array->size[1] = cols;
  if (n > 0) {
    array->data = const_cast<void*>(values);
    array->capacity = n;
    array->ownsData = false;
  }
  return array;
}

DynArray* CallFrame::makeOutput(void* values, int32_t capacity, size_t elementSize) {
  const Span span = {values, capacity > 0 ? static_cast<size_t>(capacity) * elementSize : 0};
  // The output's own entry is the first one equal to it; any other entry it
  // meets (an identical buffer passed twice included) makes it staged.
  bool self = false;
  for (int i = 0; i < outputCount_; ++i) {
    const bool same = outputs_[i].start == span.start && outputs_[i].bytes == span.bytes;
    if (same && !self) {
      self = true;
    } else if (overlaps(span, outputs_[i])) {
      return create(0, 1, elementSize);
    }
  }
  DynArray* array = create(0, 1, elementSize);
  if (capacity > 0) {
    array->data = values;
    array->capacity = capacity;
    array->ownsData = false;
  }
  return array;
}

}  // namespace zefra
