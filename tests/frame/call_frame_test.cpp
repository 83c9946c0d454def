#include "frame/call_frame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "frame/constants.h"

namespace zefra {
namespace {

TEST(CallFrame, ColumnCopiesCallerValuesInOrder) {
  const std::vector<double> x = {2.5, -1.0, 7.0};
  CallFrame frame;
  DynArray* column = frame.column(x.data(), 3);
  EXPECT_EQ(column->numDims, 2);
  EXPECT_EQ(column->size[0], 3);
  EXPECT_EQ(column->size[1], 1);
  EXPECT_TRUE(column->ownsData);
  EXPECT_NE(column->data, static_cast<const void*>(x.data()));
  EXPECT_EQ(elementsOf<double>(column)[0], 2.5);
  EXPECT_EQ(elementsOf<double>(column)[1], -1.0);
  EXPECT_EQ(elementsOf<double>(column)[2], 7.0);
}

TEST(CallFrame, RowHasOneRowAndNColumns) {
  const std::vector<Complex> z = {{1.0, 2.0}, {3.0, 4.0}};
  CallFrame frame;
  DynArray* row = frame.complexRow(z.data(), 2);
  EXPECT_EQ(row->size[0], 1);
  EXPECT_EQ(row->size[1], 2);
  EXPECT_EQ(elementsOf<Complex>(row)[1].im, 4.0);
}

TEST(CallFrame, OutputsStartZeroFilled) {
  CallFrame frame;
  DynArray* out = frame.doubleOutput(5, 1);
  ASSERT_GE(out->capacity, 5);
  for (int i = 0; i < out->capacity; ++i) {
    EXPECT_EQ(elementsOf<double>(out)[i], 0.0);
  }
}

TEST(CallFrame, CountZeroCopiesNothingIn) {
  CallFrame frame;
  DynArray* column = frame.column(nullptr, 0);  // the pointer is never read
  EXPECT_EQ(column->size[0], 0);
  EXPECT_EQ(column->data, nullptr);
  EXPECT_EQ(column->capacity, 0);
}

TEST(CallFrame, NegativeCountBecomesNegativeExtentWithoutStorage) {
  CallFrame frame;
  DynArray* column = frame.column(nullptr, -4);
  EXPECT_EQ(column->size[0], -4);
  EXPECT_EQ(column->data, nullptr);
}

TEST(CopyOut, EmptyFirstExtentWritesNothing) {
  CallFrame frame;
  DynArray* out = frame.doubleOutput(0, 1);
  double target[2] = {9.0, 9.0};
  copyFirstExtentOut(out, target);
  EXPECT_EQ(target[0], 9.0);
  EXPECT_EQ(target[1], 9.0);
}

TEST(CopyOut, RowResultHandsBackOnlyItsFirstElement) {
  // A kernel that leaves its result as a row {1, k} hands back one element:
  // only the first extent counts.
  CallFrame frame;
  DynArray* out = frame.doubleOutput(1, 3);
  elementsOf<double>(out)[0] = 1.0;
  elementsOf<double>(out)[1] = -6.0;
  elementsOf<double>(out)[2] = 11.0;
  double target[3] = {5.0, 5.0, 5.0};
  copyFirstExtentOut(out, target);
  EXPECT_EQ(target[0], 1.0);
  EXPECT_EQ(target[1], 5.0);
  EXPECT_EQ(target[2], 5.0);
}

TEST(CopyOut, CountFormCopiesExactlyThatManyComplexValues) {
  CallFrame frame;
  DynArray* out = frame.complexOutput(1, 4);
  elementsOf<Complex>(out)[0] = {1.0, -1.0};
  elementsOf<Complex>(out)[1] = {2.0, -2.0};
  Complex target[3] = {{7.0, 7.0}, {7.0, 7.0}, {7.0, 7.0}};
  copyCountOut(out, target, 2);
  EXPECT_EQ(target[0].im, -1.0);
  EXPECT_EQ(target[1].re, 2.0);
  EXPECT_EQ(target[2].re, 7.0);
}

TEST(Constants, PiIsArcCosineOfMinusOne) {
  EXPECT_EQ(kPi, std::acos(-1.0));
  EXPECT_EQ(kPi, 3.141592653589793);
}

TEST(Constants, MarkersHoldZero) {
  EXPECT_EQ(kNaN, 0.0);
  EXPECT_EQ(kInf, 0.0);
  EXPECT_EQ(kMinusInf, 0.0);
  EXPECT_FALSE(std::signbit(kNaN));
  EXPECT_FALSE(std::signbit(kInf));
  EXPECT_FALSE(std::signbit(kMinusInf));
}

}  // namespace
}  // namespace zefra
