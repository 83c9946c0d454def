// The ISI density carries mass 1: without noise, far below every level the
// upper tail of each level is the whole mass and the lower CDF nothing, so
// BER_i = (1/M)(1 + 0); far above, BER_i = (1/M)(0 + 1).  The grid reaches
// past every level (|h_0| + sum |h_k|), so its ends are such voltages.
//
// Tolerance kMass = 1e-12: the density is a product of factors that each
// sum to 1 up to one rounding per tap (about 1e-16), 200 cursors deep, and
// its total is summed over a few thousand bins.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kMass = 1e-12;

void expectUnitMass(int32_t levels, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> value(-0.02, 0.02);
  const int32_t ns = 4;
  std::vector<double> pulse(static_cast<std::size_t>(200 * ns));
  for (double& x : pulse) {
    x = value(rng);
  }
  const int64_t centre = 20 * ns;
  pulse[static_cast<std::size_t>(centre)] = 0.7;
  const Eye e = compute(victim(pulse, ns, centre), options(levels, 0.001, 0.0));
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
  for (int32_t i = 0; i < e.eyes; ++i) {
    for (int64_t p = 0; p < e.phases; ++p) {
      EXPECT_NEAR(e.at(i, p, 0) * levels, 1.0, kMass) << "eye " << i << " phase " << p;
      EXPECT_NEAR(e.at(i, p, e.voltages - 1) * levels, 1.0, kMass) << "eye " << i << " phase " << p;
    }
  }
}

TEST(EyeMass, NrzDensityOfTwoHundredCursorsHasUnitMass) { expectUnitMass(2, 3); }

TEST(EyeMass, Pam4DensityOfTwoHundredCursorsHasUnitMass) { expectUnitMass(4, 4); }

TEST(EyeMass, Pam8DensityOfTwoHundredCursorsHasUnitMass) { expectUnitMass(8, 5); }

}  // namespace
