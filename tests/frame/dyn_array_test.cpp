#include "frame/dyn_array.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace zefra {
namespace {

// A {rows, 1} record of doubles grown from empty, as kernels create them.
DynArrayPtr doubleColumn(int32_t rows) {
  DynArrayPtr array(dynArrayInit(2));
  array->size[0] = rows;
  array->size[1] = 1;
  ensureCapacity(array.get(), 0, 8);
  return array;
}

// Sets the first extent and grows, keeping the elements counted before.
void resize(DynArray* array, int32_t rows) {
  const int32_t before = numel(array);
  array->size[0] = rows;
  ensureCapacity(array, before, 8);
}

TEST(DynArrayInit, CreatesEmptyOwningRecord) {
  DynArrayPtr array(dynArrayInit(2));
  EXPECT_EQ(array->numDims, 2);
  EXPECT_EQ(array->data, nullptr);
  EXPECT_EQ(array->capacity, 0);
  EXPECT_TRUE(array->ownsData);
  EXPECT_EQ(array->size[0], 0);
  EXPECT_EQ(array->size[1], 0);
  EXPECT_EQ(numel(array.get()), 0);
}

TEST(DynArrayNumel, ZeroDimensionsCountOneElement) {
  DynArrayPtr array(dynArrayInit(0));
  EXPECT_EQ(numel(array.get()), 1);
}

TEST(DynArrayNumel, IsProductOfExtents) {
  DynArrayPtr array(dynArrayInit(2));
  array->size[0] = 7;
  array->size[1] = 3;
  EXPECT_EQ(numel(array.get()), 21);
}

TEST(DynArrayNumel, WrapsLikeThirtyTwoBitArithmetic) {
  DynArrayPtr array(dynArrayInit(2));
  array->size[0] = 65536;
  array->size[1] = 65537;  // 2^32 + 65536 wraps to 65536
  EXPECT_EQ(numel(array.get()), 65536);
  array->size[1] = 32768;  // 2^31 wraps to the most negative count
  EXPECT_EQ(numel(array.get()), INT32_MIN);
}

TEST(EnsureCapacity, GrowingEmptyRecordToOneElementAllocatesSixteenZeros) {
  DynArrayPtr array = doubleColumn(1);
  ASSERT_NE(array->data, nullptr);
  EXPECT_EQ(array->capacity, 16);
  EXPECT_TRUE(array->ownsData);
  const double* values = elementsOf<double>(array.get());
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(values[i], 0.0) << "element " << i;
  }
}

TEST(EnsureCapacity, CapacitySixteenToSeventeenDoublesToThirtyTwo) {
  DynArrayPtr array = doubleColumn(16);
  ASSERT_EQ(array->capacity, 16);
  resize(array.get(), 17);
  EXPECT_EQ(array->capacity, 32);
}

TEST(EnsureCapacity, CapacitySixteenToHundredDoublesThreeTimes) {
  DynArrayPtr array = doubleColumn(16);
  resize(array.get(), 100);
  EXPECT_EQ(array->capacity, 128);
}

TEST(EnsureCapacity, MinimumSixteenAppliesOnlyBelowSixteen) {
  DynArrayPtr array(dynArrayInit(1));
  array->size[0] = 20;
  ensureCapacity(array.get(), 0, 8);
  // A capacity of exactly 20 is reached by setting it directly: growth from
  // below 16 never produces it.
  array->capacity = 20;
  resize(array.get(), 30);
  EXPECT_EQ(array->capacity, 40);
  EXPECT_EQ(grownCapacityGeneric(20, 30), 40);
  EXPECT_EQ(grownCapacitySaturating(20, 30), 40);
}

TEST(EnsureCapacity, ShrinkingLeavesStorageUntouched) {
  DynArrayPtr array = doubleColumn(20);
  double* values = elementsOf<double>(array.get());
  for (int i = 0; i < 20; ++i) {
    values[i] = i + 1.0;
  }
  void* const data = array->data;
  resize(array.get(), 5);
  EXPECT_EQ(array->data, data);
  EXPECT_EQ(array->capacity, 32);
  EXPECT_TRUE(array->ownsData);
  // Elements beyond the new end are not cleared.
  EXPECT_EQ(values[19], 20.0);
}

TEST(EnsureCapacity, ResizingToExactCapacityLeavesStorageUntouched) {
  DynArrayPtr array = doubleColumn(3);
  void* const data = array->data;
  resize(array.get(), 16);
  EXPECT_EQ(array->data, data);
  EXPECT_EQ(array->capacity, 16);
  EXPECT_TRUE(array->ownsData);
}

TEST(EnsureCapacity, GrowthKeepsOldElementsAndZeroFillsTheRest) {
  DynArrayPtr array = doubleColumn(10);
  double* values = elementsOf<double>(array.get());
  for (int i = 0; i < 10; ++i) {
    values[i] = -1.5 * i;
  }
  resize(array.get(), 40);
  ASSERT_EQ(array->capacity, 64);
  values = elementsOf<double>(array.get());
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(values[i], -1.5 * i);
  }
  for (int i = 10; i < 64; ++i) {
    EXPECT_EQ(values[i], 0.0);
  }
}

TEST(EnsureCapacity, BorrowedStorageIsCopiedAndLeftAlone) {
  std::vector<double> borrowed = {1.0, 2.0, 3.0, 4.0};
  DynArrayPtr array(dynArrayInit(2));
  array->data = borrowed.data();
  array->capacity = 4;
  array->ownsData = false;
  array->size[0] = 4;
  array->size[1] = 1;
  array->size[0] = 6;
  ensureCapacity(array.get(), 4, 8);
  EXPECT_TRUE(array->ownsData);
  EXPECT_NE(array->data, static_cast<void*>(borrowed.data()));
  EXPECT_EQ(array->capacity, 16);
  const double* values = elementsOf<double>(array.get());
  EXPECT_EQ(values[0], 1.0);
  EXPECT_EQ(values[3], 4.0);
  EXPECT_EQ(values[4], 0.0);
  EXPECT_EQ(borrowed, (std::vector<double>{1.0, 2.0, 3.0, 4.0}));
}

TEST(EnsureCapacity, NegativeExtentAllocatesNothing) {
  DynArrayPtr array(dynArrayInit(2));
  array->size[0] = -5;
  array->size[1] = 1;
  ensureCapacity(array.get(), 1, 8);
  EXPECT_EQ(array->data, nullptr);
  EXPECT_EQ(array->capacity, 0);
  ensureCapacityDouble(array.get(), 1);
  EXPECT_EQ(array->data, nullptr);
}

TEST(EnsureCapacityTyped, ElementSizesAreComplexAndDouble) {
  for (auto grow : {ensureCapacityComplex, ensureCapacityDouble}) {
    DynArrayPtr array(dynArrayInit(1));
    array->size[0] = 3;
    grow(array.get(), 0);
    ASSERT_EQ(array->capacity, 16);
    array->size[0] = 16;
    grow(array.get(), 3);
    EXPECT_EQ(array->capacity, 16);
  }
  DynArrayPtr complex(dynArrayInit(1));
  complex->size[0] = 2;
  ensureCapacityComplex(complex.get(), 0);
  elementsOf<Complex>(complex.get())[1] = {3.0, -4.0};
  complex->size[0] = 17;
  ensureCapacityComplex(complex.get(), 2);
  EXPECT_EQ(elementsOf<Complex>(complex.get())[1].re, 3.0);
  EXPECT_EQ(elementsOf<Complex>(complex.get())[1].im, -4.0);
  EXPECT_EQ(elementsOf<Complex>(complex.get())[16].im, 0.0);
}

TEST(EnsureCapacityTyped, NegativeOldCountCopiesNothing) {
  DynArrayPtr array(dynArrayInit(1));
  array->size[0] = 4;
  ensureCapacityDouble(array.get(), 0);
  double* values = elementsOf<double>(array.get());
  for (int i = 0; i < 16; ++i) {
    values[i] = 7.0;
  }
  array->size[0] = 20;
  ensureCapacityDouble(array.get(), -3);
  ASSERT_EQ(array->capacity, 32);
  values = elementsOf<double>(array.get());
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(values[i], 0.0) << "element " << i;
  }
}

TEST(EnsureCapacityTyped, DoublingSaturatesAtLargestInt32) {
  EXPECT_EQ(grownCapacitySaturating(1073741823, 1073741824), 2147483646);
  EXPECT_EQ(grownCapacitySaturating(1073741824, 1073741825), 2147483647);
  EXPECT_EQ(grownCapacitySaturating(1500000000, 2147483647), 2147483647);
  EXPECT_EQ(grownCapacitySaturating(16, 2147483647), 2147483647);
}

TEST(EnsureCapacityGeneric, DoublesWithoutClampBelowTheLimit) {
  EXPECT_EQ(grownCapacityGeneric(0, 1), 16);
  EXPECT_EQ(grownCapacityGeneric(16, 17), 32);
  EXPECT_EQ(grownCapacityGeneric(16, 100), 128);
  EXPECT_EQ(grownCapacityGeneric(1073741823, 1073741824), 2147483646);
  EXPECT_EQ(grownCapacityGeneric(536870912, 1073741824), 1073741824);
}

TEST(EnsureCapacityGenericDeathTest, DoublingPastInt32StopsTheProcess) {
  // Plain 32-bit doubling cannot represent the next capacity; instead of
  // wrapping to a negative count the growth stops the process.
  EXPECT_DEATH(grownCapacityGeneric(1073741824, 1073741825), "");
}

}  // namespace
}  // namespace zefra
