// Internal pieces of the pulse pipeline: the inverse real FFT, the grid
// sizes and the phase reduction.
//
// The inverse real FFT is checked against the direct O(N^2) inverse DFT,
//   x[n] = (1/2K) [X_0 + (-1)^n X_K + 2 Re sum_{k=1}^{K-1} X_k e^{j pi k n/K}],
// summed in long double with the angle reduced exactly (k n mod 2K), for
// sizes with factors 2, 3 and 5 and K = 1.  Tolerance 1e-13 of the largest
// |x|: a mixed-radix FFT of these sizes rounds to ~1e-15 relative.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

#include "pulse/dc_policy.h"
#include "pulse/inverse_fft.h"
#include "pulse/spectrum_grid.h"

namespace {

using Cplx = std::complex<double>;

std::vector<double> directInverse(const std::vector<Cplx>& x) {
  const std::size_t k = x.size() - 1;
  const std::size_t n = 2 * k;
  const long double pi = 3.141592653589793238462643383279502884L;
  std::vector<double> out(n);
  for (std::size_t t = 0; t < n; ++t) {
    long double sum = x[0].real() + ((t % 2 == 0) ? 1.0L : -1.0L) * x[k].real();
    for (std::size_t j = 1; j < k; ++j) {
      const long double angle = 2.0L * pi * static_cast<long double>((j * t) % n) /
                                static_cast<long double>(n);
      sum += 2.0L * (x[j].real() * std::cos(angle) - x[j].imag() * std::sin(angle));
    }
    out[t] = static_cast<double>(sum / static_cast<long double>(n));
  }
  return out;
}

TEST(PulseInverseFft, MatchesTheDirectInverseDft) {
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (const std::size_t k : {1u, 2u, 3u, 4u, 5u, 6u, 8u, 9u, 12u, 15u, 25u, 27u, 30u, 45u, 60u,
                              64u, 75u, 120u, 125u, 243u, 256u, 360u, 1000u}) {
    std::vector<Cplx> x(k + 1);
    for (Cplx& v : x) {
      v = Cplx(value(random), value(random));
    }
    const std::vector<double> fast = zefra::tk::pulse::inverseRealFft(x);
    const std::vector<double> direct = directInverse(x);
    ASSERT_EQ(fast.size(), 2 * k);
    double scale = 0.0;
    double worst = 0.0;
    for (std::size_t i = 0; i < fast.size(); ++i) {
      scale = std::max(scale, std::fabs(direct[i]));
      worst = std::max(worst, std::fabs(fast[i] - direct[i]));
    }
    EXPECT_LT(worst, 1e-13 * scale) << "K = " << k;
  }
}

TEST(PulseInverseFft, ImaginaryPartsOfDcAndNyquistBinsAreIgnored) {
  const std::vector<Cplx> a = {{1.0, 0.0}, {0.5, 0.25}, {-0.25, 0.0}};
  const std::vector<Cplx> b = {{1.0, 7.0}, {0.5, 0.25}, {-0.25, -3.0}};
  EXPECT_EQ(zefra::tk::pulse::inverseRealFft(a), zefra::tk::pulse::inverseRealFft(b));
}

TEST(PulseInverseFft, SumOfSamplesIsTheDcBin) {
  std::vector<Cplx> x(361, Cplx(0.125, -0.5));
  x[0] = Cplx(0.75, 0.0);
  const std::vector<double> h = zefra::tk::pulse::inverseRealFft(x);
  double sum = 0.0;
  for (const double v : h) {
    sum += v;
  }
  EXPECT_NEAR(sum, 0.75, 1e-14);  // 720 terms of ~0.1, rounding ~1e-16 each
}

bool fiveSmooth(int64_t n) {
  for (const int64_t p : {2, 3, 5}) {
    while (n % p == 0) {
      n /= p;
    }
  }
  return n == 1;
}

TEST(PulseSpectrumGrid, SmoothSizeIsTheNextTwoThreeFiveNumber) {
  // Reference: trial division upwards from n.
  for (int64_t n = 1; n <= 5000; ++n) {
    int64_t expected = n;
    while (!fiveSmooth(expected)) {
      ++expected;
    }
    ASSERT_EQ(zefra::tk::pulse::smoothSizeAtLeast(n), expected) << "n = " << n;
  }
  for (const int64_t n : {int64_t{85000}, int64_t{1} << 26, (int64_t{1} << 26) + 1,
                         int64_t{1000000007}}) {
    int64_t expected = n;
    while (!fiveSmooth(expected)) {
      ++expected;
    }
    EXPECT_EQ(zefra::tk::pulse::smoothSizeAtLeast(n), expected) << "n = " << n;
  }
  EXPECT_EQ(zefra::tk::pulse::smoothSizeAtLeast(85000), 86400);  // 2^7 3^3 5^2
}

TEST(PulseSpectrumGrid, MedianStepOfEvenAndOddCounts) {
  const double odd[] = {0.0, 1.0, 3.0, 4.0};         // steps 1, 2, 1
  const double even[] = {0.0, 1.0, 3.0, 6.0, 10.0};  // steps 1, 2, 3, 4
  EXPECT_EQ(zefra::tk::pulse::medianStep(odd, 4), 1.0);
  EXPECT_EQ(zefra::tk::pulse::medianStep(even, 5), 2.5);
}

TEST(PulseDcPolicy, PhaseIsReducedIntoTheHalfOpenInterval) {
  // (-pi, pi]: an exact -pi (the double nearest it) goes to +pi, values on
  // either side of +-pi stay or wrap by one turn.
  constexpr double kPi = 3.141592653589793;
  constexpr double kTwoPi = 6.283185307179586;
  using zefra::tk::pulse::reducePhase;
  EXPECT_EQ(reducePhase(-kPi), kPi);
  EXPECT_EQ(reducePhase(kPi), kPi);
  EXPECT_EQ(reducePhase(std::nextafter(-kPi, 0.0)), std::nextafter(-kPi, 0.0));
  EXPECT_EQ(reducePhase(0.0), 0.0);
  EXPECT_NEAR(reducePhase(3.0 * kPi), kPi, 1e-15);
  EXPECT_NEAR(reducePhase(kTwoPi + 0.5), 0.5, 1e-15);
  EXPECT_NEAR(reducePhase(-kTwoPi - 0.5), -0.5, 1e-15);
}

}  // namespace
