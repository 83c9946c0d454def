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

TEST(CallFrame, InputRowHasOneRowAndNColumns) {
  const std::vector<double> x = {1.0, 4.0};
  CallFrame frame;
  const DynArray* row = frame.inputRow(x.data(), 2);
  EXPECT_EQ(row->size[0], 1);
  EXPECT_EQ(row->size[1], 2);
  EXPECT_EQ(elementsOf<double>(row)[1], 4.0);
}

TEST(CallFrame, OutputsStartZeroFilled) {
  CallFrame frame;
  DynArray* out = frame.doubleOutput(5, 1);
  ASSERT_GE(out->capacity, 5);
  for (int i = 0; i < out->capacity; ++i) {
    EXPECT_EQ(elementsOf<double>(out)[i], 0.0);
  }
}

TEST(CallFrame, CopyOfNothingHasNoStorageAndNegativeCountKeepsItsExtent) {
  CallFrame frame;
  const DynArray* empty = frame.column(nullptr, 0);  // the pointer is never read
  EXPECT_EQ(empty->size[0], 0);
  EXPECT_EQ(empty->data, nullptr);
  const DynArray* negative = frame.column(nullptr, -4);
  EXPECT_EQ(negative->size[0], -4);
  EXPECT_EQ(negative->data, nullptr);
}

TEST(CallFrame, InputIsTheCallersBufferWhenNoOutputOverlapsIt) {
  const std::vector<double> x = {1.0, 2.0, 3.0};
  double y[3] = {};
  CallFrame frame({spanOf(y, 3)});
  const DynArray* in = frame.input(x.data(), 3);
  EXPECT_EQ(in->data, static_cast<const void*>(x.data()));
  EXPECT_FALSE(in->ownsData);
  EXPECT_EQ(in->size[0], 3);
  EXPECT_EQ(in->size[1], 1);
}

TEST(CallFrame, InputThatAnOutputOverlapsIsCopied) {
  double buffer[4] = {1.0, 2.0, 3.0, 4.0};
  CallFrame frame({spanOf(buffer + 3, 1)});  // meets the input's last element only
  const DynArray* in = frame.inputRow(buffer, 4);
  EXPECT_NE(in->data, static_cast<const void*>(buffer));
  EXPECT_EQ(in->size[0], 1);
  EXPECT_EQ(in->size[1], 4);
  buffer[3] = -1.0;
  EXPECT_EQ(elementsOf<double>(in)[3], 4.0);
}

TEST(CallFrame, OutputIsTheCallersBufferAndDeliverLeavesIt) {
  double y[2] = {5.0, 5.0};
  CallFrame frame({spanOf(y, 2)});
  DynArray* out = frame.output(y, 2);
  EXPECT_EQ(out->data, static_cast<void*>(y));
  EXPECT_EQ(out->capacity, 2);
  elementsOf<double>(out)[0] = 7.0;
  deliver(out, y, 2);
  EXPECT_EQ(y[0], 7.0);
  EXPECT_EQ(y[1], 5.0);
}

TEST(CallFrame, OutputsThatOverlapAreStagedAndDeliveredInOrder) {
  // Two outputs of two elements, the second starting one element into the
  // first: each is written whole in turn, so the second wins where they meet.
  double buffer[3] = {0.0, 0.0, 0.0};
  CallFrame frame({spanOf(buffer, 2), spanOf(buffer + 1, 2)});
  DynArray* first = frame.output(buffer, 2);
  DynArray* second = frame.output(buffer + 1, 2);
  EXPECT_NE(first->data, static_cast<void*>(buffer));
  reshape<double>(first, 2, 1);
  elementsOf<double>(first)[1] = 1.0;
  reshape<double>(second, 2, 1);
  elementsOf<double>(second)[0] = 2.0;
  elementsOf<double>(second)[1] = 3.0;
  deliver(first, buffer, 2);
  deliver(second, buffer + 1, 2);
  EXPECT_EQ(buffer[0], 0.0);
  EXPECT_EQ(buffer[1], 2.0);
  EXPECT_EQ(buffer[2], 3.0);
}

TEST(CallFrame, TheSameBufferPassedTwiceIsStagedBothTimes) {
  Complex z[1] = {{0.0, 0.0}};
  CallFrame frame({spanOf(z, 1), spanOf(z, 1)});
  EXPECT_NE(frame.output(z, 1)->data, static_cast<void*>(z));
  EXPECT_NE(frame.output(z, 1)->data, static_cast<void*>(z));
}

TEST(Deliver, RowResultHandsBackTheCountAskedFor) {
  // A kernel that leaves its result as a row {1, k} hands back
  // size[0] = 1 element when the export counts by the first extent.
  CallFrame frame;
  DynArray* out = frame.doubleOutput(1, 3);
  elementsOf<double>(out)[0] = 1.0;
  elementsOf<double>(out)[1] = -6.0;
  double target[3] = {5.0, 5.0, 5.0};
  deliver(out, target, out->size[0]);
  EXPECT_EQ(target[0], 1.0);
  EXPECT_EQ(target[1], 5.0);
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
