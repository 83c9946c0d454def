#include "statistics/crosstalk.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kQuietNaN = std::numeric_limits<double>::quiet_NaN();

// A column record {n, 1} holding `values`, as the export layer builds it.
DynArrayPtr doubleColumn(const std::vector<double>& values) {
  DynArrayPtr column(dynArrayInit(2));
  column->size[0] = static_cast<int32_t>(values.size());
  column->size[1] = 1;
  ensureCapacityDouble(column.get(), 0);
  std::copy(values.begin(), values.end(), elementsOf<double>(column.get()));
  return column;
}

// A column record with a (possibly negative) extent and no storage at all.
DynArrayPtr columnWithoutStorage(int32_t extent) {
  DynArrayPtr column(dynArrayInit(2));
  column->size[0] = extent;
  column->size[1] = 1;
  return column;
}

double noisePower(const std::vector<double>& response, const std::vector<double>& pattern,
                  int32_t samplesPerUi, double amplitude) {
  const DynArrayPtr r = doubleColumn(response);
  const DynArrayPtr p = doubleColumn(pattern);
  return crosstalkNoisePower(r.get(), p.get(), samplesPerUi, amplitude);
}

// ---- Literal reference, written straight from the algorithm's description.

int64_t stepLengthOf(size_t responseLength, int32_t samplesPerUi) {
  return static_cast<int64_t>(
      std::trunc(std::fmax(static_cast<double>(samplesPerUi), static_cast<double>(responseLength))));
}

std::vector<double> referenceStep(const std::vector<double>& response, int32_t samplesPerUi) {
  std::vector<double> step(static_cast<size_t>(stepLengthOf(response.size(), samplesPerUi)));
  for (size_t i = 0; i < response.size(); ++i) {
    step[i] = i == 0 ? response[0] : step[i - 1] + response[i];
  }
  for (size_t i = response.size(); i < static_cast<size_t>(std::max(samplesPerUi, 0)); ++i) {
    step[i] = 1.0;
  }
  return step;
}

// Pattern index outer; induced[m] receives its terms in decreasing j.
std::vector<double> referenceScatter(const std::vector<double>& pattern,
                                     const std::vector<double>& step) {
  std::vector<double> induced(pattern.size(), 0.0);
  for (size_t k = 0; k < pattern.size(); ++k) {
    for (size_t j = 0; j < step.size() && k + j < pattern.size(); ++j) {
      induced[k + j] += step[j] * pattern[k];
    }
  }
  return induced;
}

// Step index outer; induced[m] receives its terms in increasing j.
std::vector<double> referenceGather(const std::vector<double>& pattern,
                                    const std::vector<double>& step, bool skipZeroSteps = true) {
  std::vector<double> induced(pattern.size(), 0.0);
  for (size_t j = 0; j < step.size(); ++j) {
    if (skipZeroSteps && step[j] == 0.0) {
      continue;
    }
    for (size_t m = j; m < pattern.size(); ++m) {
      induced[m] += pattern[m - j] * step[j];
    }
  }
  return induced;
}

// Per-phase sums with the literal stop rule; `at` fails the test on any
// index outside `induced`.
double referencePhasePower(const std::vector<double>& induced, int32_t samplesPerUi,
                           double amplitude) {
  const auto p = static_cast<size_t>(samplesPerUi);
  const float q = std::roundf(static_cast<float>(static_cast<double>(induced.size()) /
                                                 static_cast<double>(samplesPerUi)));
  const double limit = static_cast<double>(q) - 3.0;
  double best = 0.0;
  for (size_t s = 0; s < p; ++s) {
    double e = 0.0;
    if (limit > 0.0) {
      for (size_t t = 0;; ++t) {
        const double v = induced.at(s + t * p);
        e += v * v;
        if (!(static_cast<double>(t + 1) < limit)) {
          break;
        }
      }
    }
    if (e > best) {
      best = e;
    }
  }
  return amplitude * amplitude * best;
}

double referencePower(const std::vector<double>& response, const std::vector<double>& pattern,
                      int32_t samplesPerUi, double amplitude) {
  if (samplesPerUi < 1) {
    return amplitude * amplitude * 0.0;
  }
  const std::vector<double> step = referenceStep(response, samplesPerUi);
  const bool shortPattern = static_cast<int64_t>(pattern.size()) < 2 * stepLengthOf(response.size(), samplesPerUi);
  const std::vector<double> induced =
      shortPattern ? referenceScatter(pattern, step) : referenceGather(pattern, step);
  return referencePhasePower(induced, samplesPerUi, amplitude);
}

// Response whose step is {2^-53, 2^-53, 1, 0, 0, ...}: with a pattern of
// ones, induced[m] (m >= 2) sums 2^-53 + 2^-53 + 1 in increasing step order
// (1 + 2^-52) but 1 + 2^-53 + 2^-53 in decreasing order (1, each small term
// lost to rounding).  `length` entries in all (at least 4).
std::vector<double> orderSensitiveResponse(size_t length) {
  std::vector<double> response(length, 0.0);
  response[0] = 0x1p-53;
  response[2] = 1.0 - 0x1p-53;
  response[3] = -1.0;
  return response;
}

// ---- Samples per unit interval and counts.

TEST(Crosstalk, ZeroSamplesPerUiGivesZero) {
  EXPECT_TRUE(sameBits(0.0, noisePower({0.5, 0.25}, std::vector<double>(40, 1.0), 0, 3.0)));
}

TEST(Crosstalk, NegativeSamplesPerUiGivesZero) {
  EXPECT_TRUE(sameBits(0.0, noisePower({0.5, 0.25}, std::vector<double>(40, 1.0), -4, 3.0)));
  EXPECT_TRUE(sameBits(0.0, noisePower({0.5}, {1.0}, std::numeric_limits<int32_t>::min(), 1.0)));
}

TEST(Crosstalk, NegativeCountsGiveZeroWithoutReading) {
  // No storage behind either record: any read would fault (or be reported
  // by the address sanitizer).
  const DynArrayPtr response = columnWithoutStorage(-5);
  const DynArrayPtr pattern = columnWithoutStorage(-7);
  EXPECT_TRUE(sameBits(0.0, crosstalkNoisePower(response.get(), pattern.get(), 4, 2.0)));
  EXPECT_TRUE(sameBits(0.0, crosstalkNoisePower(response.get(), pattern.get(), -3, 2.0)));
  const DynArrayPtr goodResponse = doubleColumn({1.0, 0.5});
  EXPECT_TRUE(sameBits(0.0, crosstalkNoisePower(goodResponse.get(), pattern.get(), 2, 2.0)));
}

TEST(Crosstalk, NegativeResponseCountActsAsEmptyResponse) {
  std::vector<double> pattern(30);
  for (size_t k = 0; k < pattern.size(); ++k) {
    pattern[k] = static_cast<double>((k * 7) % 5) - 2.0;
  }
  const DynArrayPtr response = columnWithoutStorage(-9);
  const DynArrayPtr p = doubleColumn(pattern);
  const double got = crosstalkNoisePower(response.get(), p.get(), 3, 1.5);
  EXPECT_TRUE(sameBits(noisePower({}, pattern, 3, 1.5), got));
  EXPECT_GT(got, 0.0);
}

TEST(Crosstalk, EmptyPatternGivesZero) {
  EXPECT_TRUE(sameBits(0.0, noisePower({1.0, 2.0}, {}, 2, 5.0)));
}

// ---- Step response and the per-phase sums.

TEST(Crosstalk, EmptyResponseMakesFourSampleMovingSum) {
  // Step = four ones, so induced[m] = pattern[m-3] + ... + pattern[m].
  // 20 samples at P = 4: Q = 5, limit = 2, phase s sums induced[s]^2 and
  // induced[s+4]^2.
  const std::vector<double> pattern = {1, -2, 3, 0, 5, 1, -1, 2, 4, 0,
                                       1, 1, -3, 2, 0, 1, 2, 2, -1, 0};
  std::vector<double> movingSum(pattern.size());
  for (size_t m = 0; m < pattern.size(); ++m) {
    double sum = 0.0;
    for (size_t i = (m >= 3 ? m - 3 : 0); i <= m; ++i) {
      sum += pattern[i];
    }
    movingSum[m] = sum;
  }
  double best = 0.0;
  for (size_t s = 0; s < 4; ++s) {
    best = std::max(best, movingSum[s] * movingSum[s] + movingSum[s + 4] * movingSum[s + 4]);
  }
  // Sums {1, -1, 2, 2, 6, 9, 5, 7, ...}; phases 1+36, 1+81, 4+25, 4+49.
  EXPECT_EQ(best, 82.0);
  EXPECT_TRUE(sameBits(0.25 * best, noisePower({}, pattern, 4, 0.5)));
}

TEST(Crosstalk, ResponseShorterThanUnitIntervalSettlesAtOne) {
  // response {0.25, 0.25} at P = 4: step = {0.25, 0.5, 1, 1}.  A single unit
  // pulse at the start of a 16-sample pattern makes induced = step, so the
  // one term per phase is step[s]^2 and the largest is 1.
  std::vector<double> pattern(16, 0.0);
  pattern[0] = 1.0;
  EXPECT_TRUE(sameBits(9.0, noisePower({0.25, 0.25}, pattern, 4, 3.0)));
  // A response longer than P keeps its running sum: step[3] = 0.75 is the
  // largest of the first four.
  EXPECT_TRUE(sameBits(0.5625, noisePower({0.25, 0.25, 0.0, 0.25, 5.0}, pattern, 4, 1.0)));
}

TEST(Crosstalk, HalfUnitIntervalRoundsAwayFromZero) {
  // 9 samples at P = 2: 4.5 UIs round to Q = 5 (not 4), so limit = 2 and
  // each phase sums two terms.  Step = {1, 1}; induced = 2-sample sums.
  const std::vector<double> pattern = {1, 0, 0, 3, 0, 0, 0, 0, 0};
  // induced = {1, 1, 0, 3, 3, 0, ...}: phase 0 = 1 + 0, phase 1 = 1 + 9.
  EXPECT_TRUE(sameBits(10.0, noisePower({}, pattern, 2, 1.0)));
  EXPECT_TRUE(sameBits(10.0, referencePower({}, pattern, 2, 1.0)));
}

TEST(Crosstalk, SamplesAfterLastSummedIndexDoNotCount) {
  // 26 samples at P = 3: Q = 9, limit = 6, last summed index 17.  Step is
  // {1, 0, 0}, so induced = pattern; a huge value at index 18 or later is
  // ignored.
  const std::vector<double> response = {1.0, -1.0, 0.0};
  std::vector<double> pattern(26, 1.0);
  const double base = noisePower(response, pattern, 3, 1.0);
  EXPECT_TRUE(sameBits(6.0, base));
  for (size_t k = 18; k < pattern.size(); ++k) {
    std::vector<double> spiked = pattern;
    spiked[k] = 1e6;
    EXPECT_TRUE(sameBits(base, noisePower(response, spiked, 3, 1.0))) << k;
  }
  pattern[17] = 2.0;
  EXPECT_TRUE(sameBits(9.0, noisePower(response, pattern, 3, 1.0)));
}

TEST(Crosstalk, RoundedUpQuotientPastTheEndIsNotSummed) {
  // P = 1, patternLength = 2^26 + 12: the quotient narrows to the float
  // 2^26 + 16 (a tie between 2^26 + 8 and 2^26 + 16, to even), so limit =
  // 2^26 + 13 terms would end at index 2^26 + 12 = patternLength.  Step
  // {0.0} is skipped, so nothing is written or read from the pattern; the
  // induced samples are all zero and so is the result.
  const int32_t n = (1 << 26) + 12;
  const float q = std::roundf(static_cast<float>(static_cast<double>(n)));
  ASSERT_EQ(static_cast<double>(q), static_cast<double>((1 << 26) + 16));
  ASSERT_EQ((static_cast<double>(q) - 3.0) * 1.0 - 1.0, static_cast<double>(n));

  const size_t bytes = static_cast<size_t>(n) * sizeof(double);
  void* zeros = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (zeros == MAP_FAILED) {
    GTEST_SKIP() << "no address space for the long pattern";
  }
  DynArrayPtr pattern(dynArrayInit(2));
  pattern->size[0] = n;
  pattern->size[1] = 1;
  pattern->data = zeros;
  pattern->capacity = n;
  pattern->ownsData = false;
  const DynArrayPtr response = doubleColumn({0.0});
  EXPECT_TRUE(sameBits(0.0, crosstalkNoisePower(response.get(), pattern.get(), 1, 1.0)));
  pattern.reset();
  munmap(zeros, bytes);
}

TEST(Crosstalk, PatternShorterThanFourUnitIntervalsGivesZero) {
  // Step = 100 ones.  3.49 UIs round to Q = 3: limit = 0, no term.
  std::vector<double> pattern(349, 1.0);
  EXPECT_TRUE(sameBits(0.0, noisePower({1.0}, pattern, 100, 10.0)));
  // 3.5 UIs round to 4: one term per phase, induced[s] = s + 1, largest 100.
  pattern.push_back(1.0);
  EXPECT_TRUE(sameBits(100.0 * 10000.0, noisePower({1.0}, pattern, 100, 10.0)));
}

TEST(Crosstalk, InfiniteAmplitudeWithoutTermsGivesNaN) {
  // inf * inf * 0.0: both for limit <= 0 and for P < 1.
  EXPECT_TRUE(std::isnan(noisePower({1.0}, std::vector<double>(6, 1.0), 2, kInfinity)));
  EXPECT_TRUE(std::isnan(noisePower({1.0}, std::vector<double>(60, 1.0), 0, -kInfinity)));
  EXPECT_TRUE(std::isnan(noisePower({1.0}, {}, 3, kQuietNaN)));
}

TEST(Crosstalk, ResultIsAmplitudeSquaredTimesBest) {
  std::vector<double> pattern(40);
  for (size_t k = 0; k < pattern.size(); ++k) pattern[k] = std::cos(static_cast<double>(k));
  const double best = noisePower({0.1, 0.2, 0.3}, pattern, 4, 1.0);
  const double a = 0.1;
  EXPECT_TRUE(sameBits(a * a * best, noisePower({0.1, 0.2, 0.3}, pattern, 4, a)));
  EXPECT_TRUE(sameBits(a * a * best, noisePower({0.1, 0.2, 0.3}, pattern, 4, -a)));
}

// ---- The two loop orders.

TEST(Crosstalk, ShortPatternScattersInDecreasingStepOrder) {
  // L = 8, P = 1, 12 < 16 samples: scatter order.
  const std::vector<double> response = orderSensitiveResponse(8);
  const std::vector<double> pattern(12, 1.0);
  const std::vector<double> step = referenceStep(response, 1);
  const double scatter = referencePhasePower(referenceScatter(pattern, step), 1, 1.0);
  const double gather = referencePhasePower(referenceGather(pattern, step), 1, 1.0);
  ASSERT_FALSE(sameBits(scatter, gather));
  EXPECT_TRUE(sameBits(scatter, noisePower(response, pattern, 1, 1.0)));
}

TEST(Crosstalk, LongPatternGathersInIncreasingStepOrder) {
  // L = 8, P = 1, 40 >= 16 samples: gather order.
  const std::vector<double> response = orderSensitiveResponse(8);
  const std::vector<double> pattern(40, 1.0);
  const std::vector<double> step = referenceStep(response, 1);
  const double scatter = referencePhasePower(referenceScatter(pattern, step), 1, 1.0);
  const double gather = referencePhasePower(referenceGather(pattern, step), 1, 1.0);
  ASSERT_FALSE(sameBits(scatter, gather));
  EXPECT_TRUE(sameBits(gather, noisePower(response, pattern, 1, 1.0)));
}

TEST(Crosstalk, LoopOrderSwitchesAtTwiceStepLength) {
  const std::vector<double> response = orderSensitiveResponse(8);  // L = 8
  const std::vector<double> step = referenceStep(response, 1);
  for (size_t n : {15u, 16u}) {
    const std::vector<double> pattern(n, 1.0);
    const double scatter = referencePhasePower(referenceScatter(pattern, step), 1, 1.0);
    const double gather = referencePhasePower(referenceGather(pattern, step), 1, 1.0);
    ASSERT_FALSE(sameBits(scatter, gather)) << n;
    EXPECT_TRUE(sameBits(n == 15 ? scatter : gather, noisePower(response, pattern, 1, 1.0)))
        << "patternLength " << n;
  }
}

TEST(Crosstalk, LoopOrderMattersOnlyForResponsesLongerThanUnitInterval) {
  // With L = P the short-pattern order means patternLength < 2P, under four
  // unit intervals, so no phase sums a term: both orders give 0.
  const std::vector<double> response = orderSensitiveResponse(4);
  const std::vector<double> step = referenceStep(response, 10);
  ASSERT_EQ(step.size(), 10u);
  EXPECT_EQ(step[9], 1.0);
  const std::vector<double> pattern(19, 1.0);
  EXPECT_TRUE(sameBits(0.0, noisePower(response, pattern, 10, 1.0)));
  EXPECT_TRUE(sameBits(0.0, referencePhasePower(referenceScatter(pattern, step), 10, 1.0)));
}

// Every P up to 12 and pattern length up to 160.  The reference reads with
// bounds checks, so it also shows that the last summed index, (Q - 3) P - 1,
// stays inside the pattern even for quotients that round up.
TEST(Crosstalk, MatchesLiteralReferenceBitForBit) {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::uniform_int_distribution<int> exponent(-30, 30);
  int scatterWithTerms = 0;
  int gatherWithTerms = 0;
  for (int trial = 0; trial < 12 * 161; ++trial) {
    const auto p = static_cast<int32_t>(1 + trial / 161);
    const auto responseLength = static_cast<size_t>((trial * 7) % 37);
    const auto patternLength = static_cast<size_t>(trial % 161);
    std::vector<double> response(responseLength);
    for (double& v : response) v = std::ldexp(u(rng), exponent(rng));
    std::vector<double> pattern(patternLength);
    for (double& v : pattern) v = u(rng) < -0.3 ? 0.0 : std::ldexp(u(rng), exponent(rng) / 3);
    const double a = u(rng) * 4.0;
    ASSERT_TRUE(sameBits(referencePower(response, pattern, p, a),
                         noisePower(response, pattern, p, a)))
        << "trial " << trial;
    const double units = static_cast<double>(patternLength) / p;
    if (std::roundf(static_cast<float>(units)) > 3.0f) {
      const bool shortPattern =
          static_cast<int64_t>(patternLength) < 2 * stepLengthOf(responseLength, p);
      ++(shortPattern ? scatterWithTerms : gatherWithTerms);
    }
  }
  EXPECT_GT(scatterWithTerms, 200);
  EXPECT_GT(gatherWithTerms, 200);
}

// ---- Zero taps, infinities and NaN.

TEST(Crosstalk, ZeroStepsSkippedWithoutChangingFiniteBits) {
  // Step {0.5, 0, 0, -0.25, 0, 0.75, 0.75, 0.75}: for finite patterns the
  // skipped products are +-0.0 and adding them changes nothing, so the
  // gather order with and without the skip agree bit for bit.
  const std::vector<double> response = {0.5, -0.5, 0.0, -0.25, 0.25, 0.75, 0.0, 0.0};
  const std::vector<double> step = referenceStep(response, 2);
  ASSERT_EQ(step[1], 0.0);
  ASSERT_EQ(step[4], 0.0);
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> pattern(64);
  for (double& v : pattern) v = u(rng);
  const double skipped = referencePhasePower(referenceGather(pattern, step, true), 2, 1.0);
  const double kept = referencePhasePower(referenceGather(pattern, step, false), 2, 1.0);
  ASSERT_TRUE(sameBits(skipped, kept));
  EXPECT_TRUE(sameBits(skipped, noisePower(response, pattern, 2, 1.0)));
}

TEST(Crosstalk, SkippedZeroStepKeepsInfinitePatternFromMakingNaN) {
  // Step {0, 0, 1} (response {0, 0, 1}, P = 1, L = 3) and an
  // infinite first pattern sample.  Long pattern (6 >= 6): the zero taps are
  // skipped, induced = {0, 0, inf, ...}, and the single phase sums to inf.
  std::vector<double> pattern(6, 1.0);
  pattern[0] = kInfinity;
  EXPECT_TRUE(sameBits(kInfinity, noisePower({0.0, 0.0, 1.0}, pattern, 1, 1.0)));
}

TEST(Crosstalk, ScatterOrderMultipliesZeroStepsToo) {
  // Same step, short pattern (5 < 6): inf * 0.0 makes induced[0] NaN, the
  // only phase's sum is NaN, and a NaN sum never becomes the best one.
  std::vector<double> pattern(5, 1.0);
  pattern[0] = kInfinity;
  EXPECT_TRUE(sameBits(0.0, noisePower({0.0, 0.0, 1.0}, pattern, 1, 1.0)));
}

TEST(Crosstalk, NanPhaseSumNeverBecomesTheMaximum) {
  // Step {1, 1} (P = 2), 10 samples: Q = 5, limit = 2, phases sum
  // induced[0], induced[2] and induced[1], induced[3].  A NaN at pattern[3]
  // makes induced[3] (phase 1) NaN; phase 0 is the result even though phase
  // 1 would otherwise be larger.
  std::vector<double> pattern = {1, 0, 0, 5, 0, 0, 0, 0, 0, 0};
  // induced = {1, 1, 0, 5, 5, ...}: phase 0 = 1, phase 1 = 1 + 25.
  EXPECT_TRUE(sameBits(26.0, noisePower({1.0}, pattern, 2, 1.0)));
  pattern[3] = kQuietNaN;
  EXPECT_TRUE(sameBits(4.0, noisePower({1.0}, pattern, 2, 2.0)));
}

TEST(Crosstalk, NanInEveryPhaseGivesZero) {
  // NaN at pattern[0] reaches induced[0] and induced[1]: both phases NaN.
  std::vector<double> pattern(10, 1.0);
  pattern[0] = kQuietNaN;
  EXPECT_TRUE(sameBits(0.0, noisePower({1.0}, pattern, 2, 3.0)));
  // The scatter order (response long enough that 10 < 2L) behaves the same.
  EXPECT_TRUE(sameBits(0.0, noisePower(std::vector<double>(6, 0.5), pattern, 2, 3.0)));
}

}  // namespace
}  // namespace zefra
