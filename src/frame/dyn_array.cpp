#include "frame/dyn_array.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace zefra {
namespace {

constexpr int32_t kMinimumCapacity = 16;
constexpr int32_t kSaturationThreshold = 0x3FFFFFFF;
constexpr int32_t kLargestCapacity = 0x7FFFFFFF;

// 32-bit two's-complement product without signed-overflow undefined
// behaviour: the unsigned product wraps, the conversion back is modular.
int32_t wrappingMultiply(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// The heap is not expected to fail; when it does there is nothing sensible a
// numeric kernel without an error channel can do, so the process stops
// instead of writing through a null pointer.
void* checkedAllocation(void* block) {
  if (block == nullptr) {
    std::abort();
  }
  return block;
}

// Shared tail of every growth: allocate zeroed storage, keep the first
// `copyBytes` bytes of the old storage, release the old storage if owned.
void replaceStorage(DynArray* array, int32_t newCapacity, int32_t elementSize,
                    int64_t copyBytes) {
  void* grown = checkedAllocation(
      std::calloc(static_cast<size_t>(newCapacity), static_cast<size_t>(elementSize)));
  if (array->data != nullptr) {
    // Never read past the old storage, whatever oldNumel claims.
    const int64_t oldBytes = static_cast<int64_t>(array->capacity) * elementSize;
    const int64_t bytes = std::min(copyBytes, oldBytes);
    if (bytes > 0) {
      std::memcpy(grown, array->data, static_cast<size_t>(bytes));
    }
    if (array->ownsData) {
      std::free(array->data);
    }
  }
  array->data = grown;
  array->capacity = newCapacity;
  array->ownsData = true;
}

// Sets the extents of a two-dimensional record to {rows, columns} and
// returns the element count it had before.
int32_t setExtents(DynArray* array, int32_t rows, int32_t columns) {
  const int32_t before = numel(array);
  array->size[0] = rows;
  array->size[1] = columns;
  return before;
}

void ensureCapacityTyped(DynArray* array, int32_t oldNumel, int32_t elementSize) {
  const int32_t newNumel = numel(array);
  if (newNumel <= array->capacity) {
    return;
  }
  const int64_t kept = std::max<int32_t>(oldNumel, 0);
  replaceStorage(array, grownCapacitySaturating(array->capacity, newNumel), elementSize,
                 kept * elementSize);
}

}  // namespace

DynArray* dynArrayInit(int32_t numDims) {
  auto* array = static_cast<DynArray*>(checkedAllocation(std::malloc(sizeof(DynArray))));
  array->numDims = numDims;
  array->data = nullptr;
  array->capacity = 0;
  array->ownsData = true;
  const size_t dims = numDims > 0 ? static_cast<size_t>(numDims) : 0;
  array->size = static_cast<int32_t*>(std::malloc(dims * sizeof(int32_t) + (dims == 0 ? 1 : 0)));
  checkedAllocation(array->size);
  for (size_t d = 0; d < dims; ++d) {
    array->size[d] = 0;
  }
  return array;
}

void dynArrayFree(DynArray* array) {
  if (array == nullptr) {
    return;
  }
  if (array->data != nullptr && array->ownsData) {
    std::free(array->data);
  }
  std::free(array->size);
  std::free(array);
}

int32_t numel(const DynArray* array) {
  int32_t count = 1;
  for (int32_t d = 0; d < array->numDims; ++d) {
    count = wrappingMultiply(count, array->size[d]);
  }
  return count;
}

int32_t grownCapacityGeneric(int32_t capacity, int32_t newNumel) {
  int32_t newCapacity = capacity < kMinimumCapacity ? kMinimumCapacity : capacity;
  while (newCapacity < newNumel) {
    // Plain doubling.  Past 2^30 elements it would wrap to a non-positive
    // count and never reach newNumel; such a record cannot be represented,
    // so the process stops rather than spin or allocate a wrong size.
    if (newCapacity > kSaturationThreshold) {
      std::abort();
    }
    newCapacity *= 2;
  }
  return newCapacity;
}

int32_t grownCapacitySaturating(int32_t capacity, int32_t newNumel) {
  int32_t newCapacity = capacity < kMinimumCapacity ? kMinimumCapacity : capacity;
  while (newCapacity < newNumel) {
    newCapacity = newCapacity > kSaturationThreshold ? kLargestCapacity : newCapacity * 2;
  }
  return newCapacity;
}

void ensureCapacity(DynArray* array, int32_t oldNumel, int32_t elementSize) {
  const int32_t newNumel = numel(array);
  if (newNumel <= array->capacity) {
    return;
  }
  const int32_t newCapacity = grownCapacityGeneric(array->capacity, newNumel);
  // The generic form sizes its copy in 32-bit arithmetic.  A product that
  // wraps to a negative count would be a read of gigabytes past the old
  // storage; stop instead.
  const int32_t copyBytes = wrappingMultiply(oldNumel, elementSize);
  if (array->data != nullptr && copyBytes < 0) {
    std::abort();
  }
  replaceStorage(array, newCapacity, elementSize, copyBytes);
}

void ensureCapacityComplex(DynArray* array, int32_t oldNumel) {
  ensureCapacityTyped(array, oldNumel, static_cast<int32_t>(sizeof(Complex)));
}

void ensureCapacityDouble(DynArray* array, int32_t oldNumel) {
  ensureCapacityTyped(array, oldNumel, static_cast<int32_t>(sizeof(double)));
}

template <>
void reshape<double>(DynArray* array, int32_t rows, int32_t columns) {
  ensureCapacityDouble(array, setExtents(array, rows, columns));
}

template <>
void reshape<Complex>(DynArray* array, int32_t rows, int32_t columns) {
  ensureCapacityComplex(array, setExtents(array, rows, columns));
}

template <typename T>
void reshapeGeneric(DynArray* array, int32_t rows, int32_t columns) {
  ensureCapacity(array, setExtents(array, rows, columns), static_cast<int32_t>(sizeof(T)));
}

template void reshapeGeneric<double>(DynArray*, int32_t, int32_t);
template void reshapeGeneric<Complex>(DynArray*, int32_t, int32_t);

}  // namespace zefra
