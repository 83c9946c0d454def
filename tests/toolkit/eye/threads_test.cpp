// Every result is computed by one thread in a fixed order: the map is the
// same to the bit for any thread count, with synchronous and asynchronous
// crosstalk, noise and jitter on.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

TEST(EyeThreads, MapIsBitIdenticalForOneTwoThreeAndSevenThreads) {
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> small(-0.03, 0.03);
  const int32_t ns = 8;
  std::vector<double> pulse(static_cast<std::size_t>(30 * ns));
  std::vector<double> near(pulse.size());
  std::vector<double> far(pulse.size());
  for (std::size_t n = 0; n < pulse.size(); ++n) {
    pulse[n] = small(rng);
    near[n] = 0.5 * small(rng);
    far[n] = 0.5 * small(rng);
  }
  const int64_t centre = 5 * ns;
  for (int64_t n = centre - ns; n <= centre + ns; ++n) {
    pulse[static_cast<std::size_t>(n)] += 0.6 * (1.0 - std::fabs(double(n - centre)) / ns);
  }
  const zefra_tk_eye_aggressor aggressors[2] = {
      {near.data(), static_cast<int64_t>(near.size()), 1, 3},
      {far.data(), static_cast<int64_t>(far.size()), 0, 0}};
  zefra_tk_eye_input in = victim(pulse, ns, centre);
  const int64_t dfePositions[2] = {1, 2};
  const double dfeValues[2] = {0.01, -0.005};
  in.dfePositions = dfePositions;
  in.dfeValuesV = dfeValues;
  in.dfeCount = 2;
  in.aggressors = aggressors;
  in.aggressorCount = 2;
  zefra_tk_eye_options o = options(4, 0.002, 0.01);
  o.djUi = 0.1;
  o.rjUi = 0.02;

  o.threads = 1;
  const Eye reference = compute(in, o);
  ASSERT_EQ(reference.status, ZEFRA_TK_OK) << reference.message;
  for (const int32_t threads : {2, 3, 7}) {
    o.threads = threads;
    const Eye e = compute(in, o);
    ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;
    ASSERT_EQ(e.ber.size(), reference.ber.size());
    EXPECT_EQ(std::memcmp(e.ber.data(), reference.ber.data(), e.ber.size() * sizeof(double)), 0)
        << threads << " threads";
  }
}

}  // namespace
