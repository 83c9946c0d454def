#include "frame/call_frame.h"

#include <cstdlib>
#include <type_traits>

namespace zefra {
namespace {

template <typename T>
void copyOut(const DynArray* result, T* out, int32_t count) {
  const T* values = elementsOf<T>(result);
  for (int32_t i = 0; i < count; ++i) {
    out[i] = values[i];
  }
}

}  // namespace

CallFrame::~CallFrame() {
  for (int i = 0; i < count_; ++i) {
    dynArrayFree(records_[i]);
  }
}

DynArray* CallFrame::create(int32_t rows, int32_t cols, int32_t elementSize) {
  if (count_ == kMaxRecords) {
    std::abort();  // an export creating more records than any needs
  }
  DynArray* array = dynArrayInit(2);
  array->size[0] = rows;
  array->size[1] = cols;
  ensureCapacity(array, 1, elementSize);
  records_[count_++] = array;
  return array;
}

template <typename T>
DynArray* CallFrame::copyIn(const T* values, int32_t rows, int32_t cols, int32_t n) {
  DynArray* array = create(rows, cols, static_cast<int32_t>(sizeof(T)));
  T* target = elementsOf<T>(array);
  for (int32_t i = 0; i < n; ++i) {
    target[i] = values[i];
  }
  return array;
}

DynArray* CallFrame::column(const double* values, int32_t n) { return copyIn(values, n, 1, n); }
DynArray* CallFrame::row(const double* values, int32_t n) { return copyIn(values, 1, n, n); }
DynArray* CallFrame::complexColumn(const Complex* values, int32_t n) {
  return copyIn(values, n, 1, n);
}
DynArray* CallFrame::complexRow(const Complex* values, int32_t n) {
  return copyIn(values, 1, n, n);
}

template <typename T>
DynArray* CallFrame::borrow(T* values, int32_t rows, int32_t capacity) {
  DynArray* array = create(0, 1, static_cast<int32_t>(sizeof(T)));
  array->size[0] = rows;
  if (capacity > 0) {
    // Read-only inputs are never written: any growth would first replace
    // the borrowed storage by an owned copy.
    array->data = const_cast<std::remove_const_t<T>*>(values);
    array->capacity = capacity;
    array->ownsData = false;
  }
  return array;
}

const DynArray* CallFrame::borrowedColumn(const double* values, int32_t n) {
  return borrow(values, n, n);
}

const DynArray* CallFrame::borrowedColumn(const Complex* values, int32_t n) {
  return borrow(values, n, n);
}

const DynArray* CallFrame::borrowedRow(const double* values, int32_t n) {
  DynArray* array = borrow(values, 1, n);
  array->size[1] = n;
  return array;
}

const DynArray* CallFrame::borrowedRow(const Complex* values, int32_t n) {
  DynArray* array = borrow(values, 1, n);
  array->size[1] = n;
  return array;
}

DynArray* CallFrame::borrowedOutput(double* values, int32_t capacity) {
  return borrow(values, 0, capacity);
}

DynArray* CallFrame::borrowedOutput(Complex* values, int32_t capacity) {
  return borrow(values, 0, capacity);
}

DynArray* CallFrame::doubleOutput(int32_t rows, int32_t cols) {
  return create(rows, cols, static_cast<int32_t>(sizeof(double)));
}

DynArray* CallFrame::complexOutput(int32_t rows, int32_t cols) {
  return create(rows, cols, static_cast<int32_t>(sizeof(Complex)));
}

bool sharesMemory(const void* a, size_t aBytes, const void* b, size_t bBytes) {
  if (aBytes == 0 || bBytes == 0) {
    return false;
  }
  const auto startA = reinterpret_cast<uintptr_t>(a);
  const auto startB = reinterpret_cast<uintptr_t>(b);
  return startA < startB + bBytes && startB < startA + aBytes;
}

bool anyShared(std::initializer_list<Span> outputs, std::initializer_list<Span> inputs) {
  for (auto o = outputs.begin(); o != outputs.end(); ++o) {
    for (auto p = o + 1; p != outputs.end(); ++p) {
      if (sharesMemory(o->start, o->bytes, p->start, p->bytes)) {
        return true;
      }
    }
    for (const Span& i : inputs) {
      if (sharesMemory(o->start, o->bytes, i.start, i.bytes)) {
        return true;
      }
    }
  }
  return false;
}

void copyFirstExtentOut(const DynArray* result, double* out) {
  copyOut(result, out, result->size[0]);
}

void copyFirstExtentOut(const DynArray* result, Complex* out) {
  copyOut(result, out, result->size[0]);
}

void copyCountOut(const DynArray* result, double* out, int32_t count) {
  copyOut(result, out, count);
}

void copyCountOut(const DynArray* result, Complex* out, int32_t count) {
  copyOut(result, out, count);
}

}  // namespace zefra
