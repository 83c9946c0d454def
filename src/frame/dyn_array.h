// DynArray: the column-major, N-dimensional array record that every kernel
// works on, with geometric, zero-filling growth.
//
// A record is created empty (all extents 0, no storage), its extents are set,
// storage is grown with ensureCapacity (passing the element count that was
// valid before the extents changed), it is filled and used, then freed once
// by its creator.  Storage grows to at least 16 elements and then doubles, so
// repeated appends cost amortised constant time; new storage is zero-filled.
#pragma once

#include <cstdint>
#include <memory>

#include "frame/complex.h"

namespace zefra {

struct DynArray {
  void* data;          // element storage, column-major; null until grown
  int32_t* size;       // numDims extents; size[0] rows, size[1] columns
  int32_t capacity;    // number of elements `data` has room for
  int32_t numDims;     // 1 or 2 in this library
  bool ownsData;       // false when `data` borrows storage owned elsewhere
};

// Creates a record of `numDims` dimensions, every extent 0, no storage,
// ownsData true.
DynArray* dynArrayInit(int32_t numDims);

// Frees the storage (only when owned), the extents and the record itself.
void dynArrayFree(DynArray* array);

// Product of the extents in signed 32-bit arithmetic, starting from 1 (a
// record with no dimensions counts one element).  The product wraps modulo
// 2^32 exactly as 32-bit two's-complement multiplication does.
int32_t numel(const DynArray* array);

// Makes `data` large enough for the element count the extents now describe,
// keeping the first `oldNumel` elements.  Generic form: plain 32-bit doubling
// and a 32-bit byte count for the copy.
void ensureCapacity(DynArray* array, int32_t oldNumel, int32_t elementSize);

// Typed forms: a negative oldNumel copies nothing, the doubling saturates at
// 2147483647 instead of overflowing, and the copy size is 64-bit.
void ensureCapacityComplex(DynArray* array, int32_t oldNumel);
void ensureCapacityDouble(DynArray* array, int32_t oldNumel);

// The capacity each form chooses when `capacity` must hold `newNumel`
// elements (only meaningful when newNumel > capacity).
int32_t grownCapacityGeneric(int32_t capacity, int32_t newNumel);
int32_t grownCapacitySaturating(int32_t capacity, int32_t newNumel);

template <typename T>
T* elementsOf(const DynArray* array) {
  return static_cast<T*>(array->data);
}

// Resizes a two-dimensional record to {rows, columns} in the calling order
// every kernel follows: note the element count, set the extents, grow with
// that count kept.  `reshape` grows with the typed form for T (saturating
// doubling, negative counts copy nothing); `reshapeGeneric` with the generic
// form and sizeof(T).  Out of line on purpose: the kernels' loops compile
// the same whatever the growth does.
// Defined for T = double and T = Complex.
template <typename T>
void reshape(DynArray* array, int32_t rows, int32_t columns);
template <>
void reshape<double>(DynArray* array, int32_t rows, int32_t columns);
template <>
void reshape<Complex>(DynArray* array, int32_t rows, int32_t columns);
template <typename T>
void reshapeGeneric(DynArray* array, int32_t rows, int32_t columns);

// Element `index` of a double record's storage, which may lie past the
// extents (storage is zero-filled, at least 16 elements once grown), or 0.0
// when the record has no storage there at all.  Used for short coefficient
// lists whose missing entries count as zero.
inline double storedDoubleOrZero(const DynArray* array, int32_t index) {
  return array->data != nullptr && index < array->capacity ? elementsOf<double>(array)[index]
                                                           : 0.0;
}

// Owning handle for records a kernel creates for its own work.
struct DynArrayDeleter {
  void operator()(DynArray* array) const { dynArrayFree(array); }
};
using DynArrayPtr = std::unique_ptr<DynArray, DynArrayDeleter>;

}  // namespace zefra
