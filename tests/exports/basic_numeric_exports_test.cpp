// Frame behaviour of the basic numeric exports through the public header.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/special_functions.h"
#include "numeric/vector_kernels.h"
#include "zefra/tdr_helpers.h"

namespace {

TEST(PolyExport, WritesOnlyTheLeadingCoefficient) {
  const double roots[2] = {1.0, 2.0};
  double c[3] = {7.0, 7.0, 7.0};
  poly(roots, c, 2);
  EXPECT_EQ(c[0], 1.0);
  EXPECT_EQ(c[1], 7.0);
  EXPECT_EQ(c[2], 7.0);
  double single = 7.0;
  poly(nullptr, &single, 0);
  EXPECT_EQ(single, 1.0);
  double untouched = 7.0;
  poly(nullptr, &untouched, -1);
  EXPECT_EQ(untouched, 7.0);
}

TEST(PolyfitExport, IgnoresThirdArgumentAndWritesSlopeThenIntercept) {
  const double x[3] = {0, 1, 2};
  const double y[3] = {1, 3, 5};
  double coeffs[2] = {7.0, 7.0};
  Polyfit(x, y, nullptr, coeffs, 3, 3);
  EXPECT_NEAR(coeffs[0], 2.0, 1e-14);
  EXPECT_NEAR(coeffs[1], 1.0, 1e-14);
  const double garbage = 123.0;
  double again[2] = {7.0, 7.0};
  Polyfit(x, y, &garbage, again, 3, 3);
  EXPECT_EQ(0, std::memcmp(coeffs, again, sizeof coeffs));
}

TEST(BasicExports, CountZeroWritesNothing) {
  double y[2] = {7.0, 7.0};
  mod(nullptr, 3.0, y, 0);
  Kron(nullptr, nullptr, y, 0, 0);
  Filter(nullptr, nullptr, nullptr, y, 0, 0, 0);
  unwrap(nullptr, y, 0);
  EXPECT_EQ(y[0], 7.0);
  zefra_complex w = {7.0, 7.0};
  Polyval(nullptr, nullptr, &w, 0, 0);
  EXPECT_EQ(w.re, 7.0);
  conv(nullptr, nullptr, y, 0, 0);
  EXPECT_EQ(y[0], 7.0);
}

TEST(BasicExports, NegativeCountsWriteNothing) {
  double y[4] = {7.0, 7.0, 7.0, 7.0};
  Kron(nullptr, nullptr, y, -2, -3);
  mod(nullptr, 3.0, y, -1);
  unwrap(nullptr, y, -5);
  Filter(nullptr, nullptr, nullptr, y, -1, -1, -3);
  EXPECT_EQ(y[0], 7.0);
  EXPECT_EQ(y[3], 7.0);
}

TEST(BasicExports, InputsAreNeverWritten) {
  std::vector<double> x = {0.5, 3.9, -1.0, 0.0, 2.5, 7.0};
  const std::vector<double> before = x;
  std::vector<double> y(64);
  mod(x.data(), 0.7, y.data(), 6);
  Kron(x.data(), x.data(), y.data(), 6, 6);
  conv(x.data(), x.data(), y.data(), 6, 6);
  Filter(x.data(), x.data(), x.data(), y.data(), 2, 3, 6);
  unwrap(x.data(), y.data(), 6);
  poly(x.data(), y.data(), 6);
  EXPECT_EQ(x, before);
}

// Filter works on the caller's buffers unless they share memory; each way
// must give the bits of the literal frame (copies in, copy out).
TEST(FilterExportFastPath, MatchesCopyingFrameBitForBit) {
  std::mt19937_64 rng(9);
  std::normal_distribution<double> normal;
  for (int trial = 0; trial < 40; ++trial) {
    std::vector<double> b(static_cast<size_t>(1 + trial % 5)), a(trial % 2 == 0 ? 1u : 3u);
    for (double& v : b) v = normal(rng);
    for (double& v : a) v = 0.3 * normal(rng);
    a[0] = 1.0 + std::fabs(normal(rng));
    std::vector<double> x(static_cast<size_t>(1 + trial * 53));
    for (double& v : x) v = normal(rng);
    zefra::CallFrame frame;
    zefra::DynArray* out = frame.doubleOutput(0, 1);
    zefra::filterKernel(frame.column(b.data(), static_cast<int32_t>(b.size())),
                        frame.column(a.data(), static_cast<int32_t>(a.size())),
                        frame.column(x.data(), static_cast<int32_t>(x.size())), out);
    const double* expected = zefra::elementsOf<double>(out);
    std::vector<double> y(x.size(), 7.0);
    Filter(b.data(), a.data(), x.data(), y.data(), static_cast<int32_t>(b.size()),
           static_cast<int32_t>(a.size()), static_cast<int32_t>(x.size()));
    ASSERT_EQ(0, std::memcmp(expected, y.data(), x.size() * sizeof(double))) << trial;
    std::vector<double> inPlace = x;
    Filter(b.data(), a.data(), inPlace.data(), inPlace.data(), static_cast<int32_t>(b.size()),
           static_cast<int32_t>(a.size()), static_cast<int32_t>(x.size()));
    ASSERT_EQ(0, std::memcmp(expected, inPlace.data(), x.size() * sizeof(double))) << trial;
    std::vector<double> shifted(x.size() + 1);
    std::copy(x.begin(), x.end(), shifted.begin() + 1);
    Filter(b.data(), a.data(), shifted.data() + 1, shifted.data(), static_cast<int32_t>(b.size()),
           static_cast<int32_t>(a.size()), static_cast<int32_t>(x.size()));
    ASSERT_EQ(0, std::memcmp(expected, shifted.data(), x.size() * sizeof(double))) << trial;
  }
}

TEST(ButterworthExports, ParameterOrdersDiffer) {
  const double w[2] = {0.0, 1.0};
  zefra_complex h1[2], h2[2];
  Butterworth_TF(1, w, 1.0, 2, h1);
  GetButterworthTF(1, w, 2, 1.0, h2);
  EXPECT_NEAR(h1[1].re, 0.5, 1e-15);
  EXPECT_NEAR(h2[1].im, -0.5, 1e-15);
}

}  // namespace

namespace {

// Found by fuzzing: na + nb - 1 overflowed 32-bit arithmetic.
TEST(ConvExport, ExtremeCountsWriteNothingWithoutOverflow) {
  double y[2] = {7.0, 7.0};
  conv(nullptr, nullptr, y, INT32_MIN, 0);
  conv(nullptr, nullptr, y, INT32_MIN, -1);
  const double b[1] = {2.0};
  conv(nullptr, b, y, INT32_MIN, 1);
  EXPECT_EQ(y[0], 7.0);
  EXPECT_EQ(y[1], 7.0);
}

// Found by fuzzing: M - 1 for M = INT32_MIN does not fit an int32.
TEST(DensityExports, ExtremeLevelCountsFailWithoutOverflow) {
  const double signal[1] = {0.5};
  for (int32_t m : {INT32_MIN, -1, 0, 1}) {
    double* a = nullptr;
    double* p = nullptr;
    double offset = -99.0, width = 0.1;
    int32_t count = -1;
    EXPECT_FALSE(get_pdf_from_sampled_signal(signal, m, nullptr, &a, &p, &offset, &width, 1, &count));
    EXPECT_EQ(count, 0);
    zefra_release_array(a);
    zefra_release_array(p);
  }
}

}  // namespace

namespace {

std::vector<double> recordValues(const zefra::DynArray* r, size_t n) {
  const double* v = zefra::elementsOf<double>(r);
  return std::vector<double>(v, v + n);
}

bool sameDoubles(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

// mod, unwrap, Kron and Polyval write the caller's output directly when it
// shares no memory with an input; both paths must give the literal frame's
// bits, in place too.
TEST(BasicExportsFastPath, DirectAndInPlaceCallsMatchCopyingFrame) {
  std::mt19937_64 rng(77);
  std::normal_distribution<double> normal;
  for (int trial = 0; trial < 30; ++trial) {
    const auto n = static_cast<size_t>(1 + trial * 41);
    std::vector<double> x(n);
    for (double& v : x) v = trial % 5 == 0 && normal(rng) > 2.0 ? 0.0 : normal(rng) * 4.0;
    const auto count = static_cast<int32_t>(n);
    zefra::CallFrame frame;
    zefra::DynArray* modOut = frame.doubleOutput(count, 1);
    zefra::modKernel(frame.column(x.data(), count), 0.7, modOut);
    zefra::DynArray* unwrapOut = frame.doubleOutput(count, 1);
    zefra::unwrapKernel(frame.column(x.data(), count), unwrapOut);

    std::vector<double> y(n);
    mod(x.data(), 0.7, y.data(), count);
    ASSERT_TRUE(sameDoubles(recordValues(modOut, n), y)) << trial;
    std::vector<double> inPlace = x;
    mod(inPlace.data(), 0.7, inPlace.data(), count);
    ASSERT_TRUE(sameDoubles(recordValues(modOut, n), inPlace)) << trial;
    unwrap(x.data(), y.data(), count);
    ASSERT_TRUE(sameDoubles(recordValues(unwrapOut, n), y)) << trial;
    inPlace = x;
    unwrap(inPlace.data(), inPlace.data(), count);
    ASSERT_TRUE(sameDoubles(recordValues(unwrapOut, n), inPlace)) << trial;

    const std::vector<double> b = {1.5, -2.0, 0.25};
    zefra::CallFrame kronFrame;
    zefra::DynArray* kronOut = kronFrame.doubleOutput(0, 1);
    zefra::kronKernel(kronFrame.column(x.data(), count), kronFrame.column(b.data(), 3), kronOut);
    std::vector<double> k(3 * n);
    Kron(x.data(), b.data(), k.data(), count, 3);
    ASSERT_TRUE(sameDoubles(recordValues(kronOut, 3 * n), k)) << trial;

    std::vector<zefra_complex> z(n), w(n);
    for (auto& v : z) v = {normal(rng), normal(rng)};
    zefra::CallFrame polyFrame;
    zefra::DynArray* polyOut = polyFrame.complexOutput(count, 1);
    zefra::polyvalComplex(polyFrame.column(b.data(), 3),
                          polyFrame.complexColumn(reinterpret_cast<const zefra::Complex*>(z.data()), count),
                          polyOut);
    Polyval(b.data(), z.data(), w.data(), 3, count);
    ASSERT_EQ(0, std::memcmp(polyOut->data, w.data(), n * sizeof(zefra_complex))) << trial;
    std::vector<zefra_complex> zInPlace = z;
    Polyval(b.data(), zInPlace.data(), zInPlace.data(), 3, count);
    ASSERT_EQ(0, std::memcmp(polyOut->data, zInPlace.data(), n * sizeof(zefra_complex))) << trial;
    std::vector<zefra_complex> zeros(n, zefra_complex{7.0, 7.0});
    Polyval(nullptr, z.data(), zeros.data(), 0, count);
    for (const auto& v : zeros) ASSERT_TRUE(v.re == 0.0 && v.im == 0.0);
  }
}

// erfcinv reads the caller's input in place and writes its output directly
// unless they share memory; direct, in-place and partially overlapping calls
// all give the element-by-element values.
TEST(BasicExportsFastPath, ErfcinvDirectInPlaceAndOverlappingCallsMatch) {
  std::mt19937_64 rng(78);
  std::uniform_real_distribution<double> unit(-0.1, 2.1);
  for (int trial = 0; trial < 20; ++trial) {
    const auto n = static_cast<size_t>(1 + trial * 37);
    std::vector<double> x(n);
    for (double& v : x) v = unit(rng);
    x[0] = trial % 3 == 0 ? std::nan("") : x[0];
    const auto count = static_cast<int32_t>(n);
    std::vector<double> expected(n);
    for (size_t i = 0; i < n; ++i) expected[i] = zefra::erfcinvScalar(x[i]);

    std::vector<double> y(n);
    erfcinv(x.data(), y.data(), count);
    ASSERT_TRUE(sameDoubles(expected, y)) << trial;
    std::vector<double> inPlace = x;
    erfcinv(inPlace.data(), inPlace.data(), count);
    ASSERT_TRUE(sameDoubles(expected, inPlace)) << trial;
    // Output one element past the input: the copy keeps every input intact.
    std::vector<double> shifted(n + 1);
    std::copy(x.begin(), x.end(), shifted.begin());
    erfcinv(shifted.data(), shifted.data() + 1, count);
    ASSERT_TRUE(sameDoubles(expected, std::vector<double>(shifted.begin() + 1, shifted.end())))
        << trial;
  }
}

}  // namespace
