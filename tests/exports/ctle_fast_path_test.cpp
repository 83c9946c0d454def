// td_ctle reads the caller's input and writes the caller's output directly;
// the literal frame copies the input into a fresh record and the result back
// out.  Both must give the same bits, also in place and with partially
// overlapping buffers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "statistics/ctle.h"
#include "zefra/tdr_helpers.h"

namespace zefra {
namespace {

struct Ctle {
  double baseRate = 28e9;
  double zeroFreq = 3e9;
  double pole1Freq = 7e9;
  double pole2Freq = 28e9;
  double gainDb = 6.0;
  double rateMultiplier = 4.0;
};

std::vector<double> literalCtle(const std::vector<double>& x, const Ctle& c) {
  CallFrame frame;
  DynArray* in = frame.column(x.data(), static_cast<int32_t>(x.size()));
  DynArray* out = frame.doubleOutput(0, 1);
  ctleFilter(in, c.baseRate, c.zeroFreq, c.pole1Freq, c.pole2Freq, c.gainDb, c.rateMultiplier,
             out);
  std::vector<double> y(x.size());
  copyFirstExtentOut(out, y.data());
  return y;
}

TEST(CtleExportFastPath, MatchesCopyingFrameBitForBit) {
  std::mt19937_64 rng(404);
  std::normal_distribution<double> normal;
  std::uniform_int_distribution<int> special(0, 40);
  const Ctle c;
  for (int trial = 0; trial < 50; ++trial) {
    std::vector<double> x(static_cast<size_t>(1 + trial * 37));
    for (double& v : x) {
      const int roll = special(rng);
      v = roll == 0 ? std::nan("") : roll == 1 ? -0.0 : roll == 2 ? 0.0 : normal(rng);
    }
    const std::vector<double> expected = literalCtle(x, c);
    std::vector<double> y(x.size(), 7.0);
    td_ctle(x.data(), y.data(), static_cast<int32_t>(x.size()), c.baseRate, c.zeroFreq,
            c.pole1Freq, c.pole2Freq, c.gainDb, c.rateMultiplier);
    ASSERT_EQ(0, std::memcmp(expected.data(), y.data(), x.size() * sizeof(double))) << trial;
    // In place: the same buffer as input and output.
    std::vector<double> inPlace = x;
    td_ctle(inPlace.data(), inPlace.data(), static_cast<int32_t>(x.size()), c.baseRate,
            c.zeroFreq, c.pole1Freq, c.pole2Freq, c.gainDb, c.rateMultiplier);
    ASSERT_EQ(0, std::memcmp(expected.data(), inPlace.data(), x.size() * sizeof(double)));
  }
}

TEST(CtleExportFastPath, PartiallyOverlappingBuffersBehaveLikeSeparateOnes) {
  const Ctle c;
  std::vector<double> x = {1.0, -2.0, 0.5, 3.0, -1.0, 0.25, 2.0, -0.5};
  const std::vector<double> expected = literalCtle(x, c);
  std::vector<double> buffer(x.size() + 1);
  std::copy(x.begin(), x.end(), buffer.begin());
  // Output starts one sample after the input.
  td_ctle(buffer.data(), buffer.data() + 1, static_cast<int32_t>(x.size()), c.baseRate,
          c.zeroFreq, c.pole1Freq, c.pole2Freq, c.gainDb, c.rateMultiplier);
  EXPECT_EQ(0, std::memcmp(expected.data(), buffer.data() + 1, x.size() * sizeof(double)));
}

}  // namespace
}  // namespace zefra
