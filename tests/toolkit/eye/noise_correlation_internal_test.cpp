// The read-out's correlation kernel against the plain scalar sum: the same
// terms in the same order give the same bits, whichever vector form the
// processor runs and wherever the blocks end.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "eye/noise_correlation.h"

namespace {

TEST(EyeNoiseCorrelation, EveryOutputIsTheOrderedScalarSum) {
  std::mt19937_64 rng(20261124);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (const int64_t n : {0, 1, 7, 15, 16, 17, 33, 250}) {
    for (const int64_t taps : {1, 3, 40}) {
      const int64_t pad = 60;
      std::vector<double> x(static_cast<std::size_t>(n + 2 * pad));
      for (double& v : x) {
        // Values from 1e-300 to 1: the tails the read-out keeps.
        v = std::pow(10.0, -300.0 * unit(rng)) * unit(rng);
      }
      std::vector<int64_t> lag(static_cast<std::size_t>(taps));
      std::vector<double> k(static_cast<std::size_t>(taps));
      for (int64_t t = 0; t < taps; ++t) {
        lag[static_cast<std::size_t>(t)] = static_cast<int64_t>(unit(rng) * 50.0);
        k[static_cast<std::size_t>(t)] = unit(rng);
      }
      const double* origin = x.data() + pad;
      std::vector<double> got(static_cast<std::size_t>(n) + 1, -1.0);
      zefra::tk::eye::correlate(got.data(), origin, n, lag.data(), k.data(), taps);
      for (int64_t i = 0; i < n; ++i) {
        double want = 0.0;
        for (int64_t t = 0; t < taps; ++t) {
          want += k[static_cast<std::size_t>(t)] * origin[i - lag[static_cast<std::size_t>(t)]];
        }
        const double have = got[static_cast<std::size_t>(i)];
        EXPECT_EQ(0, std::memcmp(&want, &have, sizeof want)) << "n " << n << " i " << i;
      }
      EXPECT_EQ(-1.0, got[static_cast<std::size_t>(n)]) << "wrote past the end, n " << n;
    }
  }
}

}  // namespace
