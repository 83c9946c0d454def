// Floating-tap DFE: window search, tap weights, placement and the rules for
// positions that fall outside the pulse.
//
// Conventions used in the hand-worked values below: a = mainCursor,
// b = maxTapWeight, T = a * b, A = |v|, B = max(|v| - T, 0), the gain of a
// window is (sum A^2) - (sum B^2), a tap weighs min(b, |v / a|) * sign(v) and
// its weight lands in tapWeights one index below its position.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "frame/dyn_array.h"
#include "statistics/floating_dfe.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameBits;

constexpr double kQuietNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kPositionCap = int32_t{1} << 20;

struct Args {
  double searchStart = 1.0;
  double tapsPerGroup = 1.0;
  double groupCount = 1.0;
  double searchEnd = 3.0;
  double maxTapWeight = 0.3;
  double mainCursor = 1.0;
};

struct Placement {
  std::vector<double> positions;
  std::vector<double> weights;
  std::vector<double> limits;
  std::vector<double> residual;  // the pulse record after the call
};

std::vector<double> rowValues(const DynArray* row, int32_t expectedColumns) {
  EXPECT_EQ(row->numDims, 2);
  EXPECT_EQ(row->size[0], 1);
  EXPECT_EQ(row->size[1], expectedColumns);
  const int32_t count = numel(row);
  if (count <= 0) {
    return {};
  }
  const double* values = elementsOf<double>(row);
  return std::vector<double>(values, values + count);
}

int32_t positionCountOf(const Args& args) {
  const double count = std::trunc(args.tapsPerGroup * args.groupCount);
  if (!(count > 0.0)) {
    return 0;
  }
  return count >= kPositionCap ? kPositionCap : static_cast<int32_t>(count);
}

// The kernel wrapped as the export wraps it: a column {n, 1} pulse and three
// empty {0, 0} result records.
Placement place(const std::vector<double>& pulse, const Args& args, int32_t n) {
  CallFrame frame;
  DynArray* pulseRecord = frame.column(pulse.data(), n);
  DynArray* positions = frame.doubleOutput(0, 0);
  DynArray* weights = frame.doubleOutput(0, 0);
  DynArray* limits = frame.doubleOutput(0, 0);
  floatingTapPlacement(pulseRecord, args.searchStart, args.tapsPerGroup, args.groupCount,
                       args.searchEnd, args.maxTapWeight, args.mainCursor, positions, weights,
                       limits);
  const int32_t length = n > 0 ? n : 0;
  Placement result;
  result.positions = rowValues(positions, positionCountOf(args));
  result.weights = rowValues(weights, length);
  result.limits = rowValues(limits, length);
  if (length > 0) {
    const double* values = elementsOf<double>(pulseRecord);
    result.residual.assign(values, values + length);
  }
  return result;
}

Placement place(const std::vector<double>& pulse, const Args& args) {
  return place(pulse, args, static_cast<int32_t>(pulse.size()));
}

::testing::AssertionResult sameValues(const std::vector<double>& expected,
                                      const std::vector<double>& actual) {
  if (expected.size() != actual.size()) {
    return ::testing::AssertionFailure()
           << "expected " << expected.size() << " values, got " << actual.size();
  }
  for (size_t i = 0; i < expected.size(); ++i) {
    if (!sameBits(expected[i], actual[i])) {
      return ::testing::AssertionFailure() << "at index " << i << ": "
                                           << sameBits(expected[i], actual[i]).message();
    }
  }
  return ::testing::AssertionSuccess();
}

const std::vector<double> kExamplePulse = {0.0, 0.5, 0.2, 0.1};

// ---------------------------------------------------------------------------
// Worked example and result records

TEST(FloatingDfe, WorkedExampleChoosesPositionOneAndStoresItsWeightAtIndexZero) {
  // T = 0.3.  Gains over positions 1, 2, 3: 0.25 - 0.2^2 = 0.21,
  // 0.04 - 0 = 0.04, 0.01 - 0 = 0.01, so the window at position 1 wins.
  // Weight min(0.3, 0.5) * 1 = 0.3, stored at index 0; limit at index 1.
  const Placement r = place(kExamplePulse, Args{});
  EXPECT_TRUE(sameValues({1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.3, 0.0, 0.0}, r.limits));
  // The pulse record is the working residual: v - weight * v at position 1.
  EXPECT_TRUE(sameValues({0.0, 0.5 - 0.3 * 0.5, 0.2, 0.1}, r.residual));
}

TEST(FloatingDfe, ResultRecordsAreReshapedAsZeroFilledRows) {
  // Records that arrive with storage full of 7.0 still come back as rows of
  // zeros apart from the values the placement sets.
  DynArrayPtr pulse = testing::doubleRow(kExamplePulse);
  pulse->size[0] = 4;
  pulse->size[1] = 1;
  DynArrayPtr positions = testing::doubleRow(std::vector<double>(20, 7.0));
  DynArrayPtr weights = testing::doubleRow(std::vector<double>(20, 7.0));
  DynArrayPtr limits = testing::doubleRow(std::vector<double>(3, 7.0));
  floatingTapPlacement(pulse.get(), 1.0, 1.0, 2.0, 3.0, 0.3, 1.0, positions.get(),
                       weights.get(), limits.get());
  EXPECT_TRUE(sameValues({1.0, 2.0}, rowValues(positions.get(), 2)));
  EXPECT_TRUE(sameValues({0.3, 0.2, 0.0, 0.0}, rowValues(weights.get(), 4)));
  EXPECT_TRUE(sameValues({0.0, 0.3, 0.3, 0.0}, rowValues(limits.get(), 4)));
}

// ---------------------------------------------------------------------------
// Groups

TEST(FloatingDfeGroups, SingleTapGroupsNeverShareAPosition) {
  // Group 2 sees position 1 as 0.0: gains 0, 0.04, 0.01 -> position 2,
  // weight min(0.3, 0.2) = 0.2 at index 1.  Group 3 takes position 3
  // (weight 0.1 at index 2).
  Args args;
  args.groupCount = 2.0;
  Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({1.0, 2.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.2, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.3, 0.3, 0.0}, r.limits));

  args.groupCount = 3.0;
  r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({1.0, 2.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.2, 0.1, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.3, 0.3, 0.3}, r.limits));
}

TEST(FloatingDfeGroups, GroupAfterTheRangeIsExhaustedFailsAtSearchStartMinusOne) {
  // Group 4 finds every position of [1, 3] at 0.0: no gain, position 0.  Its
  // tap reads pulse[0] = 0 (weight 0) and would store it at index -1, which is
  // skipped; the limit at index 0 is set.
  Args args;
  args.groupCount = 4.0;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 1.0, 2.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.2, 0.1, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.3, 0.3}, r.limits));
}

TEST(FloatingDfeGroups, OverlappingSecondGroupReadsTheResidualOfTheFirst) {
  // L = 2, pulse {0, 0.5, 0.4, 0.2}, T = 0.3.
  // Group 1: window (1,2) gains 0.41 - 0.05 = 0.36, window (2,3) gains
  // 0.20 - 0.01 = 0.19 -> position 1, weights 0.3, 0.3 at indices 0, 1;
  // residual[2] = 0.4 - 0.3 * 0.4 (about 0.28).
  // Group 2: available {0, 0, 0, 0.2}: window (1,2) gains 0, window (2,3)
  // gains 0.04 -> position 2.  Its first tap reads the residual 0.28 (below
  // b, so the weight is 0.28) and overwrites index 1; the second tap weighs
  // 0.2 at index 2.
  const std::vector<double> pulse = {0.0, 0.5, 0.4, 0.2};
  Args args;
  args.tapsPerGroup = 2.0;
  args.groupCount = 2.0;
  const Placement r = place(pulse, args);
  const double residual2 = 0.4 - 0.3 * 0.4;
  ASSERT_LT(residual2, 0.3);
  EXPECT_TRUE(sameValues({1.0, 2.0, 2.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, residual2, 0.2, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.3, 0.3, 0.3}, r.limits));
  EXPECT_TRUE(sameValues(
      {0.0, 0.5 - 0.3 * 0.5, residual2 - residual2 * residual2, 0.2 - 0.2 * 0.2}, r.residual));
}

TEST(FloatingDfeGroups, FractionalGroupCountRunsTruncatedGroupsAndPadsPositionsWithZero) {
  // L = 2, G = 2.7: two groups, trunc(2 * 2.7) = 5 positions, of which the
  // fifth is never set and sorts first as 0.0 (marking limit index 0).
  // Group 1 over {0.5, 0.4, 0.3, 0.2, 0.1} at positions 1..5: gains 0.36,
  // 0.24, 0.13, 0.05 -> position 1 (weights 0.3, 0.3 at 0, 1).
  // Group 2: gains 0, 0.09, 0.13, 0.05 -> position 3: weights
  // min(0.3, 0.3) = 0.3 and 0.2 at indices 2, 3.
  const std::vector<double> pulse = {0.0, 0.5, 0.4, 0.3, 0.2, 0.1};
  Args args;
  args.tapsPerGroup = 2.0;
  args.groupCount = 2.7;
  args.searchEnd = 5.0;
  const Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({0.0, 1.0, 2.0, 3.0, 4.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.3, 0.2, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.3, 0.3, 0.3, 0.0}, r.limits));

  args.groupCount = 2.0;
  const Placement two = place(pulse, args);
  EXPECT_TRUE(sameValues({1.0, 2.0, 3.0, 4.0}, two.positions));
  EXPECT_TRUE(sameValues(two.weights, r.weights));
}

// ---------------------------------------------------------------------------
// Window search

TEST(FloatingDfeTapWindow, TiesKeepTheEarlierWindow) {
  // Positions 1 and 3 both gain 0.25 - 0.04 (identical bits): 1 wins, and
  // the second group takes 3.
  const std::vector<double> pulse = {0.0, 0.5, 0.0, 0.5};
  Args args;
  Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({1.0}, r.positions));
  args.groupCount = 2.0;
  r = place(pulse, args);
  EXPECT_TRUE(sameValues({1.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.3, 0.0}, r.weights));
}

TEST(FloatingDfeTapWindow, ZeroGainIsNeverChosen) {
  // b = 0: T = 0, so B = A and every gain is exactly 0: the search fails
  // and the group goes to searchStart - 1 = 0.
  Args args;
  args.maxTapWeight = 0.0;
  Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));

  // Nothing to cancel inside [1, 3]: the tap still lands on position 0 and
  // changes the residual there, its weight (index -1) is dropped.
  const std::vector<double> pulse = {0.4, 0.0, 0.0, 0.0};
  r = place(pulse, Args{});
  EXPECT_TRUE(sameValues({0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues({0.4 - 0.3 * 0.4, 0.0, 0.0, 0.0}, r.residual));
}

TEST(FloatingDfeTapWindow, GainSubtractsTheTwoSumsEachAccumulatedInOrder) {
  // L = 3 over {1e16, 1, 1}, T = 1: the window sums are
  // A: (1e32 + 1) + 1 = 1e32 and B: ((1e16 - 1)^2 + 0) + 0 = 1e32, so the
  // gain is exactly 0 and the window is not chosen, although the exact
  // gain (2e16 + 1) is large.
  const double big = 1e16;
  ASSERT_EQ((big * big + 1.0) + 1.0, (big - 1.0) * (big - 1.0));
  const std::vector<double> pulse = {0.0, big, 1.0, 1.0};
  Args args;
  args.tapsPerGroup = 3.0;
  args.maxTapWeight = 1.0;
  const Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({0.0, 1.0, 2.0}, r.positions));  // failed: position 0
}

TEST(FloatingDfeTapWindow, NaNCursorIsNeverChosenButPropagatesWhenTapped) {
  // The window holding NaN gains NaN, never above the best: position 2 wins.
  const std::vector<double> pulse = {0.0, kQuietNaN, 0.2};
  Args args;
  args.searchEnd = 2.0;
  Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({2.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.2, 0.0}, r.weights));

  // A failed search (start 2 > end 1) lands on position 1: the NaN cursor
  // is tapped and its weight is NaN (sign(NaN) is NaN).
  args.searchStart = 2.0;
  args.searchEnd = 1.0;
  r = place(pulse, args);
  EXPECT_TRUE(sameValues({1.0}, r.positions));
  EXPECT_TRUE(std::isnan(r.weights[0]));
  EXPECT_TRUE(std::isnan(r.residual[1]));
}

// ---------------------------------------------------------------------------
// Tap weights

TEST(FloatingDfeTapGroup, NegativeCursorsGetNegativeClippedWeights) {
  // Gains over positions 1..3: 0.0025, 0.36 - 0.09 = 0.27, 0.01 -> position
  // 2 with weight min(0.3, 0.6) * -1 = -0.3 at index 1; then position 3
  // with weight 0.1 at index 2.
  const std::vector<double> pulse = {1.0, 0.05, -0.6, 0.1};
  Args args;
  args.groupCount = 2.0;
  Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({2.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, -0.3, 0.1, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.3, 0.3}, r.limits));

  // Below the limit the weight is v / a itself: -0.2.
  r = place({0.0, -0.2}, Args{1.0, 1.0, 1.0, 1.0, 0.3, 1.0});
  EXPECT_TRUE(sameValues({-0.2, 0.0}, r.weights));
}

TEST(FloatingDfeTapGroup, NaNMaxTapWeightLeavesTapsUnclipped) {
  // T = NaN makes every B = fmax(NaN, 0) = 0, so the gain is the window's
  // energy; the weight min(NaN, |0.5 / 2|) takes |v / a| = 0.25.
  Args args;
  args.maxTapWeight = kQuietNaN;
  args.mainCursor = 2.0;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.25, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(std::isnan(r.limits[1]));
  EXPECT_EQ(r.limits[0], 0.0);
}

TEST(FloatingDfeTapGroup, ZeroMainCursorFindsNoGainAndClipsTapsToTheLimit) {
  // a = 0: T = 0, no gain, position 0.  L = 2 taps positions 0 and 1:
  // 0 / 0 is NaN at position 0 (its weight would go to index -1),
  // |0.5 / 0| = inf clips to 0.3 at index 0.
  Args args;
  args.mainCursor = 0.0;
  args.tapsPerGroup = 2.0;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.0, 0.0}, r.limits));
}

TEST(FloatingDfeTapGroup, FractionalPositionTapsIndexZeroTwiceInOrder) {
  // searchStart 0.5 with a negative main cursor (T < 0: no gain) gives
  // p = -0.5.  L = 3 taps trunc(-0.5) = 0, trunc(0.5) = 0, trunc(1.5) = 1:
  // the second tap of index 0 reads the residual left by the first,
  // 0.4 - 0.3 * 0.4 = 0.28 < 0.3, so its weight is 0.28.  Weights go from
  // index trunc(-0.5) - 1 = -1 on: tap 1 lands at index 0.  Positions
  // -0.5, 0.5, 1.5 mark limit indices 0, 0, 1.
  const std::vector<double> pulse = {0.4, 0.0, 0.0, 0.0};
  Args args;
  args.searchStart = 0.5;
  args.tapsPerGroup = 3.0;
  args.mainCursor = -1.0;
  const Placement r = place(pulse, args);
  const double first = 0.4 - 0.3 * 0.4;
  EXPECT_TRUE(sameValues({-0.5, 0.5, 1.5}, r.positions));
  EXPECT_TRUE(sameValues({first, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues({first - first * first, 0.0, 0.0, 0.0}, r.residual));
}

// ---------------------------------------------------------------------------
// Positions outside the pulse and invalid arguments

TEST(FloatingDfeInvalidInput, FailedSearchAtStartZeroGivesPositionMinusOne) {
  // a = -1: T = -0.3 < 0, so no window gains: position -1.  L = 3 taps
  // -1 (outside: skipped), 0 (weight min(0.3, 0.5) = 0.3) and 1 (weight
  // 0.2).  Weights go from index -2 on: only tap 2 lands inside, at index 0.
  const std::vector<double> pulse = {0.5, 0.2, 0.0, 0.0};
  Args args;
  args.searchStart = 0.0;
  args.mainCursor = -1.0;
  args.tapsPerGroup = 3.0;
  Placement r = place(pulse, args);
  EXPECT_TRUE(sameValues({-1.0, 0.0, 1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.2, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues({0.5 - 0.3 * 0.5, 0.2 - 0.2 * 0.2, 0.0, 0.0}, r.residual));

  // One tap at -1: nothing inside the arrays changes.
  args.tapsPerGroup = 1.0;
  r = place(pulse, args);
  EXPECT_TRUE(sameValues({-1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues(pulse, r.residual));

  // A zero pulse searched from 0 fails the same way, group after group.
  args.mainCursor = 1.0;
  args.groupCount = 3.0;
  r = place({0.0, 0.0}, args);
  EXPECT_TRUE(sameValues({-1.0, -1.0, -1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.0}, r.limits));
}

TEST(FloatingDfeInvalidInput, SearchEndBeyondThePulseReadsZeros) {
  for (const double end : {10.0, 1e300, kInfinity}) {
    Args args;
    args.searchEnd = end;
    const Placement r = place(kExamplePulse, args);
    EXPECT_TRUE(sameValues({1.0}, r.positions)) << end;
    EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.weights)) << end;
    EXPECT_TRUE(sameValues({0.0, 0.3, 0.0, 0.0}, r.limits)) << end;
  }
  // A window hanging over the end: (3, 4) gains 0.25 - 0.04 with position 4
  // read as 0.0.  Its taps weigh 0.3 (index 2) and 0 (index 3); the limit
  // for position 4 is dropped.
  Args args;
  args.searchStart = 3.0;
  args.searchEnd = 10.0;
  args.tapsPerGroup = 2.0;
  const Placement r = place({0.0, 0.0, 0.0, 0.5}, args);
  EXPECT_TRUE(sameValues({3.0, 4.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.3, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.3}, r.limits));
}

TEST(FloatingDfeInvalidInput, SearchStartAfterSearchEndFailsAtSearchStartMinusOne) {
  // count = trunc(1 - 3 + 1) = -1: no window, position 2; its tap weighs
  // min(0.3, 0.2) = 0.2 at index 1.
  Args args;
  args.searchStart = 3.0;
  args.searchEnd = 1.0;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({2.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.2, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.3, 0.0}, r.limits));
}

TEST(FloatingDfeInvalidInput, NonPositiveTapsPerGroupPlacesNoTaps) {
  Args args;
  args.groupCount = 3.0;
  for (const double taps : {0.0, -1.0}) {
    args.tapsPerGroup = taps;
    const Placement r = place(kExamplePulse, args);
    EXPECT_TRUE(r.positions.empty()) << taps;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights)) << taps;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits)) << taps;
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual)) << taps;
  }
  // L = -1, G = -2: trunc(L * G) = 2 positions, no group: two zeros, which
  // mark limit index 0.
  args.tapsPerGroup = -1.0;
  args.groupCount = -2.0;
  Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));

  // 0 < L < 1: windows hold no taps (every search fails at position 0) and
  // blocks are empty; only the zero padding of trunc(0.5 * 4) = 2 remains.
  args.tapsPerGroup = 0.5;
  args.groupCount = 4.0;
  r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));
}

TEST(FloatingDfeInvalidInput, FractionalTapsPerGroupUsesWholeWindowsAndCeilTaps) {
  // L = 1.5: windows hold floor(1.5) = 1 position, so the search is the
  // single-tap one (position 1).  The block 1 .. 1.5 is {1}; trunc(1.5 * 2)
  // = 3 positions for two groups, blocks at indices 0 and trunc(1.5) = 1.
  // Taps run while k < 1.5 (positions 1 and 2), but weights are copied for
  // trunc(1.5) - trunc(1) + 1 = 1 entry.
  // Group 2: the taps of group 1 cleared positions 1 and 2, so position 3
  // wins: taps 3 and 4 (outside the pulse), weight 0.1 at index 2.
  Args args;
  args.tapsPerGroup = 1.5;
  args.groupCount = 2.0;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 1.0, 3.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.1, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.0, 0.3}, r.limits));
  EXPECT_TRUE(sameValues({0.0, 0.5 - 0.3 * 0.5, 0.2 - 0.2 * 0.2, 0.1 - 0.1 * 0.1}, r.residual));
}

TEST(FloatingDfeInvalidInput, NaNPositionsBecomeTheZeroMarker) {
  // searchStart NaN: the position is NaN, the block is the single marker
  // 0.0 (the rest of the L = 2 block stays 0.0), no tap touches the pulse.
  Args args;
  args.searchStart = kQuietNaN;
  args.tapsPerGroup = 2.0;
  Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0, 0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues(kExamplePulse, r.residual));

  // Infinite starts behave the same way.
  for (const double start : {kInfinity, -kInfinity}) {
    args.searchStart = start;
    r = place(kExamplePulse, args);
    EXPECT_TRUE(sameValues({0.0, 0.0}, r.positions)) << start;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights)) << start;
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual)) << start;
  }

  // searchEnd NaN: no window, position searchStart - 1 = 0 (finite).
  args = Args{};
  args.searchEnd = kQuietNaN;
  r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({0.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));

  // L or G NaN: trunc(NaN) positions = none, no group.
  for (const bool tapsNaN : {true, false}) {
    args = Args{};
    (tapsNaN ? args.tapsPerGroup : args.groupCount) = kQuietNaN;
    r = place(kExamplePulse, args);
    EXPECT_TRUE(r.positions.empty());
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits));
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual));
  }
}

TEST(FloatingDfeInvalidInput, ZeroOrNegativeGroupCountRunsNoGroup) {
  for (const double groups : {0.0, 0.9, -3.0}) {
    Args args;
    args.groupCount = groups;
    const Placement r = place(kExamplePulse, args);
    EXPECT_TRUE(r.positions.empty()) << groups;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights)) << groups;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits)) << groups;
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual)) << groups;
  }
}

TEST(FloatingDfeInvalidInput, EmptyOrNegativeLengthPulseGivesEmptyRows) {
  // No cursor can be read: every search fails at searchStart - 1 = 0.
  const std::vector<double> none = {0.0};
  Args args;
  args.groupCount = 2.0;
  for (const int32_t n : {0, -3}) {
    const Placement r = place(none, args, n);
    EXPECT_TRUE(sameValues({0.0, 0.0}, r.positions)) << n;
    EXPECT_TRUE(r.weights.empty()) << n;
    EXPECT_TRUE(r.limits.empty()) << n;
  }
}

TEST(FloatingDfeInvalidInput, EmptyPulseReadsNoCursorAtAPositionJustBelowZero) {
  // Every search fails at searchStart - 1 = -4/3, so the taps of each group
  // sit at -4/3, -1/3 and 2/3; -1/3 truncates to index 0, which an empty
  // pulse does not have: that tap reads 0.0 like any position outside.
  const std::vector<double> none = {0.0};
  Args args;
  args.searchStart = -1.0 / 3.0;
  args.tapsPerGroup = 3.0;
  args.groupCount = 3.0;
  args.searchEnd = kQuietNaN;
  args.maxTapWeight = 0.5;
  args.mainCursor = 9.0;
  const double p = args.searchStart - 1.0;
  const Placement r = place(none, args, 0);
  EXPECT_TRUE(sameValues({p, p, p, p + 1.0, p + 1.0, p + 1.0, p + 2.0, p + 2.0, p + 2.0},
                         r.positions));
  EXPECT_TRUE(r.weights.empty());
  EXPECT_TRUE(r.limits.empty());
}

TEST(FloatingDfeInvalidInput, FractionalNegativeTapsPerGroupWritesNoPositionInAnyGroup) {
  // -1 < L < 0: L * G < 0 gives no position, yet the block of group g
  // starts at g * L, inside (-1, 0), which truncates to index 0 of the empty
  // position list: nothing may be written there.
  Args args;
  args.tapsPerGroup = -0.5;
  for (const double groups : {1.0, 2.0, 7.5}) {
    args.groupCount = groups;
    const Placement r = place(kExamplePulse, args);
    EXPECT_TRUE(r.positions.empty()) << groups;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights)) << groups;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits)) << groups;
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual)) << groups;
  }
}

TEST(FloatingDfeInvalidInput, HugeGroupCountIsBoundedByTheTapPositionCap) {
  // trunc(1 * G) is capped at 2^20 positions, and as many groups run.  After
  // three groups [1, 3] is exhausted and every further group fails at 0.
  for (const double groups : {1e300, kInfinity}) {
    Args args;
    args.groupCount = groups;
    const Placement r = place(kExamplePulse, args);
    ASSERT_EQ(r.positions.size(), static_cast<size_t>(kPositionCap));
    for (size_t i = 0; i + 3 < r.positions.size(); ++i) {
      ASSERT_TRUE(sameBits(0.0, r.positions[i])) << i;
    }
    EXPECT_TRUE(sameValues({1.0, 2.0, 3.0},
                           std::vector<double>(r.positions.end() - 3, r.positions.end())));
    EXPECT_TRUE(sameValues({0.3, 0.2, 0.1, 0.0}, r.weights));
    EXPECT_TRUE(sameValues({0.3, 0.3, 0.3, 0.3}, r.limits));
  }
}

TEST(FloatingDfeInvalidInput, HugeTapsPerGroupTapsTheWholePulseFromTheFailedPosition) {
  // L = 1e300: no window fits (count - L + 1 < 0), position 0.  The block
  // 0, 1, 2, ... fills the 2^20 capped positions; the taps cover the pulse
  // (weights 0, 0.3, 0.2, 0.1 for positions 0..3) and land one index lower;
  // index 3 gets the tap of position 4, outside the pulse: 0.
  Args args;
  args.tapsPerGroup = 1e300;
  Placement r = place(kExamplePulse, args);
  ASSERT_EQ(r.positions.size(), static_cast<size_t>(kPositionCap));
  for (size_t i = 0; i < r.positions.size(); ++i) {
    ASSERT_EQ(r.positions[i], static_cast<double>(i));
  }
  EXPECT_TRUE(sameValues({0.3, 0.2, 0.1, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.3, 0.3, 0.3}, r.limits));

  // L = inf: the group fails at position 0 and taps the whole pulse, but its
  // block starts at index 0 * inf (NaN) and its range ends at infinity, so
  // neither positions nor weights are written; the capped positions stay
  // 0.0 and mark limit index 0.
  args.tapsPerGroup = kInfinity;
  r = place(kExamplePulse, args);
  ASSERT_EQ(r.positions.size(), static_cast<size_t>(kPositionCap));
  EXPECT_EQ(r.positions.back(), 0.0);
  EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.limits));
  EXPECT_TRUE(sameValues({0.0, 0.5 - 0.3 * 0.5, 0.2 - 0.2 * 0.2, 0.1 - 0.1 * 0.1}, r.residual));
}

TEST(FloatingDfeInvalidInput, FarAwayPositionsTouchNothing) {
  // Positions far outside the pulse, in both directions, read zeros and
  // write nothing: the search fails at searchStart - 1 and that position
  // marks no limit.
  for (const double start : {-1e18, 1e18, -4e9, 4e9}) {
    Args args;
    args.searchStart = start;
    args.searchEnd = start + 5.0;
    const Placement r = place(kExamplePulse, args);
    EXPECT_TRUE(sameValues({start - 1.0}, r.positions)) << start;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.weights)) << start;
    EXPECT_TRUE(sameValues({0.0, 0.0, 0.0, 0.0}, r.limits)) << start;
    EXPECT_TRUE(sameValues(kExamplePulse, r.residual)) << start;
  }
  // A search from -1e9 to +inf reaches the pulse: the best single tap is
  // still position 1.
  Args args;
  args.searchStart = -1e9;
  args.searchEnd = kInfinity;
  const Placement r = place(kExamplePulse, args);
  EXPECT_TRUE(sameValues({1.0}, r.positions));
  EXPECT_TRUE(sameValues({0.3, 0.0, 0.0, 0.0}, r.weights));
}

// ---------------------------------------------------------------------------
// Against a literal, loop-by-loop placement

// The placement written out step by step, every loop run in full (usable for
// small arguments only), with the out-of-range rules applied at each access.
Placement literalPlacement(const std::vector<double>& pulse, const Args& args) {
  const double s = args.searchStart;
  const double e = args.searchEnd;
  const double L = args.tapsPerGroup;
  const double a = args.mainCursor;
  const double b = args.maxTapWeight;
  const auto n = static_cast<int64_t>(pulse.size());
  auto inside = [n](double position) {
    return position > -1.0 && position < static_cast<double>(n);
  };
  std::vector<double> residual = pulse;
  std::vector<double> available = pulse;
  Placement r;
  r.positions.assign(static_cast<size_t>(positionCountOf(args)), 0.0);
  r.weights.assign(pulse.size(), 0.0);
  r.limits.assign(pulse.size(), 0.0);

  const double groups = std::trunc(args.groupCount);
  for (double g = 0.0; g < groups; g += 1.0) {
    // Window search.
    const std::vector<double> candidate = available;
    const double cancel = a * b;
    const double count = std::trunc(e - s + 1.0);
    std::vector<double> A;
    std::vector<double> B;
    for (double k = 0.0; k < count; k += 1.0) {
      const double v = inside(k + s) ? candidate[static_cast<size_t>(k + s)] : 0.0;
      A.push_back(std::fabs(v));
      B.push_back(std::fmax(std::fabs(v) - cancel, 0.0));
    }
    const double starts = count - L + 1.0;
    double p = s - 1.0;
    if (!(starts <= 0.0)) {
      double bestGain = 0.0;
      double best = -1.0;
      for (double j = 0.0; j < starts; j += 1.0) {
        double energy = 0.0;
        double residue = 0.0;
        for (double i = 0.0; i <= L - 1.0; i += 1.0) {
          energy += A.at(static_cast<size_t>(j + i)) * A.at(static_cast<size_t>(j + i));
        }
        for (double i = 0.0; i <= L - 1.0; i += 1.0) {
          residue += B.at(static_cast<size_t>(j + i)) * B.at(static_cast<size_t>(j + i));
        }
        const double gain = energy - residue;
        if (gain > bestGain) {
          bestGain = gain;
          best = j;
        }
      }
      p = s + best;
    }
    // Position block.
    const double end = p + L - 1.0;
    const double blockStart = std::trunc(g * L);
    if (std::isnan(p) || std::isnan(end)) {
      if (blockStart < static_cast<double>(r.positions.size())) {
        r.positions[static_cast<size_t>(blockStart)] = 0.0;
      }
    } else {
      for (double k = 0.0; p + k <= end; k += 1.0) {
        if (blockStart + k < static_cast<double>(r.positions.size())) {
          r.positions[static_cast<size_t>(blockStart + k)] = p + k;
        }
      }
    }
    // Taps.
    std::vector<double> weights;
    for (double k = 0.0; k < L; k += 1.0) {
      const double position = p + k;
      const double v = inside(position) ? residual[static_cast<size_t>(position)] : 0.0;
      const double magnitude = std::fabs(v / a);
      const double limited = b < magnitude ? b : magnitude;
      const double sign = v > 0.0 ? 1.0 : (v < 0.0 ? -1.0 : (v == 0.0 ? 0.0 : v));
      const double weight = limited * sign;
      weights.push_back(weight);
      if (inside(position)) {
        residual[static_cast<size_t>(position)] = v - weight * v;
        available[static_cast<size_t>(position)] = 0.0;
      }
    }
    // Weights, one index below.
    if (p <= end) {
      const double first = std::trunc(p) - 1.0;
      const double entries = std::trunc(end) - first;
      for (double j = 0.0; j < entries; j += 1.0) {
        if (inside(first + j)) {
          r.weights[static_cast<size_t>(first + j)] =
              j < static_cast<double>(weights.size()) ? weights[static_cast<size_t>(j)] : 0.0;
        }
      }
    }
  }
  std::stable_sort(r.positions.begin(), r.positions.end());
  for (const double q : r.positions) {
    if (inside(q)) {
      r.limits[static_cast<size_t>(q)] = b;
    }
  }
  r.residual = residual;
  return r;
}

TEST(FloatingDfe, MatchesLiteralPlacementOnRandomArguments) {
  std::mt19937_64 random(5600);
  auto uniform = [&random](double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(random);
  };
  auto pick = [&random](int lo, int hi) {
    return static_cast<double>(std::uniform_int_distribution<int>(lo, hi)(random));
  };
  const double fractions[] = {0.25, 0.5, 0.75, 0.1, 0.9999999999999999, -0.5, -0.3};
  auto sometimesFractional = [&](double value) {
    return uniform(0.0, 1.0) < 0.25 ? value + fractions[static_cast<size_t>(pick(0, 6))]
                                    : value;
  };
  auto occasionally = [&](double value, double special) {
    return uniform(0.0, 1.0) < 0.03 ? special : value;
  };
  for (int trial = 0; trial < 20000; ++trial) {
    const int n = static_cast<int>(pick(1, 12));
    std::vector<double> pulse(static_cast<size_t>(n));
    for (double& v : pulse) {
      v = uniform(0.0, 1.0) < 0.25 ? 0.0 : uniform(-1.0, 1.0);
      v = occasionally(v, uniform(0.0, 1.0) < 0.5 ? kQuietNaN : -kInfinity);
    }
    Args args;
    args.searchStart = sometimesFractional(pick(-3, n + 1));
    args.searchEnd = occasionally(sometimesFractional(args.searchStart + pick(-2, n + 3)),
                                  kQuietNaN);
    args.tapsPerGroup = sometimesFractional(pick(-1, 5));
    args.groupCount = sometimesFractional(pick(-1, 6));
    args.mainCursor = uniform(0.2, 2.0) * (uniform(0.0, 1.0) < 0.15 ? -1.0 : 1.0);
    args.mainCursor = occasionally(args.mainCursor, 0.0);
    args.maxTapWeight = uniform(0.0, 1.0) < 0.1 ? 0.0 : uniform(0.02, 1.0);
    args.maxTapWeight = occasionally(args.maxTapWeight, kQuietNaN);
    const Placement expected = literalPlacement(pulse, args);
    const Placement actual = place(pulse, args);
    const ::testing::Message context = ::testing::Message()
                                       << "trial " << trial << ": n " << n << ", start "
                                       << args.searchStart << ", end " << args.searchEnd
                                       << ", L " << args.tapsPerGroup << ", G "
                                       << args.groupCount << ", a " << args.mainCursor
                                       << ", b " << args.maxTapWeight;
    ASSERT_TRUE(sameValues(expected.positions, actual.positions)) << context;
    ASSERT_TRUE(sameValues(expected.weights, actual.weights)) << context;
    ASSERT_TRUE(sameValues(expected.limits, actual.limits)) << context;
    ASSERT_TRUE(sameValues(expected.residual, actual.residual)) << context;
  }
}

}  // namespace
}  // namespace zefra
